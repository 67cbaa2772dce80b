// error: an entity is made of one argument, its key or name, of the type that isArgument names first here
// error: isArgument<Hardware::Loam::VtAppId>
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

#ifdef FIXED
auto const config = Kor::makePtr<LifAppConfig>(Hardware::Loam::vtAppMpls);
#else
auto const config = Kor::makePtr<LifAppConfig>();
#endif
