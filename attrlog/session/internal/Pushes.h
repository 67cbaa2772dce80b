#pragma once

#include "attrlog/session/internal/SessionCore.h"

#include <map>

namespace Kor::NboAttrLog::detail {

/// Entities of this side's own that are mounted towards the peer, and those that the peer mounts here.
class Pushes {
public:
    explicit Pushes(SessionCore& core) : core_(core) {}

    void push(Name const& path, Ptr<Entity> const& entity, Access access, Session::PushHook hook,
              PushPlace place);
    void unpush(Name const& path);
    /// After the hello: mounts those that were made before it.
    void begin();

    /// The peer's verdict over the push of that number.
    void readVerdict(Name const& path, U32 number, bool isAccepted, String8 const& reason);
    void failed(EntityId id, String8 const& why);
    void retired(EntityId id);
    void ended(String8 const& reason);

    // What the peer pushes.

    /// The entity that one of the peer's becomes here, or null.
    Ptr<Entity> root(Announcement const& announcement);
    void mounted(EntityId id);
    void syncModeTold(EntityId id, StreamAdapter::SyncMode mode);
    /// Its place is given to another one.
    void lost(Name const& path, String8 const& why);

private:
    struct Push {
        Ptr<Entity> entity;
        Access access = Access::writable;
        Session::PushHook hook;
        EntityId id;
        U32 number = 0;
        PushPlace place = PushPlace::ifFree;
    };
    /// One that the peer has made.
    struct Taken {
        Name path;
        Ptr<Entity> entity;
        Service::AcceptHook hook;
        U32 number = 0;
        RootState state = RootState::requested;
    };

    void mount(Name const& path, Push& push);
    void refused(Name const& path, String8 const& why);
    void placeMustBeFree(Entity const& entity, bool takesOver);
    void stateIs(EntityId id, RootState state, String8 const& why = {});
    void letGo(EntityId id, String8 const& why);

    SessionCore& core_;
    std::map<Name, Push> pushes_;
    std::map<EntityId, Taken> taken_;
};

} // namespace Kor::NboAttrLog::detail
