#pragma once

/// For tools that call operations with what a user has typed: while a guard lives, a broken contract
/// (runtime/Contract.h) on its thread raises a Kor::InternalException instead of stopping the program.
///
///     Kor::BreachGuard const guard;
///     box->attributeOp({hwOffset, Op::get}, arguments, nullptr);
///
/// It is no way to go on after a breach in the code of a program: the operation is left in the middle, and a
/// release build checks no contract, with or without a guard.

#include "runtime/Types.h"

namespace Kor {

class KOR_EXPORT BreachGuard {
public:
    BreachGuard() noexcept;
    ~BreachGuard();
    BreachGuard(BreachGuard const&) = delete;
    BreachGuard& operator=(BreachGuard const&) = delete;

    /// Whether one lives on this thread.
    static bool isOn() noexcept;

private:
    bool outer_;
};

} // namespace Kor
