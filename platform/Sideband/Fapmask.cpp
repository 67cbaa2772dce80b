#include "platform/Sideband/Fapmask.h"

#include "reflect/Text.h"

#include <charconv>
#include <ostream>

namespace Sideband {

namespace {

std::optional<U32> takeChip(std::string_view& text) {
    U32 chip = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), chip);
    if (error != std::errc() || chip >= Fapmask::size) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return chip;
}

} // namespace

std::optional<Fapmask> Fapmask::fromText(std::string_view text) {
    Fapmask mask;
    while (!text.empty()) {
        auto const first = takeChip(text);
        auto last = first;
        if (!text.empty() && text.front() == '-') {
            text.remove_prefix(1);
            last = takeChip(text);
        }
        if (!first || !last || *last < *first) {
            return std::nullopt;
        }
        for (U32 chip = *first; chip <= *last; ++chip) {
            mask.hasIs(chip, true);
        }
        if (text.empty()) {
            break;
        }
        if (text.front() != ',' || text.size() == 1) {
            return std::nullopt;
        }
        text.remove_prefix(1);
    }
    return mask;
}

std::ostream& operator<<(std::ostream& stream, Fapmask const& mask) {
    return stream << Kor::valueToStrep(mask).view();
}

} // namespace Sideband
