// error: the key of this attribute, or the value that has it, is of the type `Takes` above
// error: Takes = Hardware::LoamTunnel::EvecEntry|korRefuseKey<Hardware::LoamTunnel::EvecEntry,
// lines with g++: at most 12
#include "model/EvecStatus.h"

using namespace Hardware::LoamTunnel;

void place(EvecStatus& status, [[maybe_unused]] EvecEntry const& entry) {
#ifdef FIXED
    status.entryIs(entry);
#else
    status.entryIs(Hardware::Loam::vtAppMpls);
#endif
}
