#pragma once

/// Kor::Link::Connector, the side that connects, and connects again when the connection is lost.
///
///     Kor::Link::ConnectorConfig config;
///     config.session.name = "mpls";
///     config.session.schema = loamTunnelModule().checksum();  // model/LoamTunnelModule.h
///     config.setUp = [&](Session& session) { session.want("lifStatus", status); };   // for each connection
///     config.lost = [](Kor::String8 const& reason, auto wait) { ... };
///     Kor::Link::Connector connector(loop, Kor::Link::Address::parse("/run/loam/driver"), config);
///     loop.run();
///
/// Each connection has a session of its own. What was mounted on the one before stays as it was, and gets a
/// full pass from the new peer. Tries wait longer each time, up to a limit, and by a random part of that, so
/// that the clients of a server that comes back do not come all at once.
///
/// Lives on one loop, which must outlive it. Nothing happens before the loop runs. Ends with its session.
///
/// A connection that fails or is lost raises nothing: `lost` is told the reason. What the hooks throw leaves
/// the call that runs the loop (link/Loop.h).

#include "link/Address.h"
#include "link/Loop.h"
#include "link/Peering.h"

#include <functional>
#include <memory>

namespace Kor::Link {

struct ConnectorConfig : Peering {
    /// Without, the first loss is the end: isOver().
    bool reconnects = true;
    /// The wait after a loss: `firstWait`, doubled with each further one up to `mostWait`, until a session
    /// has lasted longer than the wait before it. Of that, a random part between a half and all.
    std::chrono::milliseconds firstWait{50};
    std::chrono::milliseconds mostWait{5'000};
    /// A try has failed, or a connection is lost; the next one follows after `wait`, if it reconnects.
    std::function<void(String8 const& reason, std::chrono::milliseconds wait)> lost{};
};

class KOR_EXPORT Connector {
public:
    struct Impl;

    /// Names of TCP hosts are looked up here, which may wait for the system's resolver. Kor::RangeException
    /// for one that is not known.
    Connector(Loop& loop, Address const& address, ConnectorConfig config);
    ~Connector();
    Connector(Connector const&) = delete;
    Connector& operator=(Connector const&) = delete;

    Address const& address() const noexcept;
    /// The session of the connection that there is, also before its hello; or null.
    Ptr<NboAttrLog::Session> session() const;
    bool isEstablished() const;
    /// No connection, and there will be none: it does not reconnect, or has been closed.
    bool isOver() const noexcept;
    /// Why the last connection was lost, or could not be made; empty before.
    String8 const& lastReason() const noexcept;
    /// How many connections were tried.
    U64 tries() const noexcept;
    /// Ends the session with a goodbye; no other one follows.
    void close(String8 const& reason);

private:
    std::shared_ptr<Impl> impl_;
};

} // namespace Kor::Link
