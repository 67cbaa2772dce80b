#pragma once

/// Kor::RbTreeMap, an ordered map, as far as this library meets one: a field of a platform base class that is
/// made empty and ends with whatever its owner hung below the root. To search and to insert is the owner's.
///
///     Kor::RbTreeMap<Member, Key, Value> map;
///     map.rootIs(member);     // holds the tree below it
///
/// One thread at a time.

#include "runtime/BaseCollection.h"

#include <utility>

namespace Kor {

class RbTreeMapGeneric : public BaseCollection {
public:
    PtrInterface* root() const noexcept { return root_.ptr(); }

protected:
    Ptr<PtrInterface> root_;
};

template <class Member, class Key, class Value>
class RbTreeMap : public RbTreeMapGeneric {
public:
    RbTreeMap() noexcept = default;
    RbTreeMap(RbTreeMap const&) = delete;
    RbTreeMap& operator=(RbTreeMap const&) = delete;
    ~RbTreeMap() override {
        // The map is empty before the first member ends, which may look at it.
        Ptr<PtrInterface> const last = std::exchange(root_, nullptr);
    }

    Member* root() const noexcept { return static_cast<Member*>(root_.ptr()); }
    /// Holds the tree below this member instead of what it held; null for none.
    void rootIs(Ptr<Member> const& root) { root_ = root; }
};

} // namespace Kor
