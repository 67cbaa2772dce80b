#include "forms/Declaration.h"

#include "forms/Path.h"
#include "forms/Text.h"

#include <algorithm>
#include <cctype>
#include <ostream>
#include <string_view>
#include <utility>

namespace Kor::Forms::Cpp {

namespace {

std::string textOf(Kor::String8 const& text) {
    return std::string(text.view());
}

std::string capital(std::string name) {
    name.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
    return name;
}

std::string small(std::string name) {
    name.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(name.front())));
    return name;
}

std::string constReference(std::string const& type) {
    return type + " const&";
}

std::string pointer(std::string const& type) {
    return "Kor::Ptr<" + type + ">";
}

/// The type around all others that a type stands in, which may be itself.
KorType const& outermost(KorType const& type) {
    return type.scope() != nullptr ? outermost(*type.scope()) : type;
}

/// How many types a type derives from.
int depth(KorType const* type) {
    return type->base() != nullptr ? depth(type->base()) + 1 : 0;
}

std::vector<KorType const*> typesWithin(KorType const& outer) {
    std::vector<KorType const*> within;
    for (KorType const* type : KorType::all()) {
        if (type->scope() == &outer) {
            within.push_back(type);
        }
    }
    // Those that others derive from stand first.
    std::ranges::stable_sort(within, {}, depth);
    return within;
}

/// How the types of an attribute are spelled where its class stands.
class Spelling {
public:
    explicit Spelling(KorAttr const& attribute)
        : space_(namespaceOf(*attribute.owner())), attribute_(attribute), value_(of(*attribute.type())) {}

    std::string of(KorType const& type) const { return spelled(textOf(type.typeName()), space_); }
    std::string number() const { return spelled("U32", space_); }
    std::string key() const { return of(*attribute_.keyType()); }
    /// The value as it is stored and passed: an object by a counted pointer.
    std::string value() const {
        bool const isConst = attribute_.shape().reference && attribute_.isConst();
        return holdsObjects() ? pointer(isConst ? value_ + " const" : value_) : value_;
    }
    /// The value as a const object gives it.
    std::string read() const {
        return attribute_.shape().holdsObjects() ? pointer(value_ + " const") : value_;
    }
    /// A queue holds objects by pointers of its own, which say nothing of const.
    bool holdsObjects() const {
        KorType const& type = *attribute_.type();
        return attribute_.shape().holdsObjects() || !(type.isValue() || type.isEnumType());
    }
    /// The type alone.
    std::string const& bare() const { return value_; }

    std::string argument(KorAttr::Argument const& argument) const {
        std::string type = spelled(textOf(argument.type), space_);
        switch (argument.passing) {
        case Passing::byReference:
            return constReference(type);
        case Passing::byPointer:
            return constReference(pointer(type));
        case Passing::byPointerToConst:
            return constReference(pointer(type + " const"));
        case Passing::byValue:
            break;
        }
        return type;
    }

private:
    std::string space_;
    KorAttr const& attribute_;
    std::string value_;
};

using Functions = std::vector<Function>;
using Parameter = Function::Parameter;

Function reader(std::string const& type, std::string const& name, std::vector<Parameter> parameters = {}) {
    return {.result = type, .name = name, .parameters = std::move(parameters), .isConst = true};
}

Function writer(std::string const& name, std::vector<Parameter> parameters,
                std::string const& result = "void") {
    return {.result = result, .name = name, .parameters = std::move(parameters)};
}

void addMap(Functions& all, KorAttr const& attribute, std::string const& x, Spelling const& spelling) {
    Shape const& shape = attribute.shape();
    std::string const node = "Kor" + capital(x);
    std::string const iterator = capital(x) + "Iterator";
    Parameter const key{constReference(spelling.key()), "key"};
    Parameter const value{constReference(spelling.value()), "value"};

    all.push_back(reader(shape.holdsObjects() ? spelling.read() : spelling.value(), x, {key}));
    if (shape.holdsObjects()) {
        all.push_back(writer(x, {key}, spelling.value()));
    }
    std::vector<Parameter> const given = shape.child       ? std::vector{key}
                                         : shape.keyInside ? std::vector{value}
                                                           : std::vector{key, value};
    if (shape.settable) {
        all.push_back(
            writer(x + "Is", given, shape.child ? "Kor::ValidPtr<" + spelling.bare() + ">" : "void"));
    }
    if (shape.counting != Kor::Counting::none) {
        all.push_back(writer(x + "Inc", {key, {spelling.number(), "delta"}}, spelling.number()));
    }
    if (shape.counting == Kor::Counting::both) {
        all.push_back(writer(x + "Dec", {key, {spelling.number(), "delta"}}, spelling.number()));
    }
    all.push_back(writer(x + "Del", {key}, spelling.value()));
    all.push_back(writer(x + "Del", {{iterator + "&", "at"}}, spelling.value()));
    all.push_back(writer(x + "DelAll", {}));
    all.push_back(writer(x + "Notify", {key}));
    all.push_back(writer("new" + capital(x), given, pointer(node)));
    all.push_back(reader(
        "Kor::HashMap<" + node + ", " + spelling.key() + ", " + spelling.value() + "> const&", x + "Map"));
    all.push_back(writer(x + "Iterator", {}, iterator));
}

