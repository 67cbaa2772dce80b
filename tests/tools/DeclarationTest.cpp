/// `loamtunnel schema --cpp`: what is printed is what the classes have.

#include "tools/Declaration.h"

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
using support::has;
using support::loamtunnel;
using tool::Function;

std::vector<KorType*> allTypes() {
    return Hardware::LoamTunnel::loamTunnelModule().defined();
}

std::string typesOf(std::vector<Function::Parameter> const& parameters, std::string const& before = "",
                    std::string const& behind = "") {
    std::string list;
    for (Function::Parameter const& each : parameters) {
        list.append(list.empty() ? "" : ", ").append(before).append(each.type).append(behind);
    }
    return list;
}

/// A source file that has the printed declarations of all types in a namespace of their own, behind their
/// include lines, and that compares each function with that of the real class.
class Comparison {
public:
    Comparison() {
        std::ostringstream printed;
        for (KorType const* type : allTypes()) {
            if (type->scope() == nullptr) {
                tool::printDeclaration(printed, *type);
            }
            compare(*type);
        }
        std::istringstream lines(printed.str());
        for (std::string line; std::getline(lines, line);) {
            (line.starts_with("#include") ? includes_ : declarations_).append(line).append("\n");
        }
    }

    std::string text() const {
        return includes_ +
               "#include <concepts>\n\n"
               "namespace printed::Hardware {\nusing namespace ::Hardware;\nnamespace LoamTunnel {\n"
               "using namespace ::Hardware::LoamTunnel;\n}\n}\n\n"
               "namespace printed {\n" +
               declarations_ + "}\n\n" + checks_;
    }

private:
    void compare(KorType const& type) {
        std::string const space = tool::namespaceOf(type);
        std::string const name(type.typeName().view());
        // In full: g++ 12 looks a name behind a qualified type up in the namespace of that one.
        std::string const real = "::" + name;
        checks_ +=
            "namespace " + (space.empty() ? "" : space + "::") + "check" + std::to_string(++count_) + " {\n";
        if (!type.isEnumType()) {
            compareClass(type, real);
        }
        for (auto const& attr : type.attributes()) {
            std::string const x(attr->name().view());
            if (type.isEnumType()) {
                std::string number = "static_cast<int>(";
                number.append(real).append("::").append(x).append(") == ");
                require(number + std::to_string(attr->attributeId()));
            } else if (!attr->isInherited() && !attr->isOfEveryEntity()) {
                compareAttribute(*attr, real, "::printed::" + name);
            }
        }
        checks_ += "}\n";
    }

    void compareClass(KorType const& type, std::string const& real) {
        auto const parameters = tool::constructorParameters(type);
        require("std::is_constructible_v<" + real + (parameters.empty() ? "" : ", ") + typesOf(parameters) +
                ">");
        for (Function const& each : tool::factoriesOf(type)) {
            std::string const outer = each.isStatic ? real.substr(0, real.rfind("::")) + "::" : "";
            require("std::is_same_v<decltype(" + outer + each.name + "(" +
                    typesOf(each.parameters, "std::declval<", ">()") + ")), " + each.result + ">");
        }
        if (type.isValue()) {
            std::string const no = type.abilities().isOrdered ? "" : "!";
            require(no + "std::totally_ordered<" + real + ">");
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
        for (Function const& each : tool::operationsOf(attr)) {
            compareFunction(each, real);
        }
        for (Function const& each : tool::hooksOf(attr)) {
            compareFunction(each, real + "::Notifiee");
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
class LifAppConfig : public Kor::Entity {
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

    /// Hears of changes: derive from it and override hooks (Kor::observe).
    class Notifiee : public Kor::Entity::NotifieeConst {
    public:
        /// Null once another reactor has detached this one.
        LifAppConfig* notifier() const noexcept;
        virtual void onReqCount(AradLifEntry const& key);
        virtual void onReqCountkorImmediate();
        virtual void onReqCount();
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
