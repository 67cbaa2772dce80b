#pragma once

/// The base of all state objects: an object with a name, a version and a place in the tree of entities.
///
///     Kor::Ptr<LifAppConfigDir> dir = lifAppConfigDirFactory("lif");
///     auto config = dir->appConfigIs(Hardware::Loam::vtAppMpls);
///     config->parent();        // dir
///     config->fullName();      // "lif/appConfig['vtAppMpls']"
///
/// Entity classes are declared with the pattern of reflect/entity/EntityPattern.h; nobody derives from this
/// one by hand. The parent is a plain pointer: a parent holds its children, and takes itself off them when it
/// lets them go or ends. An entity and all that observes it belong to one thread.
///
/// The name is shared, so an entity costs its own allocation alone; fullName() builds a text from the root
/// down.

#include "runtime/ListRaw.h"
#include "runtime/Notifiee.h"
#include "runtime/Ptr.h"
#include "runtime/String8.h"

namespace Kor {

namespace NboAttrLog {
class In;
class Out;
} // namespace NboAttrLog

class KOR_EXPORT Entity : public PtrInterface {
public:
    class NotifieeConst;
    /// What all stream adapters are.
    class KorNboAttrLogSa;
    using Kor_BitSet = PtrInterface::NotifieeConst::Kor_BitSet;

    /// What an entity's parent attribute id is before a parent has set it.
    static constexpr AttributeId noParentAttr = 136;

    // The ids of the attributes that every entity has.
    static constexpr AttributeId nameAttr = 130;
    static constexpr AttributeId versionAttr = 131;
    static constexpr AttributeId mutableReadsAttr = 132;
    static constexpr AttributeId fullNameAttr = 133;
    static constexpr AttributeId korHasAttrLogInterfaceAttr = 154;

    ~Entity() override;

    static KorType* _fwkType();
    KorType* fwkType() const override;

    virtual Name name() const;
    virtual Ptr<Entity const> parent() const;
    virtual Ptr<Entity> parent();
    /// Stores the parent, uncounted; null takes the entity off it. Called by the parent's operations.
    virtual void parentIs(Ptr<Entity> const& parent);
    /// The name of the parent's attribute that holds this entity; empty without a parent.
    virtual String8 parentAttr() const;
    virtual AttributeId parentAttrId() const;
    virtual void parentAttrIdIs(AttributeId attribute);
    /// As fullName(), from the root on, with a slash before it.
    virtual String8 uriPath() const;
    /// The names from the root to this entity with slashes between them. An entity without a name of its own
    /// shows as its parent's attribute with its key.
    virtual String8 fullName() const;
    /// The name of an attribute; "unknown" for an id that the class does not have.
    virtual String8 attributeString(AttributeId attribute) const;
    virtual void korNotifieeAdapterIs(Ptr<Entity const> const& adapter);
    virtual void handleParent(Ptr<Entity> const& parent);

    // The stream operations: null and nothing for an entity without an attribute log.
    virtual Ptr<KorNboAttrLogSa const> korNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out) const;
    virtual bool korHasAttrLogInterface() const;
    virtual Ptr<KorNboAttrLogSa> korNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out);
    virtual Ptr<KorNboAttrLogSa> korNboAttrLogSaForMsgChannel(Ptr<KorNboAttrLogSa> const& adapter) const;
    virtual Ptr<KorNboAttrLogSa> korNboAttrLogSaIs(Kor_BitSet flags, unsigned int id,
                                                   Ptr<NboAttrLog::Out> const& out, PtrInterface* context);
    /// Takes the adapter towards that stream off the entity and returns it; null if there is none.
    virtual Ptr<KorNboAttrLogSa> korNboAttrLogSaDel(Ptr<NboAttrLog::Out const> const& out);

    /// The text of the key by which a parent's attribute holds this entity; empty if it has none.
    virtual String8 korKeyText() const;

    /// Rises by one with each change of an attribute, but not with xInc() and xDec(). Wraps.
    U32 version() const noexcept { return version_; }
    /// How often a child or reference was handed out for writing.
    U32 mutableReads() const noexcept { return mutableReads_; }

    bool hasParent() const noexcept { return parent_ != nullptr; }

    explicit Entity(Name name = {});
    Entity(Entity const&) = delete;

protected:
    void versionInc() noexcept { ++version_; }
    void mutableReadsInc() const noexcept { ++mutableReads_; }

private:
    friend struct EntityAccess;

    Name name_;
    U32 version_ = 0;
    mutable U32 mutableReads_ = 0;
    AttributeId parentAttrId_ = noParentAttr;
    Entity* parent_ = nullptr;
};

/// How the attributes of an entity reach its counters.
struct EntityAccess {
    static void versionInc(Entity& entity) noexcept { entity.versionInc(); }
    static void mutableReadsInc(Entity const& entity) noexcept { entity.mutableReadsInc(); }
};

/// The root of the reactors of entities.
class KOR_EXPORT Entity::NotifieeConst : public PtrInterface::NotifieeConst {
public:
    // Slots for whoever wants to tell of them. Nothing in this library does: a change of the version comes
    // with that of an attribute, and of a parent its own reactors hear.
    virtual void onParent();
    virtual void onVersion();

protected:
    NotifieeConst() = default;
};