void addQueue(Functions& all, KorAttr const& attribute, std::string const& x, Spelling const& spelling) {
    Parameter const number{spelling.number(), "number"};
    Parameter const value{constReference(spelling.value()), "value"};
    std::string const parts = spelling.number() + ", " + spelling.value() + ", " + spelling.value();
    std::string const queue = "Kor::LinkQueue<Kor::LinkQueueMember<" + parts + ">, " + parts + ">";
    all.push_back(reader(spelling.value(), x, {number}));
    all.push_back(writer(x + "Enq", {value}));
    all.push_back(writer(x + "Deq", {}, spelling.value()));
    if (attribute.shape().settable) {
        all.push_back(writer(x + "Is", {number, value}));
    }
    all.push_back(writer(x + "Del", {number}, spelling.value()));
    all.push_back(writer(x + "Del", {{queue + "::IteratorConst&", "at"}}, spelling.value()));
    all.push_back(writer(x + "Notify", {number}));
    all.push_back(reader(queue + " const&", x + "Queue"));
}

/// Of U8, S32 and their like, whose full names have no namespace.
bool isNumber(std::string_view fullName) {
    KorType const* const type = KorType::named(fullName);
    return type != nullptr && isNumberType(*type) && !isBoolType(*type);
}

} // namespace

std::string spelled(std::string const& fullName, std::string const& space) {
    std::string const own = space + "::";
    // The model's namespaces have the names of numbers.
    if (isNumber(fullName) && space != "Kor" && !space.starts_with("Hardware::LoamTunnel")) {
        return "Kor::" + fullName;
    }
    return !space.empty() && fullName.starts_with(own) ? fullName.substr(own.size()) : fullName;
}

std::string namespaceOf(KorType const& type) {
    std::string const name = textOf(outermost(type).typeName());
    if (isNumber(name)) {
        return "Kor";
    }
    auto const colons = name.rfind("::");
    return colons == std::string::npos ? "" : name.substr(0, colons);
}

std::string meaningOf(KorAttr const& attribute) {
    std::string text;
    if (KorAttr::Bits const& bits = attribute.bits(); !bits.word.empty()) {
        text = bits.first == bits.last
                   ? "Bit " + std::to_string(bits.first)
                   : "Bits " + std::to_string(bits.first) + " to " + std::to_string(bits.last);
        text.append(" of ").append(bits.word);
        text += attribute.meaning().empty() ? "" : ". ";
    }
    return text.append(attribute.meaning());
}

std::vector<Told> toldOf(KorType const& type) {
    using Kind = Told::Kind;
    std::vector<Told> all;
    for (Kor::NamedText const& each : type.texts()) {
        if (!Kor::isDeclaration(each)) {
            continue;
        }
        Told told{Kind::function, each.name, each.text, {}, each.name, {}};
        auto const take = [&](std::string_view word) {
            bool const is = told.result.starts_with(word);
            told.result.remove_prefix(is ? word.size() : 0);
            return is;
        };
        bool const isHidden = take("private ");
        bool const isWhole = take("using ") || take("template ");
        told.isStatic = take("static ");
        bool const isConstant = take("constexpr "), isNested = take("class ") || take("struct ");
        static_cast<void>(take("virtual ") || take("explicit "));
        std::size_t const end =
            std::min({told.result.find('('), told.result.find(" = "), told.result.size()});
        told.rest = told.result.substr(end);
        if (std::string_view const word = " override"; told.rest.ends_with(word)) {
            told.rest.remove_suffix(word.size());
        }
        std::size_t const begin = told.result.rfind(' ', end - 1) + 1; // 0 where there is none
        told.name = told.result.substr(begin, end - begin);
        told.result = told.result.substr(0, begin);
        told.kind = isHidden                      ? Kind::hidden
                    : isNested                    ? Kind::nested
                    : isWhole                     ? Kind::whole
                    : isConstant                  ? Kind::constant
                    : !told.rest.starts_with('(') ? Kind::member
                    : told.result.empty()         ? Kind::constructor
                                                  : Kind::function;
        all.push_back(told);
    }
    return all;
}

