#pragma once

/// Two ends of an attribute log in one process, and what carries the bytes between them: as much, and as
/// badly, as a test wants.

#include "attrlog/adapter/Demuxer.h"
#include "support/Entities.h"

#include <algorithm>
#include <stdexcept>

namespace support {

using Kor::NboAttrLog::Demuxer;
using Kor::NboAttrLog::Side;
using Kor::NboAttrLog::StreamLimits;

/// Small enough to be full soon.
inline constexpr StreamLimits smallStream{640, 256, 1000};

/// Carries bytes both ways until nothing moves any more, in pieces of at most `piece` bytes.
template <class End>
void quiet(Kor::Ptr<End> const& a, Kor::Ptr<End> const& b, std::size_t piece,
           std::size_t (*carry)(End& from, End& to, std::size_t most)) {
    int rounds = 0;
    for (bool moves = true; moves;) {
        moves = false;
        if (++rounds > 1'000'000) {
            throw std::runtime_error("the two sides never fall silent");
        }
        for (auto const& [from, to] : {std::pair{a, b}, std::pair{b, a}}) {
            from->flow();
            moves = carry(*from, *to, piece) != 0 || moves;
            to->receive();
        }
    }
}

struct Link {
    explicit Link(StreamLimits const& limits = {})
        : a(Kor::makePtr<Demuxer>(Side::connecting, limits)),
          b(Kor::makePtr<Demuxer>(Side::accepting, limits)) {
        a->peerNameIs("b");
        b->peerNameIs("a");
    }

    /// Carries at most `most` bytes one way; how many it was. Only feeding is done, so that `to` may be slow.
    static std::size_t carry(Demuxer& from, Demuxer& to, std::size_t most = ~std::size_t{0}) {
        auto const bytes = from.out()->readable();
        std::size_t const n = to.in()->feed(bytes.first(std::min(most, bytes.size())));
        from.out()->nextBytes(n);
        return n;
    }
    void quiet(std::size_t piece = ~std::size_t{0}) { support::quiet<Demuxer>(a, b, piece, &carry); }
    /// The copy of an entity on side b, which the hook has taken in.
    template <class X>
    Kor::Ptr<X> mountAtA(Kor::Ptr<X> const& entity,
                         Kor::Entity::Kor_BitSet flags = Kor::Entity::Kor_BitSet(0)) {
        Kor::Ptr<Kor::Entity> got;
        b->rootHookIs([&](Kor::Ptr<Kor::Entity> const& offered) {
            if (offered->fwkType() == X::_fwkType()) {
                got = offered;
            }
            return offered;
        });
        a->mount(entity, flags);
        quiet();
        b->rootHookIs({});
        return Kor::ptrCast<X>(got);
    }

    Kor::Ptr<Demuxer> a, b;
};

template <class X, class Visit>
void eachWireAttribute(Visit const& visit);

/// Whether two entities have the same attributes, with their children and what they refer to.
template <class X>
bool sameState(X const& x, X const& y) {
    bool same = true;
    eachWireAttribute<X>([&]<class A>() {
        if constexpr (requires { typename A::Key; }) {
            auto const& xs = A::Name::map(x);
            auto const& ys = A::Name::map(y);
            same = same && xs.count() == ys.count();
            for (auto const& member : xs) {
                auto const* const other = ys.member(member.fwkKey());
                if (other == nullptr) {
                    same = false;
                    // Another branch for each kind of map. NOLINTNEXTLINE(bugprone-branch-clone)
                } else if constexpr (A::shape.child) {
                    same = same && sameState(member, *other);
                } else if constexpr (A::shape.reference) {
                    same = same && member.value->fwkType() == other->value->fwkType() &&
                           sameState(*member.value, *other->value);
                } else {
                    same = same && member.value == other->value;
                }
            }
        } else {
            same = same && A::Name::call(x) == A::Name::call(y);
        }
    });
    return same;
}

template <class X, class List>
struct AttributesOf;
template <class X, class... Each>
struct AttributesOf<X, Kor::AttributeList<Each...>> {
    template <class Visit>
    static void each(Visit const& visit) {
        (one<Each>(visit), ...);
    }
    template <class A, class Visit>
    static void one(Visit const& visit) {
        if constexpr (A::shape.hasHooks()) {
            visit.template operator()<A>();
        }
    }
};

/// Calls `visit.template operator()<A>()` for each scalar and map of X, those of its bases first.
template <class X, class Visit>
void eachWireAttribute(Visit const& visit) {
    if constexpr (requires { typename X::BaseEntity::Attributes; }) {
        eachWireAttribute<typename X::BaseEntity>(visit);
    }
    AttributesOf<X, typename X::Attributes>::each(visit);
}

template <class X>
void change(X& entity, Random& random);

/// Sets or deletes what the attribute has for the key.
template <class A, class X>
void changeAt(X& entity, typename A::Key const& key, bool isDelete, Random& random) {
    using Form = typename A::Name;
    if (isDelete) {
        Form::del(entity, key);
        // Of a map without a form of its own both are the same. NOLINTNEXTLINE(bugprone-branch-clone)
    } else if constexpr (A::shape.child) {
        Kor::Ptr<typename A::Type> const child = Form::set(entity, key);
        change(*child, random);
    } else if constexpr (A::shape.keyInside) {
        Form::set(entity, randomValueAt<A>(random, key));
    } else if constexpr (A::shape.reference) {
        auto const referred = randomValueAt<A>(random, key);
        Form::set(entity, key, referred);
        change(*referred, random);
    } else {
        Form::set(entity, key, randomValueAt<A>(random, key));
    }
}

/// One random change to one of its attributes, of a present key as often as of a new one.
template <class X>
void change(X& entity, Random& random) {
    Kor::U32 count = 0;
    eachWireAttribute<X>([&]<class A>() { ++count; });
    Kor::U32 chosen = count == 0 ? 0 : random.below(count);
    eachWireAttribute<X>([&]<class A>() {
        if (chosen-- != 0) {
            return;
        }
        if constexpr (requires { typename A::Key; }) {
            using Key = typename A::Key;
            auto const& map = A::Name::map(entity);
            Key key = randomValue<Key>(random);
            if (!map.empty() && random.below(2) != 0) {
                for (auto const& member : map) {
                    key = member.fwkKey();
                    if (random.below(map.count()) == 0) {
                        break;
                    }
                }
            }
            changeAt<A>(entity, key, random.below(3) == 0, random);
        } else {
            A::Name::set(entity, randomValue<typename A::Type>(random));
        }
    });
}

/// All entities but the two without an attribute log.
template <class Visit>
void eachReplicatedEntity(Visit const& visit) {
    []<class... X>(TypeList<X...>, Visit const& to) {
        auto const one = [&]<class T>() {
            if constexpr (std::derived_from<T, Kor::Entity>) {
                to.template operator()<T>();
            }
        };
        (one.template operator()<X>(), ...);
    }(AllEntities{}, visit);
}

} // namespace support
