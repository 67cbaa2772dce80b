// error: this takes an argument of the type that is_convertible_v names second here
// error: is_convertible_v<const char .*, unsigned int>
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

void request(LifAppConfig& config, AradLifEntry const& entry) {
#ifdef FIXED
    config.reqCountIs(entry, 1);
#else
    config.reqCountIs(entry, "1");
#endif
}
