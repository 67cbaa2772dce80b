#pragma once

/// What an attribute is on the wire: which ones travel, under which ids, and the records of one, written and
/// read. For the files beside this one; an application needs attrlog/adapter/Demuxer.h alone.
///
/// What travels are the scalars and maps of values, children and references to entities. Keys go with the
/// announcement; operations, queues and single references stay here.
///
/// A reader raises what attrlog/In.h says of a value, a writer what attrlog/Out.h says of a record that is
/// too long. Only text allocates. One thread, that of the stream.

#include "attrlog/In.h"
#include "reflect/entity/EntityPattern.h"

#include <array>

namespace Kor::detail {

/// The attributes of X that travel, by rising id.
template <class X>
using WireList = Where<&Shape::travels, typename AllAttributes<X>::type>;
template <class X, class A>
inline constexpr AttributeId idOf = X::template attributeIdOf<typename A::Name>();

/// Calls `visit` for the attribute of X of that id; whether there is one.
template <class X, class List = WireList<X>, class Visit>
bool withAttribute(AttributeId attribute, Visit const& visit) {
    bool known = false;
    forEach(List(), [&]<class A>() {
        if (!known && attribute == idOf<X, A>) {
            known = true;
            visit.template operator()<A>();
        }
    });
    return known;
}
/// An attribute's map, for an iterator or a known hash; members come and go by the entity's setters alone.
template <class A, class X>
auto& mutableMap(X& entity) {
    auto const& map = A::Name::map(entity);
    return const_cast<std::remove_cvref_t<decltype(map)>&>(map);
}
/// A tuple with one for each attribute of a list.
template <template <class> class One, class... A>
std::tuple<One<A>...> tupleOf(AttributeList<A...>);

/// What stands before a record of variable length.
constexpr NboAttrLog::MsgHeader recordHeader(EntityId id, AttributeId attribute, U32 secondary = 0) {
    return {
        .entityId = id, .attributeId = attribute, .variableLength = true, .secondaryAttribute = secondary};
}
template <class... T>
void writeRecord(NboAttrLog::Out& out, NboAttrLog::MsgHeader const& header, T const&... values) {
    if constexpr (NboAttrLog::Out::isRecord<T...>) {
        out.recordIs(header, values...);
    } else {
        out.write(header, [&](NboAttrLog::Out& to) { (to.put(values), ...); });
    }
}
/// The headers of records of fixed size, one for each attribute, kept as long as the entity has that id.
template <std::size_t attributes>
class KeptHeaders {
public:
    template <class... T>
    [[gnu::always_inline]] void write(NboAttrLog::Out& out, std::size_t place, EntityId id,
                                      AttributeId attribute, T const&... values) {
        auto& kept = kept_[place];
        if (id_ != id) [[unlikely]] {
            kept_ = {};
            id_ = id;
        }
        if (kept.size == 0) [[unlikely]] {
            kept = NboAttrLog::Out::Prefix(recordHeader(id, attribute),
                                           (NboAttrLog::detail::fixedSize<T>() + ...));
        }
        kept.size != 0 ? out.recordIs(kept, values...) : out.recordIs(recordHeader(id, attribute), values...);
    }

private:
    std::array<NboAttrLog::Out::Prefix, attributes> kept_;
    EntityId id_;
};

/// The next key of an attribute; that of a child may be an enumerator that only the peer knows.
template <class A>
typename A::Key nextKey(NboAttrLog::In& in) {
    if constexpr (A::shape.child && std::is_enum_v<typename A::Key>) {
        return static_cast<typename A::Key>(in.nextU32());
    } else {
        return in.next<typename A::Key>();
    }
}
/// Takes a record of an attribute apart: calls `visit` with the value of a scalar, the key of a deletion, or
/// a key and its value, which is an id where that is an entity.
template <class A, class Visit>
void takeApart(NboAttrLog::In& in, bool isDelete, Visit const& visit) {
    if constexpr (!A::shape.keyed) {
        visit(in.next<typename A::Type>());
    } else if (isDelete) {
        visit(nextKey<A>(in));
    } else if constexpr (A::shape.child) {
        auto const key = nextKey<A>(in);
        visit(key, in.nextEntityId());
    } else if constexpr (A::shape.keyInside) {
        auto const value = in.next<typename A::Value>();
        visit(typename A::Key(A::KeyName::call(value)), value);
    } else if constexpr (A::shape.reference) {
        auto const key = nextKey<A>(in);
        visit(key, EntityId::ofNumber(in.nextU64()));
    } else {
        auto const key = nextKey<A>(in);
        visit(key, in.next<typename A::Value>());
    }
}

/// Hashes of the keys of a burst of records, before their turn. A burst of changes of a large map waits for
/// memory more than for anything else: the hash of a key is computed some records ahead, and what it leads to
/// is loaded meanwhile.
class KeysAhead {
public:
    /// Of keys of fixed size that are more than one number.
    template <class Key>
    static constexpr bool canLook = NboAttrLog::detail::fixedSize<Key>() != 0 && !std::is_enum_v<Key> &&
                                    !std::is_integral_v<Key>;

    /// The hash of the key of the record that is being read, after a look at those that follow.
    template <class Map, class Key>
    U32 reversedHash(NboAttrLog::In const& in, AttributeId attribute, Map const& map, Key const& key) {
        Ahead const own = slot(0);
        U64 const offset = in.offset();
        constexpr U32 far = 4; // records
        constexpr U32 near = 2;
        if (U8 const* at = in.payloadAhead(far)) {
            try {
                U32 const reversed = Map::reversedHash(NboAttrLog::detail::loadFixed<Key>(at));
                map.prefetchBucket(reversed);
                slot(far) = {offset + far * in.record().size(), attribute, reversed};
            } catch (Exception const&) { // it will be refused when it is its turn
            }
        }
        if (Ahead const& next = slot(near); next.attribute == attribute && next.offset > offset) {
            map.prefetchFirst(next.reversed);
        }
        ++at_;
        return own.offset == offset && own.attribute == attribute ? own.reversed : Map::reversedHash(key);
    }

private:
    struct Ahead {
        U64 offset = ~U64{0}; // of the record
        AttributeId attribute = 0;
        U32 reversed = 0;
    };
    Ahead& slot(U32 n) noexcept { return ahead_[(at_ + n) % ahead_.size()]; }

    std::array<Ahead, 8> ahead_;
    U32 at_ = 0;
};

} // namespace Kor::detail
