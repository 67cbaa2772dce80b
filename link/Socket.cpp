#include "link/internal/Socket.h"

#include "runtime/Exception.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <span>
#include <string>
#include <sys/file.h>
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

/// Keeps two servers that start at once from taking each other's file for that of a dead one.
class DirectoryLock {
public:
    explicit DirectoryLock(Address const& address) {
        std::string const& path = address.path();
        std::size_t const slash = path.rfind('/');
        std::string const directory = slash == std::string::npos ? "."
                                      : slash == 0               ? "/"
                                                                 : path.substr(0, slash);
        directory_ = Socket(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!directory_) {
            refuse(address, format("%s: %s", directory.c_str(), errorText(errno).charPtr()));
        }
        constexpr int attempts = 200;
        for (int i = 0; ::flock(directory_.fd(), LOCK_EX | LOCK_NB) != 0; ++i) {
            if (i == attempts || (errno != EWOULDBLOCK && errno != EINTR)) {
                refuse(address, format("%s is locked by another program", directory.c_str()));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

private:
    Socket directory_; // the lock goes with it
};

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
    DirectoryLock const lock(address);
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
    if (!isThere || ::listen(made.socket.fd(), backlog) != 0) {
        error = errno;
        removeFileOf(made);
        refuse(address, errorText(error));
    }
    return made;
}

Listening listenTcp(Address const& address) {
    Endpoint const endpoint = endpointsOf(address, true).front();
    int error = 0;
    Listening made{socketFor(endpoint, error), address};
    if (made.socket) {
        option(made.socket.fd(), SOL_SOCKET, SO_REUSEADDR, 1);
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
    if (made && ::connect(made.fd(), addressOf(endpoint), length(endpoint)) != 0) {
        error = errno;
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

std::optional<U32> peerUid(int fd) noexcept {
    ucred peer{};
    socklen_t n = sizeof peer;
    int domain = 0;
    socklen_t m = sizeof domain;
    bool const isKnown = ::getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &m) == 0;
    if (isKnown && domain != AF_UNIX) {
        return {};
    }
    // Of a local peer that the kernel does not tell of: a user that is nobody's.
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &n) == 0 ? peer.uid : ~U32{0};
}

U32 ownUid() noexcept {
    return ::geteuid();
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