/// A reactor that carries an entity's changes to a peer; it is told before all other reactors.
class KOR_EXPORT Entity::KorNboAttrLogSa : public PtrInterface::NotifieeConst {
public:
    bool isStreamAdapter() const override { return true; }
    /// Whether it carries to that stream. Null asks for one whose id is the same on all streams and whose
    /// peer is there.
    virtual bool isTowards(NboAttrLog::Out const* out) const;
    /// Whether it has an id, a peer that is there, and the message channel of the other one.
    virtual bool isOfChannelOf(KorNboAttrLogSa const& other) const;
    /// Leaves its stream and its entity; false, and nothing happens, if its stream has no demultiplexer.
    virtual bool korUnmount();

protected:
    KorNboAttrLogSa() = default;
};

/// The first stream adapter among an entity's reactors that matches; they stand at the head of the list.
template <class List, class Match>
Ptr<Entity::KorNboAttrLogSa> streamAdapterAmong(List const& list, Match const& match) {
    for (auto* at = list.head(); at != nullptr; at = ListMember::next(*at)) {
        PtrInterface::NotifieeConst* const reactor = at->korRawReactor();
        if (!reactor->isStreamAdapter()) {
            break; // the others come behind them
        }
        auto* const adapter = dynamic_cast<Entity::KorNboAttrLogSa*>(reactor);
        if (adapter != nullptr && match(*adapter)) {
            return adapter;
        }
    }
    return nullptr;
}

// clang-format off
consteval auto korTextsOf(std::type_identity<Entity>) {
    return texts(
        "", "What all entities are: they have a name, a version and a parent",
        "name", "The name in the tree of objects; empty for the child of a map",
        "version", "Rises by 1 with each change of an attribute, but not with xInc and xDec",
        "mutableReads", "How often a child or a reference was handed out for writing",
        "fullName", "The path in the tree of objects",
        "korNboAttrLogSaForMsgChannel", "The stream adapter of the same connection as another one",
        "korHasAttrLogInterface", "Whether the entity travels on an attribute log",
        "class NotifieeConst", "The root of the reactors of entities",
        "class KorNboAttrLogSa", "What all stream adapters are",
        "explicit Entity(Name name)", "An entity without a parent; the default name is empty",
        "KorType* fwkType() const override", "The type object of the entity's class",
        "static KorType* _fwkType()", "The type object of this class",
        "virtual Name name() const", "The name; empty for the child of a map",
        "virtual Ptr<Entity const> parent() const", "The entity that holds this one, or null",
        "virtual Ptr<Entity> parent()", "The same, to write to",
        "virtual void parentIs(Ptr<Entity> const& parent)",
            "Stores the parent, uncounted; null takes the entity off it. Called by the parent's operations",
        "virtual String8 parentAttr() const", "The name of the parent's attribute that holds this entity; empty without a parent",
        "virtual AttributeId parentAttrId() const", "The id of that attribute; noParentAttr before a parent has set it",
        "virtual void parentAttrIdIs(AttributeId attribute)", "Sets that id. Called by the parent's operations",
        "virtual String8 uriPath() const", "As fullName(), from the root on, with a slash before it",
        "virtual String8 fullName() const",
            "The names from the root to this entity with slashes between them; of a child its parent's attribute with its key",
        "virtual String8 attributeString(AttributeId attribute) const",
            "The name of an attribute; unknown for an id that the class does not have",
        "virtual void korNotifieeAdapterIs(Ptr<Entity const> const& adapter)", "For heirs; the base does nothing",
        "virtual void handleParent(Ptr<Entity> const& parent)", "For heirs; the base does nothing",
        "virtual Ptr<Entity::KorNboAttrLogSa const> korNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out) const",
            "The adapter towards that stream, or null",
        "virtual Ptr<Entity::KorNboAttrLogSa> korNboAttrLogSa(Ptr<NboAttrLog::Out const> const& out)", "The same, to write to",
        "virtual bool korHasAttrLogInterface() const", "Whether the entity travels on an attribute log",
        "virtual Ptr<Entity::KorNboAttrLogSa> korNboAttrLogSaForMsgChannel(Ptr<Entity::KorNboAttrLogSa> const& adapter) const",
            "The stream adapter of the same connection as another one, or null",
        "virtual Ptr<Entity::KorNboAttrLogSa> korNboAttrLogSaIs(PtrInterface::NotifieeConst::Kor_BitSet flags, unsigned int id, Ptr<NboAttrLog::Out> const& out, PtrInterface* context)",
            "Makes the adapter towards that stream; null for an entity without an attribute log",
        "virtual Ptr<Entity::KorNboAttrLogSa> korNboAttrLogSaDel(Ptr<NboAttrLog::Out const> const& out)",
            "Takes the adapter towards that stream off the entity and returns it; null if there is none",
        "virtual String8 korKeyText() const",
            "The text of the key by which a parent's attribute holds this entity; empty if it has none",
        "U32 version() const", "Rises by 1 with each change of an attribute, but not with xInc and xDec. It wraps",
        "U32 mutableReads() const", "How often a child or a reference was handed out for writing",
        "bool hasParent() const", "Whether there is a parent");
}
// clang-format on

} // namespace Kor
