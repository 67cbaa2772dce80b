#include "runtime/PlainText.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Kor {

namespace {

/// Of a character of that length.
U32 codePoint(std::string_view text, std::size_t length) noexcept {
    auto const at = [text](std::size_t i) { return static_cast<U32>(static_cast<U8>(text[i])); };
    U32 point = length == 1 ? at(0) : at(0) & (0xffu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        point = point << 6 | (at(i) & 0x3f);
    }
    return point;
}

bool isUnsafe(U32 point) noexcept {
    return point < 0x20 || (point >= 0x7f && point < 0xa0) || point == 0x61c || point == 0x200e ||
           point == 0x200f || (point >= 0x2028 && point <= 0x202e) || (point >= 0x2066 && point <= 0x2069);
}

/// Calls `visit(piece, point)` with each character that is not to be shown, or byte that is none; what it
/// returns stands for it.
template <class Visit>
std::string replaced(std::string_view text, Visit const& visit) {
    std::string plain;
    plain.reserve(text.size());
    while (!text.empty()) {
        std::size_t const length = characterLength(text);
        std::string_view const piece = text.substr(0, std::max<std::size_t>(length, 1));
        U32 const point = codePoint(piece, piece.size());
        plain += length == 0 || isUnsafe(point) ? visit(piece, point) : std::string(piece);
        text.remove_prefix(piece.size());
    }
    return plain;
}

} // namespace

std::size_t characterLength(std::string_view text) noexcept {
    if (text.empty()) {
        return 0;
    }
    auto const at = [text](std::size_t i) { return static_cast<U8>(text[i]); };
    U8 const first = at(0);
    if (first < 0x80) {
        return 1;
    }
    std::size_t const length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xc0) != 0x80) {
            return 0;
        }
    }
    // Forms that are too long, halves of a pair, and what is above the last character.
    U8 const second = at(1);
    bool const isUnsound = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                           (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return isUnsound ? 0 : length;
}

std::string_view textStart(std::string_view text, std::size_t most) noexcept {
    if (text.size() <= most) {
        return text;
    }
    std::size_t end = most;
    while (end > 0 && most - end < 3 && (static_cast<U8>(text[end]) & 0xc0) == 0x80) {
        --end;
    }
    return text.substr(0, (static_cast<U8>(text[end]) & 0xc0) == 0x80 ? most : end);
}

std::string plainText(std::string_view text) {
    if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; })) { // as nearly all are
        return std::string(text);
    }
    return replaced(text, [](std::string_view, U32) { return std::string("?"); });
}

std::string plainJson(std::string_view json) {
    return replaced(json, [](std::string_view piece, U32 point) {
        if (point < 0x7f) {
            return std::string(piece);
        }
        std::array<char, 12> escaped{};
        std::snprintf(escaped.data(), escaped.size(), "\\u%04x", point);
        return std::string(escaped.data());
    });
}

} // namespace Kor
