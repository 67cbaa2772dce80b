#include "runtime/BreachGuard.h"

#include <utility>

namespace Kor {

namespace {

constinit thread_local bool raises = false;

} // namespace

BreachGuard::BreachGuard() noexcept : outer_(std::exchange(raises, true)) {}

BreachGuard::~BreachGuard() {
    raises = outer_;
}

bool BreachGuard::isOn() noexcept {
    return raises;
}

} // namespace Kor
