#pragma once

/// Decimal numbers within the texts of addresses and interfaces. Any thread; nothing is allocated or thrown.

#include "runtime/Types.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace Lumen {

/// Takes a decimal number without leading zeros off the front.
inline std::optional<Kor::U64> takeNumber(std::string_view& text) {
    Kor::U64 number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    auto const digits = static_cast<std::size_t>(end - text.data());
    if (error != std::errc() || digits == 0 || (digits > 1 && text.front() == '0')) {
        return std::nullopt;
    }
    text.remove_prefix(digits);
    return number;
}

} // namespace Lumen
