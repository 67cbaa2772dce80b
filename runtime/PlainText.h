#pragma once

/// Kor::plainText, a text of somebody else's as a terminal or a table can show it.
///
///     std::puts(Kor::plainText(peer.name).c_str());
///
/// A text of a peer, a file or an address may hold what a terminal obeys, and what makes a reader see another
/// text than there is. Each of these becomes a question mark:
///
/// | what                                            | code points                          |
/// |-------------------------------------------------|--------------------------------------|
/// | control characters, the line end among them     | 00..1F, 7F..9F                       |
/// | marks, embeddings, overrides, isolates of the direction | 061C, 200E, 200F, 202A..202E, 2066..2069 |
/// | separators of lines and paragraphs              | 2028, 2029                           |
/// | a byte that is no UTF-8                         |                                      |
///
/// A plain text comes back as it is. Linear; any thread.

#include "runtime/Types.h"

#include <string>
#include <string_view>

namespace Kor {

KOR_EXPORT std::string plainText(std::string_view text);

/// A text of JSON with the same code points from 7F on as escapes, so that it means the same. It must be
/// UTF-8, with no control characters but line ends.
KOR_EXPORT std::string plainJson(std::string_view json);

/// How many bytes the UTF-8 character at the start of a text has; 0 if it begins with none.
KOR_EXPORT std::size_t characterLength(std::string_view text) noexcept;

/// The start of a text, with at most so many bytes and no half of a character.
KOR_EXPORT std::string_view textStart(std::string_view text, std::size_t most) noexcept;

} // namespace Kor
