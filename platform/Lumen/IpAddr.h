#pragma once

/// An IPv4 address.
///
///     Lumen::IpAddr address(10, 0, 0, 1);
///     std::cout << address;                 // '10.0.0.1'
///
/// Ordered by number, 10.0.0.1 being 0x0a000001. The default is 0.0.0.0.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "reflect/Value.h"
#include "runtime/OneAtATime.h"
#include "runtime/Types.h"

#include <compare>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace Lumen {

using Kor::U32;
using Kor::U8;

class KOR_EXPORT IpAddr {
public:
    // clang-format off
    static constexpr auto korTexts = Kor::texts(
        "", "An IPv4 address, ordered by number",
        "IpAddr()", "0.0.0.0",
        "explicit IpAddr(U32 value)", "The address of a number: 0x0a000001 is 10.0.0.1",
        "IpAddr(U8 a, U8 b, U8 c, U8 d)", "The address a.b.c.d",
        "U32 value() const", "The number",
        "U32 hash() const", "The hash of the number",
        "void appendTextTo(std::string& text) const", "Appends the dotted form in quotes",
        "static std::optional<IpAddr> fromText(std::string_view text)", "The address of a dotted form, or none");
    // clang-format on

    constexpr IpAddr() = default;
    constexpr explicit IpAddr(U32 value) : value_(value) {}
    constexpr IpAddr(U8 a, U8 b, U8 c, U8 d) : value_(U32{a} << 24 | U32{b} << 16 | U32{c} << 8 | d) {}

    /// On an attribute log: its four bytes, in the order in which they are written with dots.
    template <Kor::AttrLogReader In>
    IpAddr(In* in, Kor::StreamBogon) : value_(in->nextU32()) {}
    void writeTo(auto& out) const { out.put(value_); }

    constexpr U32 value() const { return value_; }
    constexpr U32 hash() const noexcept { return Kor::OneAtATime().add(value_).finish(); }

    /// The dotted form in quotes.
    void appendTextTo(std::string& text) const;
    /// The address of a dotted form, or none.
    static std::optional<IpAddr> fromText(std::string_view text);

    friend constexpr bool operator==(IpAddr const&, IpAddr const&) = default;
    friend constexpr std::strong_ordering operator<=>(IpAddr const&, IpAddr const&) = default;

private:
    U32 value_ = 0;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& stream, IpAddr const& address);

} // namespace Lumen
