// error: an entity is made of one argument, of the type `Takes` above
// error: Takes = Hardware::Loam::VtAppId|LifAppConfig, const char
// lines with g++: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
auto const config = lifAppConfigFactory(Hardware::Loam::vtAppMpls);
#else
auto const config = lifAppConfigFactory("mpls");
#endif
