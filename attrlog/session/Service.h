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
#include "runtime/Entity.h"

#include <functional>
#include <map>
#include <vector>

namespace Kor::NboAttrLog {

class Session;

inline constexpr U32 maxPathLength = 255;
inline constexpr U32 maxVerbLength = 64;
/// Of an argument or an answer.
inline constexpr U32 maxCallText = 65535;

class KOR_EXPORT Service final : public PtrInterface {
public:
    Service();
    ~Service() override;

    // Roots.

    struct Offer {
        Ptr<Entity> entity;
        Access access = Access::writable;
    };

    /// Offers an entity with all below it under a path; in place of what was offered there, if it is another
    /// one or of other access. Kor::RangeException for an unsound path, a null entity, one without an
    /// attribute log, and one that is part of what is offered under another path or has a part that is.
    void offer(Name const& path, Ptr<Entity> const& entity, Access access = Access::writable);
    /// Peers that have it keep it as it is, and hear no more of it. Nothing happens if there is no such
    /// offer.
    void withdraw(Name const& path);
    /// What is offered under the path, or null.
    Offer const* offered(Name const& path) const noexcept;
    std::map<Name, Offer> const& offers() const noexcept { return offers_; }

    // Pushes.

    /// Called with an entity that a peer pushes, as made anew from its key or name, without its contents.
    /// What it returns gets the contents: that one, another one of the same class, or null to refuse it. A
    /// Kor::Exception refuses it, too, with its message for the peer.
    using Accept = std::function<Ptr<Entity>(Session& peer, Name const& path, Ptr<Entity> const& made)>;
    /// For pushes under that path or, with an empty one, under any path that has none of its own. A null one
    /// takes it away. Without any, every push is refused.
    void acceptIs(Name const& path, Accept accept);

    // Calls.

    /// Answers a request. A Kor::Exception or other std::exception becomes an answer that says that it
    /// failed, and so does an answer of more than maxCallText bytes.
    using Handler = std::function<String8(Session& peer, String8 const& argument)>;
    /// In place of the one of that verb, if there is one; a null one takes it away. Kor::RangeException for a
    /// verb that is empty or has more than maxVerbLength bytes.
    void handlerIs(Name const& verb, Handler handler);
    std::map<Name, Handler> const& handlers() const noexcept { return handlers_; }

    /// The open sessions of this service.
    std::vector<Session*> const& sessions() const noexcept { return sessions_; }

    // What its sessions do.

    void sessionIs(Session& session) { sessions_.push_back(&session); }
    void sessionDel(Session& session) noexcept;
    Ptr<Entity> accept(Session& peer, Name const& path, Ptr<Entity> const& made) const;

private:
    void tell(Name const& path);

    std::map<Name, Offer> offers_;
    std::map<Name, Accept> accepts_;
    std::map<Name, Handler> handlers_;
    std::vector<Session*> sessions_;
};

/// Whether a text has at most so many bytes, and no control characters.
bool isSoundName(std::string_view text, std::size_t most) noexcept;
/// A peer's text as it can be shown: cut, and without control characters.
String8 shown(std::string_view text, std::size_t most);
/// Raises for an unsound path.
void requirePath(Name const& path);
/// The same, and for an entity that cannot be a root.
void requireRoot(Name const& path, Ptr<Entity> const& entity);

} // namespace Kor::NboAttrLog
