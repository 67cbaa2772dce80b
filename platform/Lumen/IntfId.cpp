#include "platform/Lumen/IntfId.h"

#include "platform/Lumen/Decimal.h"
#include "reflect/Text.h"
#include "runtime/Exception.h"
#include "runtime/String8.h"

#include <array>
#include <charconv>
#include <ostream>

namespace Lumen {

namespace {

constexpr std::array<std::string_view, 8> kinds = {"",      "Ethernet", "Port-Channel", "Vlan",
                                                   "Vxlan", "Loopback", "Management",   "Tunnel"};

/// Where the parts of a name lie in the id, and how wide they are.
struct Part {
    unsigned first;
    unsigned width;

    constexpr U64 limit() const { return (U64{1} << width) - 1; }
    constexpr U64 of(U64 value) const { return (value >> first) & limit(); }
};

constexpr Part kindPart{60, 4};
/// The slashed numbers; one that is not there is 0, one that is there is stored plus 1.
constexpr std::array<Part, 3> numberParts = {{{42, 18}, {28, 14}, {16, 12}}};
constexpr Part subinterfacePart{0, 16};

std::optional<U64> parse(std::string_view name) {
    std::size_t kind = kinds.size();
    for (std::size_t k = 1; k < kinds.size(); ++k) {
        if (name.starts_with(kinds[k])) {
            kind = k;
        }
    }
    if (kind == kinds.size()) {
        return std::nullopt;
    }
    name.remove_prefix(kinds[kind].size());
    U64 value = U64{kind} << kindPart.first;
    for (std::size_t n = 0; n < numberParts.size(); ++n) {
        auto const number = takeNumber(name);
        if (!number || *number >= numberParts[n].limit()) {
            return std::nullopt;
        }
        value |= (*number + 1) << numberParts[n].first;
        if (name.empty() || name.front() == '.') {
            break;
        }
        if (name.front() != '/' || n + 1 == numberParts.size()) {
            return std::nullopt;
        }
        name.remove_prefix(1);
    }
    if (!name.empty()) {
        name.remove_prefix(1);
        auto const number = takeNumber(name);
        if (!number || *number == 0 || *number > subinterfacePart.limit() || !name.empty()) {
            return std::nullopt;
        }
        value |= *number;
    }
    return value;
}

} // namespace

std::optional<IntfId> IntfId::fromName(std::string_view name) {
    if (name.empty()) {
        return IntfId();
    }
    if (name.starts_with("0x") && name.size() == 18) {
        U64 value = 0;
        auto const [end, error] = std::from_chars(name.data() + 2, name.data() + name.size(), value, 16);
        if (error == std::errc() && end == name.data() + name.size()) {
            return IntfId(value);
        }
    }
    auto const value = parse(name);
    return value ? std::optional(IntfId(*value)) : std::nullopt;
}

IntfId IntfId::ofName(std::string_view name) {
    auto const id = fromName(name);
    if (!id) {
        Kor::throwRangeException(Kor::String8("no interface name: " + std::string(name)));
    }
    return *id;
}

std::string IntfId::name() const {
    U64 const kind = kindPart.of(value_);
    if (value_ == 0) {
        return {};
    }
    std::string text(kinds[kind < kinds.size() ? kind : 0]);
    char const* separator = "";
    for (Part const& part : numberParts) {
        if (part.of(value_) != 0) {
            text.append(separator).append(std::to_string(part.of(value_) - 1));
            separator = "/";
        }
    }
    if (U64 const subinterface = subinterfacePart.of(value_)) {
        text.append(".").append(std::to_string(subinterface));
    }
    if (parse(text) == value_) {
        return text;
    }
    return Kor::format("0x%016llx", static_cast<unsigned long long>(value_)).charPtr();
}

void IntfId::appendTextTo(std::string& text) const {
    text.append(1, '\'').append(name()).append(1, '\'');
}

std::ostream& operator<<(std::ostream& stream, IntfId const& intf) {
    return stream << Kor::valueToStrep(intf).view();
}

} // namespace Lumen
