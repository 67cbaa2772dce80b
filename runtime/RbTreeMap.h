#pragma once

/// An ordered map, as far as this library meets one: it is a field of a platform base class, is made empty,
/// and is destroyed with whatever its owner hung below the root. Search and insertion are the owner's.

#include "runtime/BaseCollection.h"

namespace Kor {

class RbTreeMapGeneric : public BaseCollection {
public:
    PtrInterface* root() const noexcept { return root_.ptr(); }
    /// Holds the tree below this member instead.
    void rootIs(Ptr<PtrInterface> root) { root_ = std::move(root); }

protected:
    Ptr<PtrInterface> root_;
};

template <class Member, class Key, class Value>
class RbTreeMap : public RbTreeMapGeneric {
public:
    Member* root() const noexcept { return static_cast<Member*>(root_.ptr()); }
    ~RbTreeMap() override {
        // The pointer is cleared before the members go, which may look at the map.
        Ptr<PtrInterface> const last = std::move(root_);
    }
};

} // namespace Kor
