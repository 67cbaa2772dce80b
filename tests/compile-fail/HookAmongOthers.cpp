// error: the hook of the attribute named here takes something else than its key
// error: R = Overloads|observe<Overloads
// error: R = Template|observe<Template
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

struct Overloads : LifAppConfig::Notifiee {
    void onReqCount() override {}
#ifdef FIXED
    void onReqCount(AradLifEntry const&) override {}
#else
    void onReqCount(AradLifEntry) {}
#endif
};
struct Template : LifAppConfig::Notifiee {
    void onReqCount(auto const&) {}
#ifdef FIXED
    void onReqCount(AradLifEntry const&) override {}
#endif
};

void watch(Kor::Ptr<LifAppConfig> const& config) {
    static_cast<void>(Kor::observe<Overloads>(config));
    static_cast<void>(Kor::observe<Template>(config));
}
