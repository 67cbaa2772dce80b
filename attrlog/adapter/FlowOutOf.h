#pragma once

/// What of an entity travels, and X::KorNboAttrLogSa::FlowOut: the marks of what has changed while its stream
/// had no room, of the class X.

#include "attrlog/adapter/FlowOut.h"
#include "reflect/entity/EntityPattern.h"

namespace Kor {

namespace detail {

/// The attributes of X that travel, by rising id.
template <class X>
using WireList = Where<&Shape::travels, typename AllAttributes<X>::type>;

/// What a flow-out and an adapter keep for an attribute.
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
template <class A>
struct Mounted {};
template <class A>
requires(A::shape.child) struct Mounted<A> {
    using Entry = MapEntry<typename A::Key, Ptr<StreamAdapter>>;
    HashMap<Entry, typename A::Key, Ptr<StreamAdapter>> children;
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
        return true;
    }
    /// Takes the mark off; whether it was there.
    template <class A, class... Key>
    bool dirtyDel(Key const&... key) {
        if constexpr (A::shape.keyed) {
            return !dirty<A>().empty() && dirty<A>().deleteMember(key...);
        } else {
            return std::exchange(dirty<A>(), false);
        }
    }

    void freeBookmark() noexcept {
        each([&]<class A>() {
            if constexpr (A::shape.keyed) {
                if (attrId() == X::template attributeIdOf<typename A::Name>()) {
                    delete static_cast<typename A::Key*>(bookmark());
                    bookmarkIs(nullptr);
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
        []<class... A>(AttributeList<A...>, Visit const& to) { (to.template operator()<A>(), ...); }(Wire(),
                                                                                                     visit);
    }
    template <class... A>
    static std::tuple<detail::DirtyMarks<A>...> marksOf(AttributeList<A...>);

    BitSet<32, U32> synced_;
    decltype(marksOf(Wire())) marks_;
};

} // namespace Kor
