// error: this takes a key, or a value with its key, of the type that is_convertible_v names second here
// error: is_convertible_v<.*AradLifIndex ?&, Hardware::LoamTunnel::AradLifEntry>
// lines: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

void request(LifAppConfig& config) {
#ifdef FIXED
    config.reqCountIs(AradLifEntry(lifAcMp, 1, 0), 1);
#else
    config.reqCountIs(AradLifIndex(1, lifBankManaged), 1);
#endif
}
