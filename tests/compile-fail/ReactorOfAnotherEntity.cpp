// error: this reactor is one of another entity class, or may write what is const here
// error: Ptr<const Hardware::LoamTunnel::LifAppConfig>
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
struct Watcher : LifAppConfig::NotifieeConst {
#else
struct Watcher : LifAppConfig::Notifiee {
#endif
    void onReqCount(AradLifEntry const&) override {}
};

auto watch(Kor::Ptr<LifAppConfig const> const& config) {
    return Kor::observe<Watcher>(config);
}
