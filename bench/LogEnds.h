#pragma once

/// One process's end of a connection, for each way to keep a map of counts equal in two processes: the
/// attribute log and its peers. bench/LogBench.cpp measures them. All ends have the same operations:
///
///     End end(link);                    // after the fork
///     end.load(keys);                   // state, untold
///     end.sendState();                  // all of it
///     end.set(key, count);              // changes the state and tells the other end, at the latest with flush()
///     end.receive();                    // waits for something, and applies it
///     end.count(key), end.size();       // the state
///
/// The peers keep their state in a std::unordered_map with the library's hash of the key. The attribute log,
/// structs and protobuf go over the same socket, with the same loop, in pieces of the same size.

#include "attrlog/adapter/Demuxer.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <span>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

#ifdef LOAM_HAS_PROTOBUF
#include "Change.pb.h"
#endif
#ifdef LOAM_HAS_ZMQ
#include <zmq.hpp>
#endif
#ifdef LOAM_HAS_REDIS
#include <hiredis/hiredis.h>
#endif

namespace bench {

using Hardware::LoamTunnel::AradLifEntry;
using Kor::U32;
using Kor::U64;
using Kor::U8;

[[noreturn]] inline void fail(char const* what) {
    std::fprintf(stderr, "LogBench: %s: %s\n", what, std::strerror(errno));
    std::_Exit(1);
}

/// What two ends are connected by.
struct Link {
    int socket;
    bool isWriter;         // the one whose state it is
    std::string directory; // for sockets with names
};

inline constexpr std::size_t pieceSize = 1 << 16;

inline void waitFor(int fd, short events) {
    pollfd poll{fd, events, 0};
    while (::poll(&poll, 1, -1) < 0) {
        if (errno != EINTR) {
            fail("poll");
        }
    }
}
/// Writes what it can, or waits until that is something.
inline std::size_t writePiece(int fd, std::span<U8 const> bytes) {
    for (;;) {
        ssize_t const n = ::write(fd, bytes.data(), bytes.size());
        if (n >= 0) {
            return static_cast<std::size_t>(n);
        }
        if (errno != EAGAIN) {
            fail("write");
        }
        waitFor(fd, POLLOUT);
    }
}
/// Reads a piece, or waits until there is one.
inline std::size_t readPiece(int fd, std::span<U8> bytes) {
    for (;;) {
        ssize_t const n = ::read(fd, bytes.data(), std::min(bytes.size(), pieceSize));
        if (n > 0) {
            return static_cast<std::size_t>(n);
        }
        if (n == 0 || errno != EAGAIN) {
            fail("read");
        }
        waitFor(fd, POLLIN);
    }
}

struct KeyHash {
    std::size_t operator()(AradLifEntry const& key) const { return key.hash(); }
};
using Counts = std::unordered_map<AradLifEntry, U32, KeyHash>;

/// The attribute log.
class LogEnd {
public:
    explicit LogEnd(Link const& link)
        : socket_(link.socket),
          demuxer_(Kor::makePtr<Kor::NboAttrLog::Demuxer>(link.isWriter ? Kor::NboAttrLog::Side::connecting
                                                                        : Kor::NboAttrLog::Side::accepting)) {
        if (link.isWriter) {
            config_ = Hardware::LoamTunnel::lifAppConfigFactory(Hardware::Loam::vtAppMpls);
        }
        demuxer_->rootHookIs([this](Kor::Ptr<Kor::Entity> const& offered) {
            config_ = Kor::ptrCast<Hardware::LoamTunnel::LifAppConfig>(offered);
            return offered;
        });
    }
    void load(std::span<AradLifEntry const> keys) {
        for (auto const& key : keys) {
            config_->reqCountIs(key, 1);
        }
    }
    void sendState() {
        demuxer_->mount(config_);
        while (demuxer_->flow()) {
            send();
        }
        flush();
    }
    void set(AradLifEntry const& key, U32 count) {
        config_->reqCountIs(key, count);
        if (demuxer_->out()->pending() >= pieceSize) {
            send();
        }
    }
    void flush() {
        while (demuxer_->out()->pending() != 0) {
            send();
        }
    }
    void receive() {
        auto& in = *demuxer_->in();
        in.wrote(readPiece(socket_, in.writable()));
        if (!demuxer_->receive()) {
            fail(demuxer_->closeReason().charPtr());
        }
    }
    U32 count(AradLifEntry const& key) const { return config_ ? config_->reqCount(key) : 0; }
    std::size_t size() const { return config_ ? config_->reqCountMap().count() : 0; }
    template <class Visit>
    void each(Visit const& visit) const {
        config_->reqCountMap().forEach([&](auto const& member) { visit(member.key, member.value); });
    }
    U64 bytesSent() const { return demuxer_->out()->bytes(); }

private:
    void send() {
        auto& out = *demuxer_->out();
        out.nextBytes(writePiece(socket_, out.readable()));
    }

