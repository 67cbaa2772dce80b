#pragma once

/// The stream adapters of an entity's children, which its own adapter knows by attribute and key and takes
/// along when it leaves. Each costs an entry in a map. For adapters; one thread, that of the entity.

#include "attrlog/adapter/AttributeRecords.h"
#include "attrlog/adapter/StreamAdapter.h"

namespace Kor::detail {

/// Those of one attribute.
template <class A>
struct Mounted {
    using Entry = MapEntry<typename A::Key, Ptr<StreamAdapter>>;
    HashMap<Entry, typename A::Key, Ptr<StreamAdapter>> children;
};

template <class X>
class MountedChildren {
public:
    using List = Where<&Shape::child, WireList<X>>;

    template <class A>
    auto& of() noexcept {
        return std::get<Mounted<A>>(mounted_).children;
    }
    /// As StreamAdapter::childAdapterIs(), and keeps it.
    template <class A>
    std::pair<Ptr<StreamAdapter>, bool> nboAttrLogAdapterIs(StreamAdapter& parent, typename A::Type& child) {
        auto made = parent.childAdapterIs(child);
        if (Ptr<StreamAdapter> const& adapter = made.first) {
            if (auto* const known = of<A>().member(child.fwkKey())) {
                known->value = adapter;
            } else {
                of<A>().newMember(makePtr<typename Mounted<A>::Entry>(child.fwkKey(), adapter));
            }
        }
        return made;
    }
    template <class A>
    void nboAttrLogAdapterDel(typename A::Key const& key) {
        if (auto const gone = of<A>().deleteMember(key)) {
            gone->value->korLeave();
        }
    }
    void delAll() {
        forEach(List(), [&]<class A>() {
            while (!of<A>().empty()) {
                typename A::Key const key = of<A>().begin()->key;
                nboAttrLogAdapterDel<A>(key);
            }
        });
    }

private:
    [[no_unique_address]] decltype(tupleOf<Mounted>(List())) mounted_;
};

} // namespace Kor::detail
