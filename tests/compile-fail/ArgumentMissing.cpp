// error: this takes an argument of the type that is_convertible_v names second here
// error: is_convertible_v<const Kor::detail::Missing ?&, unsigned int>
// error: is_convertible_v<const Kor::detail::Missing ?&, Hardware::LoamTunnel::AradLifEntry>
// error: is_convertible_v<const Kor::detail::Missing ?&, Hardware::Loam::VtAppId>
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

void each(LifAppConfig& config, LifAppConfigDir& dir, [[maybe_unused]] AradLifEntry const& entry) {
#ifdef FIXED
    config.reqCountIs(entry, 1), config.newReqCount(entry, 1), config.reqCountInc(entry, 1);
    dir.appConfigIs(Hardware::Loam::vtAppMpls);
#else
    config.reqCountIs(entry), config.newReqCount(), config.reqCountInc(entry);
    dir.appConfigIs();
#endif
}
