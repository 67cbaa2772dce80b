// error: Takes = Hardware::Loam::VtAppId;.*the key of this attribute is|the key of this attribute is.*korRefuseKey<Hardware::Loam::VtAppId,
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