bool has(std::vector<Told> const& told, Told::Kind kind) {
    return std::ranges::find(told, kind, &Told::kind) != told.end();
}

std::vector<Function> operationsOf(KorAttr const& attribute) {
    Functions all;
    Spelling const spelling(attribute);
    Shape const& shape = attribute.shape();
    bool const isValue = attribute.owner()->isValue();
    std::string const x = textOf(attribute.name());
    switch (shape.role) {
    case Role::key:
    case Role::computed:
        all.push_back(reader(spelling.bare(), x));
        break;
    case Role::fwkKey:
        all.push_back(reader(constReference(spelling.bare()), x));
        break;
    case Role::field:
    case Role::view:
        all.push_back(reader(spelling.bare(), x));
        if (isValue && shape.settable) {
            all.push_back(writer(x + "Is", {{spelling.bare(), "value"}}));
        }
        break;
    case Role::singleton:
        all.push_back(reader(spelling.read(), x));
        if (shape.reference) {
            all.push_back(writer(x, {}, spelling.value()));
        }
        if (shape.settable) {
            all.push_back(
                writer(x + "Is",
                       {{shape.isVirtual ? spelling.value() : constReference(spelling.value()), "value"}}));
            all.back().isVirtual = shape.isVirtual;
        }
        break;
    case Role::map:
        addMap(all, attribute, x, spelling);
        break;
    case Role::queue:
        addQueue(all, attribute, x, spelling);
        break;
    case Role::operation:
    case Role::classOperation: {
        Function function{.result = attribute.hasValue() ? spelling.bare() : "void", .name = x};
        for (KorAttr::Argument const& each : attribute.arguments()) {
            function.parameters.push_back({spelling.argument(each), textOf(each.name)});
        }
        function.isStatic = shape.role == Role::classOperation;
        function.isConst = attribute.isConst() && !function.isStatic;
        KorType const* const base = attribute.owner()->base();
        KorAttr const* const before = base != nullptr ? base->attribute(attribute.attributeId()) : nullptr;
        function.isOverride = !isValue && before != nullptr;
        function.isVirtual = shape.isVirtual && !function.isOverride;
        all.push_back(function);
        break;
    }
    case Role::constant:
    case Role::enumerator:
    case Role::none:
        break;
    }
    // As in C++, what the class itself has hides what it derives.
    std::vector<Told> const told = toldOf(*attribute.owner());
    std::erase_if(all, [&](Function const& each) {
        return std::ranges::find(told, std::string_view(each.name), &Told::name) != told.end();
    });
    return all;
}

std::vector<Function> hooksOf(KorAttr const& attribute) {
    Functions all;
    if (attribute.owner()->isValue() || !attribute.shape().hasHooks()) {
        return all;
    }
    std::string const name = "on" + capital(textOf(attribute.name()));
    auto const add = [&](std::string const& hook, std::vector<Parameter> parameters) {
        all.push_back(writer(hook, std::move(parameters)));
        all.back().isVirtual = true;
    };
    if (attribute.shape().keyed) {
        add(name, {{constReference(Spelling(attribute).key()), "key"}});
        add(name + "korImmediate", {});
        all.back().note = "The next two are for code that calls them itself: no change does.";
    }
    add(name, {});
    return all;
}

std::vector<Function::Parameter> constructorParameters(KorType const& type) {
    std::vector<Parameter> parameters;
    auto each = type.constructorArgTypeQQueue().begin();
    for (auto const& name : type.constructorArgNameQQueue()) {
        std::string const argument = spelled(textOf((*each).value), namespaceOf(type));
        parameters.push_back({type.isValue() ? constReference(argument) : argument, textOf(name.value)});
        ++each;
    }
    return parameters;
}

std::vector<Function> factoriesOf(KorType const& type) {
    if (!type.abilities().hasFactory) {
        return {};
    }
    Function factory =
        writer(small(std::string(Kor::shortName(type.typeName().view()))) + "Factory",
               constructorParameters(type), pointer(spelled(textOf(type.typeName()), namespaceOf(type))));
    factory.isStatic = type.scope() != nullptr;
    return {factory};
}

