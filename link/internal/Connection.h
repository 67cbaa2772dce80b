#pragma once

/// Kor::Link::Connection, a session on a socket, on a loop that owns it.

#include "link/Peering.h"
#include "link/internal/LoopImpl.h"
#include "link/internal/Socket.h"

#include <functional>
#include <span>

namespace Kor::Link {

class Connection final : public std::enable_shared_from_this<Connection> {
public:
    /// Called once, when the connection is closed.
    using End = std::function<void(Connection&, String8 const& reason)>;

    Connection(Loop& loop, Socket socket, Ptr<NboAttrLog::Session> session, Peering const& peering, End end);
    ~Connection();

    /// Begins; the loop holds it from here on.
    void start();
    Ptr<NboAttrLog::Session> const& session() const noexcept { return session_; }
    bool isEnded() const noexcept { return isEnded_; }
    /// Receives what has come and sends what there is, for a bounded time. True when it has received
    /// anything, which may concern other connections, or there is more to send at once.
    bool turn();
    /// After another one's turn: sends what has come together, so that changes find room and need no marks.
    void relieve();
    /// For destructors: says goodbye, as far as the peer takes it at once, and closes. What a hook lets out
    /// on the way is noted as a handler's exception.
    void finish(String8 const& reason) noexcept;

private:
    void waitToRead();
    void waitToWrite();
    bool read(Loop::Impl::Clock::time_point end);
    bool pump(Loop::Impl::Clock::time_point end);
    /// Sends a piece of these; false if the peer has no room, or is lost.
    bool send(std::span<U8 const> bytes);
    /// Closes what is over, once the peer has had time to read why.
    void linger();
    void lost(String8 const& reason);
    void ended();
    /// The loop has no more to do with it.
    void letGo() noexcept;

    Loop& loop_;
    Waiting waiting_;
    Ptr<NboAttrLog::Session> session_;
    std::chrono::milliseconds helloTime_, goodbyeTime_;
    decltype(Peering::tap) tap_;
    End end_;
    Timer timer_;
    bool isReadable_ = false;
    bool isWriting_ = false;
    bool isLingering_ = false;
    bool isShut_ = false;
    bool isEnded_ = false;
};

/// Why a peer that runs for another user is refused; empty if it is not.
String8 refusalOf(int fd, Peering const& peering);

} // namespace Kor::Link
