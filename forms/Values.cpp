#include "forms/Values.h"

#include "attrlog/adapter/WireForm.h"
#include "forms/Json.h"
#include "forms/Kind.h"
#include "forms/Text.h"
#include "reflect/Text.h"
#include "runtime/TypeName.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <set>
#include <sstream>

namespace Kor::Forms {

namespace {

using Op = GenericIf::AttributeOp;

bool isNameLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::string quoted(std::string_view text) {
    return std::string(valueToStrep(String8(text)).view());
}

/// Without the pairs of parentheses around all of it.
std::string_view withoutParentheses(std::string_view text) {
    auto const isSkipped = [](char c, char bracket) { return c == bracket || trimmed({&c, 1}).empty(); };
    // The parentheses in front and at the end, each with the blanks around it.
    std::vector<std::size_t> fronts;
    std::vector<std::size_t> backs;
    std::size_t begin = 0;
    for (; begin < text.size() && isSkipped(text[begin], '('); ++begin) {
        if (text[begin] == '(') {
            fronts.push_back(begin);
        }
    }
    if (fronts.empty()) {
        return text;
    }
    std::size_t end = text.size();
    for (; end > begin && isSkipped(text[end - 1], ')'); --end) {
        if (text[end - 1] == ')') {
            backs.push_back(end - 1);
        }
    }
    // Those pairs are around all that are open throughout.
    std::size_t around = std::min(fronts.size(), backs.size());
    Nesting nesting;
    for (std::size_t i = 0; i < text.size(); ++i) {
        nesting.step(text[i]);
        if (i >= begin && i < end) {
            around = std::min(around, nesting.depth());
        }
    }
    if (around == 0 || !nesting.isComplete()) {
        return text;
    }
    std::size_t const first = fronts[around - 1] + 1;
    return trimmed(text.substr(first, backs[around - 1] - first));
}

/// What is wrong with a number, in the same words everywhere.
[[noreturn]] void refuseNumber(std::string_view where, std::string_view text, U64 most,
                               std::vector<std::string> const& words) {
    std::string message(where);
    bool const isDecimal =
        !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    if (!isDecimal && !parseNumber(text)) {
        message.append(": '").append(shown(text)).append("' is no number such as 20 or 0x14");
        throw Refused(words.empty() ? message : message.append(", nor one of ").append(enumerate(words)));
    }
    auto const bits = std::bit_width(most);
    message.append(": ")
        .append(shown(text))
        .append(" is too large; the field has ")
        .append(std::to_string(bits));
    throw Refused(
        message.append(bits == 1 ? " bit" : " bits").append(", at most ").append(std::to_string(most)));
}

Box readSigned(KorType const& type, std::string_view text, std::string_view where) {
    bool const isNegative = text.starts_with('-');
    std::string_view const digits = text.substr(isNegative || text.starts_with('+') ? 1 : 0);
    U64 const most = mostOfType(type);
    std::optional<U64> const number = parseNumber(digits);
    if (number && *number <= most + (isNegative ? 1 : 0)) {
        return type.genericIf(String8((isNegative ? "-" : "") + std::to_string(*number)), false);
    }
    if (digits.empty() || !std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; })) {
        refuseNumber(where, text, most, {});
    }
    std::string const least = '-' + std::to_string(most + 1);
    throw Refused(std::string(where) + ": " + shown(text) + " is too " + (isNegative ? "small" : "large") +
                  "; the field has " + std::to_string(std::bit_width(most) + 1) + " bits, " + least + " to " +
                  std::to_string(most));
}

Box readNumber(KorType const& type, std::string_view text, std::optional<U64> bound, std::string_view where) {
    U64 const most = bound.value_or(mostOfType(type));
    if (isBoolType(type)) {
        bool const isTrue = text == "true" || text == "True";
        bool const isFalse = text == "false" || text == "False";
        std::optional<U64> const number = parseNumber(text);
        if (!isTrue && !isFalse && (!number || *number > 1)) {
            refuseNumber(where, text, 1, {"false", "true"});
        }
        return boxOf(isTrue || number == U64{1});
    }
    if (type.abilities().scalar == Scalar::signedNumber) {
        return readSigned(type, text, where);
    }
    std::string_view const digits = text.starts_with('+') ? text.substr(1) : text;
    std::optional<U64> const number = parseNumber(digits);
    if (!number || *number > most) {
        refuseNumber(where, digits, most, {});
    }
    return boxOfNumber(type, *number);
}

