#pragma once

/// Type objects: what a type is called, what it derives from, how it is built and which attributes it has.
///
///     Kor::KorType const* type = Kor::KorType::named("Hardware::LoamTunnel::LifAppConfig");
///     for (Kor::Ptr<Kor::KorAttr const> attr : type->attributes()) {
///         std::cout << attr->attributeId() << ' ' << attr->name() << '\n';      // 154 korHasAttrLogInterface ...
///     }
///     Kor::KorAttr const* count = type->typeAttr()->attr("reqCount");
///     count->type()->fullName();              // "U32"
///     count->keyType()->fullName();           // "Hardware::LoamTunnel::AradLifEntry"
///
/// A type object is an entity, but none of the attribute log; all that it tells is filled in while the
/// library that has the type is loaded (reflect/type/TypeModule.h), and never changes. Type objects and what
/// they hold never end, so plain pointers to them are safe. Once the libraries are loaded, reading is safe on
/// any thread; walking takes references (Kor::VFPtrInterface::enableThreadSafePointers).

#include "reflect/FwkType.h"
#include "reflect/ReflectNames.h"
#include "reflect/entity/EntityPattern.h"
#include "runtime/LinkQueue.h"

#include <functional>
#include <map>
#include <span>
#include <vector>

namespace Kor {

class Dir;
class GenericIf;
class IntrospectionReactor;
class KorTypeAttr;
struct AttributeSpec;
struct TypeSpec;

/// The two words of an attribute's flags, as the model gives them. They follow from its shape. The registry
/// hands them on and compares them between peers; nothing in the library reads a bit of them.
struct AttrFlags {
    U32 word0 = 0;
    U32 word1 = 0;
    friend bool operator==(AttrFlags const&, AttrFlags const&) = default;
};

/// 2: stored; 8: an operation; 32: a map whose key is in the value.
struct KorAttrIntrospectionFlags {
    U32 word = 0;
    friend bool operator==(KorAttrIntrospectionFlags const&, KorAttrIntrospectionFlags const&) = default;
};

/// How an operation takes an argument; a pointer is a counted one.
enum class Passing : U8 { byValue, byReference, byPointer, byPointerToConst };

/// One attribute of a type, or one operation.
class KOR_EXPORT KorAttr : public PtrInterface {
public:
    using AttrFlags = Kor::AttrFlags;

    struct Argument {
        Name name;
        /// The full name of the type.
        Name type;
        Passing passing = Passing::byValue;
    };
    /// Where a view lies: bits first to last of the attribute `word`.
    struct Bits {
        std::string_view word;
        U32 first = 0;
        U32 last = 0;
    };

    KorAttr(KorType* owner, Name name, KorType* type, KorType* keyType, AttrFlags flags, AttributeId id);

    Name const& name() const noexcept { return name_; }
    /// The type that has it; of an inherited attribute the one that inherits.
    KorType* owner() const noexcept { return owner_; }
    /// Whether it was copied from the base type.
    bool isInherited() const noexcept { return isInherited_; }
    AttributeId attributeId() const noexcept { return id_; }
    /// The value type; of an operation its result, Kor::Builtin<void*> for none. Never null.
    KorType* type() const noexcept { return type_; }
    /// The key's type; null for an attribute without a key.
    KorType* keyType() const noexcept { return keyType_; }
    /// Which attribute of the value is the key; empty where the key stands apart.
    Name const& keyAttributeName() const noexcept { return keyAttributeName_; }
    std::vector<Argument> const& arguments() const noexcept { return arguments_; }
    AttrFlags const& flags() const noexcept { return flags_; }
    KorAttrIntrospectionFlags introspectionFlags() const noexcept { return introspection_; }
    /// What it means, for people (Kor::texts() in the declaration); empty where nothing is said.
    std::string_view meaning() const noexcept { return meaning_; }
    /// What it is: with a key or not, children or references, settable, ... Of a map of a class without an
    /// attribute log, `travels` is false.
    Shape const& shape() const noexcept { return shape_; }
    /// Of a view: where it lies. Empty for any other attribute.
    Bits const& bits() const noexcept { return bits_; }
    /// Whether an operation leaves the object as it is, or a reference gives a const one.
    bool isConst() const noexcept { return isConst_; }
    /// Whether it is one of those that every entity has: its name, its version and their like.
    bool isOfEveryEntity() const noexcept;
    /// Whether it has a value or, of an operation, a result.
    bool hasValue() const noexcept;

