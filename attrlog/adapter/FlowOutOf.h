#pragma once

/// X::KorNboAttrLogSa::FlowOut: marks of what changed while there was no room, and what of it barriers wait
/// for.
///
/// A barrier is a place in what a connection sends: all that was changed before it leaves before it
/// (Demuxer::barrierIs()). While one is open, what waited when it was raised stands beside the marks: each
/// with the number of its barrier, and in order, so that it leaves before what was marked later. What is
/// marked again keeps its place. While no barrier is open, an attribute has one word for it.
///
/// For stream adapters alone. A mark is one allocation, and one more while a barrier waits for its key. One
/// thread, that of the entity.

#include "attrlog/adapter/AttributeRecords.h"
#include "attrlog/adapter/FlowOut.h"

#include <deque>
#include <optional>

namespace Kor {

namespace detail {

/// The earlier one of two barriers, where 0 stands for none.
constexpr U64 earlier(U64 a, U64 b) noexcept {
    return a == 0 || (b != 0 && b < a) ? b : a;
}

/// The mark of a scalar, and the barrier that waits for it.
template <class A>
struct Marks {
    bool isWaiting() const noexcept { return dirty; }
    bool isMarked() const noexcept { return dirty; }
    /// Sets the mark; whether it was not.
    bool mark() noexcept { return !std::exchange(dirty, true); }
    /// Takes the mark off; whether it was there.
    bool unmark() noexcept { return std::exchange(dirty, false); }
    /// As those of NboAttrLog::FlowOut.
    U64 owe(U64 toBarrier) noexcept {
        bool const isNew = dirty && barrier == 0;
        barrier = isNew ? toBarrier : barrier;
        return isNew;
    }
    U64 oldestOwed() const noexcept { return barrier; }
    template <class Paid>
    void oweNothing(Paid const& paid) {
        paid(paidFor());
    }
    /// The barrier that waited for it, which has left; 0 for none.
    U64 paidFor() noexcept { return std::exchange(barrier, 0); }

