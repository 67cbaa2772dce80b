#include "forms/Fields.h"

#include "forms/Text.h"
#include "reflect/Text.h"
#include "runtime/TypeName.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace Kor::Forms {

namespace {

using Op = GenericIf::AttributeOp;

KorType& registered(std::string_view fullName) {
    KorType* const type = KorType::named(fullName);
    if (type == nullptr) {
        throw Refused("nothing is known of the type " + shown(fullName));
    }
    return *type;
}

KorAttr const* attributeOf(KorType const& type, std::string_view name) {
    return type.typeAttr()->attr(String8(name));
}

/// Reading changes nothing: the interface has one operation for both.
Box op(GenericIf const& box, KorAttr const& attribute, std::vector<Box> const& arguments) {
    GenericIf& open = const_cast<GenericIf&>(box);
    return attribute.shape().isOperation()
               ? open.attributeOp({attribute.attributeId(), Op::get}, argumentsOf(arguments), nullptr)
               : open.attributeOp({attribute.attributeId(), Op::get}, nullptr, nullptr);
}

} // namespace

std::string shortName(KorType const& type) {
    std::string name(Kor::shortName(type.typeName().view()));
    return type.scope() != nullptr ? shortName(*type.scope()) + "::" + name : name;
}

KorType* findType(std::string_view name) {
    if (KorType* const exact = KorType::named(name)) {
        return exact;
    }
    // Each line of a file names its types again, and there are hundreds. Type objects do not end.
    thread_local std::map<std::string, KorType*, std::less<>> known;
    if (auto const at = known.find(name); at != known.end()) {
        return at->second;
    }
    std::vector<KorType*> found;
    for (KorType* const type : KorType::all()) {
        std::string_view const each = type->typeName().view();
        if (each.ends_with(name) && each.substr(0, each.size() - name.size()).ends_with("::")) {
            found.push_back(type);
        }
    }
    if (found.size() > 1) {
        std::vector<std::string> full;
        full.reserve(found.size());
        for (KorType const* type : found) {
            full.emplace_back(type->typeName().view());
        }
        throw WrongUsage(shown(name) + " may be " + enumerate(full, "or"));
    }
    if (found.empty()) {
        return nullptr;
    }
    known.emplace(name, found[0]);
    return found[0];
}

KorType& typeNamed(std::string_view name) {
    if (KorType* const found = findType(name)) {
        return *found;
    }
    std::vector<std::string> known;
    for (KorType const* type : KorType::all()) {
        known.push_back(shortName(*type));
    }
    throw WrongUsage(
        "no type " + shownName(name) +
        (name.empty() ? ": the name is empty; give one, such as AradLifAcMp" : suggest(name, known)));
}

KorType const& valueTypeNamed(std::string_view name) {
    KorType const& type = typeNamed(name);
    if (!type.isValue() && !type.isEnumType()) {
        throw WrongUsage(shown(name) + " is a type of objects; there is text of values alone");
    }
    return type;
}

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

bool isStateless(KorType const& type) {
    return type.isValue() && !type.isEnumType() &&
           type.constructorArgNameQQueue().begin() == type.constructorArgNameQQueue().end() &&
           !type.attributes().empty();
}

Box defaultOf(KorType const& type) {
    return type.genericIf(static_cast<void const*>(nullptr), false);
}

bool isQuotedType(KorType const& type) {
    Scalar const scalar = type.abilities().scalar;
    if (scalar != Scalar::none || !type.isValue() || type.isEnumType()) {
        return scalar == Scalar::string || scalar == Scalar::buffer;
    }
    std::vector<Argument> const arguments = constructorArguments(type);
    return arguments.size() == 1 && (arguments[0].type->isEnumType() || isQuotedType(*arguments[0].type));
}

bool isBoolType(KorType const& type) {
    return type.abilities().scalar == Scalar::boolean;
}

bool isNumberType(KorType const& type) {
    Scalar const scalar = type.abilities().scalar;
    return scalar == Scalar::number || scalar == Scalar::signedNumber || scalar == Scalar::boolean;
}

