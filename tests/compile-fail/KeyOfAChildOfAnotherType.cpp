// error: this takes a key, or a value with its key, of the type that is_convertible_v names second here
// error: is_convertible_v<.*, Hardware::Loam::VtAppId>
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

auto request(LifAppConfigDir& dir) {
#ifdef FIXED
    return dir.appConfigIs(Hardware::Loam::vtAppMpls);
#else
    return dir.appConfigIs("mpls");
#endif
}
