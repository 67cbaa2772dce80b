#include "values/LoamTunnelTypes.h"

#include <cstdio>

int main() {
    Hardware::LoamTunnel::AradLifAcMp lif(Hardware::LoamTunnel::lifAcMp);
    lif.vsiIs(100);
    Kor::U32 row[4] = {};
    lif.writeToChipFormat(Hardware::jerichoChip8, reinterpret_cast<Kor::U8*>(row));
    std::printf("%08x %08x %08x %08x\n", row[0], row[1], row[2], row[3]);
    return row[0] == 100 && row[3] == 3 ? 0 : 1;
}