/// `VtAppId(99)`, of a number that is no enumerator.
std::optional<U64> enumeratorNumber(KorType const& type, std::string_view text) {
    std::string_view const name = Kor::shortName(type.typeName().view());
    for (std::string const& head : {std::string(name) + '(', shortName(type) + '('}) {
        if (text.starts_with(head) && text.ends_with(')')) {
            std::string_view const digits = text.substr(head.size(), text.size() - head.size() - 1);
            bool const isNegative = digits.starts_with('-'); // as which the text form writes the upper half
            std::optional<U64> const number = parseNumber(digits.substr(isNegative ? 1 : 0));
            if (number && *number <= (isNegative ? 0x80000000 : 0xffffffff)) {
                return isNegative ? 0xffffffff & (~*number + 1) : *number;
            }
        }
    }
    return std::nullopt;
}

Box readEnumerator(KorType const& type, std::string_view text, std::string_view where) {
    bool const inQuotes =
        text.size() >= 2 && text.front() == text.back() && (text.front() == '\'' || text.front() == '"');
    std::string_view const name = inQuotes ? text.substr(1, text.size() - 2) : text;
    KorAttr const* const enumerator = type.typeAttr()->attr(String8(name));
    if (enumerator != nullptr && enumerator->shape().role == Role::enumerator) {
        return boxOfNumber(type, static_cast<U64>(enumerator->attributeId()));
    }
    if (std::optional<U64> const unknown = enumeratorNumber(type, name)) {
        return boxOfNumber(type, *unknown);
    }
    std::optional<U64> const number = parseNumber(name);
    std::vector<std::string> known;
    for (auto const& each : type.attributes()) {
        if (number == static_cast<U64>(each->attributeId())) {
            return boxOfNumber(type, *number);
        }
        known.emplace_back(each->name().view());
    }
    std::string const kind = shortName(type);
    std::string message(where == kind ? "" : std::string(where) + ": ");
    throw Refused(message.append("no ")
                      .append(kind)
                      .append(" is called ")
                      .append(shownName(name))
                      .append(suggest(name, known)));
}

/// The value of the argument that follows from the type; null for any other one.
Box impliedArgument(KorType const& type, Argument const& argument) {
    std::string_view const tag = argument.type->isEnumType() ? tagOf(type) : std::string_view();
    return tag.empty() ? nullptr : readEnumerator(*argument.type, tag, argument.name);
}

/// A field of a value that is being put together, and how to read what it is to be.
struct Given {
    std::string_view name;
    std::string text;
    std::function<Box(KorType const& type, std::optional<U64> most, std::string_view where)> read;
};

