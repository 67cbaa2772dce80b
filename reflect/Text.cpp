#include "reflect/Text.h"

#include "runtime/ClassName.h"
#include "runtime/Entity.h"

#include <charconv>

namespace Kor {

void TextScanner::expected(std::string_view what) const {
    detail::refuse({"expected ", what, " at column ", std::to_string(position_)});
}

void TextScanner::needString(std::string_view pattern) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == ' ') {
            skipBlanks();
        } else if (current() == pattern[i] && !atEnd()) {
            ++position_;
        } else {
            expected('"' + std::string(pattern.substr(i)) + '"');
        }
    }
}

std::string_view TextScanner::quoted(std::string& storage) {
    skipBlanks();
    char const quote = current();
    if (quote != '\'' && quote != '"') {
        expected("a quoted string");
    }
    std::size_t const begin = ++position_;
    bool escaped = false;
    while (current() != quote || atEnd()) {
        if (current() == '\\') {
            escaped = true;
            ++position_;
        }
        if (atEnd()) {
            expected("the end of a quoted string");
        }
        ++position_;
    }
    std::string_view inside = text_.substr(begin, position_ - begin);
    ++position_;
    skipBlanks();
    if (escaped) {
        storage.clear();
        for (std::size_t i = 0; i < inside.size(); ++i) {
            storage += inside[i] == '\\' ? inside[++i] : inside[i];
        }
        inside = storage;
    }
    return inside;
}

TextScanner::Number TextScanner::number() {
    skipBlanks();
    std::size_t at = position_;
    bool const negative = at < text_.size() && text_[at] == '-';
    if (at < text_.size() && (text_[at] == '-' || text_[at] == '+')) {
        ++at;
    }
    int base = 10;
    if (text_.substr(at).starts_with("0x") || text_.substr(at).starts_with("0X")) {
        base = 16;
        at += 2;
    }
    U64 value = 0;
    auto const [end, error] = std::from_chars(text_.data() + at, text_.data() + text_.size(), value, base);
    if (error == std::errc::result_out_of_range) {
        expected("an integer of at most 64 bits");
    }
    if (error != std::errc()) {
        expected("an integer");
    }
    position_ = static_cast<std::size_t>(end - text_.data());
    skipBlanks();
    return {value, negative};
}

bool TextScanner::boolean() {
    skipBlanks();
    for (bool const value : {true, false}) {
        std::string_view const word = value ? "True" : "False";
        if (text_.substr(position_).starts_with(word)) {
            position_ += word.size();
            skipBlanks();
            return value;
        }
    }
    expected("True or False");
}

void needString(String8::IteratorConst& it, String8::IteratorConst const& end, char const* pattern) {
    detail::Follow(it, end).scanner.needString(pattern);
}

void rethrowFromDeserializeAttr(RangeException const& inner, String8& attribute) {
    throw RangeException(format("attribute %s: %s", attribute.charPtr(), inner.what()), inner.ids());
}

static thread_local unsigned exactNumbers = 0;

ExactNumbers::ExactNumbers() {
    ++exactNumbers;
}

ExactNumbers::~ExactNumbers() {
    --exactNumbers;
}

namespace detail {

void numberIsCut(TextScanner::Number const& number, std::string const& kept) {
    if (exactNumbers != 0) {
        refuse({number.isNegative ? "-" : "", std::to_string(number.magnitude), " would be cut to ", kept});
    }
}

void appendQuoted(std::string& text, std::string_view inside) {
    text += '\'';
    for (char const c : inside) {
        if (c == '\'' || c == '\\') {
            text += '\\';
        }
        text += c;
    }
    text += '\'';
}

void refuse(std::initializer_list<std::string_view> words) {
    std::string text;
    for (std::string_view const each : words) {
        text += each;
    }
    throwRangeException(String8(text));
}

} // namespace detail

namespace {

constinit TextDescent descend = nullptr;

Ptr<Entity>& rootOfThread() {
    static thread_local Ptr<Entity> root;
    return root;
}

} // namespace

void textDescentIs(TextDescent descent) noexcept {
    descend = descent;
}

void textRootIs(Ptr<Entity> const& root) {
    rootOfThread() = root;
}

String8 valueToStrepOfRawPtr(Entity const* object, std::type_info const&) {
    return object != nullptr ? valueToStrep(object->fullName()) : "None";
}

String8 valueToStrepOfRawPtr(PtrInterface const* object, std::type_info const& type) {
    if (auto const* const entity = dynamic_cast<Entity const*>(object);
        entity != nullptr || object == nullptr) {
        return valueToStrepOfRawPtr(entity, type);
    }
    return format("<%s>", className(*object).c_str());
}

Ptr<PtrInterface> sequenceToValueOfPtr(String8::IteratorConst& it, String8::IteratorConst const& end,
                                       PtrInterface*) {
    detail::Follow follow(it, end);
    return detail::readObject(follow.scanner);
}

Ptr<Entity> sequenceToValueOfPtr(String8::IteratorConst& it, String8::IteratorConst const& end, Entity*) {
    detail::Follow follow(it, end);
    return detail::readText<Ptr<Entity>>(follow.scanner);
}

void cannotConvert(String8::IteratorConst const&, String8::IteratorConst const&, std::type_info const& type) {
    detail::refuse({"the reference is not to a ", className(type)});
}

Ptr<PtrInterface> detail::readObject(TextScanner& scanner) {
    scanner.skipBlanks();
    if (scanner.current() == 'N') {
        scanner.needString("None ");
        return nullptr;
    }
    std::string storage;
    std::string_view const path = scanner.quoted(storage);
    Ptr<Entity> found;
    if (Ptr<Entity> const root = rootOfThread()) {
        String8 const name = root->fullName();
        if (path == name.view()) {
            found = root;
        } else if (descend != nullptr && path.starts_with(name.view()) &&
                   path.substr(name.length()).starts_with('/')) {
            found = descend(root, path.substr(name.length() + 1));
        }
    }
    if (!found) {
        refuse({"there is no object ", path});
    }
    return found;
}

} // namespace Kor
