#pragma once

/// Kor::Link::Peering, what listeners and connectors have in common: the sessions they make, and whom they
/// trust.
///
///     Kor::Link::ListenerConfig config;                    // a Peering, and what a listener has beyond it
///     config.service = service;
///     config.setUp = [](Kor::NboAttrLog::Session& session) { session.want("lif"); };
///
/// Trust. A Unix socket is made with mode 0600, and either side asks the kernel for whom the other one runs;
/// a peer of another user is refused. TCP knows no user: whoever reaches the port is served, and what is sent
/// can be read and changed on the way. That is why it stays on the loopback interface unless the address says
/// otherwise.
///
/// Room. A connection reads no more than its session can take, and sends what it has; a peer that reads
/// slowly costs the session's ring and never holds up the others.
///
/// Both are used through Listener and Connector; an example stands in the header of each. They run on the
/// thread of their loop.

#include "attrlog/session/Session.h"

#include <chrono>
#include <functional>
#include <optional>
#include <span>

namespace Kor::Link {

struct Peering {
    /// What peers can have of this side; null for nothing.
    Ptr<NboAttrLog::Service> service{};
    /// Its ring is smaller than that of a session by itself: to fill one takes time from the others' turns.
    NboAttrLog::SessionConfig session{.limits = {.ring = 1u << 16}};
    NboAttrLog::SessionHooks hooks{};
    /// Called with each new session, before its hello: the place for want(), push() and call().
    std::function<void(NboAttrLog::Session&)> setUp{};
    /// Hears of each piece of a session's stream, as it is sent or received: to record it, or to count.
    std::function<void(NboAttrLog::Session const&, bool isSent, std::span<U8 const>)> tap{};
    /// The user for whom a peer on a Unix socket must run; this process's one unless given.
    std::optional<U32> peerUid{};
    /// How long a peer may take for its hello, and to read a goodbye.
    std::chrono::milliseconds helloTime{10'000};
    std::chrono::milliseconds goodbyeTime{2'000};
};

} // namespace Kor::Link
