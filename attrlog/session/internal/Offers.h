#pragma once

#include "attrlog/session/internal/SessionCore.h"

#include <map>
#include <set>

namespace Kor::NboAttrLog::detail {

/// What this side offers: it is told to the peer, and mounted when the peer wants it.
class Offers {
public:
    explicit Offers(SessionCore& core) : core_(core) {}

    /// After the hello: all that the service has is to be told.
    void begin();
    /// Something else is offered under the path, or nothing.
    void changed(Name const& path);
    void write();
    bool hasWork() const { return !toTell_.empty() || !areTold_; }

    void wanted(Name const& path, U32 number);
    void unwanted(Name const& path, U32 number);
    /// Whether it was one of these that could not be mounted.
    bool failed(EntityId id, String8 const& why);
    void retired(EntityId id);
    void ended();
    bool hasMounted(Name const& path) const { return mounts_.contains(path); }

private:
    /// What is mounted because the peer wants it.
    struct Mount {
        Ptr<Entity> entity;
        EntityId id;
        U32 number = 0;
    };

    void unmount(Name const& path);
    void writeOffer(std::map<Name, bool>::iterator next);

    SessionCore& core_;
    std::map<Name, Mount> mounts_;
    /// Whether the peer must first hear that an earlier one is gone.
    std::map<Name, bool> toTell_;
    std::set<Name> told_;
    /// More than the peer takes; they are told when others are withdrawn.
    std::set<Name> untold_;
    bool areTold_ = false;
};

} // namespace Kor::NboAttrLog::detail