/// A value with those fields, set in that order, and the others as they are by default.
Box assembled(KorType const& type, std::vector<Given> const& given, std::string_view where) {
    std::string const prefix = where.empty() || where == shortName(type) ? "" : std::string(where) + '.';
    std::vector<Field const*> fields;
    std::vector<Box> values;
    std::set<std::string_view> names;
    for (Given const& each : given) {
        if (!names.insert(each.name).second) {
            throw Refused(prefix + shown(each.name) + " is given twice");
        }
    }
    for (Given const& each : given) {
        Field const& field = fieldNamed(type, each.name);
        fields.push_back(&field);
        values.push_back(each.read(*field.type,
                                   isNumberType(*field.type) ? std::optional(field.most) : std::nullopt,
                                   prefix + std::string(each.name)));
    }
    Box const initial = defaultOf(type);
    std::vector<Box> arguments;
    for (Argument const& argument : constructorArguments(type)) {
        auto const at = std::ranges::find(given, argument.name, &Given::name);
        Box const implied = at == given.end() ? impliedArgument(type, argument) : nullptr;
        arguments.push_back(at != given.end() ? values[static_cast<std::size_t>(at - given.begin())]
                            : implied         ? implied
                                              : fieldNamed(type, argument.name).get(*initial));
    }
    std::string const what = where.empty() ? shortName(type) : std::string(where);
    Box box = arguments.empty()
                  ? initial
                  : refusing(what, [&] { return type.genericIf(argumentsOf(arguments).ptr(), false); });
    // A constructor may mend what it is given; after it, a field stays as it was set.
    std::vector<String8> expected(given.size());
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (fields[i]->isStored) {
            expected[i] = fields[i]->get(*box)->strRep();
        }
    }
    auto const equation = [&](std::size_t i) {
        return prefix + shown(given[i].name) + '=' + shown(given[i].text);
    };
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (!fields[i]->isStored) {
            refusing(equation(i), [&] { fields[i]->set(box, values[i]); });
            expected[i] = values[i]->strRep();
        }
        for (std::size_t other = 0; other < given.size(); ++other) {
            bool const isSet = other <= i || fields[other]->isStored;
            String8 const now = isSet ? fields[other]->get(*box)->strRep() : expected[other];
            if (now == expected[other]) {
                continue;
            }
            throw Refused(other == i
                              ? equation(i) + " does not fit: the field would keep " + std::string(now.view())
                              : equation(other) + " and " + equation(i) +
                                    " name the same bits: " + std::string(given[other].name) +
                                    " would become " + std::string(now.view()) + "; give one of the two");
        }
    }
    return box;
}

} // namespace

bool isTextForm(std::string_view text) {
    text = trimmed(text);
    return text.starts_with("Value") && trimmed(text.substr(5)).starts_with('(');
}

namespace {

Box ofJsonText(std::string_view json, KorType const& type, std::string_view where);

/// Reads a text for a place.
class Reader {
public:
    explicit Reader(Find const& find) : find_(find) {}

    Box value(KorType const& type, std::string_view text, std::optional<U64> most,
              std::string_view where) const {
        text = withoutParentheses(trimmed(text));
        if (!type.isValue() && !type.isEnumType()) {
            return object(type, text);
        }
        if (text.starts_with('$')) {
            return referred(type, text, where);
        }
        if ((text.starts_with('{') || text.starts_with('"')) && !isQuotedType(type)) {
            return ofJsonText(text, type, where);
        }
        if (type.isEnumType()) {
            return readEnumerator(type, text, where);
        }
        if (isNumberType(type)) {
            return readNumber(type, text, most, where);
        }
        if (isQuotedType(type)) {
            bool const isQuoted = text.starts_with('\'') || text.starts_with('"');
            return scalar(type, isQuoted ? std::string(text) : quoted(text), where);
        }
        if (isTextForm(text)) {
            return ofTextForm(type, text, where);
        }
        if (Box box = ofShortForm(type, text, where)) {
            return box;
        }
        std::vector<Argument> const arguments = constructorArguments(type);
        if (arguments.size() == 1) { // the bare text of its one attribute
            std::vector<Given> const given{
                {arguments[0].name, std::string(text),
                 [&](KorType const& inner, std::optional<U64> bound, std::string_view) {
                     return value(inner, text, bound, where);
                 }}};
            return assembled(type, given, where);
        }
        if (fieldsOf(type).empty() && !isStateless(type)) { // it has a text of its own
            return scalar(type, std::string(text), where);
        }
        std::string message(where);
        std::string const example = fieldsOf(type).empty() ? "" : ' ' + fieldsOf(type).front().name + "=...";
        throw Refused(message.append(": '")
                          .append(shown(text))
                          .append("' is no ")
                          .append(shortName(type))
                          .append("; one is such as ")
                          .append(shortName(type))
                          .append(example));
    }

    /// Of the type that it names, or one of which that is a kind.
    Box ofTextForm(KorType const& wanted, std::string_view text, std::string_view where) const {
        Box const box = ofTextForm(text, where);
        Box value = asType(box, wanted);
        if (!value) {
            throw Refused(std::string(where) + " is a " + shortName(wanted) + ", not a " +
                          shortName(*box->type()));
        }
        return value;
    }
    Box ofTextForm(std::string_view text, std::string_view where) const {
        ExactNumbers const exact;
        try {
            TextScanner scanner(text);
            std::string storage;
            scanner.needString(" Value (");
            KorType const& type = valueTypeNamed(scanner.quoted(storage));
            if (isStateless(type)) {
                return defaultOf(type);
            }
            return namesUnknown(text) ? ofAttributes(type, text, where)
                                      : type.genericIf(String8(text), false);
        } catch (Refused const& refused) {
            throw Refused(refused.what()); // a type that there is not is in the text, not in the command
        } catch (Exception const& exception) {
            throw Refused(std::string(where).append(where.empty() ? "" : ": ") +
                          shown(exception.what(), 300));
        }
    }

