// error: the hook of the attribute named here takes something else than its key
// error: is_void_v<Kor::CountedMap<Kor::name::reqCount, Hardware::LoamTunnel::AradLifEntry,
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

struct Watcher : LifAppConfig::Notifiee {
#ifdef FIXED
    void onReqCount(AradLifEntry const&) override {}
#else
    void onReqCount(AradLifIndex const&) {}
#endif
};

auto watch(Kor::Ptr<LifAppConfig> const& config) {
    return Kor::observe<Watcher>(config);
}
