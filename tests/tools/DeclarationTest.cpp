/// `loamtunnel schema --cpp`: what is printed is what the classes have.

#include "forms/Declaration.h"

#include "model/LoamTunnelModule.h"
#include "tests/tools/Process.h"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Kor::KorAttr;
using Kor::KorType;
using Kor::Forms::Cpp::Function;
using Kor::Forms::Cpp::Told;
using support::has;
using support::loamtunnel;

/// All types but those that C++ lets nobody declare anew.
std::vector<KorType*> allTypes() {
    std::vector<KorType*> types = KorType::all();
    std::erase_if(types, [](KorType const* type) {
        std::string_view const name = type->typeName().view();
        return name == "bool" ||              // a keyword
               name == "Kor::Builtin<void*>"; // a specialization, which only its own namespace may have
    });
    return types;
}

std::string typesOf(std::vector<Function::Parameter> const& parameters, std::string const& before = "",
                    std::string const& behind = "") {
    std::string list;
    for (Function::Parameter const& each : parameters) {
        list.append(list.empty() ? "" : ", ").append(before).append(each.type).append(behind);
    }
    return list;
}

/// A class of a template is not printed anew, for only its own namespace may have it; its functions are
/// compared.
bool isOfTemplate(KorType const& type) {
    return type.typeName() == "Kor::String8";
}

/// A source file that has the printed declarations of all types in a namespace of their own, behind their
/// include lines, and that compares each function with that of the real class.
class Comparison {
public:
    Comparison() {
        for (KorType const* type : allTypes()) {
            if (type->scope() == nullptr && !isOfTemplate(*type)) {
                print(*type);
            }
        }
        for (KorType const* type : allTypes()) {
            compare(*type);
        }
    }

    std::string text() const {
        return includes_ +
               "#include <concepts>\n\n"
               "template <class T, class F>\ninline constexpr bool constructs = false;\n"
               "template <class T, class... P>\n"
               "inline constexpr bool constructs<T, void(P...)> = std::is_constructible_v<T, P...>;\n\n" +
               declarations_ + checks_;
    }

private:
    /// Each in a namespace of its own, where all other types are the real ones.
    static std::string own(KorType const& type) {
        std::string name(type.typeName().view());
        for (char& c : name) {
            c = c == ':' ? '_' : c;
        }
        return "printed_" + name;
    }

    void print(KorType const& type) {
        std::string open, real, close;
        for (std::string rest = Kor::Forms::Cpp::namespaceOf(type) + "::"; rest.size() > 2;) {
            std::string const name = rest.substr(0, rest.find("::"));
            rest.erase(0, name.size() + 2);
            real += "::" + name;
            open += "namespace " + name + " {\nusing namespace " + real + ";\n";
            close += "}\n";
        }
        std::ostringstream printed;
        Kor::Forms::Cpp::printDeclaration(printed, type);
        declarations_ += "namespace " + own(type) + " {\n" + open + close;
        std::istringstream lines(printed.str());
        for (std::string line; std::getline(lines, line);) {
            (line.starts_with("#include") ? includes_ : declarations_).append(line).append("\n");
        }
        declarations_ += "}\n";
    }

    void compare(KorType const& type) {
        std::string const space = Kor::Forms::Cpp::namespaceOf(type);
        std::string const name(type.typeName().view());
        // In full: g++ 12 looks a name behind a qualified type up in the namespace of that one.
        std::string const real = "::" + Kor::Forms::Cpp::spelled(name, "");
        KorType const* outer = &type;
        while (outer->scope() != nullptr) {
            outer = outer->scope();
        }
        std::string const printed = "::" + own(*outer) + real;
        checks_ +=
            "namespace " + (space.empty() ? "" : space + "::") + "check" + std::to_string(++count_) + " {\n";
        if (!type.isEnumType()) {
            compareClass(type, real, printed);
        }
        for (auto const& attr : type.attributes()) {
            std::string const x(attr->name().view());
            if (type.isEnumType()) {
                std::string number = "static_cast<int>(";
                number.append(real).append("::").append(x).append(") == ");
                require(number + std::to_string(attr->attributeId()));
            } else if (!attr->isInherited() && !attr->isOfEveryEntity()) {
                compareAttribute(*attr, real, printed);
            }
        }
        checks_ += "}\n";
    }

