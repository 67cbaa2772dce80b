#pragma once

/// The errors of what people and other programs write: one line that says what was wrong, where, what the
/// limit is and what would be right.
///
///     try {
///         Kor::Forms::readValue(type, text, roots.find());
///     } catch (Kor::Forms::Refused const& refused) {
///         std::cerr << refused.what() << '\n';       // vsi: 70000 is too large; the field has 16 bits, at most 65535
///     }
///
/// The words are the same wherever the same fault is met. The classes tell apart what a program answers
/// differently.
///
/// A Refused is an exception like any other of the library (runtime/Exception.h); any thread.

#include "runtime/Exception.h"

#include <string>
#include <string_view>

namespace Kor::Forms {

/// A text, a path, a row or a file is refused for what it says.
class KOR_EXPORT Refused : public Exception {
public:
    explicit Refused(std::string_view message)
        : Exception(String8(message), IdBitArray().add(Id::range), true) {}
};

/// It names a chip, a table, a variant or a type that there is not.
class KOR_EXPORT WrongUsage : public Refused {
public:
    using Refused::Refused;
};

/// Nothing is at the place, or not yet: the path as such is right.
class KOR_EXPORT NotThere : public Refused {
public:
    using Refused::Refused;
};

/// Calls `attempt`. What it refuses by another Kor::Exception is Refused, with `what` before the words.
template <class Attempt>
auto refusing(std::string_view what, Attempt const& attempt) -> decltype(attempt()) {
    try {
        return attempt();
    } catch (Refused const&) {
        throw;
    } catch (Exception const& exception) {
        std::string message(what);
        throw Refused(message.append(": ").append(exception.what()));
    }
}

} // namespace Kor::Forms
