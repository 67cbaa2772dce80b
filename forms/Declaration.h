#pragma once

/// The C++ declaration of a type, as a user would have written it, from the type object alone.
///
///     Kor::Forms::Cpp::printDeclaration(std::cout, *Kor::KorType::named("Hardware::LoamTunnel::LifAppConfig"));
///
/// prints
///
///     #include "model/LifApps.h"
///
///     namespace Hardware::LoamTunnel {
///
///     /// The logical interfaces (LIFs) that one application asks for
///     class LifAppConfig : public Kor::Entity {
///     public:
///         explicit LifAppConfig(Hardware::Loam::VtAppId app);
///
///         /// reqCount: How often the application asks for this LIF. ...
///         U32 reqCount(AradLifEntry const& key) const;
///         void reqCountIs(AradLifEntry const& key, U32 const& value);
///         ...
///
/// What is printed compiles behind its include line. It has the operations of the class itself; those of a
/// base stand in the declaration of that one. Nothing here throws, but for want of memory. Any thread.

#include "reflect/type/KorType.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace Kor::Forms::Cpp {

/// A function that a class has. Types are spelled as they are in the namespace of the class.
struct Function {
    struct Parameter {
        std::string type;
        std::string name;
    };

    std::string result;
    std::string name;
    std::vector<Parameter> parameters{};
    bool isConst = false;
    bool isStatic = false;
    bool isVirtual = false;
    bool isOverride = false;
    /// What is to be known of it beyond the attribute's meaning.
    std::string note{};
};

/// What an attribute means, its bits first where it is a view; empty where nothing is said.
KOR_EXPORT std::string meaningOf(KorAttr const& attribute);

/// The operations that an attribute gives a class, but for those that it tells itself, and the hooks that it
/// gives the class's reactors.
KOR_EXPORT std::vector<Function> operationsOf(KorAttr const& attribute);
KOR_EXPORT std::vector<Function> hooksOf(KorAttr const& attribute);
/// The factory: a free function beside the class, or a static one of the class around it.
KOR_EXPORT std::vector<Function> factoriesOf(KorType const& type);
/// What the constructor takes.
KOR_EXPORT std::vector<Function::Parameter> constructorParameters(KorType const& type);

/// What a declaration tells of a type beyond its attributes (runtime/Texts.h), such as
/// `static std::optional<IntfId> fromName(std::string_view name)`.
struct Told {
    enum class Kind { constructor, function, constant, member, nested, whole, hidden };

    Kind kind;
    std::string_view declaration;
    std::string_view meaning;
    std::string_view name;   ///< fromName
    std::string_view result; ///< what stands before the name, but for static, virtual and explicit
    std::string_view rest;   ///< what stands behind the name, but for override
    bool isStatic = false;
};
KOR_EXPORT std::vector<Told> toldOf(KorType const& type);
/// Whether there is one of that kind.
KOR_EXPORT bool has(std::vector<Told> const& told, Told::Kind kind);

/// The name of a type as it is spelled in a namespace.
KOR_EXPORT std::string spelled(std::string const& fullName, std::string const& space);
/// The namespace that a type stands in, and its name within.
KOR_EXPORT std::string namespaceOf(KorType const& type);

/// The declaration. Of a type within another one that of the outer type, which has it.
KOR_EXPORT void printDeclaration(std::ostream& out, KorType const& type);

} // namespace Kor::Forms::Cpp