namespace {

/// Prints the lines of a declaration, each at its depth.
class Printer {
public:
    Printer(std::ostream& out, KorType const& type) : out_(out), space_(namespaceOf(type)) {}

    void whole(KorType const& type) {
        if (type.header().empty()) {
            throw Refused(textOf(type.typeName()) +
                          " is known by its name alone: no declaration tells of it");
        }
        std::vector<Told> const told = toldOf(type);
        if (type.isValue() && type.attributes().empty() && told.empty()) { // bool
            return comment(std::string(type.meaning()));
        }
        out_ << "#include \"" << type.header() << "\"\n\n";
        if (!space_.empty()) {
            line("namespace " + space_ + " {\n");
        }
        if (has(told, Told::Kind::whole)) {
            comment(std::string(type.meaning()) + ". " + std::string(told.front().meaning));
            std::string const whole(told.front().declaration);
            if (has(told, Told::Kind::function)) { // another name for a class of a template
                line("template <> class " + whole.substr(whole.find("= ") + 2) + " {\npublic:");
                ++depth_;
                beyondAttributes({told.begin() + 1, told.end()});
                --depth_;
                line("};");
            }
            line(whole + ";");
        } else {
            declaration(type);
        }
        line();
        if (type.isEnumType()) {
            conversions(nameOf(type));
        }
        for (Function const& each : factoriesOf(type)) {
            function(each);
        }
        if (type.isEnumType() || type.abilities().hasFactory) {
            line();
        }
        if (!space_.empty()) {
            line("} // namespace " + space_);
        }
    }

private:
    static std::string nameOf(KorType const& type) {
        return std::string(Kor::shortName(type.typeName().view()));
    }
    std::string spelledName(KorType const& type) const { return spelled(textOf(type.typeName()), space_); }

    void line(std::string const& text = "") {
        out_ << (text.empty() ? "" : std::string(depth_ * 4, ' ')) << text << '\n';
    }

    /// As many lines as it takes.
    void comment(std::string const& text) {
        constexpr std::size_t width = 110;
        std::string const begin = "/// ";
        std::string words = begin;
        std::size_t at = 0;
        while (at < text.size()) {
            std::size_t const end = std::min(text.find(' ', at), text.size());
            if (words.size() > begin.size() && depth_ * 4 + words.size() + end - at > width) {
                words.pop_back();
                line(words);
                words = begin;
            }
            words.append(text, at, end - at).append(" ");
            at = end + 1;
        }
        if (words.size() > begin.size()) {
            words.pop_back();
            line(words);
        }
    }

    static std::string listed(std::vector<Parameter> const& parameters) {
        std::vector<std::string> each;
        each.reserve(parameters.size());
        for (Parameter const& parameter : parameters) {
            each.push_back(parameter.type + " " + parameter.name);
        }
        return "(" + join(each, ", ") + ")";
    }

    void function(Function const& f) {
        line((f.isStatic    ? "static "
              : f.isVirtual ? "virtual "
                            : "") +
             f.result + " " + f.name + listed(f.parameters) + (f.isConst ? " const" : "") +
             (f.isOverride ? " override" : "") + ";");
    }

    void declaration(KorType const& type) {
        comment(std::string(type.meaning()));
        type.isEnumType() ? enumeration(type) : classOf(type);
    }

    void conversions(std::string const& name, std::string const& before = "") {
        comment("Raises Kor::RangeException for a number that is none.");
        line(before + name + " " + name + "Instance(unsigned int number);");
        comment("Raises Kor::RangeException for a name that is none.");
        line(before + name + " " + name + "Instance(Kor::String8 const& name);");
        line(before + "Kor::String8 stringValue(" + name + " value);");
    }

    void enumeration(KorType const& type) {
        line("enum " + nameOf(type) + " : Kor::U32 {");
        ++depth_;
        for (auto const& each : type.attributes()) {
            std::string const meaning = meaningOf(*each);
            line(textOf(each->name()) + " = " + std::to_string(each->attributeId()) + "," +
                 (meaning.empty() ? "" : " ///< " + meaning));
        }
        --depth_;
        line("};");
    }

