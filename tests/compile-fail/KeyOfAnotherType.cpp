// error: the key of this attribute, or the value that has it, is of the type `Takes` above
// error: Takes = Hardware::LoamTunnel::AradLifEntry|korRefuseKey<Hardware::LoamTunnel::AradLifEntry,
// lines with g++: at most 12
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

void request(LifAppConfig& config) {
#ifdef FIXED
    config.reqCountIs(AradLifEntry(lifAcMp, 1, 0), 1);
#else
    config.reqCountIs(AradLifIndex(1, lifBankManaged), 1);
#endif
}