U64 mostOfType(KorType const& type) {
    U32 const bits = 8 * type.size();
    switch (type.abilities().scalar) {
    case Scalar::boolean:
        return 1;
    case Scalar::number:
        return ~U64{0} >> (64 - bits);
    case Scalar::signedNumber:
        return ~U64{0} >> (65 - bits);
    default:
        return 0;
    }
}

Ptr<GenericIf> argumentsOf(std::vector<Box> const& boxes) {
    auto list = makePtr<GenericIf::List_>();
    for (Box const& each : boxes) {
        list->list().enq(each);
    }
    return list;
}

U64 numberOf(GenericIf const& box) {
    KorType const& type = *box.type();
    if (type.isEnumType()) {
        return *static_cast<U32 const*>(const_cast<GenericIf&>(box).voidPtrIs(&type));
    }
    if (!isNumberType(type)) {
        return 0;
    }
    String8 const text = box.strRep();
    return text == "True" ? 1 : parseNumber(text.view()).value_or(0);
}

Box boxOfNumber(KorType const& type, U64 number) {
    if (type.isEnumType()) {
        U32 const of = static_cast<U32>(number);
        return type.genericIf(static_cast<void const*>(&of), false);
    }
    ExactNumbers const exact;
    return type.genericIf(
        isBoolType(type) ? String8(number != 0 ? "True" : "False") : String8(std::to_string(number)), false);
}

std::vector<std::string> Field::words() const {
    std::vector<std::string> all;
    if (isBoolType(*type)) {
        all = {"false", "true"};
    } else if (type->isEnumType()) {
        for (auto const& each : type->attributes()) {
            all.emplace_back(each->name().view());
        }
    }
    return all;
}

bool Field::isPair() const {
    return partGetter_ == nullptr && getter_->shape().isOperation();
}

Box Field::get(GenericIf const& value) const {
    if (partGetter_ == nullptr) {
        return op(value, *getter_, {});
    }
    return op(*op(value, *partGetter_, {boxOf(partFlag_)}), *getter_, {});
}

void Field::set(Box const& value, Box const& to) const {
    if (partGetter_ != nullptr) {
        Box const flag = boxOf(partFlag_);
        Box const part = op(*value, *partGetter_, {flag});
        Field inner(*this);
        inner.partGetter_ = nullptr;
        inner.set(part, to);
        value->attributeOp({partSetter_->attributeId(), Op::get}, argumentsOf({flag, part}), nullptr);
    } else if (setter_->shape().isOperation()) {
        value->attributeOp({setter_->attributeId(), Op::get}, argumentsOf({to}), nullptr);
    } else {
        value->attributeOp({setter_->attributeId(), Op::set}, nullptr, to);
    }
}

/// Finds the fields of one type.
class FieldsOf {
public:
    explicit FieldsOf(KorType const& type) : type_(type), initial_(defaultOf(type)) {
        if (!initial_) {
            return;
        }
        parts();
        for (bool const isInherited : {false, true}) {
            for (auto const& each : type.attributes()) {
                if (each->isInherited() == isInherited) {
                    own(*each);
                }
            }
        }
    }
    std::vector<Field> all;

private:
    /// `xIs` beside `x`, with so many arguments, of which the last is of that type.
    KorAttr const* setterOf(KorAttr const& getter, std::size_t arguments) const {
        KorAttr const* const setter = attributeOf(type_, std::string(getter.name().view()) + "Is");
        bool const fits = setter != nullptr && setter->shape().isOperation() &&
                          setter->arguments().size() == arguments &&
                          setter->arguments().back().type == getter.type()->typeName();
        return fits ? setter : nullptr;
    }

    void own(KorAttr const& attribute) {
        Shape const& shape = attribute.shape();
        Field field;
        field.name = attribute.name().view();
        field.type = attribute.type();
        field.getter_ = &attribute;
        field.setter_ = shape.isOperation() && attribute.arguments().empty() ? setterOf(attribute, 1)
                        : shape.settable                                     ? &attribute
                                                                             : nullptr;
        for (auto const& name : type_.constructorArgNameQQueue()) {
            field.isStored = field.isStored || name.value == attribute.name();
        }
        if (field.setter_ != nullptr || field.isStored) {
            field.most = mostOf(field);
            all.push_back(std::move(field));
        }
    }

