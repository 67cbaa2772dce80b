#pragma once

/// What of an entity travels, and X::KorNboAttrLogSa::FlowOut: marks of what changed while there was no room.

#include "attrlog/adapter/FlowOut.h"
#include "attrlog/adapter/Owed.h"
#include "reflect/entity/EntityPattern.h"

namespace Kor {

namespace detail {

/// The attributes of X that travel, by rising id.
template <class X>
using WireList = Where<&Shape::travels, typename AllAttributes<X>::type>;

/// A tuple with one for each attribute of a list.
template <template <class> class One, class... A>
std::tuple<One<A>...> tupleOf(AttributeList<A...>);

/// The marks of an attribute.
template <class A>
struct DirtyMarks {
    bool dirty = false;
};
template <class A>
requires(A::shape.keyed) struct DirtyMarks<A> {
    using Key = typename A::Key;
    using Marks = HashMap<FlagMapEntry<Key>, Key, bool>;
    Marks dirty;
};

} // namespace detail

/// X::KorNboAttrLogSa::FlowOut
template <class X>
class FlowOutOf final : public NboAttrLog::FlowOut {
    using Wire = detail::WireList<X>;

public:
    explicit FlowOutOf(U32 start) : FlowOut(start) {
        each([&]<class A>() {
            AttributeId const id = X::template attributeIdOf<typename A::Name>();
            if constexpr (A::shape.keyed) {
                hasSyncedIs<A>(start > static_cast<U32>(id));
            } else if (start <= static_cast<U32>(id)) {
                dirtyKeys += dirtyIs<A>();
            }
        });
    }
    ~FlowOutOf() override { freeBookmark(); }

    bool hasDirtyAttributes() const override {
        bool any = FlowOut::hasDirtyAttributes();
        each([&]<class A>() {
            if constexpr (A::shape.keyed) {
                any = any || !hasSynced<A>() || !dirty<A>().empty();
            } else {
                any = any || dirty<A>();
            }
        });
        return any;
    }

    /// Whether the full pass of a keyed attribute is over.
    template <class A>
    requires(A::shape.keyed) bool hasSynced() const { return synced_.test(bit<A>()); }
    template <class A>
    requires(A::shape.keyed) void hasSyncedIs(bool on) { synced_.bitIs(bit<A>(), on); }

    template <class A>
    auto& dirty() noexcept {
        return std::get<detail::DirtyMarks<A>>(marks_).dirty;
    }
    template <class A>
    auto const& dirty() const noexcept {
        return std::get<detail::DirtyMarks<A>>(marks_).dirty;
    }
    /// Marks a scalar, or a key with its hash; whether it was not.
    template <class A>
    bool dirtyIs() {
        return !std::exchange(dirty<A>(), true);
    }
    template <class A>
    requires(A::shape.keyed) bool dirtyIs(typename A::Key const& key, U32 reversed) {
        auto& marks = dirty<A>();
        if (marks.member(key, reversed) != nullptr) {
            return false;
        }
        using Mark = typename std::remove_reference_t<decltype(marks)>::MemberType;
        marks.newMember(makePtr<Mark>(key, true), reversed);
        if (owed_) {
            owed<A>().note(key, marks.count(),
                           [&](auto const& each) { return marks.member(each) != nullptr; });
        }
        return true;
    }
    /// Takes the mark off; whether it was there.
    template <class A, class... Key>
    bool dirtyDel(Key const&... key) {
        if constexpr (A::shape.keyed) {
            auto& marks = dirty<A>();
            return !marks.empty() && marks.deleteMember(key..., marks.hashOf(key...));
        } else {
            return std::exchange(dirty<A>(), false);
        }
    }

    // What barriers wait for. All of it costs a test while there is none.

    U64 owe(U64 barrier) override {
        bool const isFirst = !owed_;
        if (isFirst) {
            owed_ = std::make_unique<AllOwed>();
        }
        U64 added = 0;
        each([&]<class A>() {
            auto& owed = this->owed<A>();
            if constexpr (A::shape.keyed) {
                if (!hasSynced<A>() && owed.pass == 0) {
                    owed.pass = barrier;
                    ++added;
                }
                if (isFirst) {
                    for (auto const& mark : dirty<A>()) {
                        added += owed.add(mark.key, barrier);
                    }
                }
                for (auto const& key : owed.recent) {
                    added += dirty<A>().member(key) != nullptr && owed.add(key, barrier);
                }
                owed.recent.clear();
            } else if (dirty<A>() && owed.barrier == 0) {
                owed.barrier = barrier;
                ++added;
            }
        });
        return added;
    }
    U64 oldestOwed() override {
        U64 oldest = 0;
        if (owed_) {
            each([&]<class A>() { oldest = detail::earlier(oldest, owed<A>().oldest()); });
        }
        return oldest;
    }
    void oweNothing(std::function<void(U64 barrier)> const& paid) override {
        if (owed_) {
            each([&]<class A>() { owed<A>().release(paid); });
            owed_ = nullptr;
        }
    }
    /// The barrier that waited for a scalar or a key, which has left; 0 for none.
    template <class A, class... Key>
    U64 paidFor(Key const&... key) {
        return owed_ ? owed<A>().del(key...) : 0;
    }
    /// The same for the full pass of a map.
    template <class A>
    U64 paidForPass() {
        return owed_ ? std::exchange(owed<A>().pass, 0) : 0;
    }
    /// The barrier that waits for a key, by itself or as part of the full pass; 0 for none.
    template <class A>
    U64 owedFor(typename A::Key const& key) const {
        if (!owed_) {
            return 0;
        }
        auto const& owed = std::get<detail::Owed<A>>(*owed_);
        return detail::earlier(owed.of(key), owed.pass);
    }
    /// The key that a barrier has waited for longest.
    template <class A>
    std::optional<typename A::Key> firstOwed() {
        return owed_ ? owed<A>().first() : std::nullopt;
    }

    void freeBookmark() noexcept {
        each([&]<class A>() {
            if constexpr (A::shape.keyed) {
                if (attrId() == X::template attributeIdOf<typename A::Name>()) {
                    NboAttrLog::korFlowOutBookmarkDeq<typename A::Key>(*this);
                }
            }
        });
    }

private:
    /// Bit 1 is that of the first attribute.
    template <class A>
    static constexpr int bit() {
        return 1 + static_cast<int>(detail::placeIn<A>(Wire()));
    }
    template <class Visit>
    static void each(Visit const& visit) {
        detail::forEach(Wire(), visit);
    }
    using AllOwed = decltype(detail::tupleOf<detail::Owed>(Wire()));
    template <class A>
    auto& owed() noexcept {
        return std::get<detail::Owed<A>>(*owed_);
    }

    BitSet<32, U32> synced_;
    decltype(detail::tupleOf<detail::DirtyMarks>(Wire())) marks_;
    std::unique_ptr<AllOwed> owed_;
};

} // namespace Kor
