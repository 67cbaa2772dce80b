#pragma once

/// What of a flow-out a barrier waits for. A barrier is a place in what a connection sends: all that was
/// changed before it leaves before it (Demuxer::barrierIs()). While one is open, what waited when it was
/// raised stands here, beside the marks of the flow-out: each with the number of its barrier, and in order,
/// so that it leaves before what was marked later. What is marked again keeps its place.
///
/// Nothing of it exists while no barrier is open.

#include "runtime/HashMap.h"

#include <deque>
#include <optional>
#include <vector>

namespace Kor::detail {

/// The earlier one of two barriers, where 0 stands for none.
constexpr U64 earlier(U64 a, U64 b) noexcept {
    return a == 0 || (b != 0 && b < a) ? b : a;
}

/// Of a scalar: the barrier that waits for it, 0 for none.
template <class A>
struct Owed {
    U64 barrier = 0;

    /// The barrier that waited for it, which has left; 0 for none.
    U64 del() noexcept { return std::exchange(barrier, 0); }
    U64 oldest() const noexcept { return barrier; }
    template <class Paid>
    void release(Paid const& paid) {
        paid(del());
    }
};

/// Of a map: its full pass, and keys.
template <class A>
requires(A::shape.keyed) struct Owed<A> {
    using Key = typename A::Key;

    /// Owes a key; whether it was not owed.
    bool add(Key const& key, U64 barrier) {
        if (keys.member(key) != nullptr) {
            return false;
        }
        keys.newMember(makePtr<MapEntry<Key, U64>>(key, barrier));
        order.push_back(key);
        return true;
    }
    /// The barrier that waited for the key, which has left; 0 for none.
    U64 del(Key const& key) {
        Ptr<MapEntry<Key, U64>> const gone = keys.deleteMember(key);
        return gone ? gone->value : 0;
    }
    U64 of(Key const& key) const {
        auto const* const found = keys.member(key);
        return found != nullptr ? found->value : 0;
    }
    /// The key that has been owed longest.
    std::optional<Key> first() {
        while (!order.empty() && keys.member(order.front()) == nullptr) {
            order.pop_front();
        }
        return order.empty() ? std::nullopt : std::optional<Key>(order.front());
    }
    U64 oldest() {
        std::optional<Key> const key = first();
        return earlier(pass, key ? of(*key) : 0);
    }
    template <class Paid>
    void release(Paid const& paid) {
        paid(std::exchange(pass, 0));
        for (auto const& each : keys) {
            paid(each.value);
        }
    }
    /// Notes a key that is marked while a barrier is open, for the next one. `isWaiting`: is it still marked?
    template <class IsWaiting>
    void note(Key const& key, std::size_t marks, IsWaiting const& isWaiting) {
        recent.push_back(key);
        constexpr std::size_t few = 64;
        if (recent.size() > few + 2 * marks) { // of keys that come and go only the last is kept
            HashMap<FlagMapEntry<Key>, Key, bool> kept;
            std::vector<Key> left;
            for (Key const& each : recent) {
                if (isWaiting(each) && keys.member(each) == nullptr && kept.member(each) == nullptr) {
                    kept.newMember(makePtr<FlagMapEntry<Key>>(each, true));
                    left.push_back(each);
                }
            }
            recent = std::move(left);
        }
    }

    U64 pass = 0;
    HashMap<MapEntry<Key, U64>, Key, U64> keys;
    /// As they came; those that have left are passed over.
    std::deque<Key> order;
    /// Marked since the last barrier; perhaps more than once, perhaps gone since.
    std::vector<Key> recent;
};

} // namespace Kor::detail