    int socket_;
    Kor::Ptr<Kor::NboAttrLog::Demuxer> demuxer_;
    Kor::Ptr<Hardware::LoamTunnel::LifAppConfig> config_;
};

/// What the peers have in common: the state.
class StateEnd {
public:
    void load(std::span<AradLifEntry const> keys) {
        for (auto const& key : keys) {
            counts_.emplace(key, 1);
        }
    }
    U32 count(AradLifEntry const& key) const {
        auto const found = counts_.find(key);
        return found != counts_.end() ? found->second : 0;
    }
    std::size_t size() const { return counts_.size(); }
    template <class Visit>
    void each(Visit const& visit) const {
        for (auto const& [key, count] : counts_) {
            visit(key, count);
        }
    }
    U64 bytesSent() const { return bytesSent_; }

protected:
    /// Whether that changes anything.
    bool store(AradLifEntry const& key, U32 count) {
        auto const [at, isNew] = counts_.try_emplace(key, count);
        return isNew || std::exchange(at->second, count) != count;
    }

    Counts counts_;
    U64 bytesSent_ = 0;
};

struct __attribute__((packed)) Packed {
    U32 lifType;
    U64 dword0;
    U64 dword1;
    U32 count;

    Packed() = default;
    Packed(AradLifEntry const& key, U32 theCount)
        : lifType(key.lifType()), dword0(key.dword0()), dword1(key.dword1()), count(theCount) {}
    AradLifEntry key() const {
        return AradLifEntry(static_cast<Hardware::LoamTunnel::LifType>(lifType), dword0, dword1);
    }
};

/// Records as structs.
struct StructCodec {
    static constexpr std::size_t most = sizeof(Packed);

    static U8* write(U8* at, AradLifEntry const& key, U32 count) {
        Packed const packed(key, count);
        std::memcpy(at, &packed, sizeof packed);
        return at + sizeof packed;
    }
    /// Behind the record, or null if it has not come as a whole.
    template <class Apply>
    static U8 const* read(U8 const* at, U8 const* end, Apply const& apply) {
        if (end - at < static_cast<std::ptrdiff_t>(sizeof(Packed))) {
            return nullptr;
        }
        Packed packed;
        std::memcpy(&packed, at, sizeof packed);
        apply(packed.key(), U32{packed.count});
        return at + sizeof packed;
    }
};

#ifdef LOAM_HAS_PROTOBUF
inline void toMessage(Change& message, AradLifEntry const& key, U32 count) {
    message.set_lif_type(key.lifType());
    message.set_dword0(key.dword0());
    message.set_dword1(key.dword1());
    message.set_count(count);
}
inline AradLifEntry keyOf(Change const& message) {
    return AradLifEntry(static_cast<Hardware::LoamTunnel::LifType>(message.lif_type()), message.dword0(),
                        message.dword1());
}

/// Messages, each behind a byte with its length.
struct ProtobufCodec {
    static constexpr std::size_t most = 64;

    U8* write(U8* at, AradLifEntry const& key, U32 count) {
        toMessage(message, key, count);
        *at++ = static_cast<U8>(message.ByteSizeLong());
        return message.SerializeWithCachedSizesToArray(at);
    }
    template <class Apply>
    U8 const* read(U8 const* at, U8 const* end, Apply const& apply) {
        if (at == end || end - at - 1 < *at) {
            return nullptr;
        }
        if (!message.ParseFromArray(at + 1, *at)) {
            fail("protobuf");
        }
        apply(keyOf(message), message.count());
        return at + 1 + *at;
    }

