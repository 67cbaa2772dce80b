// error: this reactor overrides no hook of the entity
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

struct Watcher : LifAppConfig::Notifiee {
#ifdef FIXED
    void onReqCount(AradLifEntry const&) override {}
#else
    void onReqCounts(AradLifEntry const&) {}
#endif
};

auto watch(Kor::Ptr<LifAppConfig> const& config) {
    return Kor::observe<Watcher>(config);
}
