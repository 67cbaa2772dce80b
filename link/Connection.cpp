#include "link/internal/Connection.h"

#include "runtime/HandlerExceptions.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <span>

namespace Kor::Link {

namespace {

/// A turn ends with the first piece that is done after this time. A piece of small records takes about as
/// long.
constexpr std::chrono::microseconds turnTime(250);
constexpr std::size_t readPiece = 4096;
constexpr std::size_t writePiece = 16384;

std::span<U8> piece(std::span<U8> bytes, std::size_t most) {
    return bytes.first(std::min({bytes.size(), readPiece, most}));
}

} // namespace

Connection::Connection(Loop& loop, Socket socket, Ptr<NboAttrLog::Session> session, Peering const& peering,
                       End end)
    : loop_(loop), waiting_(loop, socket.release()), session_(std::move(session)),
      helloTime_(peering.helloTime), goodbyeTime_(peering.goodbyeTime), tap_(peering.tap),
      end_(std::move(end)) {}

Connection::~Connection() {
    session_->out()->wakeIs(nullptr); // which others may hold
}

void Connection::start() {
    tune(waiting_.fd());
    if (U32 const process = peerProcess(waiting_.fd()); process != 0) {
        session_->peerDetailIs(format("process %u", process));
    }
    loop_.impl().connections.push_back(shared_from_this());
    if (loop_.impl().isForeign()) { // nobody else says what the program has changed
        session_->out()->wakeIs([this] { loop_.impl().schedule(); });
        loop_.impl().schedule();
    }
    timer_ = loop_.after(helloTime_, [this] {
        if (!session_->isEstablished()) {
            session_->close(
                format("there was no hello within %lld ms", static_cast<long long>(helloTime_.count())));
        }
    });
    waitToRead();
}

void Connection::waitToRead() {
    isReadable_ = false;
    waiting_.toRead([self = shared_from_this()](asio::error_code const& error) {
        if (!error && !self->isEnded_) {
            self->isReadable_ = true; // the loop's next turn goes on
            self->loop_.impl().schedule();
        }
    });
}

void Connection::waitToWrite() {
    isWriting_ = true;
    waiting_.toWrite([self = shared_from_this()](asio::error_code const& error) {
        if (!error && !self->isEnded_) {
            self->isWriting_ = false;
            self->loop_.impl().schedule();
        }
    });
}

bool Connection::turn() {
    auto const self = shared_from_this();
    auto const end = Loop::Impl::Clock::now() + turnTime;
    session_->out()->isAwaitedIs(false);
    bool const hasRead = read(end);
    bool const hasMore = pump(end) || hasRead;
    session_->out()->isAwaitedIs(!isEnded_);
    return hasMore;
}

bool Connection::read(Loop::Impl::Clock::time_point end) {
    bool hasRead = false;
    std::size_t left = loop_.impl().share();
    while (isReadable_ && !isEnded_ && left != 0) {
        std::array<U8, readPiece> discarded;
        // A session that is open takes any record, so that there is room once it has applied what has come.
        std::span<U8> const to = piece(session_->isOpen() ? session_->in()->writable() : discarded, left);
        int error = 0;
        std::ptrdiff_t const n = receiveFrom(waiting_.fd(), to, error);
        if (n < 0 && wouldBlock(error)) {
            waitToRead();
            break;
        }
        if (n <= 0) {
            lost(n == 0 ? String8("the peer is gone") : errorText(error));
            break;
        }
        hasRead = true;
        left -= static_cast<std::size_t>(n);
        loop_.impl().carried += static_cast<U64>(n);
        if (session_->isOpen()) {
            if (tap_) {
                tap_(*session_, false, to.first(static_cast<std::size_t>(n)));
            }
            session_->in()->wrote(static_cast<std::size_t>(n));
            session_->receive();
        }
        if (Loop::Impl::Clock::now() >= end) {
            break;
        }
    }
    return hasRead;
}

bool Connection::pump(Loop::Impl::Clock::time_point end) {
    bool isFirst = true;
    while (!isEnded_ && !isShut_) {
        session_->flow();
        auto bytes = session_->out()->readable();
        if (bytes.empty() || isWriting_ || isEnded_) {
            break;
        }
        if (!std::exchange(isFirst, false) && Loop::Impl::Clock::now() >= end) {
            return true;
        }
        if (!send(bytes)) {
            break;
        }
    }
    if (!isEnded_ && !session_->isOpen()) {
        linger();
    }
    return false;
}

bool Connection::send(std::span<U8 const> bytes) {
    bytes = bytes.first(std::min(bytes.size(), writePiece));
    int error = 0;
    std::ptrdiff_t const n = sendTo(waiting_.fd(), bytes, error);
    if (n < 0) {
        wouldBlock(error) ? waitToWrite() : lost(errorText(error));
        return false;
    }
    if (tap_) {
        tap_(*session_, true, bytes.first(static_cast<std::size_t>(n)));
    }
    session_->out()->nextBytes(static_cast<std::size_t>(n));
    loop_.impl().carried += static_cast<U64>(n);
    return true;
}

void Connection::relieve() {
    auto const bytes = session_->out()->readable();
    if (bytes.size() >= writePiece && !isEnded_ && !isShut_ && !isWriting_ && session_->isOpen()) {
        auto const self = shared_from_this();
        send(bytes);
    }
}

void Connection::linger() {
    if (session_->isClosedByPeer()) {
        ended();
        return;
    }
    if (!isLingering_) {
        isLingering_ = true;
        timer_ = loop_.after(goodbyeTime_, [this] { ended(); });
    }
    if (session_->isOver() && !isShut_) {
        isShut_ = true;
        shutdownWriting(waiting_.fd()); // and the peer's end of the stream ends it
    }
}

void Connection::lost(String8 const& reason) {
    session_->cut(reason);
    ended();
}

void Connection::finish(String8 const& reason) noexcept {
    try {
        auto const self = shared_from_this();
        constexpr std::chrono::milliseconds most(100);
        session_->close(reason);
        pump(Loop::Impl::Clock::now() + most);
        if (!isEnded_) {
            lost(reason);
        }
    } catch (...) {
        handlerExceptionNote(*session_, AttributeId(0));
        letGo(); // without a word
    }
}

void Connection::letGo() noexcept {
    isEnded_ = true;
    timer_.cancel();
    session_->out()->wakeIs(nullptr);
    waiting_.close();
}

void Connection::ended() {
    if (isEnded_) {
        return;
    }
    auto const self = shared_from_this();
    letGo();
    if (End const end = std::move(end_)) {
        end(*this, session_->closeReason());
    }
}

String8 refusalOf(int fd, Peering const& peering) {
    U32 const expected = peering.peerUid.value_or(ownUid());
    std::optional<U32> const uid = peerUid(fd);
    if (uid && *uid != expected) {
        return format("the peer runs for user %u, and this side talks to user %u alone", *uid, expected);
    }
    return uid ? unknownUser(expected) : String8();
}

} // namespace Kor::Link
