#include "forms/ValueText.h"

#include "forms/Entries.h"
#include "reflect/Text.h"
#include "reflect/TypeName.h"

#include <algorithm>
#include <optional>
#include <set>

namespace Kor::Forms {

namespace {

using Kor::GenericIf;
using Kor::KorAttr;
using Kor::KorType;
using Op = GenericIf::AttributeOp;

constexpr std::string_view blanks = " \t\r\n\v\f";

bool isNameLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// The type of an argument, as a type object tells it by name.
KorType& registered(std::string_view fullName) {
    KorType* const type = KorType::named(fullName);
    if (type == nullptr) {
        throw Refused("nothing is known of the type " + shown(fullName));
    }
    return *type;
}

struct Argument {
    std::string name;
    KorType* type;
};

std::vector<Argument> constructorArguments(KorType const& type) {
    std::vector<Argument> all;
    auto at = type.constructorArgTypeQQueue().begin();
    for (auto const& name : type.constructorArgNameQQueue()) {
        all.push_back({std::string(name.value.view()), &registered((*at).value.view())});
        ++at;
    }
    return all;
}

std::vector<Argument> operationArguments(KorAttr const& operation) {
    std::vector<Argument> all;
    for (auto const& each : operation.arguments()) {
        all.push_back({std::string(each.name.view()), &registered(each.type.view())});
    }
    return all;
}

std::string signature(std::vector<Argument> const& arguments) {
    std::vector<std::string> each;
    each.reserve(arguments.size());
    for (Argument const& argument : arguments) {
        each.push_back(argument.name + ": " + shortName(*argument.type));
    }
    return '(' + join(each, ", ") + ')';
}

Box defaultOf(KorType const& type) {
    return type.genericIf(static_cast<void const*>(nullptr), false);
}

/// Whether texts of the type are in quotes.
bool isQuotedType(KorType const& type) {
    Box const box = defaultOf(type);
    return box && box->strRep().view().starts_with('\'');
}

std::string textOfName(std::string_view text) {
    return std::string(Kor::valueToStrep(Kor::String8(text)).view());
}

/// Without the pairs of parentheses around all of it.
std::string_view withoutParentheses(std::string_view text) {
    // The parentheses in front and at the end, each with the blanks around it.
    std::vector<std::size_t> fronts;
    std::vector<std::size_t> backs;
    std::size_t begin = 0;
    for (; begin < text.size() && (text[begin] == '(' || blanks.find(text[begin]) != blanks.npos); ++begin) {
        if (text[begin] == '(') {
            fronts.push_back(begin);
        }
    }
    std::size_t end = text.size();
    for (; end > begin && (text[end - 1] == ')' || blanks.find(text[end - 1]) != blanks.npos); --end) {
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

struct Field {
    std::string_view name, text;
};

/// `name=value`; nothing for any other word.
std::optional<Field> fieldOf(std::string_view word) {
    std::size_t const sign = word.find('=');
    if (sign == word.npos || sign == 0 || !std::ranges::all_of(word.substr(0, sign), isNameLetter)) {
        return std::nullopt;
    }
    return Field{word.substr(0, sign), word.substr(sign + 1)};
}

std::vector<Field> fieldsOf(KorType const& type, std::vector<std::string_view> const& all) {
    std::vector<Field> fields;
    std::set<std::string_view> names;
    for (std::string_view const word : all) {
        std::optional<Field> const field = fieldOf(word);
        if (!field) {
            throw Refused("'" + shown(word) + "' is not of the form field=value, as the fields of " +
                          shortName(type) + " are given");
        }
        if (!names.insert(field->name).second) {
            throw Refused(shown(field->name) + " is given twice");
        }
        fields.push_back(*field);
    }
    return fields;
}

Box get(Box const& box, KorAttr const& attribute) {
    return box->attributeOp({attribute.attributeId(), Op::get}, nullptr, nullptr);
}

KorAttr const* attributeOf(KorType const& type, std::string_view name) {
    return type.typeAttr()->attr(Kor::String8(name));
}

bool isOperation(KorAttr const& attribute) {
    return attribute.shape().isOperation();
}

Kor::Ptr<GenericIf::List_> listOf(std::vector<Box> const& boxes) {
    auto list = Kor::makePtr<GenericIf::List_>();
    for (Box const& each : boxes) {
        list->list().enq(each);
    }
    return list;
}

/// What of a value can be set by name: what has a setter, and operations `xIs(v)`.
std::vector<std::string> settableFields(KorType const& type, Box const& box) {
    std::vector<std::string> names;
    for (Argument const& each : constructorArguments(type)) {
        names.push_back(each.name);
    }
    for (auto const& each : type.attributes()) {
        std::string name(each->name().view());
        if (isOperation(*each)) {
            if (!name.ends_with("Is") || each->arguments().size() != 1) {
                continue;
            }
            name.resize(name.size() - 2);
        } else {
            try {
                box->attributeOp({each->attributeId(), Op::set}, nullptr, nullptr);
            } catch (Kor::OpNotSupportedException const&) {
                continue;
            } catch (Kor::GenericTypeException const&) { // there is a setter, and nothing to set
            }
        }
        if (std::ranges::find(names, name) == names.end()) {
            names.push_back(name);
        }
    }
    return names;
}

void setField(Box const& box, Field const& field, Find const& find) {
    KorType const& type = *box->type();
    KorAttr const* const attribute = attributeOf(type, field.name);
    KorAttr const* const operation = attributeOf(type, std::string(field.name) + "Is");
    bool const byOperation = operation != nullptr && operation->arguments().size() == 1;
    bool const byGetter = attribute != nullptr && attribute->arguments().empty();
    if (attribute == nullptr || (isOperation(*attribute) && !(byOperation && byGetter))) {
        throw Refused(shortName(type) + " has no field " + shown(field.name) +
                      suggest(field.name, settableFields(type, box)));
    }
    Box const value = readValue(byOperation ? *operationArguments(*operation)[0].type : *attribute->type(),
                                field.text, find);
    Box now;
    if (byOperation) {
        box->attributeOp({operation->attributeId(), Op::get}, listOf({value}), nullptr);
        now = box->attributeOp({attribute->attributeId(), Op::get}, listOf({}), nullptr);
    } else {
        box->attributeOp({attribute->attributeId(), Op::set}, nullptr, value);
        now = get(box, *attribute);
    }
    if (now->strRep() != value->strRep()) {
        throw Refused(shown(field.name) + '=' + shown(field.text) + " does not fit: the field would keep " +
                      std::string(now->strRep().view()));
    }
}

/// The type of a kind of row entry (forms/Kind.h) follows from the kind.
Box impliedArgument(KorType const& type, Argument const& argument) {
    if (!argument.type->isEnumType()) {
        return nullptr;
    }
    for (Kind const& kind : allKinds()) {
        if (kind.name == shortName(type) && !kind.alias.empty() &&
            attributeOf(*argument.type, kind.alias) != nullptr) {
            return argument.type->genericIf(Kor::String8(textOfName(kind.alias)), false);
        }
    }
    return nullptr;
}

/// A value with those fields, the others as they are by default.
Box fromFields(KorType const& type, std::vector<Field> fields, Find const& find) {
    Box const initial = defaultOf(type);
    std::vector<Box> arguments;
    for (Argument const& argument : constructorArguments(type)) {
        auto const given = std::ranges::find(fields, argument.name, &Field::name);
        if (given != fields.end()) {
            arguments.push_back(readValue(*argument.type, given->text, find));
            fields.erase(given);
        } else if (Box const implied = impliedArgument(type, argument)) {
            arguments.push_back(implied);
        } else {
            arguments.push_back(get(initial, *attributeOf(type, argument.name)));
        }
    }
    Box box = arguments.empty() ? initial : type.genericIf(listOf(arguments).ptr(), false);
    for (Field const& field : fields) {
        setField(box, field, find);
    }
    return box;
}

/// The value as one of a base of its type; null if the type is none.
Box asBase(Box const& box, KorType const& base) {
    if (box->type() == &base) {
        return box;
    }
    if (!box->type()->isA(&base) || !base.isValue()) {
        return nullptr;
    }
    std::vector<Box> arguments;
    for (Argument const& argument : constructorArguments(base)) {
        arguments.push_back(get(box, *attributeOf(base, argument.name)));
    }
    return base.genericIf(listOf(arguments).ptr(), false);
}

/// "AradLifAcMp vsi=1": a type that is the one wanted or derives from it, and fields. Null for other texts.
Box fromShortForm(KorType const& wanted, std::string_view text, Find const& find) {
    std::string_view const word = text.substr(0, std::min(text.find_first_of(blanks), text.size()));
    if (!std::ranges::all_of(word, [](char c) { return isNameLetter(c) || c == ':'; })) {
        return nullptr;
    }
    std::vector<KorType const*> candidates{&wanted};
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        KorType const& type = *candidates[i];
        std::string const names[] = {shortName(type), std::string(type.typeName().view())};
        if (word == names[0] || word == names[1]) {
            return asBase(fromFields(type, fieldsOf(type, words(text.substr(word.size()))), find), wanted);
        }
        for (auto const& each : type.derivedTypeQQueue()) {
            candidates.push_back(each.value.ptr());
        }
    }
    return nullptr;
}

Box readEnumerator(KorType const& type, std::string_view text) {
    bool const inQuotes =
        text.size() >= 2 && text.front() == text.back() && (text.front() == '\'' || text.front() == '"');
    std::string_view const name = inQuotes ? text.substr(1, text.size() - 2) : text;
    if (attributeOf(type, name) == nullptr) {
        std::vector<std::string> known;
        for (auto const& each : type.attributes()) {
            known.emplace_back(each->name().view());
        }
        throw Refused("no " + shortName(type) + " is called " + shown(name) + suggest(name, known));
    }
    return type.genericIf(Kor::String8(textOfName(name)), false);
}

Box readByText(KorType const& type, std::string_view text) {
    std::string use(text);
    bool const inQuotes = text.starts_with('\'') || text.starts_with('"');
    if (!inQuotes && isQuotedType(type)) {
        use = textOfName(text);
    } else if (type.typeName() == "bool" && (text == "true" || text == "false")) {
        use = text == "true" ? "True" : "False";
    }
    std::string refusal = "'";
    refusal.append(shown(text)).append("' is no ").append(shortName(type));
    Kor::ExactNumbers const exact;
    Box box = refusing(refusal, [&] { return type.genericIf(Kor::String8(use), false); });
    if (!box) {
        throw Refused(shortName(type) + " has no text form");
    }
    return box;
}

Box readObject(KorType const& type, std::string_view text, Find const& find) {
    if (text == "None") {
        return nullptr;
    }
    text.remove_prefix(text.starts_with('$'));
    Box box = find(text);
    if (box && !box->type()->isA(&type)) {
        throw Refused(shown(text) + " is of type " + shortName(*box->type()) + ", not " + shortName(type));
    }
    return box;
}

} // namespace

Box Find::operator()(std::string_view path) const {
    if (depth_ == deepest) {
        throw Refused("$" + shown(path) + " is nested too deeply: a path in a path, " +
                      std::to_string(deepest) + " times");
    }
    Find inner(*this);
    ++inner.depth_;
    return follow_(path, inner);
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

std::string shortName(KorType const& type) {
    std::string name(Kor::shortName(type.typeName().view()));
    return type.scope() != nullptr ? shortName(*type.scope()) + "::" + name : name;
}

KorType& typeNamed(std::string_view name) {
    if (KorType* const exact = KorType::named(name)) {
        return *exact;
    }
    std::vector<KorType*> found;
    std::vector<std::string> known;
    std::vector<std::string> full;
    for (KorType* const type : KorType::all()) {
        std::string_view const each = type->typeName().view();
        known.push_back(shortName(*type));
        if (each.ends_with(name) && each.substr(0, each.size() - name.size()).ends_with("::")) {
            found.push_back(type);
            full.emplace_back(each);
        }
    }
    if (found.size() > 1) {
        throw Refused(std::string(name) + " may be " + enumerate(full, "or"));
    }
    if (found.empty()) {
        throw Refused("no type " + shown(name) + suggest(name, known));
    }
    return *found[0];
}

std::string textOf(Kor::Ptr<GenericIf const> const& box) {
    return box ? std::string(box->strRep().view()) : "None";
}

std::string keyText(GenericIf const& key) {
    Kor::String8 const text = key.strRep();
    std::string_view const view = text.view();
    if (view.size() > 2 && view.front() == '\'') {
        std::string_view const inside = view.substr(1, view.size() - 2);
        if (std::ranges::all_of(inside, [](char c) {
                return isNameLetter(c) || std::string_view(".:/-").find(c) != std::string_view::npos;
            })) {
            return std::string(inside);
        }
    }
    return std::string(view);
}

Box readValue(KorType const& type, std::string_view text, Find const& find) {
    text = withoutParentheses(trimmed(text));
    if (!type.isValue()) {
        return readObject(type, text, find);
    }
    if (text.starts_with('$')) {
        Box const found = find(text.substr(1));
        Box value = found ? asBase(found, type) : nullptr;
        if (!value) {
            throw Refused(shown(text) + " is " +
                          (found ? "of type " + shortName(*found->type()) : "nothing") + ", not " +
                          shortName(type));
        }
        return value;
    }
    if (type.isEnumType()) {
        return readEnumerator(type, text);
    }
    return refusing("'" + shown(text) + "'", [&] {
        if (Box box = isQuotedType(type) ? nullptr : fromShortForm(type, text, find)) {
            return box;
        }
        return readByText(type, text);
    });
}

namespace {

/// Arguments in order, or each by its name.
Box readList(std::string const& what, std::vector<Argument> const& arguments, std::string_view text,
             Find const& find) {
    std::vector<std::string_view> given = words(text);
    if (given.size() != arguments.size()) {
        throw Refused(what + " takes " + signature(arguments) + ", not " + std::to_string(given.size()) +
                      (given.size() == 1 ? " argument" : " arguments"));
    }
    auto const list = Kor::makePtr<GenericIf::List_>();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        Argument const& argument = arguments[i];
        std::string const head = argument.name + '=';
        std::string_view word = given[i];
        for (std::string_view const named : given) {
            if (named.starts_with(head)) {
                word = named.substr(head.size());
            }
        }
        if (argument.type->typeName() == "Kor::BytePtr") {
            throw Refused(what + " takes a buffer, which has no text; see loamtunnel encode for rows");
        }
        list->list().enq(readValue(*argument.type, word, find));
    }
    return list;
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
        if (type.isValue()) {
            std::vector<std::string_view> const given = words(text);
            bool const hasFields =
                std::ranges::all_of(given, [](std::string_view word) { return fieldOf(word).has_value(); });
            if (hasFields && defaultOf(type)) {
                return fromFields(type, fieldsOf(type, given), find);
            }
            if (arguments.size() < 2 || given.size() != arguments.size()) {
                return readValue(type, text, find);
            }
        }
        std::string const own = textOfName(name);
        if (text.empty() && arguments.size() == 1 && arguments[0].type->typeName() == "Kor::Name") {
            text = own;
        }
        Box box = type.genericIf(readList(what, arguments, text, find).ptr(), false);
        if (!box) {
            throw Refused(shortName(type) + " is not made by itself");
        }
        return box;
    });
}

} // namespace Kor::Forms