    void keyTypeIs(KorType* keyType) noexcept { keyType_ = keyType; }
    void keyAttributeNameIs(Name name) noexcept { keyAttributeName_ = std::move(name); }
    void introspectionFlagsIs(KorAttrIntrospectionFlags flags) noexcept { introspection_ = flags; }
    /// What else the attribute's declaration says of it.
    void describe(AttributeSpec const& spec, std::string_view meaning);
    /// The same attribute for a type that derives from the owner.
    Ptr<KorAttr> copyFor(KorType* heir) const;

private:
    KorType* owner_;
    Name name_;
    KorType* type_;
    KorType* keyType_;
    Name keyAttributeName_;
    std::vector<Argument> arguments_;
    AttrFlags flags_;
    KorAttrIntrospectionFlags introspection_;
    Shape shape_;
    std::string_view meaning_;
    Bits bits_;
    AttributeId id_;
    bool isInherited_ = false;
    bool isConst_ = false;
};

/// The attributes of a type by name.
class KOR_EXPORT KorTypeAttr : public KorAttr {
public:
    explicit KorTypeAttr(KorType* type, Name const& name);

    /// The attribute of that name, or null. One hash, one chain.
    KorAttr* attr(Name const& name);
    KorAttr const* attr(Name const& name) const;
    /// Makes an attribute of the type and returns it. `keyAttribute` names the key within the value, for a
    /// keyed map; the fourth argument stands for nothing.
    KorAttr* attrIs(Name const& name, Ptr<KorType> const& type, KorAttr* keyAttribute, KorAttr* unused,
                    AttrFlags const& flags, AttributeId id);
    /// Takes an attribute out, also from the order; nothing happens if there is none of the name.
    void attrDel(Name const& name);
    /// Puts a copy among the names.
    void attrAdd(Ptr<KorAttr> const& attr);

private:
    using Entry = MapEntry<Name, Ptr<KorAttr>>;

