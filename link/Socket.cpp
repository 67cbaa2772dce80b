#include "link/internal/Socket.h"

#include "link/LockFile.h"
#include "runtime/Exception.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <span>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace Kor::Link {

namespace {

constexpr int socketFlags = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;
constexpr int backlog = 128;

template <class T>
void option(int fd, int level, int name, T value) noexcept {
    ::setsockopt(fd, level, name, &value, sizeof value);
}

Socket socketFor(Endpoint const& endpoint, int& error) noexcept {
    Socket made(::socket(endpoint.family, socketFlags, 0));
    error = made ? 0 : errno;
    return made;
}

/// In place, since the bytes of an endpoint are an address and nothing else.
sockaddr const* addressOf(Endpoint const& endpoint) noexcept {
    return reinterpret_cast<sockaddr const*>(endpoint.bytes.data());
}
socklen_t length(Endpoint const& endpoint) noexcept {
    return static_cast<socklen_t>(endpoint.bytes.size());
}

Endpoint endpointOf(sockaddr const* from, socklen_t n) {
    auto const* const bytes = reinterpret_cast<U8 const*>(from);
    return {std::vector<U8>(bytes, bytes + n), from->sa_family};
}

Endpoint localEndpoint(std::string const& path) {
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    std::memcpy(local.sun_path, path.c_str(), path.size() + 1);
    return endpointOf(reinterpret_cast<sockaddr const*>(&local), sizeof local);
}

[[noreturn]] void refuse(Address const& address, String8 const& why) {
    throwRangeException(format("cannot listen on %s: %s", address.text().c_str(), why.charPtr()));
}

/// Keeps two servers that start at once from taking each other's file for that of a dead one. It is a file of
/// its own: anybody may lock a folder that others can read.
LockFile lockFor(Address const& address) {
    constexpr int attempts = 200;
    for (int i = 0; i < attempts; ++i) {
        if (auto lock = LockFile::take(address.path() + ".lock")) {
            return std::move(*lock);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    refuse(address, format("%s.lock is locked by another program", address.path().c_str()));
}

/// Removes what a dead server has left; nothing happens if there is nothing.
void removeStale(Address const& address, Endpoint const& endpoint) {
    struct stat status {};
    if (::lstat(address.path().c_str(), &status) != 0) {
        return;
    }
    if (!S_ISSOCK(status.st_mode)) {
        refuse(address, "there is a file of that name, which is no socket");
    }
    int error = 0;
    Socket const probe = connectTo(endpoint, error);
    if (error != ECONNREFUSED) {
        refuse(address, error == 0 || wouldBlock(error) || error == EINPROGRESS
                            ? String8("a server is listening there already")
                            : errorText(error));
    }
    if (::unlink(address.path().c_str()) != 0) {
        refuse(address, format("a dead server's socket is in the way: %s", errorText(errno).charPtr()));
    }
}

Listening listenLocally(Address const& address) {
    Endpoint const endpoint = localEndpoint(address.path());
    if (String8 const why = unknownUser(ownUid()); !why.empty()) {
        refuse(address, why);
    }
    LockFile const lock = lockFor(address);
    removeStale(address, endpoint);
    int error = 0;
    Listening made{socketFor(endpoint, error), address};
    // The mode is there before the name is: nobody else can connect in between.
    if (!made.socket || ::fchmod(made.socket.fd(), S_IRUSR | S_IWUSR) != 0 ||
        ::bind(made.socket.fd(), addressOf(endpoint), length(endpoint)) != 0) {
        refuse(address, errorText(errno));
    }
    struct stat status {};
    bool const isThere = ::lstat(address.path().c_str(), &status) == 0;
    made.device = status.st_dev;
    made.inode = status.st_ino;
    if (isThere && (status.st_mode & 0777) != (S_IRUSR | S_IWUSR)) {
        removeFileOf(made);
        refuse(address, "the umask takes away its owner's right to connect; a umask such as 077 does not");
    }
    if (!isThere || ::listen(made.socket.fd(), backlog) != 0) {
        error = errno;
        removeFileOf(made);
        refuse(address, errorText(error));
    }
    return made;
}

/// A socket of IPv6 takes IPv4 as well, if there is one; the address says so when there is none.
Endpoint everyInterface(Address& address) {
    sockaddr_in6 any{};
    any.sin6_family = AF_INET6;
    any.sin6_port = htons(address.port());
    int error = 0;
    Socket const probe = socketFor({{}, AF_INET6}, error);
    // Without IPv6 there is no such socket, or it has no address.
    if (probe && (::bind(probe.fd(), reinterpret_cast<sockaddr const*>(&any), sizeof any) == 0 ||
                  errno != EADDRNOTAVAIL)) {
        return endpointOf(reinterpret_cast<sockaddr const*>(&any), sizeof any);
    }
    address = Address::tcp("0.0.0.0", address.port());
    return endpointsOf(address, true).front();
}

Listening listenTcp(Address address) {
    bool const isEvery = address.host() == "*";
    Endpoint const endpoint = isEvery ? everyInterface(address) : endpointsOf(address, true).front();
    int error = 0;
    Listening made{socketFor(endpoint, error), address};
    if (made.socket) {
        option(made.socket.fd(), SOL_SOCKET, SO_REUSEADDR, 1);
    }
    if (made.socket && endpoint.family == AF_INET6) {
        option(made.socket.fd(), IPPROTO_IPV6, IPV6_V6ONLY, isEvery ? 0 : 1);
    }
    sockaddr_storage bound{};
    socklen_t n = sizeof bound;
    if (!made.socket || ::bind(made.socket.fd(), addressOf(endpoint), length(endpoint)) != 0 ||
        ::listen(made.socket.fd(), backlog) != 0 ||
        ::getsockname(made.socket.fd(), reinterpret_cast<sockaddr*>(&bound), &n) != 0) {
        refuse(address, errorText(errno));
    }
    // The port stands in the same place for both families.
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    made.address =
        Address::tcp(address.host(), ntohs(reinterpret_cast<sockaddr_in const*>(&bound)->sin_port));
    return made;
}

/// One end of a TCP connection, with an IPv4 address in IPv6 as what it is.
struct TcpEnd {
    int family = 0;
    std::array<U8, 16> address{};
    U16 port = 0; // in the order of the net

    static TcpEnd of(sockaddr_storage const& storage) {
        TcpEnd end;
        end.family = storage.ss_family;
        if (end.family == AF_INET6) {
            auto const& six = reinterpret_cast<sockaddr_in6 const&>(storage);
            end.port = six.sin6_port;
            std::memcpy(end.address.data(), &six.sin6_addr, sizeof six.sin6_addr);
            if (IN6_IS_ADDR_V4MAPPED(&six.sin6_addr)) {
                end.family = AF_INET;
                std::memmove(end.address.data(), &end.address[12], sizeof(in_addr));
            }
        } else {
            auto const& four = reinterpret_cast<sockaddr_in const&>(storage);
            end.port = four.sin_port;
            std::memcpy(end.address.data(), &four.sin_addr, sizeof four.sin_addr);
        }
        return end;
    }
    std::string text() const {
        std::array<char, INET6_ADDRSTRLEN> text{};
        ::inet_ntop(family, address.data(), text.data(), text.size());
        return text.data();
    }
};

/// For whom the peer on this machine runs, as the kernel tells: it is asked for the socket at the other end.
std::optional<U32> localUserOf(TcpEnd const& peer, TcpEnd const& own) noexcept {
    Socket const kernel(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_SOCK_DIAG));
    struct {
        nlmsghdr header{};
        inet_diag_req_v2 of{};
    } request;
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.of.sdiag_family = static_cast<U8>(peer.family);
    request.of.sdiag_protocol = IPPROTO_TCP;
    request.of.idiag_states = ~U32{0};
    request.of.id.idiag_sport = peer.port;
    request.of.id.idiag_dport = own.port;
    std::memcpy(request.of.id.idiag_src, peer.address.data(), sizeof request.of.id.idiag_src);
    std::memcpy(request.of.id.idiag_dst, own.address.data(), sizeof request.of.id.idiag_dst);
    request.of.id.idiag_cookie[0] = request.of.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    struct {
        nlmsghdr header{};
        inet_diag_msg about{};
        std::array<U8, 512> rest{};
    } answer;
    if (!kernel || ::send(kernel.fd(), &request, sizeof request, 0) < 0) {
        return {};
    }
    ssize_t const n = ::recv(kernel.fd(), &answer, sizeof answer, 0); // it has answered already
    bool const isThere = n >= static_cast<ssize_t>(sizeof answer.header + sizeof answer.about) &&
                         answer.header.nlmsg_type == SOCK_DIAG_BY_FAMILY;
    return isThere ? std::optional<U32>(answer.about.idiag_uid) : std::nullopt;
}

} // namespace

Socket::~Socket() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

std::vector<Endpoint> endpointsOf(Address const& address, bool listens) {
    if (address.kind() == Address::Kind::local) {
        return {localEndpoint(address.path())};
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | (listens ? AI_PASSIVE : 0);
    bool const isAny = address.host() == "*";
    // The name of the loopback interface, whatever a resolver makes of it.
    std::string const host = address.host() == "localhost" ? "127.0.0.1" : address.host();
    addrinfo* found = nullptr;
    int const error =
        ::getaddrinfo(isAny ? nullptr : host.c_str(), std::to_string(address.port()).c_str(), &hints, &found);
    if (error != 0) {
        throwRangeException(format("%s: %s", address.text().c_str(), ::gai_strerror(error)));
    }
    std::vector<Endpoint> endpoints;
    for (addrinfo const* each = found; each != nullptr; each = each->ai_next) {
        endpoints.emplace_back(endpointOf(each->ai_addr, each->ai_addrlen));
    }
    ::freeaddrinfo(found);
    return endpoints;
}

Listening listenOn(Address const& address) {
    return address.kind() == Address::Kind::local ? listenLocally(address) : listenTcp(address);
}

void removeFileOf(Listening const& listening) noexcept {
    if (listening.address.kind() != Address::Kind::local || !listening.socket) {
        return;
    }
    struct stat status {};
    char const* const path = listening.address.path().c_str();
    if (::lstat(path, &status) == 0 && status.st_dev == listening.device &&
        status.st_ino == listening.inode) {
        ::unlink(path);
    }
}

Socket acceptFrom(int fd, int& error) noexcept {
    Socket made(::accept4(fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    error = made || wouldBlock(errno) ? 0 : errno;
    return made;
}

Socket connectTo(Endpoint const& endpoint, int& error) noexcept {
    Socket made = socketFor(endpoint, error);
    while (made && ::connect(made.fd(), addressOf(endpoint), length(endpoint)) != 0) {
        if (errno != EINTR) { // after which it may be on its way, or done
            error = errno == EALREADY ? EINPROGRESS : (errno == EISCONN ? 0 : errno);
            break;
        }
    }
    return made;
}

int connectError(int fd) noexcept {
    int error = 0;
    socklen_t n = sizeof error;
    return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &n) != 0 ? errno : error;
}

void tune(int fd) noexcept {
    option(fd, IPPROTO_TCP, TCP_NODELAY, 1); // of a Unix socket these fail, which is as well
    option(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
}

namespace {

/// None for a socket that is no Unix socket; of a local peer that the kernel does not tell of, a user that is
/// nobody's.
std::optional<ucred> credentials(int fd) noexcept {
    ucred peer{};
    socklen_t n = sizeof peer;
    int domain = 0;
    socklen_t m = sizeof domain;
    bool const isKnown = ::getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &m) == 0;
    if (isKnown && domain != AF_UNIX) {
        return {};
    }
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &n) == 0 ? peer : ucred{0, ~U32{0}, ~U32{0}};
}

} // namespace

std::optional<U32> peerUid(int fd) noexcept {
    std::optional<ucred> const peer = credentials(fd);
    return peer ? std::optional<U32>(peer->uid) : std::nullopt;
}

U32 peerProcess(int fd) noexcept {
    return static_cast<U32>(credentials(fd).value_or(ucred{}).pid);
}

U32 ownUid() noexcept {
    return ::geteuid();
}

String8 unknownUser(U32 uid) {
    U32 overflow = 65534;
    std::ifstream("/proc/sys/kernel/overflowuid") >> overflow;
    U64 first = 0;
    U64 outer = 0;
    U64 count = 0;
    std::ifstream map("/proc/self/uid_map");
    constexpr U64 all = ~U32{0};
    bool const isWhole = (map >> first >> outer >> count) && count == all;
    return uid != overflow || isWhole
               ? String8()
               : format(
                     "user %u stands here for every user that this user namespace does not know, so that a "
                     "peer's user cannot be checked; run as a user that it maps",
                     uid);
}

std::string ownerOf(int fd) {
    sockaddr_storage peer{};
    sockaddr_storage own{};
    socklen_t n = sizeof peer;
    socklen_t m = sizeof own;
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &n) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&own), &m) != 0 ||
        (peer.ss_family != AF_INET && peer.ss_family != AF_INET6)) {
        return {};
    }
    TcpEnd const there = TcpEnd::of(peer);
    auto const user = localUserOf(there, TcpEnd::of(own));
    return user ? "user " + std::to_string(*user) : there.text();
}

std::ptrdiff_t sendTo(int fd, std::span<U8 const> bytes, int& error) noexcept {
    std::ptrdiff_t const n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    error = n < 0 ? errno : 0;
    return n;
}

std::ptrdiff_t receiveFrom(int fd, std::span<U8> bytes, int& error) noexcept {
    std::ptrdiff_t const n = ::recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
    error = n < 0 ? errno : 0;
    return n;
}

bool wouldBlock(int error) noexcept {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

void shutdownWriting(int fd) noexcept {
    ::shutdown(fd, SHUT_WR);
}

String8 errorText(int error) {
    return String8(std::error_code(error, std::generic_category()).message());
}

} // namespace Kor::Link
