// error: an entity is made of one argument, of the type `Takes` above
// error: Takes = Kor::Name|LifAppConfigDir, Kor::Name>
// lines with g++: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
auto const dir = lifAppConfigDirFactory("lif");
#else
auto const dir = lifAppConfigDirFactory();
#endif
