#include "runtime/Contract.h"

#include "runtime/BreachGuard.h"
#include "runtime/Exception.h"

#include <cstdio>
#include <cstdlib>

namespace Kor {

void contractBroken(Breach const& breach) {
    if (BreachGuard::isOn()) {
        throwInternalException(String8(breach.operation + ": " + breach.what));
    }
    std::fprintf(stderr, "%s: %s\n", breach.operation.c_str(), breach.what.c_str());
    std::abort();
}

} // namespace Kor
