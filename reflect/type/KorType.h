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
    /// Of an operation: whether it leaves the object as it is.
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
    /// What a value can do beyond its attributes, and how an object is made.
    struct Abilities {
        bool isOrdered = false;  ///< `<` and its kin
        bool isNullable = false; ///< `!x`
        bool hasFactory = false; ///< camelNameFactory() beside the class
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
    friend KorType* typeOfSeed(TypeSeed const& seed);

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

} // namespace Kor
