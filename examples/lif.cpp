#include "tables/LifTable.h"
#include "values/LoamTunnelTypes.h"

#include <cstdio>

using namespace Hardware;
using namespace Hardware::LoamTunnel;

int main() {
    AradLifAcMp lif(lifAcMp); // an attachment circuit of a bridge domain
    lif.vsiIs(100);
    lif.vlanEditVid1Is(20);

    Kor::U8 buffer[16] = {};
    lif.writeToChipFormat(jerichoChip8, buffer);

    LifTable row(jerichoChip8, buffer, sizeof buffer, false, lif.variant());
    std::printf("vsi %u at bit %u\n", row.vsi(), row.vsiOffset());

    Kor::U32 address;
    Kor::U8 aux, block;
    LifTable::getSchanAddress(jerichoChip8, lif.variant(), address, aux, block, 0, /*entry*/ 5, /*array*/ 1);
    std::printf("SCHAN address 0x%x, block 0x%x\n", address, block);
}
