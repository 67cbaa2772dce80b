#pragma once

/// The name of an interface as one 64-bit number.
///
///     Lumen::IntfId intf = Lumen::IntfId::ofName("Ethernet3/1.100");
///     std::cout << intf;                    // 'Ethernet3/1.100'
///
/// A name is a kind, one to three numbers with slashes between them, and a dot with the number of a
/// subinterface if it is one. The default is the empty id, with the empty name. A number that is the id of no
/// name shows as 0x and its 16 digits, and that is read back as well, so that every id survives its text.
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
using Kor::U64;

class KOR_EXPORT IntfId {
public:
    // clang-format off
    static constexpr auto korTexts = Kor::texts(
        "", "The name of an interface as one 64-bit number",
        "IntfId()", "The empty id, whose name is empty",
        "explicit IntfId(U64 value)", "Any number; one that is the id of no name shows in hex",
        "static std::optional<IntfId> fromName(std::string_view name)", "The id of a name, or none for a text that is no name",
        "static IntfId ofName(std::string_view name)", "The id of a name; raises Kor::RangeException for a text that is no name",
        "U64 value() const", "The number",
        "bool isEmpty() const", "Whether it is the empty id",
        "U32 hash() const", "The hash of the number",
        "std::string name() const", "The name; 0x and 16 digits for a number that is the id of no name",
        "void appendTextTo(std::string& text) const", "Appends the name in quotes",
        "static std::optional<IntfId> fromText(std::string_view text)", "The id of such a text without its quotes, or none");
    // clang-format on

    constexpr IntfId() = default;
    constexpr explicit IntfId(U64 value) : value_(value) {}

    /// On an attribute log: its number.
    template <Kor::AttrLogReader In>
    IntfId(In* in, Kor::StreamBogon) : value_(in->nextU64()) {}
    void writeTo(auto& out) const { out.put(value_); }

    /// The id of a name, or none for a text that is no name.
    static std::optional<IntfId> fromName(std::string_view name);
    /// The same; raises Kor::RangeException for a text that is no name.
    static IntfId ofName(std::string_view name);

    constexpr U64 value() const { return value_; }
    constexpr bool isEmpty() const { return value_ == 0; }
    constexpr U32 hash() const noexcept { return Kor::OneAtATime().add(value_).finish(); }
    std::string name() const;

    /// The name in quotes.
    void appendTextTo(std::string& text) const;
    static std::optional<IntfId> fromText(std::string_view text) { return fromName(text); }

    friend constexpr bool operator==(IntfId const&, IntfId const&) = default;
    friend constexpr std::strong_ordering operator<=>(IntfId const&, IntfId const&) = default;

private:
    U64 value_ = 0;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& stream, IntfId const& intf);

} // namespace Lumen
