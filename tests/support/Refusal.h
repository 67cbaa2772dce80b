#pragma once

#include "runtime/Exception.h"

#include <string>

namespace support {

/// The words of the Kor::RangeException with which an attempt is refused, or "accepted".
template <class Attempt>
std::string refusal(Attempt const& attempt) {
    try {
        attempt();
    } catch (Kor::RangeException const& exception) {
        return exception.what();
    }
    return "accepted";
}

} // namespace support
