// error: the key of this attribute, or the value that has it, is of the type `Takes` above
// error: Takes = Hardware::Loam::VtAppId|korRefuseKey<Hardware::Loam::VtAppId,
// lines with g++: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

auto request(LifAppConfigDir& dir) {
#ifdef FIXED
    return dir.appConfigIs(Hardware::Loam::vtAppMpls);
#else
    return dir.appConfigIs("mpls");
#endif
}
