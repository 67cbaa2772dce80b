#pragma once

/// Small conversions between text and numbers, and the words of messages.
///
///     Kor::Forms::parseNumber("0x64");              // 100
///     Kor::Forms::enumerate({"3", "4", "5"});       // 3, 4 and 5
///
/// All of it is linear in its texts and runs on any thread.

#include "runtime/PlainText.h"
#include "runtime/Types.h"

#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Kor::Forms {

/// A whole number, decimal or with 0x in hexadecimal; nothing for any other text or above 64 bits.
KOR_EXPORT std::optional<U64> parseNumber(std::string_view text);

/// "0x" and at least that many lower-case digits.
KOR_EXPORT std::string hex(U64 number, int digits);

/// "3, 4 and 5".
KOR_EXPORT std::string enumerate(std::vector<std::string> const& words, std::string_view last = "and");

/// The words with a separator between them.
template <class Words>
std::string join(Words const& words, std::string_view separator = " ") {
    std::string text;
    bool first = true;
    for (auto const& word : words) {
        text += first ? std::string_view() : separator;
        text += word;
        first = false;
    }
    return text;
}

/// The text cut at blanks and at characters of `more`.
KOR_EXPORT std::vector<std::string_view> split(std::string_view text, std::string_view more = "");

/// What to say about an unknown word: "; did you mean A or B?" with those that are close to it, otherwise
/// "; there are " and all, unless they are many.
KOR_EXPORT std::string suggest(std::string_view word, std::vector<std::string> const& known);

/// A word of the user's for a message: cut when long, and plain (runtime/PlainText.h).
KOR_EXPORT std::string shown(std::string_view word, std::size_t longest = 60);
/// The same for a word that names something, where a message would end before an empty one: that is ''.
KOR_EXPORT std::string shownName(std::string_view word);

/// A stream into a text. Without memory it throws std::bad_alloc, where another one would end the text early
/// and say nothing.
class TextStream : public std::ostringstream {
public:
    TextStream() { exceptions(std::ios::badbit); }
};

/// Follows a text past quotes and brackets.
class KOR_EXPORT Nesting {
public:
    /// Whether the character stands outside of all quotes and brackets, of which it may be the first or last.
    bool step(char c);
    bool isQuoted() const { return quote_ != 0; }
    /// How many brackets are open.
    std::size_t depth() const { return open_.size(); }
    /// Whether all that was opened is closed, and nothing else.
    bool isComplete() const { return open_.empty() && quote_ == 0 && wrong_ == 0; }
    /// Refused if something is still open, or was closed that was not open.
    void end() const;

private:
    std::string open_;
    char quote_ = 0;
    bool escaped_ = false;
    char wrong_ = 0;
};

KOR_EXPORT std::string_view trimmed(std::string_view text);

/// The text cut at blanks outside of quotes and brackets. Refused if these do not match.
KOR_EXPORT std::vector<std::string_view> words(std::string_view text);

} // namespace Kor::Forms