    bool dirty = false;
    U64 barrier = 0;
};

/// The same of a map: of its full pass, and of keys.
template <class A>
requires(A::shape.keyed) struct Marks<A> {
    using Key = typename A::Key;
    using Dirty = HashMap<FlagMapEntry<Key>, Key, bool>;
    struct Owed {
        U64 pass = 0;
        HashMap<MapEntry<Key, U64>, Key, U64> keys;
        /// As they came; those that have left are passed over.
        std::deque<Key> order;
        /// Marked since the last barrier; perhaps more than once, perhaps gone since.
        std::vector<Key> recent;
    };

    bool isWaiting() const noexcept { return !hasSynced || !dirty.empty(); }
    bool isMarked(Key const& key) const { return dirty.member(key) != nullptr; }
    bool mark(Key const& key, U32 reversed) {
        if (dirty.member(key, reversed) != nullptr) {
            return false;
        }
        dirty.newMember(makePtr<FlagMapEntry<Key>>(key, true), reversed);
        if (owed) {
            note(key);
        }
        return true;
    }
    bool unmark(Key const& key) { return !dirty.empty() && dirty.deleteMember(key, dirty.hashOf(key)); }

    U64 owe(U64 barrier) {
        bool const isFirst = !owed;
        if (isFirst) {
            owed = std::make_unique<Owed>();
        }
        bool const owesPass = !hasSynced && owed->pass == 0;
        owed->pass = owesPass ? barrier : owed->pass;
        U64 added = owesPass;
        auto const add = [&](Key const& key) {
            if (owed->keys.member(key) == nullptr) {
                owed->keys.newMember(makePtr<MapEntry<Key, U64>>(key, barrier));
                owed->order.push_back(key);
                ++added;
            }
        };
        if (isFirst) {
            for (auto const& mark : dirty) {
                add(mark.key);
            }
        }
        for (auto const& key : owed->recent) {
            if (dirty.member(key) != nullptr) {
                add(key);
            }
        }
        owed->recent.clear();
        return added;
    }
    U64 oldestOwed() {
        std::optional<Key> const key = firstOwed();
        return key ? owedFor(*key) : owed ? owed->pass : 0;
    }
    template <class Paid>
    void oweNothing(Paid const& paid) {
        if (owed) {
            paid(owed->pass);
            for (auto const& each : owed->keys) {
                paid(each.value);
            }
            owed = nullptr;
        }
    }
    U64 paidFor(Key const& key) {
        Ptr<MapEntry<Key, U64>> const gone = owed ? owed->keys.deleteMember(key) : nullptr;
        return gone ? gone->value : 0;
    }
    U64 paidForPass() noexcept { return owed ? std::exchange(owed->pass, 0) : 0; }
    /// The barrier that waits for the key, by itself or as part of the full pass; 0 for none.
    U64 owedFor(Key const& key) const {
        auto const* const found = owed ? owed->keys.member(key) : nullptr;
        return owed ? earlier(found != nullptr ? found->value : 0, owed->pass) : 0;
    }
    /// The key that a barrier has waited for longest.
    std::optional<Key> firstOwed() {
        while (owed && !owed->order.empty()) {
            if (owed->keys.member(owed->order.front()) != nullptr) {
                return owed->order.front();
            }
            owed->order.pop_front();
        }
        return {};
    }

    /// Whether the full pass is over.
    bool hasSynced = false;
    Dirty dirty;
    std::unique_ptr<Owed> owed;

private:
    /// Keeps a key that is marked while a barrier is open for the next one.
    void note(Key const& key) {
        owed->recent.push_back(key);
        constexpr std::size_t few = 64;
        if (owed->recent.size() > few + 2 * dirty.count()) { // keys that come and go are kept once
            Dirty kept;
            std::erase_if(owed->recent, [&](Key const& each) {
                bool const goes = dirty.member(each) == nullptr || owed->keys.member(each) != nullptr ||
                                  kept.member(each) != nullptr;
                if (!goes) {
                    kept.newMember(makePtr<FlagMapEntry<Key>>(each, true));
                }
                return goes;
            });
        }
    }
};

} // namespace detail

/// X::KorNboAttrLogSa::FlowOut
template <class X>
class FlowOutOf final : public NboAttrLog::FlowOut {
    using Wire = detail::WireList<X>;

public:
    explicit FlowOutOf(U32 start) : FlowOut(start) {
        each([&]<class A>() {
            bool const isBehind = start > static_cast<U32>(detail::idOf<X, A>);
            if constexpr (A::shape.keyed) {
                marks<A>().hasSynced = isBehind;
            } else if (!isBehind) {
                dirtyKeys += marks<A>().mark();
            }
        });
    }
    ~FlowOutOf() override { FlowOutOf::freeBookmark(); }

    template <class Visit>
    static void each(Visit const& visit) {
        detail::forEach(Wire(), visit);
    }
    template <class A>
    auto& marks() noexcept {
        return std::get<detail::Marks<A>>(marks_);
    }

    bool hasDirtyAttributes() const override {
        return FlowOut::hasDirtyAttributes() ||
               std::apply([](auto const&... each) { return (each.isWaiting() || ...); }, marks_);
    }
    U64 owe(U64 barrier) override {
        return std::apply([&](auto&... each) { return (U64{0} + ... + each.owe(barrier)); }, marks_);
    }
    U64 oldestOwed() override {
        U64 oldest = 0;
        each([&]<class A>() { oldest = detail::earlier(oldest, marks<A>().oldestOwed()); });
        return oldest;
    }
    void oweNothing(std::function<void(U64 barrier)> const& paid) override {
        each([&]<class A>() { marks<A>().oweNothing(paid); });
    }

    void freeBookmark() noexcept override {
        each([&]<class A>() {
            if constexpr (A::shape.keyed) {
                if (attrId() == detail::idOf<X, A>) {
                    NboAttrLog::korFlowOutBookmarkDeq<typename A::Key>(*this);
                }
            }
        });
    }

private:
    decltype(detail::tupleOf<detail::Marks>(Wire())) marks_;
};

} // namespace Kor
