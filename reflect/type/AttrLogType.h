#pragma once

/// What the attribute log adds to the type object of an entity class: making such an entity from a record,
/// and its stream adapters. A library says once, for all of its entity classes,
///
///     static Kor::AttrLogTypes<MyTypes> const attrLogAtLoad;            // attrlog/adapter/AttrLogTypes.h
///
/// Known from load on, which is on one thread; no type object is made early. Asking is safe on any.

#include "runtime/Entity.h"

namespace Kor {

class KorAttr;

/// A record of an attribute as text.
struct AttrLogRecordText {
    /// The name of the attribute; empty for one that the class does not have.
    String8 attribute{};
    /// Empty for an attribute without a key.
    String8 key{};
    /// Empty for a deletion.
    String8 value{};
    /// What the key leads to, where that is an entity with an id: a child, or one that is referred to.
    U64 entityId = 0;
    /// Of a child.
    KorType* childType = nullptr;
};

struct AttrLogType {
    /// A new entity whose key or name is read from the record.
    Ptr<Entity> (*newEntity)(NboAttrLog::In& in);
    /// The adapter of the entity, of this class, to the stream: made, or found and given the flags.
    Ptr<Entity::KorNboAttrLogSa> (*streamAdapterIs)(Entity& entity, Entity::Kor_BitSet flags, unsigned int id,
                                                    Ptr<NboAttrLog::Out> const& out, PtrInterface* context);

    /// Takes a record of such an entity's attribute, negative for a deletion, apart, and applies it to
    /// nothing. Raises what applying it would.
    AttrLogRecordText (*recordText)(AttributeId attribute, NboAttrLog::In& in);
    /// The key or the name in an announcement of such an entity.
    String8 (*argumentText)(NboAttrLog::In& in);

    /// Mounts the children of an attribute of an entity, which is of this class, where it is mounted itself.
    void (*childAttrLogIs)(Entity& owner, AttributeId attribute, Ptr<NboAttrLog::Out> const& out);

    /// The stream adapter of an entity of any class, found or made: Entity::korNboAttrLogSaIs(). Null for a
    /// class that is not known here.
    static Ptr<Entity::KorNboAttrLogSa> adapterIs(Entity& entity, Entity::Kor_BitSet flags, unsigned int id,
                                                  Ptr<NboAttrLog::Out> const& out, PtrInterface* context);

    /// The attribute log of the class of that full name; null if it has none.
    KOR_EXPORT static AttrLogType const* named(std::string_view typeName);

    /// Makes it known under that name, unless one is.
    KOR_EXPORT static void add(std::string_view typeName, AttrLogType const& type);
};

} // namespace Kor
