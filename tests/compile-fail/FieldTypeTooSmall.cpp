// error: the type of a field must be the smallest that holds it at its widest
#include "support/OneFieldTable.h"

#ifdef FIXED
using Table = OneFieldTable<0, 8>;
#else
using Table = OneFieldTable<0, 9>;
#endif

bool check(unsigned char* buffer) {
    return Table(Hardware::aradChip3, buffer, 4, false, 0).isActionValid();
}
