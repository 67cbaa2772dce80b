#include "tools/Diagram.h"

#include <algorithm>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

using Hardware::FieldPlace;

namespace {

constexpr U32 wordBits = 32;

/// Takes out of `fields` those that make the best lane.
std::vector<FieldPlace> takeLane(std::vector<FieldPlace>& fields, U32 bits) {
    /// The best choice among the fields that end below a bit.
    struct Best {
        std::pair<U32, U32> coverage{0, 0}; // bits, fields
        std::size_t last = 0;               // the field that ends there, counted from 1
    };
    std::vector<Best> best(bits + 1);
    for (U32 end = 1; end <= bits; ++end) {
        best[end] = {best[end - 1].coverage, 0};
        for (std::size_t i = 0; i < fields.size(); ++i) {
            if (fields[i].hi() + 1 == end) {
                auto coverage = best[fields[i].lo()].coverage;
                coverage.first += fields[i].at.width;
                coverage.second += 1;
                if (coverage > best[end].coverage) {
                    best[end] = {coverage, i + 1};
                }
            }
        }
    }
    std::vector<FieldPlace> lane;
    for (U32 end = bits; end > 0;) {
        if (std::size_t const last = best[end].last) {
            lane.push_back(fields[last - 1]);
            end = lane.back().lo();
        } else {
            --end;
        }
    }
    std::ranges::reverse(lane);
    std::erase_if(fields, [&](FieldPlace const& each) {
        return std::ranges::any_of(lane, [&](FieldPlace const& taken) { return taken.field == each.field; });
    });
    return lane;
}

/// "a" to "z", then "aa" and on.
std::string letters(std::size_t number) {
    std::string const last(1, static_cast<char>('a' + number % 26));
    return number < 26 ? last : letters(number / 26 - 1) + last;
}

/// The names that a drawing has no room for, each with its letter.
class Legend {
public:
    std::string const& letterOf(FieldPlace const& place) {
        auto const [found, isNew] = letters_.try_emplace(place.field, letters(order_.size()));
        if (isNew) {
            order_.push_back(place);
        }
        return found->second;
    }

    /// Calls `visit("a", place)` for each, in the order in which they were met.
    void each(std::function<void(std::string const&, FieldPlace const&)> const& visit) const {
        for (FieldPlace const& place : order_) {
            visit(letters_.at(place.field), place);
        }
    }
    std::size_t size() const { return order_.size(); }

private:
    std::map<Hardware::FieldInfo const*, std::string> letters_;
    std::vector<FieldPlace> order_;
};

std::string centred(std::string const& text, std::size_t width) {
    std::size_t const room = width - std::min(width, text.size());
    return std::string(room / 2, ' ') + text.substr(0, width) + std::string(room - room / 2, ' ');
}

std::string escaped(std::string_view text) {
    std::string result;
    for (char const c : text) {
        result += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    }
    return result;
}

} // namespace

Diagram::Diagram(RowForm const& form) : form_(form) {
    std::vector<FieldPlace> rest = form.fields();
    do {
        lanes_.push_back(takeLane(rest, form.table->words * wordBits));
    } while (!rest.empty());
}

std::vector<Piece> Diagram::pieces(std::size_t lane, U32 word) const {
    std::vector<Piece> all;
    U32 const first = word * wordBits;
    U32 next = 0; // the lowest bit that no piece has
    for (FieldPlace const& place : lanes_[lane]) {
        if (place.hi() < first || place.lo() >= first + wordBits) {
            continue;
        }
        U32 const lo = std::max(place.lo(), first) - first;
        U32 const hi = std::min(place.hi() - first, wordBits - 1);
        if (lo > next) {
            all.push_back({nullptr, lo - 1, next});
        }
        all.push_back({place.field, hi, lo});
        next = hi + 1;
    }
    if (all.empty() && lane > 0) {
        return all;
    }
    if (next < wordBits) {
        all.push_back({nullptr, wordBits - 1, next});
    }
    std::ranges::reverse(all);
    return all;
}

std::string Diagram::title() const {
    return std::string(form_.table->name) +
           (form_.table->ignoresVariant ? "" : " variant " + std::to_string(form_.variant)) + " on chip " +
           std::to_string(form_.chip) + ", " + std::to_string(form_.table->words * wordBits) + " bits";
}

std::string Diagram::text() const {
    constexpr std::size_t cell = 3; // columns a bit, with the line to its left
    std::size_t const margin = std::to_string(form_.table->words * wordBits).size() + 1;
    Legend legend;
    std::string text;
    // The line between two lanes: a corner wherever either has one.
    auto const rule = [&](std::vector<Piece> const& above, std::vector<Piece> const& below) {
        std::string line(wordBits * cell + 1, ' ');
        for (auto const* const pieces : {&above, &below}) {
            for (Piece const& piece : *pieces) {
                std::size_t const left = (wordBits - 1 - piece.hi) * cell;
                std::size_t const right = left + piece.width() * cell;
                for (std::size_t at = left; at <= right; ++at) {
                    bool const corner = at == left || at == right;
                    line[at] = corner || line[at] == '+' ? '+' : '-';
                }
            }
        }
        return line;
    };
    auto const add = [&](std::string const& label, std::string line) {
        line.erase(line.find_last_not_of(' ') + 1);
        text += std::string(margin - label.size(), ' ') + label + ' ' + line + '\n';
    };
    std::string scale;
    for (U32 bit = wordBits; bit-- > 0;) {
        scale += centred(std::to_string(bit), cell - 1).insert(0, 1, ' ');
    }
    add("", scale);
    for (U32 word = 0; word < form_.table->words; ++word) {
        std::vector<Piece> above;
        for (std::size_t lane = 0; lane < lanes_.size(); ++lane) {
            std::vector<Piece> here = pieces(lane, word);
            if (here.empty()) {
                continue;
            }
            if (lane > 0) { // only what is there
                std::erase_if(here, [](Piece const& piece) { return piece.field == nullptr; });
            }
            add("", rule(above, here));
            std::string line(wordBits * cell + 1, ' ');
            for (Piece const& piece : here) {
                std::size_t const left = (wordBits - 1 - piece.hi) * cell;
                std::size_t const room = piece.width() * cell - 1;
                line[left] = line[left + room + 1] = '|';
                std::string label(piece.field ? std::string(piece.field->name) : "");
                if (piece.field && label.size() > room) {
                    label = legend.letterOf(
                        {piece.field, form_.table->position(*piece.field, form_.chip, form_.variant)});
                }
                line.replace(left + 1, room, piece.field ? centred(label, room) : std::string(room, '.'));
            }
            add(lane == 0 ? std::to_string(word * wordBits) : "", line);
            above = std::move(here);
        }
        add("", rule(above, {}));
    }
    legend.each([&](std::string const& letter, FieldPlace const& place) {
        text += std::string(margin - std::min(margin, letter.size()), ' ') + letter + "  " +
                placeText(place) + '\n';
    });
    return text;
}

