// error: the key of this attribute, or the value that has it, is of the type `Takes` above
// error: Given = int|AradLifEntry, int>
// error: Given = bool|AradLifEntry, bool>
// error: Given = char|AradLifEntry, char>
// error: Given = float|AradLifEntry, float>
// error: Given = double|AradLifEntry, double>
#include "model/LifApps.h"

using namespace Hardware::LoamTunnel;

void each(LifAppConfig& config, [[maybe_unused]] AradLifEntry const& entry) {
#ifdef FIXED
    config.reqCountDel(entry), config.reqCountNotify(entry), config.newReqCount(entry, 1);
    config.reqCountInc(entry, 1), config.reqCountDec(entry, 1);
#else
    config.reqCountDel(1), config.reqCountNotify(true), config.newReqCount('1', 1);
    config.reqCountInc(1.f, 1), config.reqCountDec(1., 1);
#endif
}
