#include "runtime/Contract.h"

#include "runtime/BreachGuard.h"
#include "runtime/Exception.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace Kor {

namespace {

constinit thread_local bool raises = false;

} // namespace

BreachGuard::BreachGuard() noexcept : outer_(std::exchange(raises, true)) {}

BreachGuard::~BreachGuard() {
    raises = outer_;
}

void contractBroken(Breach const& breach) {
    if (raises) {
        throwInternalException(String8(breach.operation + ": " + breach.what));
    }
    std::fprintf(stderr, "%s: %s\n", breach.operation.c_str(), breach.what.c_str());
    std::abort();
}

} // namespace Kor