    void compareTold(Told const& told, std::string const& real, std::string const& printed) {
        std::string const name(told.name), result(told.result), rest(told.rest);
        std::string const pair = real + "::" + name + "), decltype(" + printed + "::" + name;
        switch (told.kind) {
        case Told::Kind::constructor:
            require("constructs<" + real + ", void" + rest + ">");
            break;
        case Told::Kind::function:
            ++functions;
            checks_ += "inline constexpr " + result + (told.isStatic ? "(*" : "(" + real + "::*") +
                       "function" + std::to_string(functions) + ")" + rest + " = &" + real + "::" + name +
                       ";\n";
            break;
        case Told::Kind::constant:
            require(real + "::" + name + " == " + printed + "::" + name);
            [[fallthrough]];
        case Told::Kind::member:
            require("std::is_same_v<decltype(" + pair + ")>");
            break;
        case Told::Kind::whole:
            require("std::is_same_v<" + real + ", " + printed + ">");
            break;
        case Told::Kind::nested:
        case Told::Kind::hidden:
            break;
        }
    }

    void compareClass(KorType const& type, std::string const& real, std::string const& printed) {
        std::vector<Told> const told = Kor::Forms::Cpp::toldOf(type);
        for (Told const& each : told) {
            if (each.kind == Told::Kind::whole && isOfTemplate(type)) {
                continue;
            }
            compareTold(each, real, printed);
        }
        if (auto const parameters = Kor::Forms::Cpp::constructorParameters(type);
            !has(told, Told::Kind::constructor)) {
            require("std::is_constructible_v<" + real + (parameters.empty() ? "" : ", ") +
                    typesOf(parameters) + ">");
        }
        for (Function const& each : Kor::Forms::Cpp::factoriesOf(type)) {
            std::string const outer = each.isStatic ? real.substr(0, real.rfind("::")) + "::" : "";
            require("std::is_same_v<decltype(" + outer + each.name + "(" +
                    typesOf(each.parameters, "std::declval<", ">()") + ")), " + each.result + ">");
        }
        if (!has(told, Told::Kind::whole) && !type.attributes().empty()) {
            require("std::is_final_v<" + real + "> == std::is_final_v<" + printed + ">");
        }
        if (type.isValue()) {
            std::string const no = type.abilities().isOrdered ? "" : "!";
            require(no + "std::totally_ordered<" + real + ">");
        }
        if (!std::ranges::all_of(type.attributes(),
                                 [](auto const& each) { return Kor::Forms::Cpp::hooksOf(*each).empty(); })) {
            require("std::derived_from<" + real + "::Notifiee, " + real + "::NotifieeConst>");
            require("std::is_same_v<decltype(std::declval<" + real + "::Notifiee const&>().notifier()), " +
                    real + "*>");
        }
        if (type.abilities().isNullable) {
            require("requires(" + real + " const& value) { !value; }");
        }
    }

    void compareAttribute(KorAttr const& attr, std::string const& real, std::string const& printed) {
        std::string const x(attr.name().view());
        if (attr.shape().role == Kor::Role::constant) {
            require(real + "::" + x + " == " + printed + "::" + x);
        }
        std::string capital = x;
        capital.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(x.front())));
        if (attr.shape().role == Kor::Role::map) {
            for (std::string const& inner : {"Kor" + capital, capital + "Iterator"}) {
                checks_.append("using ").append(inner).append(" = ");
                checks_.append(real).append("::").append(inner).append(";\n");
            }
        }
        for (Function const& each : Kor::Forms::Cpp::operationsOf(attr)) {
            compareFunction(each, real);
        }
        for (Function const& each : Kor::Forms::Cpp::hooksOf(attr)) {
            compareFunction(each, real + "::NotifieeConst");
        }
    }

    void compareFunction(Function const& each, std::string const& of) {
        ++functions;
        checks_ += "inline constexpr " + each.result + (each.isStatic ? " (*" : " (" + of + "::*") +
                   "function" + std::to_string(functions) + ")(" + typesOf(each.parameters) + ")" +
                   (each.isConst ? " const" : "") + " = &" + of + "::" + each.name + ";\n";
    }

    void require(std::string const& condition) { checks_ += "static_assert(" + condition + ");\n"; }

    std::string includes_;
    std::string declarations_;
    std::string checks_;
    int count_ = 0;

public:
    int functions = 0;
};

TEST(Declaration, AllCompileAndAreThoseOfTheClasses) {
    Comparison const comparison;
    EXPECT_GT(comparison.functions, 500);
    std::string const base = testing::TempDir() + "declarations-" + std::to_string(getpid());
    std::ofstream(base + ".cpp") << comparison.text();
    std::string const command = LOAM_COMPILER " -std=c++20 -fsyntax-only -Wall -Wextra -I" LOAM_SOURCES " " +
                                base + ".cpp >" + base + ".txt 2>&1";
    int const status = std::system(command.c_str());
    std::ifstream errors(base + ".txt");
    std::string first;
    for (std::string line; first.size() < 2000 && std::getline(errors, line);) {
        first.append(line).append("\n");
    }
    EXPECT_EQ(status, 0) << first;
    EXPECT_EQ(first, "");
    if (status == 0) {
        unlink((base + ".cpp").c_str());
        unlink((base + ".txt").c_str());
    }
}

