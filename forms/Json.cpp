#include "forms/Json.h"

#include "forms/Text.h"
#include "runtime/PlainText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <ostream>
#include <unordered_set>

namespace Kor::Forms {

namespace {

/// Takes a document as the parser tells of it, and ends the parser where a bound is met.
class Builder {
public:
    using Numbers = nlohmann::json;

    explicit Builder(Json& root) : root_(root) {}

    bool null() { return scalar(Json::Kind::null, "null"); }
    bool boolean(bool is) { return scalar(Json::Kind::boolean, is ? "true" : "false"); }
    bool number_integer(Numbers::number_integer_t number) {
        return scalar(Json::Kind::number, std::to_string(number));
    }
    bool number_unsigned(Numbers::number_unsigned_t number) {
        return scalar(Json::Kind::number, std::to_string(number));
    }
    bool number_float(Numbers::number_float_t, std::string const& text) {
        return scalar(Json::Kind::number, text);
    }
    bool string(std::string& text) { return scalar(Json::Kind::string, std::move(text)); }
    bool binary(Numbers::binary_t&) { return false; } // of other formats
    bool start_object(std::size_t) { return open(Json::Kind::object); }
    bool start_array(std::size_t) { return open(Json::Kind::array); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(std::string& name) {
        if (!open_.back().names.insert(name).second) {
            throw Refused(shown(name) + " is given twice");
        }
        name_ = std::move(name);
        return true;
    }
    bool parse_error(std::size_t position, std::string const&, nlohmann::detail::exception const& error) {
        constexpr int outOfRange = 406;
        throw Refused((error.id == outOfRange ? "the number is too large, at byte " : "no JSON, from byte ") +
                      std::to_string(position) + (error.id == outOfRange ? "" : " on"));
    }

private:
    struct Open {
        Json* json;
        std::unordered_set<std::string> names{};
    };

    Json& next() {
        if (open_.empty()) {
            return root_;
        }
        auto& members = open_.back().json->members;
        return members.emplace_back(std::exchange(name_, {}), Json()).second;
    }
    bool scalar(Json::Kind kind, std::string text) {
        Json& json = next();
        json.kind = kind;
        json.text = std::move(text);
        return true;
    }
    bool open(Json::Kind kind) {
        if (open_.size() == jsonDepth) {
            throw Refused("JSON is nested too deeply: at most " + std::to_string(jsonDepth) +
                          " objects and arrays in one another");
        }
        Json& json = next();
        json.kind = kind;
        open_.push_back({&json});
        return true;
    }
    bool close() {
        open_.pop_back();
        return true;
    }

    Json& root_;
    std::string name_;
    std::vector<Open> open_;
};

bool isPlain(char c) {
    return static_cast<U8>(c) >= 0x20 && static_cast<U8>(c) < 0x7f && c != '"' && c != '\\';
}

void writeString(std::ostream& out, std::string_view text) {
    out << '"';
    while (!text.empty()) {
        auto const plain = static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
        out << text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) {
            break;
        }
        char const c = text[0];
        std::size_t const length = characterLength(text);
        if (c == '"' || c == '\\') {
            out << '\\' << c;
        } else if (c == '\n' || c == '\t' || c == '\r') {
            out << '\\' << (c == '\n' ? 'n' : c == '\t' ? 't' : 'r');
        } else if (static_cast<U8>(c) < 0x20 || c == 0x7f) {
            out << "\\u" << hex(static_cast<U8>(c), 4).substr(2);
        } else if (length == 0) {
            out << "\xef\xbf\xbd";
        } else {
            out << Kor::plainJson(text.substr(0, length)); // what a terminal obeys is escaped
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    out << '"';
}

} // namespace

Json const* Json::find(std::string_view name) const noexcept {
    auto const found =
        std::ranges::find(members, name, [](auto const& each) -> std::string_view { return each.first; });
    return found == members.end() ? nullptr : &found->second;
}

Json const& Json::at(std::string_view name) const {
    Json const* const found = isObject() ? find(name) : nullptr;
    if (found == nullptr) {
        throw Refused(shown() + " has no " + std::string(name));
    }
    return *found;
}

std::string Json::shown() const {
    return isObject()             ? "the object"
           : isArray()            ? "the array"
           : kind == Kind::string ? '"' + Forms::shown(text) + '"'
                                  : Forms::shown(text);
}

Json parseJson(std::string_view text) {
    Json json;
    Builder builder(json);
    nlohmann::json::sax_parse(text, &builder);
    return json;
}

bool isUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        std::size_t const length = characterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

void JsonWriter::line() {
    if (isIndented_) { // in one piece: it is a good part of what is written
        constexpr std::string_view start = "\n                                ";
        std::size_t const blanks = 2 * open_.size();
        out_ << start.substr(0, 1 + blanks);
        for (std::size_t more = start.size() - 1; more < blanks; ++more) {
            out_ << ' ';
        }
    }
}

void JsonWriter::before() {
    if (isBehindKey_) {
        isBehindKey_ = false;
    } else if (!open_.empty()) {
        if (!std::exchange(open_.back().isEmpty, false)) {
            out_ << ',';
        }
        line();
    }
}

JsonWriter& JsonWriter::begin(char bracket) {
    before();
    out_ << bracket;
    open_.push_back({bracket, true});
    return *this;
}

JsonWriter& JsonWriter::end() {
    Open const open = open_.back();
    open_.pop_back();
    if (!open.isEmpty) {
        line();
    }
    out_ << (open.bracket == '{' ? '}' : ']');
    return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    before();
    writeString(out_, name);
    out_ << (isIndented_ ? ": " : ":");
    isBehindKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::string(std::string_view text) {
    before();
    writeString(out_, text);
    return *this;
}

JsonWriter& JsonWriter::number(U64 number) {
    std::array<char, 20> digits{};
    char const* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    before();
    out_ << std::string_view(digits.data(), end);
    return *this;
}

JsonWriter& JsonWriter::raw(std::string_view text) {
    before();
    out_ << text;
    return *this;
}

JsonWriter& JsonWriter::value(Json const& json) {
    if (json.isObject() || json.isArray()) {
        begin(json.isObject() ? '{' : '[');
        for (auto const& [name, each] : json.members) {
            (json.isObject() ? key(name) : *this).value(each);
        }
        return end();
    }
    return json.kind == Json::Kind::string ? string(json.text) : raw(json.text);
}

} // namespace Kor::Forms
