// error: a field id or a field name is declared twice
#include "support/OneFieldTable.h"

#ifdef FIXED
constexpr unsigned id = 1;
#else
constexpr unsigned id = 0;
#endif

namespace name = Kor::name;
using Table = OneFieldTable<0, 8, Hardware::layout::Field<id, name::parity, Kor::U8>>;

bool check(unsigned char* buffer) {
    return Table(Hardware::aradChip3, buffer, 4, false, 0).isActionValid();
}
