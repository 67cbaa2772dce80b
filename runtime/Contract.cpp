#include "runtime/Contract.h"

#include <cstdio>
#include <cstdlib>

namespace Kor {

void contractBroken(Breach const& breach) {
    std::fprintf(stderr, "%s: %s\n", breach.operation.c_str(), breach.what.c_str());
    std::abort();
}

} // namespace Kor
