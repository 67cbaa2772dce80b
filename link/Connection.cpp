#include "link/Connection.h"

#include "runtime/String8.h"

#include <asio/buffer.hpp>
#include <span>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace Kor::Link {

using NboAttrLog::Session;

std::optional<U32> peerUid(asio::generic::stream_protocol::socket& socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (::getsockname(socket.native_handle(), reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
        address.ss_family != AF_UNIX) {
        return std::nullopt;
    }
    ucred peer{};
    size = sizeof peer;
    // What the kernel cannot tell is nobody's.
    return ::getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.uid
                                                                                            : ~U32{0};
}

Connection::Connection(Loop::Impl& loop, Socket socket, Ptr<Session> session, Peering const& peering,
                       Over over)
    : loop_(loop), socket_(std::move(socket)), session_(std::move(session)), over_(std::move(over)),
      timer_(loop.io), goodbyeTime_(peering.goodbyeTime) {}

void Connection::start(Peering const& peering) {
    loop_.connections.push_back(weak_from_this());
    asio::error_code error;
    socket_.non_blocking(true, error);
    if (error) {
        end(String8(error.message()));
        return;
    }
    U32 const mine = peering.peerUid.value_or(static_cast<U32>(::geteuid()));
    if (std::optional<U32> const uid = peerUid(socket_); uid && *uid != mine) {
        session_->close(format("this socket is for user %u, and not for user %u", mine, *uid));
    }
    timer_.expires_after(peering.helloTime);
    timer_.async_wait([self = shared_from_this()](asio::error_code const& gone) {
        if (!gone && !self->session_->isEstablished()) {
            self->session_->close("no hello in time");
        }
    });
    waitToRead();
}

void Connection::waitToRead() {
    socket_.async_wait(Socket::wait_read, [self = shared_from_this()](asio::error_code const& error) {
        if (!error && !self->isOver_) {
            self->read();
        }
    });
}

void Connection::read() {
    asio::error_code error;
    std::size_t const n = socket_.read_some(asio::buffer(buffer_), error);
    if (error == asio::error::would_block || error == asio::error::interrupted) {
        return waitToRead();
    }
    if (error) {
        session_->cut(error == asio::error::eof ? String8("the peer is gone") : String8(error.message()));
        return end(session_->closeReason());
    }
    std::span<U8 const> rest(buffer_.data(), n);
    while (!rest.empty() && session_->isOpen()) {
        std::size_t const taken = session_->in()->feed(rest);
        rest = rest.subspan(taken);
        if (!session_->receive() || taken == 0) {
            break; // what a peer sends behind its end, or past a closed session, is nobody's
        }
    }
    if (!isOver_) {
        waitToRead();
    }
}

bool Connection::pump() {
    if (isOver_) {
        return false;
    }
    bool isDone = false;
    session_->flow();
    // So much for one turn; the others have theirs.
    for (int turn = 0; turn < 16 && !isWaitingToWrite_; ++turn) {
        auto const bytes = session_->out()->readable();
        if (bytes.empty()) {
            break;
        }
        asio::error_code error;
        std::size_t const n = socket_.write_some(asio::buffer(bytes.data(), bytes.size()), error);
        if (error == asio::error::would_block || error == asio::error::interrupted) {
            waitToWrite();
            break;
        }
        if (error) {
            session_->cut(String8(error.message()));
            end(session_->closeReason());
            return true;
        }
        session_->out()->nextBytes(static_cast<U32>(n));
        isDone = true;
        session_->flow();
    }
    if (session_->isOver()) {
        end(session_->closeReason());
        return true;
    }
    if (!session_->isOpen() && !isEnding_) {
        isEnding_ = true;
        timer_.expires_after(goodbyeTime_);
        timer_.async_wait([self = shared_from_this()](asio::error_code const& gone) {
            if (!gone) {
                self->end(self->session_->closeReason());
            }
        });
    }
    return isDone;
}

void Connection::waitToWrite() {
    isWaitingToWrite_ = true;
    socket_.async_wait(Socket::wait_write, [self = shared_from_this()](asio::error_code const& error) {
        self->isWaitingToWrite_ = false;
        if (!error) {
            self->pump();
        }
    });
}

void Connection::drop(String8 const& reason) {
    over_ = nullptr;
    session_->close(reason);
    pump();
    end(reason);
}

void Connection::end(String8 const& reason) {
    if (std::exchange(isOver_, true)) {
        return;
    }
    std::shared_ptr<Connection> const self = shared_from_this();
    session_->cut(reason);
    timer_.cancel();
    asio::error_code ignored; // it is the end
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.close(ignored);
    if (Over const over = std::exchange(over_, nullptr)) {
        over();
    }
}

} // namespace Kor::Link
