// error: lifAppConfigDirFactory
// error: isArgument<Kor::Name>|LifAppConfigDir, Kor::Name
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
auto const dir = lifAppConfigDirFactory("lif");
#else
auto const dir = lifAppConfigDirFactory();
#endif
