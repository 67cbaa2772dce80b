#pragma once

/// Kor::NboAttrLog::Service, what a process has for its peers: entities that they can have, what they may
/// push, and the requests that it answers. One service, any number of sessions.
///
///     auto service = Kor::makePtr<Kor::NboAttrLog::Service>();
///     service->offer("lif", lifAppConfigDir);                           // peers may write to it
///     service->offer("lifStatus", lifAppStatusDir, Access::readOnly);
///     service->acceptIs("lifConfig", [&](Session&, Name const&, Kor::Ptr<Kor::Entity> const& made) -> Kor::Ptr<Kor::Entity> {
///         auto const config = Kor::ptrCast<LifAppConfig>(made);
///         return config ? lifAppConfigDir->appConfigIs(config->app()).ptr() : nullptr;      // null refuses it
///     });
///     service->handlerIs("ping", [](Session&, Kor::String8 const& argument) { return argument; });
///
/// An offer costs nothing until a peer wants it. What is offered is held. It can be withdrawn, and something
/// else offered in its place: peers that want the path get that.
///
/// A path is a name of 1 to 255 bytes without control characters. Everything here may be called at any time,
/// also from a hook; no peer hears of it before its session's flow(). One thread: that of its sessions.

#include "attrlog/Record.h"
#include "attrlog/session/Fence.h"
#include "runtime/Entity.h"

#include <chrono>
#include <functional>
#include <map>
#include <vector>

namespace Kor::NboAttrLog {

class Session;

/// How far a wanted or pushed root is.
enum class RootState : U8 {
    /// The peer does not offer it, as far as is known.
    absent,
    /// It is asked for.
    requested,
    /// It is mounted, and its whole state is on its way.
    synchronizing,
    /// The whole state of it and of all below it is there.
    synchronized,
    /// The peer, or the hook here, has refused it.
    refused,
};

inline constexpr U32 maxPathLength = 255;
inline constexpr U32 maxVerbLength = 64;
/// Of an argument or an answer.
inline constexpr U32 maxCallText = 65535;
/// How far a fence that asks for all is passed on.
inline constexpr U32 maxFenceHops = 16;

class KOR_EXPORT Service final : public PtrInterface {
public:
    // Roots.

    struct Offer {
        Ptr<Entity> entity;
        Access access = Access::writable;
    };

    /// Offers an entity with all below it under a path; in place of what was offered there, if it is another
    /// one or of other access. Kor::RangeException for an unsound path, a null entity, one without an
    /// attribute log, and one that is part of what is offered under another path or has a part that is.
    void offer(Name const& path, Ptr<Entity> const& entity, Access access = Access::writable);
    /// Peers keep it as it is, and hear no more of it. Nothing happens if there is no such offer.
    void withdraw(Name const& path);
    /// What is offered under the path, or null.
    Offer const* offered(Name const& path) const noexcept;
    std::map<Name, Offer> const& offers() const noexcept { return offers_; }

    // Pushes.

    /// Called with an entity that a peer pushes, as made anew from its key or name, without its contents.
    /// What it returns gets the contents: that one, another one of the same class, or null to refuse it. A
    /// Kor::Exception refuses it, too, with its message for the peer.
    using Accept = std::function<Ptr<Entity>(Session& peer, Name const& path, Ptr<Entity> const& made)>;
    /// Called on each change of an accepted push: `synchronizing` when it is mounted, `synchronized` when all
    /// of it is there, `absent` when its pusher has let it go, has gone, or has lost its place, as `why`
    /// says.
    using AcceptHook = std::function<void(Session& peer, Name const& path, Ptr<Entity> const& root,
                                          RootState state, String8 const& why)>;
    /// How many may push into the same entity at a time.
    enum class Pushers : U8 {
        /// One. Another one is refused, and told who holds the place; it has to ask aloud to take it over
        /// (PushPlace). The process that holds it gets it back without a word when it has connected anew.
        one,
        /// Any number; what two of them write to the same key is what the last one wrote.
        many,
    };
    /// For pushes under that path or, with an empty one, under any path that has none of its own. A null one
    /// takes it away. Without any, every push is refused.
    void acceptIs(Name const& path, Accept accept, AcceptHook hook = {}, Pushers pushers = Pushers::one);

    // Fences, see attrlog/session/Fence.h.

    /// Called with each fence of a peer; a fence of level `done` fails without such a hook.
    using FenceReached = std::function<void(Session& peer, Ptr<Fence> const& fence)>;
    void fenceHookIs(FenceReached hook) { fenceHook_ = std::move(hook); }
    FenceReached const& fenceHook() const noexcept { return fenceHook_; }
    /// Asks all peers of this service, or those to whom the root under a path is mounted. The hook is called
    /// once, with the least of the answers; at once if there is no such peer.
    void fence(FenceLevel level, FenceHook hook, Name const& path = {},
               FenceExtent extent = FenceExtent::peer);
    /// What peers here send is passed on to those of another service: a fence that asks for all asks them,
    /// too, beside the peers of this one. The other service is held; null lets all of them go.
    void relaysTo(Ptr<Service> const& other);

    // Calls.

    /// Answers a request. A Kor::Exception or other std::exception becomes an answer that says that it
    /// failed, and so does an answer of more than maxCallText bytes.
    using Handler = std::function<String8(Session& peer, String8 const& argument)>;
    /// In place of the one of that verb, if there is one; a null one takes it away. Kor::RangeException for a
    /// verb that is empty or has more than maxVerbLength bytes.
    void handlerIs(Name const& verb, Handler handler);
    std::map<Name, Handler> const& handlers() const noexcept { return handlers_; }

    // Counts.

    /// What this process counts beside its sessions, such as connectionsRefused, for `stats`; 0 at first.
    U64& count(Name const& what) { return counts_[what]; }
    std::map<Name, U64> const& counts() const noexcept { return counts_; }

    /// The open sessions of this service.
    std::vector<Session*> const& sessions() const noexcept { return sessions_; }

    // What its sessions do.

    void sessionIs(Session& session) { sessions_.push_back(&session); }
    void sessionDel(Session& session) noexcept;
    /// What is taken in under a path.
    struct Accepting {
        Accept accept;
        AcceptHook hook;
        Pushers pushers = Pushers::one;
    };
    /// Kor::RangeException if nothing is.
    Accepting const& accepting(Name const& path) const;
    /// The session that pushes into an entity, and when that began; null if none does.
    struct Holder {
        Session* session = nullptr;
        Name path;
        std::chrono::system_clock::time_point since;
    };
    Holder const* holder(Entity const& entity) const noexcept;
    void holderIs(Entity const& entity, Session& session, Name const& path);
    /// Nothing happens if another session holds it.
    void holderDel(Entity const& entity, Session const& session) noexcept;
    /// Asks all peers but one, and those to whom this service relays.
    void fenceBeside(Session const& session, FenceLevel level, FenceHook hook, U32 hops);

private:
    void tell(Name const& path);
    std::vector<Ptr<Session>> peersBeside(Session const* session, Name const& path) const;
    static void fenceAll(std::vector<Ptr<Session>> const& peers, FenceLevel level, FenceHook hook,
                         FenceExtent extent, U32 hops);

    std::map<Name, Offer> offers_;
    std::map<Name, Accepting> accepts_;
    std::map<Entity const*, Holder> holders_;
    FenceReached fenceHook_;
    std::vector<Ptr<Service>> relays_;
    std::map<Name, Handler> handlers_;
    std::map<Name, U64> counts_;
    std::vector<Session*> sessions_;
};

} // namespace Kor::NboAttrLog
