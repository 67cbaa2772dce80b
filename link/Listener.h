#pragma once

/// Kor::Link::Listener, the side that is connected to: one session a peer.
///
///     Kor::Link::ListenerConfig config;
///     config.service = service;                                   // attrlog/session/Service.h
///     config.session.name = "driver";
///     config.session.schema = loamTunnelModule().checksum();  // model/LoamTunnelModule.h
///     config.hooks.closed = [](Session& peer, Kor::String8 const& reason) { ... };
///     Kor::Link::Listener listener(loop, Kor::Link::Address::parse("unix:/run/loam/driver"), config);
///     loop.run();
///
/// The file of a Unix socket that a dead server has left is replaced; that of a live one is refused. The
/// listener removes its own file when it ends. Beside it a lock, PATH.lock, is there while it begins.
///
/// Whom it has refused is counted as connectionsRefused in the counts of the service.
///
/// Lives on one loop, which must outlive it, and in its thread. Ends with all its sessions, whose peers get a
/// goodbye if it can be sent at once. A peer costs a socket, a session and its two rings. The constructor
/// raises Kor::RangeException for an address that it cannot listen on.

#include "link/Address.h"
#include "link/Loop.h"
#include "link/Peering.h"

#include <functional>
#include <memory>
#include <vector>

namespace Kor::Link {

struct ListenerConfig : Peering {
    /// How many peers at once; more are told so and refused. Of a TCP address each user of this machine, and
    /// each other machine, gets at most half of what the others leave free, so that none locks the others
    /// out.
    unsigned sessions = 256;
    /// A peer that was not let in, and why.
    std::function<void(String8 const& reason)> refused{};
};

class KOR_EXPORT Listener {
public:
    struct Impl;

    /// Listens from here on. Kor::RangeException if the address cannot be listened on, with the reason.
    Listener(Loop& loop, Address const& address, ListenerConfig config);
    ~Listener();
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;

    /// Where it listens, with the port that the system chose.
    Address const& address() const noexcept;
    /// The open sessions, also those without a hello yet.
    std::vector<Ptr<NboAttrLog::Session>> sessions() const;
    /// Ends all sessions with a goodbye and listens no more.
    void close(String8 const& reason);

private:
    std::shared_ptr<Impl> impl_;
};

} // namespace Kor::Link