    Change message;
};
#endif

/// Records of a codec, over the socket.
template <class Codec>
class SocketEnd : public StateEnd {
public:
    explicit SocketEnd(Link const& link)
        : socket_(link.socket), out_(pieceSize + Codec::most), in_(2 * pieceSize) {}

    void sendState() {
        for (auto const& [key, count] : counts_) {
            put(key, count);
        }
        flush();
    }
    void set(AradLifEntry const& key, U32 count) {
        if (store(key, count)) {
            put(key, count);
        }
    }
    void flush() {
        bytesSent_ += filled_;
        for (std::size_t sent = 0; sent != filled_;) {
            sent += writePiece(socket_, std::span<U8 const>(out_.data() + sent, filled_ - sent));
        }
        filled_ = 0;
    }
    void receive() {
        std::size_t const end = waiting_ + readPiece(socket_, std::span<U8>(in_).subspan(waiting_));
        U8 const* at = in_.data();
        auto const apply = [&](AradLifEntry const& key, U32 count) { store(key, count); };
        while (U8 const* const next = codec_.read(at, in_.data() + end, apply)) {
            at = next;
        }
        waiting_ = static_cast<std::size_t>(in_.data() + end - at);
        std::memmove(in_.data(), at, waiting_);
    }

private:
    void put(AradLifEntry const& key, U32 count) {
        U8* const at = out_.data() + filled_;
        filled_ += static_cast<std::size_t>(codec_.write(at, key, count) - at);
        if (filled_ >= pieceSize) {
            flush();
        }
    }