    std::vector<Given> fields(KorType const& type, std::vector<std::string_view> const& words,
                              std::string_view where) const {
        std::vector<Given> all;
        for (std::string_view const word : words) {
            std::size_t const sign = signOf(word);
            if (sign == word.npos) {
                std::string message(where);
                auto const& known = fieldsOf(type);
                throw Refused(message.append(": '")
                                  .append(shown(word))
                                  .append("' is not of the form field=value")
                                  .append(known.empty() ? "" : ", such as " + known.front().name + "=1"));
            }
            std::string_view const text = word.substr(sign + 1);
            all.push_back({word.substr(0, sign), std::string(text),
                           [this, text](KorType const& inner, std::optional<U64> most, std::string_view at) {
                               return value(inner, text, most, at);
                           }});
        }
        return all;
    }

    /// Where the = of `field=value` is; npos in any other word.
    static std::size_t signOf(std::string_view word) {
        std::size_t const sign = word.find('=');
        bool const isField =
            sign != word.npos && sign != 0 &&
            std::ranges::all_of(word.substr(0, sign), [](char c) { return isNameLetter(c) || c == '.'; });
        return isField ? sign : word.npos;
    }

    /// "AradLifAcMp vsi=1", where the type is the one wanted or derives from it, or fields of the one that is
    /// wanted. Null for other texts.
    Box ofShortForm(KorType const& wanted, std::string_view text, std::string_view where) const {
        std::string_view const word =
            text.substr(0, std::min(text.find_first_of(" \t\r\n\v\f"), text.size()));
        if (signOf(word) != word.npos) {
            return assembled(wanted, fields(wanted, words(text), where), where);
        }
        if (!std::ranges::all_of(word, [](char c) { return isNameLetter(c) || c == ':'; })) {
            return nullptr;
        }
        std::vector<KorType const*> candidates{&wanted};
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            KorType const& type = *candidates[i];
            if (word == Kor::shortName(type.typeName().view()) || word == shortName(type) ||
                word == type.typeName().view() || (!tagOf(type).empty() && word == tagOf(type))) {
                return asType(rest(type, text.substr(word.size()), where == shortName(wanted) ? "" : where),
                              wanted);
            }
            for (auto const& each : type.derivedTypeQQueue()) {
                candidates.push_back(each.value.ptr());
            }
        }
        return nullptr;
    }

    /// What follows the name of a type.
    Box rest(KorType const& type, std::string_view text, std::string_view where) const {
        std::vector<std::string_view> const given = words(text);
        if (given.size() == 1 && signOf(given[0]) == given[0].npos &&
            constructorArguments(type).size() == 1) {
            return value(type, given[0], std::nullopt, where);
        }
        std::string const own = where.empty() ? shortName(type) : std::string(where);
        if (std::string_view const json = trimmed(text); json.starts_with('{')) {
            return ofJsonText(json, type, own);
        }
        return assembled(type, fields(type, given, own), own);
    }

