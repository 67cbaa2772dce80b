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
/// library that has the type is loaded (reflect/TypeModule.h), and never changes afterwards. Type objects and
/// what they hold never end, so plain pointers to them are safe. Reading is safe on any thread once the
/// libraries are loaded; walking takes references, for which see
/// Kor::VFPtrInterface::enableThreadSafePointers.

#include "reflect/AttributeFlags.h"
#include "reflect/FwkType.h"
#include "reflect/ReflectNames.h"
#include "reflect/entity/EntityPattern.h"
#include "runtime/LinkQueue.h"

#include <functional>
#include <vector>

namespace Kor {

class Dir;
class GenericIf;
class IntrospectionReactor;
class KorTypeAttr;

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
    /// What it means, for people; empty where nothing is said. Kor::texts() in the class's declaration says
    /// it.
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
    void argumentNameEnq(Name name) { arguments_.push_back({std::move(name), {}}); }
    void argumentTypeEnq(Name type) noexcept { arguments_.back().type = std::move(type); }
    void argumentPassingIs(Passing passing) noexcept { arguments_.back().passing = passing; }
    void introspectionFlagsIs(KorAttrIntrospectionFlags flags) noexcept { introspection_ = flags; }
    void shapeIs(Shape const& shape) noexcept { shape_ = shape; }
    void meaningIs(std::string_view meaning) noexcept { meaning_ = meaning; }
    void bitsIs(Bits const& bits) noexcept { bits_ = bits; }
    void isConstIs(bool isConst) noexcept { isConst_ = isConst; }
    /// How many children an entity map is made with: none.
    void initialSizeIs(U32 size) noexcept { initialSize_ = size; }

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
    U32 initialSize_ = 0;
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
    /// `name` is the type's short name. The second argument, a scope, is null: the scope is set when the type
    /// is defined.
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
    /// The attribute of that id, or null. Linear in the number of attributes.
    KorAttr const* attribute(AttributeId id) const;
    /// The attribute that a value of one attribute stands for, or null.
    KorAttr* valAttr() const noexcept { return valAttr_; }
    Ptr<KorAttr> const& defaultCollection() const noexcept { return defaultCollection_; }

    /// What it means, for people; empty where nothing is said.
    virtual std::string_view meaning() const {
        return knownBy_ != nullptr ? knownBy_->meaning() : std::string_view();
    }
    /// The header that declares it, as it is included: "model/LifApps.h". Empty where Kor::texts() does not
    /// stand in the declaration.
    virtual std::string_view header() const {
        return knownBy_ != nullptr ? knownBy_->header() : std::string_view();
    }
    /// What a value can do beyond its attributes, and how an object is made.
    struct Abilities {
        bool isOrdered = false;  ///< `<` and its kin
        bool isNullable = false; ///< `!x`
        bool hasFactory = false; ///< camelNameFactory() beside the class
    };
    virtual Abilities abilities() const { return knownBy_ != nullptr ? knownBy_->abilities() : Abilities(); }
    /// A new entity of the type, with that name, as its factory makes it. Null for a type that has no such
    /// factory.
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

    virtual void typeFlagsDoEmbeddedWriteConstraints();

    void nestedTypeIs(Name const& name, KorType* type, KorTypeFlags const& flags);
    void scopeIs(KorType* scope) noexcept { scope_ = scope; }
    void valAttrIs(KorAttr* attr) const noexcept { valAttr_ = attr; }
    void defaultCollectionIs(Ptr<KorAttr> const& attr) { defaultCollection_ = attr; }
    /// Replaces the attributes by name.
    void type_AttrIs(KorTypeAttr* attrs) { typeAttr_ = attrs; }
    void isValueIs(bool on);
    void isEntityIs(bool on);
    void isEnumTypeIs(bool on);
    void hasGenericIfSupportIs(bool on);

    /// Binds the type object to its full name, under which named() finds it.
    static void typeNodeIs(KorType const* type, Name const& fullName);

    bool korHasAttrLogInterface() const override { return false; }

    /// Defines the type: its size, kind, constructor and attributes. `nested` defines the types within it, at
    /// their place. Called by the module of the type; the base has nothing to define.
    void korDefine(IntrospectionReactor& reactor, std::function<void()> const& nested);
    /// Lets another object, of the class that knows the type, answer for this one: for a type that was asked
    /// for before its module was loaded, and so has a bare object.
    void korKnownByIs(KorType* known) noexcept { knownBy_ = known; }
    /// The attribute of that id as found by name when the type was defined; null for an id of another type.
    KorAttr const* korDescriptor(AttributeId id) const;

protected:
    /// What korDefine() does for `self`, which is this object or one that it answers for.
    virtual void define(KorType& self, IntrospectionReactor& reactor,
                        std::function<void()> const& nested) const;
    /// The names of the descriptors.
    virtual std::vector<std::string_view> descriptorNames() const;

private:
    friend KorType* typeOfSeed(TypeSeed const& seed);

    /// Finds the descriptors that korDescriptor() answers with.
    void descriptorsIs();

    void flagIs(bool KorTypeFlags::*flag, bool on);

    KorType* base_;
    KorType* scope_ = nullptr;
    Name fullName_;
    Ptr<KorTypeAttr> typeAttr_;
    Ptr<KorAttr> defaultCollection_;
    mutable KorAttr* valAttr_ = nullptr;
    KorType* knownBy_ = nullptr;
    std::vector<KorAttr const*> descriptors_;
};

} // namespace Kor
