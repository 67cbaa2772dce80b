// error: a field lies past the end of the row
#include "support/OneFieldTable.h"

#ifdef FIXED
using Table = OneFieldTable<31, 1>;
#else
using Table = OneFieldTable<31, 2>;
#endif

bool check(unsigned char* buffer) {
    return Table(Hardware::aradChip3, buffer, 4, false, 0).isActionValid();
}