TEST(Declaration, EachTypeTellsItsMeaningAndWhereItStands) {
    for (KorType const* type : KorType::all()) {
        std::string const name(type->typeName().view());
        EXPECT_NE(type->meaning(), "") << name;
        for (auto const& attr : type->attributes()) {
            EXPECT_NE(Kor::Forms::Cpp::meaningOf(*attr), "") << name << "::" << attr->name();
        }
        std::ostringstream text;
        text << std::ifstream(LOAM_SOURCES "/" + std::string(type->header())).rdbuf();
        EXPECT_TRUE(has(text.str(), std::string(Kor::shortName(name)))) << name << " in " << type->header();
    }
}

TEST(Declaration, AnAttributeMeansWhatTheNearestTextSays) {
    // What an heir declares again means what its own text says, and what it inherits what the base's does.
    KorType const* const arad = KorType::named("Hardware::LoamTunnel::FapTypeProperties::AradProperties");
    EXPECT_EQ(arad->attribute(264)->meaning(),
              "startingBank + index / lifEntriesPerBank. The null index is not allowed");
    EXPECT_EQ(arad->attribute(258)->meaning(), "The family");
}

TEST(Declaration, IsWhatAUserWouldHaveWritten) {
    EXPECT_EQ(loamtunnel({"schema", "--cpp", "LifAppConfig"}).out, R"(#include "model/LifApps.h"

namespace Hardware::LoamTunnel {

/// The logical interfaces (LIFs) that one application asks for
class LifAppConfig final : public Kor::Entity {
public:
    explicit LifAppConfig(Hardware::Loam::VtAppId app);

    /// app: The application
    Hardware::Loam::VtAppId app() const;

    /// reqCount: How often the application asks for this LIF. It stays at 0 until reqCountDel ends the
    /// request
    class ReqCountIterator; ///< goes from member to member
    class KorReqCount; ///< a member: fwkKey() and value
    U32 reqCount(AradLifEntry const& key) const;
    void reqCountIs(AradLifEntry const& key, U32 const& value);
    U32 reqCountInc(AradLifEntry const& key, U32 delta);
    U32 reqCountDec(AradLifEntry const& key, U32 delta);
    U32 reqCountDel(AradLifEntry const& key);
    U32 reqCountDel(ReqCountIterator& at);
    void reqCountDelAll();
    void reqCountNotify(AradLifEntry const& key);
    Kor::Ptr<KorReqCount> newReqCount(AradLifEntry const& key, U32 const& value);
    Kor::HashMap<KorReqCount, AradLifEntry, U32> const& reqCountMap() const;
    ReqCountIterator reqCountIterator();

    /// fwkKey: The key attribute again, under which the map of the parent knows it
    Hardware::Loam::VtAppId const& fwkKey() const;

    /// Hears of changes, and only reads: derive from it and override hooks (Kor::observe).
    class NotifieeConst : public Kor::Entity::NotifieeConst {
    public:
        /// Null once another reactor has detached this one.
        LifAppConfig const* notifier() const noexcept;
        virtual void onReqCount(AradLifEntry const& key);
        /// The next two are for code that calls them itself: no change does.
        virtual void onReqCountkorImmediate();
        virtual void onReqCount();
    };
    /// The same, and may write.
    class Notifiee : public NotifieeConst {
    public:
        LifAppConfig* notifier() const noexcept;
    };
};

Kor::Ptr<LifAppConfig> lifAppConfigFactory(Hardware::Loam::VtAppId app);

} // namespace Hardware::LoamTunnel
)");
    // A type within another one is printed with that one, once.
    std::string const outer = loamtunnel({"schema", "--cpp", "FapTypeProperties"}).out;
    EXPECT_EQ(loamtunnel({"schema", "--cpp", "FapTypeProperties::AradProperties", "FapTypeProperties"}).out,
              outer);
    EXPECT_TRUE(has(outer, "    static Kor::Ptr<FapTypeProperties::AradProperties> aradPropertiesFactory("));
    EXPECT_EQ(loamtunnel({"schema", "--cpp", "--all"}).status, 2);
}

} // namespace