    void classOf(KorType const& type) {
        std::string const name = nameOf(type);
        KorType const& root = *Kor::PtrInterface::_fwkType();
        KorType const* const base =
            type.base() != nullptr || type.isValue() || &type == &root ? type.base() : &root;
        line("class " + name + (type.abilities().isFinal ? " final" : "") +
             (base != nullptr ? " : public " + spelledName(*base) : "") + " {");
        line("public:");
        ++depth_;
        for (KorType const* within : typesWithin(type)) {
            declaration(*within);
            if (within->isEnumType()) {
                conversions(nameOf(*within), "static ");
            }
            for (Function const& each : factoriesOf(*within)) {
                function(each);
            }
            line();
        }
        std::vector<Told> const told = toldOf(type);
        if (!has(told, Told::Kind::constructor)) {
            constructors(type);
        }
        beyondAttributes(told);
        for (auto const& each : type.attributes()) {
            if (!each->isInherited() && !each->isOfEveryEntity()) {
                attribute(type, *each);
            }
        }
        if (type.isValue()) {
            operators(type);
        } else {
            reactor(type);
        }
        --depth_;
        line("};");
    }

    void beyondAttributes(std::vector<Told> const& told) {
        for (Told const& each : told) {
            if (each.kind != Told::Kind::hidden) {
                comment(std::string(each.meaning));
                line(std::string(each.declaration) + ";");
            }
        }
    }

    void constructors(KorType const& type) {
        std::string const name = nameOf(type);
        std::vector<Parameter> const parameters = constructorParameters(type);
        bool const isValue = type.isValue();
        if (isValue || parameters.empty()) {
            line(name + "();");
        }
        if (!parameters.empty()) {
            if (isValue && parameters.size() > 1) {
                comment("Those that are left out at the end have their defaults.");
            }
            line((parameters.size() == 1 ? "explicit " : "") + name + listed(parameters) + ";");
        }
        if (isValue && type.base() != nullptr) {
            line("explicit " + name + "(" + constReference(spelledName(*type.base())) + " base);");
        }
    }

    void attribute(KorType const& type, KorAttr const& attr) {
        std::string const x = textOf(attr.name());
        line();
        std::string const meaning = meaningOf(attr);
        comment(meaning.empty() ? x : x + ": " + meaning);
        if (attr.shape().role == Role::constant) {
            Box const object = type.genericIf(static_cast<void const*>(nullptr), true);
            line("static constexpr " + spelledName(*attr.type()) + " " + x + " = " +
                 Forms::textOf(valueAt({object, &attr, nullptr, x})) + ";");
        }
        if (attr.shape().role == Role::map) {
            line("class " + capital(x) + "Iterator; ///< goes from member to member");
            if (attr.shape().child) {
                line("using Kor" + capital(x) + " = " + spelledName(*attr.type()) + ";");
            } else {
                line("class Kor" + capital(x) + "; ///< a member: fwkKey() and value");
            }
        }
        for (Function const& each : operationsOf(attr)) {
            function(each);
        }
    }

    void operators(KorType const& type) {
        line();
        if (type.base() != nullptr) {
            comment("Compares as " + spelledName(*type.base()) + " does.");
            return;
        }
        std::string const both =
            "(" + constReference(nameOf(type)) + " a, " + constReference(nameOf(type)) + " b);";
        line("friend bool operator==" + both);
        if (type.abilities().isOrdered) {
            line("friend std::strong_ordering operator<=>" + both);
        }
        if (type.abilities().isNullable) {
            comment("Whether it stands for none.");
            line("bool operator!() const;");
        }
    }

    void reactor(KorType const& type) {
        std::vector<Function> hooks;
        for (auto const& each : type.attributes()) {
            if (!each->isInherited()) {
                std::vector<Function> const more = hooksOf(*each);
                hooks.insert(hooks.end(), more.begin(), more.end());
            }
        }
        if (hooks.empty()) {
            return;
        }
        line();
        comment("Hears of changes, and only reads: derive from it and override hooks (Kor::observe).");
        line("class NotifieeConst : public " + spelledName(*type.base()) + "::NotifieeConst {");
        line("public:");
        ++depth_;
        comment("Null once another reactor has detached this one.");
        line(nameOf(type) + " const* notifier() const noexcept;");
        for (Function const& each : hooks) {
            comment(each.note);
            function(each);
        }
        --depth_;
        line("};");
        comment("The same, and may write.");
        line("class Notifiee : public NotifieeConst {");
        line("public:");
        ++depth_;
        line(nameOf(type) + "* notifier() const noexcept;");
        --depth_;
        line("};");
    }

    std::ostream& out_;
    std::string space_;
    std::size_t depth_ = 0;
};

} // namespace

void printDeclaration(std::ostream& out, KorType const& type) {
    KorType const& outer = outermost(type);
    Printer(out, outer).whole(outer);
}

} // namespace Kor::Forms::Cpp