    /// Of a type that has a text of its own.
    static Box scalar(KorType const& type, std::string const& text, std::string_view where) {
        Box box;
        try {
            box = type.genericIf(String8(text), false);
        } catch (Exception const& exception) {
            if (!std::string_view(exception.what()).starts_with(shortName(type))) { // it says what is wrong
                throw Refused(std::string(where) + ": " + shown(exception.what(), 300));
            }
            std::string message(where);
            message.append(": ").append(shown(text)).append(" is no ").append(shortName(type));
            throw Refused(type.meaning().empty() ? message
                                                 : message.append("; one is: ").append(type.meaning()));
        }
        if (!box) {
            throw Refused(shortName(type) + " has no text form");
        }
        return box;
    }

private:
    /// Whether an enumerator in a text form is a number that is none, `'VtAppId(99)'`, which types themselves
    /// do not read.
    static bool namesUnknown(std::string_view text) {
        for (std::size_t end = text.find(")'"); end != text.npos; end = text.find(")'", end + 1)) {
            std::size_t const before = text.substr(0, end).find_last_not_of("0123456789-");
            if (before != text.npos && before + 1 < end && text[before] == '(') {
                return true;
            }
        }
        return false;
    }
    /// What stands within the braces of a text form, attribute by attribute.
    Box ofAttributes(KorType const& type, std::string_view text, std::string_view where) const {
        std::size_t const open = text.find('{'), close = text.rfind('}');
        std::vector<Given> all;
        std::size_t begin = open == text.npos ? text.size() : open + 1;
        Nesting nesting;
        for (std::size_t i = begin; i <= close && close != text.npos; ++i) {
            if (i < close && (!nesting.step(text[i]) || text[i] != ',')) {
                continue;
            }
            std::string_view const piece = trimmed(text.substr(begin, i - begin));
            std::size_t const quote = piece.find(piece.empty() ? ' ' : piece[0], 1);
            std::size_t const colon = piece.find(':', std::min(quote, piece.size()));
            if (colon == piece.npos) {
                throw Refused(std::string(where) + ": '" + shown(piece) +
                              "' is not of the form 'name': value");
            }
            std::string_view const value = trimmed(piece.substr(colon + 1));
            all.push_back({piece.substr(1, quote - 1), std::string(value),
                           [this, value](KorType const& inner, std::optional<U64> most, std::string_view at) {
                               return this->value(inner, value, most, at);
                           }});
            begin = i + 1;
        }
        return assembled(type, all, where);
    }
    Box referred(KorType const& type, std::string_view text, std::string_view where) const {
        Box const found = find_(text.substr(1));
        Box value = found ? asType(found, type) : nullptr;
        if (!value) {
            throw Refused(std::string(where) + ": " + shown(text) + " is " +
                          (found ? "of type " + shortName(*found->type()) : "nothing") + ", not " +
                          shortName(type));
        }
        return value;
    }
    Box object(KorType const& type, std::string_view text) const {
        if (text == "None") {
            return nullptr;
        }
        text.remove_prefix(text.starts_with('$'));
        Box box = find_(text);
        if (box && !box->type()->isA(&type)) {
            throw Refused(shown(text) + " is of type " + shortName(*box->type()) + ", not " +
                          shortName(type));
        }
        return box;
    }

    Find const& find_;
};

Box ofJson(Json const& json, KorType const& type, std::optional<U64> most, std::string_view where) {
    std::string const what(where);
    auto const refuse = [&](std::string_view why) {
        throw Refused(what + ": " + json.shown() + std::string(why));
    };
    if (type.isEnumType()) {
        if (json.kind != Json::Kind::string) {
            refuse(" is no " + shortName(type) + ", which is given by name");
        }
        return readEnumerator(type, json.text, where);
    }
    if (isNumberType(type)) {
        bool const isBool = isBoolType(type);
        if (json.kind != (isBool ? Json::Kind::boolean : Json::Kind::number) &&
            (isBool || json.kind != Json::Kind::string)) {
            refuse(isBool ? " is neither true nor false" : " is no number");
        }
        return readNumber(type, json.text, most, where);
    }
    if (isQuotedType(type)) {
        if (json.kind != Json::Kind::string) {
            refuse(" is no string, as the text of " + shortName(type) + " is");
        }
        return Reader::scalar(type, quoted(json.text), where);
    }
    std::vector<Argument> const arguments = constructorArguments(type);
    std::vector<Given> given;
    if (json.isObject()) {
        for (auto const& [name, member] : json.members) {
            Json const* const inner = &member;
            given.push_back({name, member.shown(),
                             [inner](KorType const& of, std::optional<U64> bound, std::string_view at) {
                                 return ofJson(*inner, of, bound, at);
                             }});
        }
    } else if (arguments.size() == 1) {
        given.push_back({arguments[0].name, json.shown(),
                         [&](KorType const& of, std::optional<U64> bound, std::string_view) {
                             return ofJson(json, of, bound, where);
                         }});
    } else {
        refuse(" is no object of attributes");
    }
    return assembled(type, given, where);
}

