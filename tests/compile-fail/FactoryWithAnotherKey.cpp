// error: lifAppConfigFactory
// error: isArgument<Hardware::Loam::VtAppId, const char|no known conversion from .* to .Loam::VtAppId
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
auto const config = lifAppConfigFactory(Hardware::Loam::vtAppMpls);
#else
auto const config = lifAppConfigFactory("mpls");
#endif
