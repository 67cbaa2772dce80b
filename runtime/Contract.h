#pragma once

/// What the contract of an operation excludes is checked here, in debug and sanitizer builds only:
///
///     Kor::require(width != 0, [&] {
///         return Kor::Breach{"Hardware::LifTable::vsiIs", "there is no such field (chip 6, variant 1)"};
///     });
///
/// A breach prints one line to stderr, `operation: what was wrong`, and stops the program. A release build
/// compiles nothing: neither the test nor the text. Errors that a caller is allowed to cause are exceptions
/// (runtime/Exception.h), never these.
///
/// Any thread.

#include "runtime/Types.h"

#include <string>

namespace Kor {

#ifdef NDEBUG
inline constexpr bool contractChecks = false;
#else
inline constexpr bool contractChecks = true;
#endif

/// One broken precondition: the operation that was called, and what was wrong with the call.
struct Breach {
    std::string operation;
    std::string what;
};

/// Reports the breach on stderr and aborts.
[[noreturn, gnu::cold]] KOR_EXPORT void contractBroken(Breach const& breach);

/// Stops the program with the breach that `describe()` returns when `holds` is false. Any thread. In a
/// release build it does nothing, so `holds` must be free of effects.
template <class Describe>
constexpr void require([[maybe_unused]] bool holds, [[maybe_unused]] Describe&& describe) {
    if constexpr (contractChecks) {
        if (!holds) [[unlikely]] {
            contractBroken(describe());
        }
    }
}

} // namespace Kor