Box ofJsonText(std::string_view json, KorType const& type, std::string_view where) {
    Json parsed;
    try {
        parsed = parseJson(json);
    } catch (Refused const& refused) {
        throw Refused(std::string(where) + ": " + refused.what());
    }
    return ofJson(parsed, type, std::nullopt, where);
}

/// The derived type that the value itself says it is of; its own type if it says nothing.
KorType const& kindOf(GenericIf const& value) {
    for (auto const& each : value.type()->derivedTypeQQueue()) {
        std::string_view const tag = tagOf(*each.value);
        for (Field const& field : fieldsOf(*value.type())) {
            if (!tag.empty() && field.isStored && field.type->isEnumType() &&
                shortText(*field.get(value)) == tag) {
                return *each.value;
            }
        }
    }
    return *value.type();
}

bool areEqual(Box const& a, Box const& b) {
    return unbox<bool>(*a->attributeOp({0, Op::equals}, b, nullptr));
}

/// Whether a text without quotes is read as it is.
bool isPlain(std::string_view text) {
    return !text.empty() && text != "None" && std::ranges::all_of(text, [](char c) {
        return isNameLetter(c) || std::string_view(".:/-,").find(c) != std::string_view::npos;
    });
}

std::string inParentheses(std::string const& text) {
    return text.find(' ') != text.npos ? '(' + text + ')' : text;
}

/// The fields in which the value differs from its default: views, or, where they do not say all of it, stored
/// attributes.
std::string fieldsText(Box const& value) {
    KorType const& type = *value->type();
    // A view of all the bits of a field that lie apart says more than one of some.
    std::vector<Field const*> fields;
    for (bool const isPair : {true, false}) {
        for (Field const& each : fieldsOf(type)) {
            if (each.isPair() == isPair) {
                fields.push_back(&each);
            }
        }
    }
    for (bool const isStored : {false, true}) {
        std::string text;
        Box const now = assembled(type, {}, "");
        for (Field const* const each : fields) {
            Field const& field = *each;
            if (field.isStored != isStored) {
                continue;
            }
            Box const is = field.get(*value);
            if (is->strRep() != field.get(*now)->strRep()) {
                text.append(" ").append(field.name).append("=").append(inParentheses(shortText(*is)));
                try {
                    isStored ? void() : field.set(now, is);
                } catch (Exception const&) {
                    break; // a peer may have sent a value that is out of its range: the words tell
                }
            }
        }
        if (isStored || areEqual(now, value)) {
            return text;
        }
    }
    return "";
}

} // namespace

std::vector<std::string> const& formNames() {
    static std::vector<std::string> const names{"short", "text", "json", "wire"};
    return names;
}

Form formNamed(std::string_view name) {
    auto const found = std::ranges::find(formNames(), name);
    if (found == formNames().end()) {
        throw WrongUsage("no form " + shown(name) + suggest(name, formNames()));
    }
    return static_cast<Form>(found - formNames().begin());
}

Box Find::operator()(std::string_view path) const {
    if (!follow_) {
        throw Refused("there is nothing that " + shown(path) + " could lead to");
    }
    if (depth_ == deepest) {
        throw Refused("$" + shown(path) + " is nested too deeply: a path in a path, " +
                      std::to_string(deepest) + " times");
    }
    Find inner(*this);
    ++inner.depth_;
    return follow_(path, inner);
}

Box asType(Box const& value, KorType const& type) {
    if (value->type() == &type) {
        return value;
    }
    if (!type.isValue() || (!value->type()->isA(&type) && !type.isA(value->type()))) {
        return nullptr;
    }
    std::vector<Box> arguments;
    for (Argument const& argument : constructorArguments(type)) {
        arguments.push_back(fieldNamed(*value->type(), argument.name).get(*value));
    }
    return type.genericIf(argumentsOf(arguments).ptr(), false);
}

Box readValue(KorType const& type, std::string_view text, Find const& find, std::string_view where,
              std::optional<U64> most) {
    std::string const name = where.empty() ? shortName(type) : "";
    return Reader(find).value(type, text, most, where.empty() ? name : where);
}

