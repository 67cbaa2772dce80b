#pragma once

/// Kor::MsgChannel: which id, in which parent, is being given to the child that a record makes.
///
///     Kor::MsgChannel::DeserializingEidAnchor const anchor(constrainer, id, directory);
///     directory->appConfigIs(app);        // the child's adapter finds its id here
///
/// An anchor puts back what stood there before it. Nothing allocates or throws. One thread.

#include "attrlog/Record.h"
#include "runtime/Entity.h"
#include "runtime/Scoped.h"

namespace Kor {

class KOR_EXPORT MsgChannel : public PtrInterface {
public:
    enum class Mode : U32 { none = 0, childAnnounced = 1, synchronized = 3 };

    class Constrainer {
    public:
        /// What is known of one mounted entity.
        class KorEntry {
        public:
            Mode mode() const noexcept { return mode_; }
            void modeIs(Mode mode) noexcept { mode_ = mode; }

        private:
            Mode mode_ = Mode::none;
        };

        Constrainer() = default;
        Constrainer(EntityId id, Entity* parent) noexcept : eid_(id), parent_(parent) {}

        EntityId deserializingEid() const noexcept { return eid_; }
        void deserializingEidIs(EntityId id) noexcept { eid_ = id; }
        Entity* deserializingInParent() const noexcept { return parent_; }
        void deserializingInParentIs(Entity* parent) noexcept { parent_ = parent; }

    private:
        EntityId eid_;
        Entity* parent_ = nullptr;
    };

    Constrainer& constrainer() noexcept { return constrainer_; }

    /// Installs an id and a parent for a scope.
    struct DeserializingEidAnchor : detail::Scoped<Constrainer> {
        DeserializingEidAnchor(Constrainer& constrainer, EntityId id, Entity* parent) noexcept
            : Scoped(constrainer, {id, parent}) {}
    };

private:
    Constrainer constrainer_;
};

} // namespace Kor
