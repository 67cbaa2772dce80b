// error: a declared field has no row in any sheet
#include "support/OneFieldTable.h"

namespace name = Kor::name;
#ifdef FIXED
using Table = OneFieldTable<0, 8, Hardware::layout::Field<1, name::parity, Kor::U8>>;
#else
using Table = OneFieldTable<0, 8, Hardware::layout::Field<1, name::isid, Kor::U8>>;
#endif

bool check(unsigned char* buffer) {
    return Table(Hardware::aradChip3, buffer, 4, false, 0).isActionValid();
}