Box readNamed(std::string_view text, Find const& find) {
    text = withoutParentheses(trimmed(text));
    if (isTextForm(text)) {
        return Reader(find).ofTextForm(text, "");
    }
    if (text.starts_with('{')) {
        Json const json = parseJson(text);
        for (auto const& [name, member] : json.members) {
            KorType const* const tagged =
                member.kind == Json::Kind::string ? typeOfTag(member.text) : nullptr;
            if (tagged != nullptr) {
                return ofJson(json, *tagged, std::nullopt, shortName(*tagged));
            }
        }
        throw Refused(shown(text) + " does not say of what type it is; put the type in front");
    }
    std::string_view const word = text.substr(0, std::min(text.find_first_of(" \t\r\n\v\f"), text.size()));
    if (KorType const* const tagged = typeOfTag(word)) {
        return Reader(find).rest(*tagged, text.substr(word.size()), "");
    }
    return Reader(find).rest(valueTypeNamed(word), text.substr(word.size()), "");
}

Box readJson(KorType const& type, std::string_view json) {
    return ofJsonText(json, type, shortName(type));
}

Box readWire(KorType const& type, std::string_view hexadecimal) {
    std::vector<U8> bytes;
    for (std::string_view word : split(hexadecimal, ",")) {
        std::string_view const given = word;
        word.remove_prefix(word.starts_with("0x") || word.starts_with("0X") ? 2 : 0);
        for (std::size_t i = 0; i < word.size(); i += 2) {
            auto const byte = parseNumber("0x" + std::string(word.substr(i, 2)));
            if (!byte || i + 1 == word.size()) {
                throw Refused(shortName(type) + ": '" + shown(given) +
                              "' is no bytes in hexadecimal, two digits each, such as 00 04 or 0x0004");
            }
            bytes.push_back(static_cast<U8>(*byte));
        }
    }
    try {
        return NboAttrLog::fromWireForm(type, bytes);
    } catch (AttrLogRecordException const&) {
        throw Refused(shortName(type) + ": " + std::to_string(bytes.size()) +
                      (bytes.size() == 1 ? " byte is" : " bytes are") +
                      " too few or too many for its byte form");
    } catch (GenericException const&) {
        throw Refused(std::string(type.typeName().view()) + " has no byte form");
    } catch (RangeException const& refused) {
        throw Refused(shortName(type) + ": out of range: " + refused.what());
    }
}

Box read(Form form, KorType const& type, std::string_view text) {
    return form == Form::json   ? readJson(type, text)
           : form == Form::wire ? readWire(type, text)
                                : readValue(type, text);
}

namespace {

/// Arguments in order, or each by its name.
Box readList(std::string const& what, std::vector<Argument> const& arguments, std::string_view text,
             Find const& find) {
    std::vector<std::string_view> const given = words(text);
    if (given.size() != arguments.size()) {
        throw Refused(what + " takes " + signature(arguments) + ", not " + std::to_string(given.size()) +
                      (given.size() == 1 ? " argument" : " arguments"));
    }
    std::vector<Box> boxes;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        Argument const& argument = arguments[i];
        std::string const head = argument.name + '=';
        std::string_view word = given[i];
        for (std::string_view const named : given) {
            if (named.starts_with(head)) {
                word = named.substr(head.size());
            }
        }
        if (argument.type->abilities().scalar == Scalar::buffer) {
            throw Refused(what + " takes a buffer, which has no text; see loamtunnel encode for rows");
        }
        boxes.push_back(readValue(*argument.type, word, find, argument.name));
    }
    return argumentsOf(boxes);
}

} // namespace

Box readArguments(KorAttr const& operation, std::string_view text, Find const& find) {
    return readList(std::string(operation.name().view()), operationArguments(operation), text, find);
}

