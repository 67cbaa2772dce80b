// error: an entity is made of one argument, of the type `Takes` above
// error: Takes = Hardware::Loam::VtAppId|LifAppConfig, Hardware::Loam::VtAppId>|char const .&..5.,
// Hardware::Loam::VtAppId lines with g++: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
auto const config = lifAppConfigFactory(Hardware::Loam::vtAppMpls);
#else
auto const config = lifAppConfigFactory("mpls");
#endif
