// error: this takes a key, or a value with its key, of the type that is_convertible_v names second here
// error: is_convertible_v<const int ?&, Hardware::LoamTunnel::AradLifEntry>
// error: is_convertible_v<const bool ?&, Hardware::LoamTunnel::AradLifEntry>
// error: is_convertible_v<const char ?&, Hardware::LoamTunnel::AradLifEntry>
// error: is_convertible_v<const float ?&, Hardware::LoamTunnel::AradLifEntry>
// error: is_convertible_v<const double ?&, Hardware::LoamTunnel::AradLifEntry>
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

void each(LifAppConfig& config, [[maybe_unused]] AradLifEntry const& entry) {
#ifdef FIXED
    config.reqCountDel(entry), config.reqCountNotify(entry), config.newReqCount(entry, 1);
    config.reqCountInc(entry, 1), config.reqCountDec(entry, 1);
#else
    config.reqCountDel(1), config.reqCountNotify(true), config.newReqCount('1', 1);
    config.reqCountInc(1.f, 1), config.reqCountDec(1., 1);
#endif
}