Box makeNew(KorType const& type, std::string_view name, std::string_view text, Find const& find) {
    text = trimmed(text);
    std::string const what = "a new " + shortName(type);
    std::vector<Argument> const arguments = constructorArguments(type);
    return refusing(what, [&]() -> Box {
        if (type.isValue() || type.isEnumType()) {
            std::vector<std::string_view> const given = words(text);
            if (given.empty() && defaultOf(type)) {
                return assembled(type, {}, "");
            }
            bool const hasFields = std::ranges::any_of(
                given, [](std::string_view word) { return Reader::signOf(word) != word.npos; });
            if (hasFields || arguments.size() < 2 || given.size() != arguments.size()) {
                return readValue(type, text, find);
            }
        }
        std::string const own = quoted(name);
        if (text.empty() && arguments.size() == 1 && arguments[0].type == fwkTypeOf<Name>()) {
            text = own;
        }
        Box box = type.genericIf(readList(what, arguments, text, find).ptr(), false);
        if (!box) {
            throw Refused(shortName(type) + " is not made by itself");
        }
        return box;
    });
}

std::string textOf(Ptr<GenericIf const> const& box) {
    return box ? std::string(box->strRep().view()) : "None";
}

std::string shortText(GenericIf const& value) {
    KorType const& own = *value.type();
    String8 const rep = value.strRep();
    std::string_view const text = rep.view();
    if (own.isEnumType()) {
        return std::string(text.substr(1, text.size() - 2));
    }
    if (isNumberType(own)) {
        return std::string(text == "True" ? "true" : text == "False" ? "false" : text);
    }
    if (!own.isValue()) {
        return std::string(text);
    }
    if (isQuotedType(own)) {
        std::string inside(strepToValue<String8>(rep).view());
        return isPlain(inside) ? inside : std::string(text);
    }
    KorType const& type = kindOf(value);
    Box const box = asType(value.clone(), type);
    std::vector<Argument> const arguments = constructorArguments(own);
    if (arguments.size() == 1 && fieldsOf(own).size() == 1) {
        return shortText(*fieldNamed(own, arguments[0].name).get(value));
    }
    return shortName(type) + fieldsText(box);
}

std::string keyText(GenericIf const& key) {
    return shortText(key);
}

void writeJson(JsonWriter& writer, GenericIf const& value) {
    KorType const& type = *value.type();
    String8 const rep = value.strRep();
    std::string_view const text = rep.view();
    if (type.isEnumType()) {
        writer.string(text.substr(1, text.size() - 2));
    } else if (isNumberType(type)) {
        bool const isWide = type.size() == sizeof(U64);
        isWide ? writer.string(text) : writer.raw(text == "True" ? "true" : text == "False" ? "false" : text);
    } else if (isQuotedType(type) || type.isEntity()) { // an entity by its name
        String8 const inside = strepToValue<String8>(rep);
        if (!isUtf8(inside.view())) {
            throw Refused(shown(text) + " has bytes that are no UTF-8, which JSON cannot hold; wire can");
        }
        writer.string(inside.view());
    } else {
        writer.beginObject();
        for (Argument const& each : constructorArguments(type)) {
            writer.key(each.name);
            writeJson(writer, *fieldNamed(type, each.name).get(value));
        }
        writer.end();
    }
}

std::string jsonText(GenericIf const& value) {
    TextStream text;
    JsonWriter writer(text);
    writeJson(writer, value);
    return text.str();
}

std::string wireText(GenericIf const& value) {
    std::vector<std::string> bytes;
    try {
        for (U8 const byte : NboAttrLog::wireForm(value)) {
            bytes.push_back(hex(byte, 2).substr(2));
        }
    } catch (GenericException const&) {
        throw Refused(std::string(value.type()->typeName().view()) + " has no byte form");
    } catch (RangeException const& refused) {
        throw Refused(shortName(*value.type()) + ": " + refused.what());
    }
    return join(bytes);
}

void mustBeRead(GenericIf const& value) {
    if (!value.type()->isValue() && !value.type()->isEnumType()) {
        return; // objects go by their ids
    }
    try {
        readWire(*value.type(), wireText(value));
    } catch (Refused const& refused) {
        throw Refused("no peer takes " + shortText(value) + ": " + refused.what());
    }
}

std::string written(Form form, Ptr<GenericIf const> const& box) {
    return !box                      ? "None"
           : form == Form::shortForm ? shortText(*box)
           : form == Form::text      ? textOf(box)
           : form == Form::json      ? jsonText(*box)
                                     : wireText(*box);
}

} // namespace Kor::Forms
