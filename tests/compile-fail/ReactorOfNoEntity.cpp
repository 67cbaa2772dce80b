// error: observe takes a class that derives from the NotifieeConst or Notifiee of an entity class
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
struct Watcher : LifAppConfig::NotifieeConst {
    void onReqCount(AradLifEntry const&) override {}
#else
struct Watcher : Kor::Entity::NotifieeConst {
#endif
};

auto watch(Kor::Ptr<LifAppConfig const> const& config) {
    return Kor::observe<Watcher>(config);
}
