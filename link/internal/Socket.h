#pragma once

/// The system's sockets, as far as listeners, connectors and connections need them. All are non-blocking, and
/// closed in a new program.

#include "link/Address.h"
#include "runtime/String8.h"

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Kor::Link {

class Socket {
public:
    Socket() noexcept = default;
    explicit Socket(int fd) noexcept : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Socket();

    int fd() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    int release() noexcept { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

/// A place to connect to, as the system writes it.
struct Endpoint {
    std::vector<U8> bytes;
    int family = 0;
};

/// The places that the address stands for; waits for the system's resolver. Kor::RangeException for none.
std::vector<Endpoint> endpointsOf(Address const& address, bool listens);

/// A listening socket. Kor::RangeException if it cannot be had, with the reason.
struct Listening {
    Socket socket;
    Address address;
    /// Which file it is, so that only this one is removed.
    U64 device = 0, inode = 0;
};
Listening listenOn(Address const& address);
/// Removes the file of a Unix socket, if it is still the one that was made.
void removeFileOf(Listening const& listening) noexcept;

/// The next peer; without one the socket is empty and `error` says why: 0 for none yet.
Socket acceptFrom(int fd, int& error) noexcept;
/// Begins to connect: `error` is 0 once it is, EINPROGRESS as long as it is not.
Socket connectTo(Endpoint const& endpoint, int& error) noexcept;
/// What became of a connect that was in progress.
int connectError(int fd) noexcept;
/// Small records leave at once, and a peer whose machine is gone is noticed.
void tune(int fd) noexcept;

/// For whom the peer of a Unix socket runs; none for another socket.
std::optional<U32> peerUid(int fd) noexcept;
/// Which process the peer of a Unix socket is, or 0: another socket, or a process outside of what the kernel
/// shows to this one.
U32 peerProcess(int fd) noexcept;
U32 ownUid() noexcept;
/// Why no peer of this user could be told from others: in a user namespace, it may stand for all users that
/// are not known there. Empty where it does not.
String8 unknownUser(U32 uid);
/// Whose a peer on TCP is: "user 1000" on this machine, else its address. Empty for a Unix socket.
std::string ownerOf(int fd);

/// How many bytes; -1 for an error, which `error` tells; 0 from receive() is the end of the stream.
std::ptrdiff_t sendTo(int fd, std::span<U8 const> bytes, int& error) noexcept;
std::ptrdiff_t receiveFrom(int fd, std::span<U8> bytes, int& error) noexcept;
bool wouldBlock(int error) noexcept;
void shutdownWriting(int fd) noexcept;

/// What the system says about an error.
String8 errorText(int error);

} // namespace Kor::Link
