// error: this takes a key, or a value with its key, of the type that is_convertible_v names second here
// error: is_convertible_v<.*VtAppId ?&, Hardware::LoamTunnel::EvecEntry>
// lines: at most 12
#include "model/EvecStatus.h"

using namespace Hardware::LoamTunnel;

void place(EvecStatus& status, [[maybe_unused]] EvecEntry const& entry) {
#ifdef FIXED
    status.entryIs(entry);
#else
    status.entryIs(Hardware::Loam::vtAppMpls);
#endif
}
