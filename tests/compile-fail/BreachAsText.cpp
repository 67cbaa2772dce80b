// error: no match for call to|does not provide a call operator
#include "runtime/Contract.h"

// A text composed beforehand would cost its caller also when the contract holds, so a function describes a
// breach.
void check(int width) {
#ifdef FIXED
    Kor::require(width != 0, [] { return Kor::Breach{"Table::field", "no such field"}; });
#else
    Kor::require(width != 0, Kor::Breach{"Table::field", "no such field"});
#endif
}
