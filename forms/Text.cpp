#include "forms/Text.h"

#include "forms/Refused.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>

namespace Kor::Forms {

namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";

} // namespace

std::optional<U64> parseNumber(std::string_view text) {
    bool const isHex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(isHex ? 2 : 0);
    U64 number = 0;
    auto const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::string hex(U64 number, int digits) {
    char buffer[16];
    auto const [stop, error] = std::to_chars(buffer, buffer + sizeof buffer, number, 16);
    std::string const text(buffer, error == std::errc() ? stop : buffer);
    std::size_t const least = static_cast<std::size_t>(digits);
    return "0x" + std::string(least > text.size() ? least - text.size() : 0, '0') + text;
}

std::string enumerate(std::vector<std::string> const& words, std::string_view last) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i > 0) {
            text += i + 1 == words.size() ? ' ' + std::string(last) + ' ' : ", ";
        }
        text += words[i];
    }
    return text;
}

std::vector<std::string_view> split(std::string_view text, std::string_view more) {
    std::string const separators = std::string(blanks).append(more);
    std::vector<std::string_view> words;
    for (std::size_t at = text.find_first_not_of(separators); at != text.npos;) {
        std::size_t const end = std::min(text.find_first_of(separators, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(separators, end);
    }
    return words;
}

namespace {

std::string lower(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return result;
}

/// Of a word that is looked for: no more of it is compared.
constexpr std::size_t longestWord = 64;

/// Letters that one of the words has more often than the other: at least so many have to be changed.
std::size_t mostSurplus(std::string_view a, std::string_view b) {
    std::array<int, 256> counts{};
    for (char const letter : a) {
        ++counts[static_cast<unsigned char>(letter)];
    }
    std::size_t ofB = 0;
    for (char const letter : b) {
        ofB += --counts[static_cast<unsigned char>(letter)] < 0 ? 1 : 0;
    }
    return std::max(ofB, a.size() - (b.size() - ofB));
}

/// How many letters must be inserted, removed or changed; anything above `most` where it is more.
std::size_t editDistance(std::string_view a, std::string_view b, std::size_t most) {
    std::array<std::size_t, 2 * longestWord> row;
    if (b.size() >= row.size() || mostSurplus(a, b) > most) {
        return most + 1;
    }
    std::size_t* const cells = row.data();
    std::iota(cells, cells + b.size() + 1, std::size_t{0});
    for (char const letter : a) {
        std::size_t diagonal = cells[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t const changed = diagonal + (letter != b[j]);
            diagonal = cells[j + 1];
            cells[j + 1] = std::min(changed, std::min(cells[j], cells[j + 1]) + 1);
        }
    }
    return cells[b.size()];
}

} // namespace

std::string suggest(std::string_view word, std::vector<std::string> const& known) {
    std::string const wanted = lower(word.substr(0, longestWord));
    std::size_t const most = std::max<std::size_t>(1, wanted.size() / 3);
    std::vector<std::pair<std::size_t, std::string>> near;
    for (std::string const& each : known) {
        std::string const candidate = lower(each);
        bool const within =
            wanted.size() >= 3 && candidate.find(wanted) != candidate.npos; // "vid1" for vlanEditVid1
        std::size_t const distance = within ? 1 : editDistance(wanted, candidate, most);
        if (distance <= most) {
            near.emplace_back(distance, each);
        }
    }
    if (near.empty()) {
        constexpr std::size_t few = 30;
        return known.size() > few ? "" : "; there are " + enumerate(known);
    }
    std::ranges::stable_sort(near, {}, &std::pair<std::size_t, std::string>::first);
    near.resize(std::min<std::size_t>(near.size(), 3));
    std::vector<std::string> words;
    words.reserve(near.size());
    for (auto const& [distance, each] : near) {
        words.push_back(each);
    }
    return "; did you mean " + enumerate(words, "or") + '?';
}

std::string shown(std::string_view word, std::size_t longest) {
    std::string const text = Kor::plainText(Kor::textStart(word, longest));
    return word.size() > longest ? text + "..." : text;
}

std::string shownName(std::string_view word) {
    return word.empty() ? "''" : shown(word);
}

bool Nesting::step(char c) {
    if (quote_ != 0) {
        if (escaped_ || c == '\\') {
            escaped_ = !escaped_;
        } else if (c == quote_) {
            quote_ = 0;
            return open_.empty();
        }
        return false;
    }
    bool const outside = open_.empty();
    switch (c) {
    case '\'':
    case '"':
        quote_ = c;
        break;
    case '(':
        open_ += ')';
        break;
    case '[':
        open_ += ']';
        break;
    case '{':
        open_ += '}';
        break;
    case ')':
    case ']':
    case '}':
        if (outside || open_.back() != c) {
            wrong_ = wrong_ != 0 ? wrong_ : c;
        } else {
            open_.pop_back();
        }
        return open_.empty();
    default:
        break;
    }
    return outside;
}

void Nesting::end() const {
    if (wrong_ != 0) {
        throw Refused(std::string("a ") + wrong_ + " closes what is not open");
    }
    if (quote_ != 0) {
        throw Refused(std::string("a ") + quote_ + " is missing at the end");
    }
    if (!open_.empty()) {
        throw Refused(std::string("a ") + open_.back() + " is missing at the end");
    }
}

std::string_view trimmed(std::string_view text) {
    std::size_t const first = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> all;
    Nesting nesting;
    std::size_t begin = text.npos;
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const separates = nesting.step(text[i]) && blanks.find(text[i]) != blanks.npos;
        if (separates && begin != text.npos) {
            all.push_back(text.substr(begin, i - begin));
            begin = text.npos;
        } else if (!separates && begin == text.npos) {
            begin = i;
        }
    }
    nesting.end();
    if (begin != text.npos) {
        all.push_back(text.substr(begin));
    }
    return all;
}

} // namespace Kor::Forms