    /// Of operations that take a bool named `isAc0`: true is ac0, false ac1.
    void parts() {
        for (bool const flag : {true, false}) {
            for (auto const& each : type_.attributes()) {
                if (!each->shape().isOperation() || each->arguments().size() != 1 || !each->hasValue() ||
                    setterOf(*each, 2) == nullptr || !isBoolType(*operationArguments(*each)[0].type)) {
                    continue;
                }
                std::string prefix(each->arguments()[0].name.view());
                if (!prefix.starts_with("is") || !prefix.ends_with('0')) {
                    continue;
                }
                prefix.erase(0, 2);
                prefix.front() = static_cast<char>(prefix.front() | 0x20);
                prefix.back() = flag ? '0' : '1';
                for (Field field : fieldsOf(*each->type())) {
                    field.name = prefix + '.' + field.name;
                    field.partGetter_ = each.ptr();
                    field.partSetter_ = setterOf(*each, 2);
                    field.partFlag_ = flag;
                    field.isStored = false;
                    field.most = field.setter_ != nullptr ? mostOf(field) : 0;
                    if (field.most != 0) { // a whole that drops a field does not have it
                        all.push_back(std::move(field));
                    }
                }
            }
        }
    }

    /// Whether the field keeps the number as it is.
    bool keeps(Field& field, U64 number, U64* kept = nullptr) const {
        try {
            Box const box = made(field, number);
            U64 const now = numberOf(*field.get(*box));
            if (kept != nullptr) {
                *kept = now;
            }
            return now == number;
        } catch (Exception const& exception) {
            field.refusal = exception.what();
            return false;
        }
    }
    Box made(Field const& field, U64 number) const {
        Box const to = boxOfNumber(*field.type, number);
        if (field.setter_ != nullptr) {
            Box box = initial_->clone();
            field.set(box, to);
            return box;
        }
        std::vector<Box> arguments;
        for (Argument const& each : constructorArguments(type_)) {
            arguments.push_back(each.name == field.name ? to
                                                        : op(*initial_, *attributeOf(type_, each.name), {}));
        }
        return type_.genericIf(argumentsOf(arguments).ptr(), false);
    }

    /// Bits above those that a field has are cut, and a number above a value's range is refused: so what it
    /// keeps of all ones is the most, or what comes before the first that is refused.
    U64 mostOf(Field& field) const {
        KorType const& type = *field.type;
        if (type.isEnumType()) {
            U64 most = 0;
            for (auto const& each : type.attributes()) {
                most = std::max<U64>(most, static_cast<U64>(each->attributeId()));
            }
            return most;
        }
        if (!isNumberType(type) || type.abilities().scalar == Scalar::signedNumber) {
            return 0;
        }
        U64 const widest = mostOfType(type);
        U64 kept = 0;
        if (keeps(field, widest, &kept) || (kept != 0 && keeps(field, kept))) {
            return kept;
        }
        U64 low = 0;
        for (U64 high = widest; low < high;) {
            U64 const middle = low + (high - low) / 2 + 1;
            if (keeps(field, middle)) {
                low = middle;
            } else {
                high = middle - 1;
            }
        }
        return low;
    }

    KorType const& type_;
    Box initial_;
};

std::vector<Field> const& fieldsOf(KorType const& type) {
    static std::recursive_mutex mutex; // of a value within
    static std::map<KorType const*, std::vector<Field>> known;
    std::lock_guard const lock(mutex);
    auto const found = known.find(&type);
    if (found != known.end()) {
        return found->second;
    }
    std::vector<Field> fields = FieldsOf(type).all;
    return known.emplace(&type, std::move(fields)).first->second;
}

Field const& fieldNamed(KorType const& type, std::string_view name) {
    std::vector<Field> const& fields = fieldsOf(type);
    auto const found = std::ranges::find(fields, name, &Field::name);
    if (found != fields.end()) {
        return *found;
    }
    std::vector<std::string> known;
    known.reserve(fields.size());
    for (Field const& each : fields) {
        known.push_back(each.name);
    }
    throw Refused(shortName(type) + " has no field " + shown(name) +
                  (known.empty() ? "" : suggest(name, known)));
}

} // namespace Kor::Forms
