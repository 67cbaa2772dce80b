#include "platform/Lumen/IpAddr.h"

#include "platform/Lumen/Decimal.h"
#include "reflect/Text.h"

#include <ostream>

namespace Lumen {

std::optional<IpAddr> IpAddr::fromText(std::string_view text) {
    U32 value = 0;
    for (int part = 0; part < 4; ++part) {
        auto const number = takeNumber(text);
        if (!number || *number > 255) {
            return std::nullopt;
        }
        value = value << 8 | static_cast<U32>(*number);
        if (part < 3) {
            if (text.empty() || text.front() != '.') {
                return std::nullopt;
            }
            text.remove_prefix(1);
        }
    }
    return text.empty() ? std::optional(IpAddr(value)) : std::nullopt;
}

void IpAddr::appendTextTo(std::string& text) const {
    text +=
        Kor::format("'%u.%u.%u.%u'", value_ >> 24, (value_ >> 16) & 255, (value_ >> 8) & 255, value_ & 255)
            .view();
}

std::ostream& operator<<(std::ostream& stream, IpAddr const& address) {
    return stream << Kor::valueToStrep(address).view();
}

} // namespace Lumen