    int socket_;
    Codec codec_;
    std::vector<U8> out_, in_;
    std::size_t filled_ = 0, waiting_ = 0;
};

#if defined LOAM_HAS_PROTOBUF && defined LOAM_HAS_ZMQ
/// A ZeroMQ message with a protobuf message for each record.
class ZmqEnd : public StateEnd {
public:
    explicit ZmqEnd(Link const& link) : socket_(context_, zmq::socket_type::pair) {
        socket_.set(zmq::sockopt::sndhwm, 100'000);
        socket_.set(zmq::sockopt::rcvhwm, 100'000);
        socket_.set(zmq::sockopt::linger, -1);
        std::string const name = "ipc://" + link.directory + "/zmq";
        link.isWriter ? socket_.bind(name) : socket_.connect(name);
    }
    void sendState() {
        for (auto const& [key, count] : counts_) {
            put(key, count);
        }
    }
    void set(AradLifEntry const& key, U32 count) {
        if (store(key, count)) {
            put(key, count);
        }
    }
    void flush() {}
    void receive() {
        auto flags = zmq::recv_flags::none;
        for (int i = 0; i < 1000 && socket_.recv(received_, flags); ++i) {
            if (!message_.ParseFromArray(received_.data(), static_cast<int>(received_.size()))) {
                fail("protobuf");
            }
            store(keyOf(message_), message_.count());
            flags = zmq::recv_flags::dontwait;
        }
    }

private:
    void put(AradLifEntry const& key, U32 count) {
        toMessage(message_, key, count);
        zmq::message_t sent(message_.ByteSizeLong());
        message_.SerializeWithCachedSizesToArray(static_cast<U8*>(sent.data()));
        bytesSent_ += sent.size() + 2; // behind its flags and its length
        socket_.send(sent, zmq::send_flags::none);
    }

    zmq::context_t context_;
    zmq::socket_t socket_;
    zmq::message_t received_;
    Change message_;
};
#endif

#ifdef LOAM_HAS_REDIS
/// The state in a hash of a server, which is there already when another end wants all of it; a change is
/// stored there and published.
class RedisEnd : public StateEnd {
public:
    explicit RedisEnd(Link const& link)
        : server_(connect(link)), changes_(connect(link)), mine_(link.isWriter ? "w" : "r") {
        if (link.isWriter) {
            one("FLUSHALL");
        }
        std::string const subscribe = std::string("SUBSCRIBE ") + (link.isWriter ? "r" : "w");
        release(redisCommand(changes_, subscribe.c_str()));
    }
    RedisEnd(RedisEnd const&) = delete;
    RedisEnd& operator=(RedisEnd const&) = delete;
    ~RedisEnd() {
        redisFree(server_);
        redisFree(changes_);
    }
    void load(std::span<AradLifEntry const> keys) {
        StateEnd::load(keys);
        for (auto const& [key, count] : counts_) {
            store(Packed(key, count));
            flushSome();
        }
        flush();
    }
    void sendState() {
        Packed const all(AradLifEntry(), allOfIt);
        append({"PUBLISH", mine_, {view(&all, sizeof all)}});
        flush();
    }
    void set(AradLifEntry const& key, U32 count) {
        if (StateEnd::store(key, count)) {
            Packed const packed(key, count);
            store(packed);
            append({"PUBLISH", mine_, view(&packed, sizeof packed)});
            flushSome();
        }
    }
    void flush() {
        for (; waiting_ != 0; --waiting_) {
            void* reply = nullptr;
            if (redisGetReply(server_, &reply) != REDIS_OK) {
                fail("redis");
            }
            release(reply);
        }
    }
    void receive() {
        void* message = nullptr;
        if (redisGetReply(changes_, &message) != REDIS_OK) {
            fail("redis");
        }
        do {
            auto const* const reply = static_cast<redisReply const*>(message);
            Packed packed;
            std::memcpy(&packed, reply->element[2]->str, sizeof packed);
            packed.count == allOfIt ? static_cast<void>(readAll())
                                    : static_cast<void>(StateEnd::store(packed.key(), packed.count));
            release(std::exchange(message, nullptr));
        } while (redisReaderGetReply(changes_->reader, &message) == REDIS_OK && message != nullptr);
    }
    /// All that the server has read and written.
    U64 bytesSent() const {
        auto* const reply = static_cast<redisReply*>(redisCommand(server_, "INFO stats"));
        U64 sum = 0;
        for (char const* const name : {"total_net_input_bytes:", "total_net_output_bytes:"}) {
            sum += std::strtoull(std::strstr(reply->str, name) + std::strlen(name), nullptr, 10);
        }
        release(reply);
        return sum;
    }

private:
    static constexpr U32 allOfIt = ~U32{0};

    static redisContext* connect(Link const& link) {
        redisContext* const context = redisConnectUnix((link.directory + "/redis").c_str());
        if (context == nullptr || context->err != 0) {
            fail("cannot reach the Redis server");
        }
        return context;
    }
    static void release(void* reply) {
        if (reply == nullptr || static_cast<redisReply*>(reply)->type == REDIS_REPLY_ERROR) {
            fail(reply != nullptr ? static_cast<redisReply*>(reply)->str : "redis");
        }
        freeReplyObject(reply);
    }
    static std::string_view view(void const* bytes, std::size_t n) {
        return {static_cast<char const*>(bytes), n};
    }
    void one(char const* command) { release(redisCommand(server_, command)); }
    void append(std::initializer_list<std::string_view> words) {
        char const* at[4];
        std::size_t length[4];
        int n = 0;
        for (auto const& word : words) {
            at[n] = word.data();
            length[n++] = word.size();
        }
        redisAppendCommandArgv(server_, n, at, length);
        ++waiting_;
    }
    void store(Packed const& packed) {
        append({"HSET", "counts", view(&packed, sizeof packed - sizeof packed.count),
                view(&packed.count, sizeof packed.count)});
    }
    void flushSome() {
        if (waiting_ >= 1000) {
            flush();
        }
    }
    void readAll() {
        auto* const reply = static_cast<redisReply*>(redisCommand(server_, "HGETALL counts"));
        for (std::size_t i = 0; i + 1 < reply->elements; i += 2) {
            Packed packed;
            std::memcpy(&packed, reply->element[i]->str, sizeof packed - sizeof packed.count);
            std::memcpy(&packed.count, reply->element[i + 1]->str, sizeof packed.count);
            StateEnd::store(packed.key(), packed.count);
        }
        release(reply);
    }

    redisContext* server_;
    redisContext* changes_;
    std::string_view mine_;
    U32 waiting_ = 0;
};
#endif

} // namespace bench
