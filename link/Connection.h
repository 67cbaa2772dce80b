#pragma once

/// Carries the bytes of one session over one socket; not installed.

#include "link/LoopImpl.h"
#include "link/Peering.h"

#include <array>
#include <asio/generic/stream_protocol.hpp>

namespace Kor::Link {

/// For whom a peer on a Unix socket runs; nothing for another socket.
std::optional<U32> peerUid(asio::generic::stream_protocol::socket& socket);

class Connection : public std::enable_shared_from_this<Connection> {
public:
    using Socket = asio::generic::stream_protocol::socket;
    /// Called once, when the session is over and the socket is closed.
    using Over = std::function<void()>;

    Connection(Loop::Impl& loop, Socket socket, Ptr<NboAttrLog::Session> session, Peering const& peering,
               Over over);
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    void overIs(Over over) { over_ = std::move(over); }
    /// Refuses a peer that is not to be trusted, and begins.
    void start(Peering const& peering);
    Ptr<NboAttrLog::Session> const& session() const noexcept { return session_; }
    /// Sends what there is, as far as the socket takes it; true if something was done.
    bool pump();
    /// Closes at once; nobody is told.
    void drop(String8 const& reason);

private:
    void waitToRead();
    void read();
    void waitToWrite();
    void checkHello();
    void end(String8 const& reason);

    Loop::Impl& loop_;
    Socket socket_;
    Ptr<NboAttrLog::Session> session_;
    Over over_;
    asio::steady_timer timer_;
    std::chrono::milliseconds goodbyeTime_;
    std::array<U8, 1 << 16> buffer_;
    bool isWaitingToWrite_ = false;
    bool isEnding_ = false;
    bool isOver_ = false;
};

} // namespace Kor::Link