    HashMap<Entry, Name, Ptr<KorAttr>> attrs_;
};

/// What kind of type it is.
struct KorTypeFlags {
    bool isValue = false;
    bool isEntity = false;
    bool isEnumType = false;
    bool hasGenericIfSupport = false;
    friend bool operator==(KorTypeFlags const&, KorTypeFlags const&) = default;
};

class KOR_EXPORT KorType
    : public EntityOver<KorType, Entity, Queue<name::referringAttrQ, Ptr<KorAttr>>,
                        Queue<name::derivedTypeQ, Ptr<KorType>>, Queue<name::attributeQ, Ptr<KorAttr>>,
                        ValueMap<name::attributeQIdx, Name, U32>, Queue<name::constructorArgNameQ, Name>,
                        Queue<name::constructorArgTypeQ, Name>,
                        ValueMap<name::nestedType, Name, Ptr<KorType>>,
                        Singleton<name::typeFlags, KorTypeFlags>, Singleton<name::size, U32>> {
public:
    /// `name` is the short name. The second argument is null: the scope is set in the definition.
    KorType(Name name, KorType* scope, KorType* base, KorTypeFlags const& flags);
    ~KorType() override;

    /// The type object of that full name, or null. Types have their full names from load on.
    static KorType* named(std::string_view fullName);
    /// All type objects that there are, by full name.
    static std::vector<KorType*> all();

    // What a tool asks. None of it fails.
    Name const& typeName() const noexcept { return fullName_; }
    String8 fullName() const override { return fullName_; }
    KorType* base() const noexcept { return base_; }
    /// Whether this is the other type or derives from it.
    bool isA(KorType const* other) const noexcept;
    /// The type within which this one is declared, or null.
    KorType* scope() const noexcept { return scope_; }
    bool isValue() const { return typeFlags().isValue; }
    bool isEntity() const { return typeFlags().isEntity; }
    bool isEnumType() const { return typeFlags().isEnumType; }
    bool hasGenericIfSupport() const { return typeFlags().hasGenericIfSupport; }
    /// All attributes in their order, those of the base first.
    std::vector<Ptr<KorAttr const>> attributes() const;
    KorTypeAttr* typeAttr() noexcept { return typeAttr_.ptr(); }
    KorTypeAttr const* typeAttr() const noexcept { return typeAttr_.ptr(); }
    /// The attribute of that id, or null. Kept from when the type was defined: one lookup.
    KorAttr const* attribute(AttributeId id) const;
    /// The attribute that a value of one attribute stands for, or null.
    KorAttr* valAttr() const noexcept { return valAttr_; }
    Ptr<KorAttr> const& defaultCollection() const noexcept { return defaultCollection_; }

    /// What it means, for people; empty where nothing is said.
    std::string_view meaning() const;
    /// The header that declares it, "model/LifApps.h"; empty where the declaration has no Kor::texts().
    std::string_view header() const;
    /// What the declaration tells (runtime/Texts.h): of the type, its attributes, and what else it has.
    std::span<NamedText const> texts() const;
    /// What a value is and can do beyond its attributes, and how an object is made.
    struct Abilities {
        bool isOrdered = false;  ///< `<` and its kin
        bool isNullable = false; ///< `!x`
        bool hasFactory = false; ///< camelNameFactory() beside the class
        bool isFinal = false;    ///< no class derives from it
        Scalar scalar = Scalar::none;
        U64 always = 0; ///< bits of its one number that are set in whatever is made
    };
    Abilities abilities() const;
    /// A new entity with that name, as its factory makes it; null for a type without such a factory.
    virtual Ptr<Entity> newEntity(Name const& name, Dir* dir) const;
    /// A new entity whose key or name is read from an attribute log. Null for a type that is not announced.
    virtual Ptr<Entity> newEntity(Ptr<NboAttrLog::In> const& in, Entity::Kor_BitSet flags, unsigned int id,
                                  PtrInterface* context) const;
    /// Mounts the children of an entity map on a stream.
    virtual void childAttrLogIs(Ptr<KorAttr const> const& attr, Ptr<PtrInterface> const& owner,
                                Ptr<NboAttrLog::Out> const& out) const;

    // Boxes, reflect/box/GenericIf.h. Null for a type without them.

    /// A box of a copy of the value, or of the type's default for null.
    virtual Ptr<GenericIf> genericIf(void const* value, bool isConst) const;
    /// A box of what the constructor makes of a list of arguments.
    virtual Ptr<GenericIf> genericIf(GenericIf const* arguments, bool isConst) const;
    /// A box of the value of a text; Kor::RangeException for a text that is none.
    virtual Ptr<GenericIf> genericIf(String8 const& text, bool isConst) const;
    /// A box of an object of exactly this type.
    virtual Ptr<GenericIf> genericIf_(PtrInterface* object, bool isConst) const;
    /// A box of the object's own type; null for null.
    static Ptr<GenericIf> genericIf(PtrInterface* object, bool isConst);

    virtual void typeFlagsDoEmbeddedWriteConstraints() {}

    void nestedTypeIs(Name const& name, KorType* type, KorTypeFlags const& flags);
    void scopeIs(KorType* scope) noexcept { scope_ = scope; }
    void valAttrIs(KorAttr* attr) const noexcept { valAttr_ = attr; }
    void defaultCollectionIs(Ptr<KorAttr> const& attr) { defaultCollection_ = attr; }
    /// Replaces the attributes by name.
    void type_AttrIs(KorTypeAttr* attrs) { typeAttr_ = attrs; }
    void isValueIs(bool on) { flagIs(&KorTypeFlags::isValue, on); }
    void isEntityIs(bool on) { flagIs(&KorTypeFlags::isEntity, on); }
    void isEnumTypeIs(bool on) { flagIs(&KorTypeFlags::isEnumType, on); }
    void hasGenericIfSupportIs(bool on) { flagIs(&KorTypeFlags::hasGenericIfSupport, on); }

    /// Binds the type object to its full name, under which named() finds it.
    static void typeNodeIs(KorType const* type, Name const& fullName);

    static constexpr bool korHasFactory = false;
    bool korHasAttrLogInterface() const override { return false; }

    /// Defines the type: its size, kind, constructor and attributes. `nested` defines the types within it, at
    /// their place. Called by the module of the type.
    void korDefine(IntrospectionReactor& reactor, std::function<void()> const& nested);
    /// For a type that was asked for before its module was loaded: takes over what the module's object is
    /// made from. Overrides of a derived class are not taken over.
    void korKnownByIs(KorType const& known) noexcept { spec_ = known.spec_; }

protected:
    /// The object of a type with that seed, which tells what is in `spec`; that must live on.
    explicit KorType(TypeSeed const& seed, TypeSpec const& spec);

private:
    void flagIs(bool KorTypeFlags::*flag, bool on);

    KorType* base_;
    KorType* scope_ = nullptr;
    Name fullName_;
    Ptr<KorTypeAttr> typeAttr_;
    Ptr<KorAttr> defaultCollection_;
    mutable KorAttr* valAttr_ = nullptr;
    TypeSpec const* spec_;
    std::map<AttributeId, KorAttr const*> byId_;
};

// clang-format off
consteval auto korTextsOf(std::type_identity<KorAttr>) {
    return texts(
        "", "One attribute of a type, or one operation",
        "struct Argument", "Name and type of what an operation takes",
        "struct Bits", "Where a view lies",
        "KorAttr(KorType* owner, Name name, KorType* type, KorType* keyType, AttrFlags flags, AttributeId id)",
            "An attribute; keyType is null for one without a key",
        "Name const& name() const", "The name",
        "KorType* owner() const", "The type that has it; of an inherited attribute the one that inherits",
        "bool isInherited() const", "Whether it was copied from the base type",
        "AttributeId attributeId() const", "The number within its type",
        "KorType* type() const", "The value type; of an operation its result. Never null",
        "KorType* keyType() const", "The key's type; null for an attribute without a key",
        "Name const& keyAttributeName() const", "Which attribute of the value is the key; empty where the key stands apart",
        "std::vector<KorAttr::Argument> const& arguments() const", "What an operation takes",
        "AttrFlags const& flags() const", "Two words that follow from the shape",
        "KorAttrIntrospectionFlags introspectionFlags() const", "2: stored; 8: an operation; 32: a map whose key is in the value",
        "std::string_view meaning() const", "What it means, for people",
        "Shape const& shape() const", "What it is: with a key or not, children or references, settable",
        "KorAttr::Bits const& bits() const", "Where a view lies; empty for any other attribute",
        "bool isConst() const", "Whether an operation leaves the object as it is, or a reference gives a const one",
        "bool isOfEveryEntity() const", "Whether it is one of those that every entity has",
        "bool hasValue() const", "Whether it has a value or, of an operation, a result",
        "void keyTypeIs(KorType* keyType)", "Called while the type is defined",
        "void keyAttributeNameIs(Name name)", "Called while the type is defined",
        "void introspectionFlagsIs(KorAttrIntrospectionFlags flags)", "Called while the type is defined",
        "void describe(AttributeSpec const& spec, std::string_view meaning)", "Called while the type is defined",
        "Ptr<KorAttr> copyFor(KorType* heir) const", "The same attribute for a type that derives from the owner");
}
consteval auto korTextsOf(std::type_identity<KorTypeFlags>) {
    return texts(
        "", "What kind of type it is",
        "bool isValue = false", "A value, an enumeration or a scalar",
        "bool isEntity = false", "An entity",
        "bool isEnumType = false", "An enumeration",
        "bool hasGenericIfSupport = false", "It has boxes");
}
consteval auto korTextsOf(std::type_identity<KorType>) {
    return texts(
        "",
            "The type object of a class, a value, an enumeration or a scalar; all that it tells is filled in at load, and never changes",
        "struct Abilities", "What a value is and can do, and how an object is made",
        "referringAttrQ", "Attributes that have this type; the library leaves it empty",
        "derivedTypeQ", "The types that derive directly from this one",
        "attributeQ", "The attributes in their order, those of the base first",
        "attributeQIdx", "The place of an attribute in attributeQ by name; 0 for none",
        "constructorArgNameQ", "What the arguments of the constructor are called",
        "constructorArgTypeQ", "The full names of their types",
        "nestedType", "The type of that name that is declared inside this one",
        "typeFlags", "What kind of type it is",
        "size", "The size of an object in bytes; 0 where only the name is known",
        "KorType(Name name, KorType* scope, KorType* base, KorTypeFlags const& flags)",
            "A type of that short name; the scope is set in the definition",
        "static KorType* named(std::string_view fullName)", "The type object of that full name, or null",
        "static std::vector<KorType*> all()", "All type objects, by full name",
        "Name const& typeName() const", "The full name",
        "String8 fullName() const override", "The full name",
        "KorType* base() const", "The type that it derives from, or null",
        "bool isA(KorType const* other) const", "Whether this is the other type or derives from it",
        "KorType* scope() const", "The type within which this one is declared, or null",
        "bool isValue() const", "Whether it is a value, an enumeration or a scalar",
        "bool isEntity() const", "Whether it is an entity",
        "bool isEnumType() const", "Whether it is an enumeration",
        "bool hasGenericIfSupport() const", "Whether it has boxes",
        "std::vector<Ptr<KorAttr const>> attributes() const", "All attributes in their order, those of the base first",
        "KorTypeAttr* typeAttr()", "The attributes by name",
        "KorTypeAttr const* typeAttr() const", "The attributes by name",
        "KorAttr const* attribute(AttributeId id) const", "The attribute of that id, or null",
        "KorAttr* valAttr() const", "The attribute that a value of one attribute stands for, or null",
        "Ptr<KorAttr> const& defaultCollection() const", "The collection that stands for the type, or null",
        "std::string_view meaning() const", "What it means, for people",
        "std::string_view header() const", "The header that declares it",
        "std::span<NamedText const> texts() const", "What its declaration tells beyond its attributes is among them",
        "KorType::Abilities abilities() const", "What a value is and can do beyond its attributes, and how an object is made",
        "virtual Ptr<Entity> newEntity(Name const& name, Dir* dir) const",
            "A new entity with that name; null for a type without such a factory",
        "virtual Ptr<Entity> newEntity(Ptr<NboAttrLog::In> const& in, PtrInterface::NotifieeConst::Kor_BitSet flags, unsigned int id, PtrInterface* context) const",
            "The same, the name read from an attribute log",
        "virtual void childAttrLogIs(Ptr<KorAttr const> const& attr, Ptr<PtrInterface> const& owner, Ptr<NboAttrLog::Out> const& out) const",
            "Mounts the children of an entity map on a stream",
        "virtual Ptr<GenericIf> genericIf(void const* value, bool isConst) const",
            "A box of a copy of the value, or of the default for null",
        "virtual Ptr<GenericIf> genericIf(GenericIf const* arguments, bool isConst) const",
            "A box of what the constructor makes of the arguments",
        "virtual Ptr<GenericIf> genericIf(String8 const& text, bool isConst) const",
            "A box of the value of a text; raises Kor::RangeException for a text that is none",
        "virtual Ptr<GenericIf> genericIf_(PtrInterface* object, bool isConst) const", "A box of an object of exactly this type",
        "static Ptr<GenericIf> genericIf(PtrInterface* object, bool isConst)", "A box of the object's own type; null for null",
        "virtual void typeFlagsDoEmbeddedWriteConstraints()", "For heirs; it does nothing",
        "void nestedTypeIs(Name const& name, KorType* type, KorTypeFlags const& flags)", "Called while the type is defined",
        "void scopeIs(KorType* scope)", "Called while the type is defined",
        "void valAttrIs(KorAttr* attr) const", "Called while the type is defined",
        "void defaultCollectionIs(Ptr<KorAttr> const& attr)", "Called while the type is defined",
        "void type_AttrIs(KorTypeAttr* attrs)", "Called while the type is defined",
        "void isValueIs(bool on)", "Called while the type is defined",
        "void isEntityIs(bool on)", "Called while the type is defined",
        "void isEnumTypeIs(bool on)", "Called while the type is defined",
        "void hasGenericIfSupportIs(bool on)", "Called while the type is defined",
        "void korDefine(IntrospectionReactor& reactor, std::function<void()> const& nested)", "Called while the type is defined",
        "void korKnownByIs(KorType const& known)", "Called while the type is defined",
        "static void typeNodeIs(KorType const* type, Name const& fullName)", "Binds the type object to its full name",
        "bool korHasAttrLogInterface() const override", "False");
}
// clang-format on

} // namespace Kor
