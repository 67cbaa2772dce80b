#pragma once

#include "attrlog/session/internal/SessionCore.h"

#include <map>

namespace Kor::NboAttrLog::detail {

/// Entities of this side's own that are mounted towards the peer, and those that the peer mounts here.
class Pushes {
public:
    explicit Pushes(SessionCore& core) : core_(core) {}

    void push(Name const& path, Ptr<Entity> const& entity, Access access, Session::PushHook hook);
    void unpush(Name const& path);
    /// After the hello: mounts those that were made before it.
    void begin();

    /// The peer's verdict over the push of that number.
    void readVerdict(Name const& path, U32 number, bool isAccepted, String8 const& reason);
    void failed(EntityId id, String8 const& why);
    void retired(EntityId id);
    void ended() { pushes_.clear(); }

    /// The entity that one of the peer's becomes here, or null.
    Ptr<Entity> root(Announcement const& announcement);

private:
    struct Push {
        Ptr<Entity> entity;
        Access access = Access::writable;
        Session::PushHook hook;
        EntityId id;
        U32 number = 0;
    };

    void mount(Name const& path, Push& push);
    void refused(Name const& path, String8 const& why);

    SessionCore& core_;
    std::map<Name, Push> pushes_;
};

} // namespace Kor::NboAttrLog::detail