std::string Diagram::svg() const {
    constexpr U32 cell = 30, lane = 26, margin = 60, top = 58, gap = 10, letterWidth = 7;
    Legend legend;
    std::string body;
    auto const number = [](U64 n) { return '"' + std::to_string(n) + '"'; };
    auto const put = [&](U32 x, U32 y, std::string_view anchor, std::string const& text) {
        body += "<text x=" + number(x) + " y=" + number(y) + " text-anchor=\"" + std::string(anchor) + "\">" +
                escaped(text) + "</text>\n";
    };
    for (U32 bit = 0; bit < wordBits; ++bit) {
        put(margin + (wordBits - 1 - bit) * cell + cell / 2, top - 8, "middle", std::to_string(bit));
    }
    U32 y = top;
    for (U32 word = 0; word < form_.table->words; ++word) {
        put(margin - 8, y + 17, "end", std::to_string(word * wordBits));
        for (std::size_t number_ = 0; number_ < lanes_.size(); ++number_) {
            std::vector<Piece> const here = pieces(number_, word);
            for (Piece const& piece : here) {
                if (!piece.field && number_ > 0) {
                    continue;
                }
                U32 const x = margin + (wordBits - 1 - piece.hi) * cell;
                U32 const width = piece.width() * cell;
                body += "<g><rect x=" + number(x) + " y=" + number(y) + " width=" + number(width) +
                        " height=" + number(lane) + " class=\"" +
                        (!piece.field   ? "hole"
                         : number_ == 0 ? "field"
                                        : "shared") +
                        "\"/>";
                if (piece.field) {
                    FieldPlace const place{piece.field,
                                           form_.table->position(*piece.field, form_.chip, form_.variant)};
                    body += "<title>" + escaped(placeText(place)) + "</title>";
                    std::string const name(piece.field->name);
                    put(x + width / 2, y + 17, "middle",
                        name.size() * letterWidth <= width ? name : legend.letterOf(place));
                }
                body += "</g>\n";
            }
            y += here.empty() ? 0 : lane;
        }
        y += gap;
    }
    U32 column = 0;
    legend.each([&](std::string const& letter, FieldPlace const& place) {
        constexpr U32 columns = 3;
        put(margin + column * (wordBits * cell / columns), y + 16, "start", letter + "  " + placeText(place));
        column = (column + 1) % columns;
        y += column == 0 ? 20 : 0;
    });
    U32 const width = margin + wordBits * cell + 20;
    U32 const height = y + 28;
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=" + number(width) + " height=" + number(height) +
           " viewBox=\"0 0 " + std::to_string(width) + ' ' + std::to_string(height) +
           "\" font-family=\"sans-serif\" font-size=\"12\">\n"
           "<style>rect{stroke:#334;fill:#eef3fb}rect.shared{fill:#fdf3dc}rect.hole{fill:#e4e4e4}</style>\n"
           "<rect width=\"100%\" height=\"100%\" style=\"fill:#fff;stroke:none\"/>\n"
           "<text x=" +
           number(margin) + " y=\"24\" font-size=\"16\">" + escaped(title()) + "</text>\n" + body +
           "</svg>\n";
}

void Diagram::wavedrom(std::ostream& out) const {
    JsonWriter json(out, true);
    json.beginObject().key("reg").beginArray();
    U32 next = 0;
    auto const hole = [&](U32 end) {
        if (end > next) {
            json.beginObject().number("bits", end - next).end();
        }
    };
    for (FieldPlace const& place : lanes_[0]) {
        std::vector<std::string> shared;
        for (std::size_t lane = 1; lane < lanes_.size(); ++lane) {
            for (FieldPlace const& other : lanes_[lane]) {
                if (other.lo() <= place.hi() && other.lo() >= next) {
                    shared.push_back(placeText(other));
                }
            }
        }
        hole(place.lo());
        json.beginObject().number("bits", place.at.width).string("name", place.field->name);
        if (!shared.empty()) {
            json.key("attr").beginArray();
            for (std::string const& each : shared) {
                json.string(each);
            }
            json.end();
        }
        json.end();
        next = place.hi() + 1;
    }
    U32 const bits = form_.table->words * wordBits;
    hole(bits);
    json.end().key("config").beginObject();
    json.number("bits", bits).number("lanes", form_.table->words).number("hspace", 1200).end().end();
    out << '\n';
}

} // namespace tool
