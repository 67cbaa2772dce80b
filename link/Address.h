#pragma once

/// Kor::Link::Address, where a server listens.
///
///     auto const address = Kor::Link::Address::parse("unix:/run/loam/driver");
///
/// | text            | is                                                                        |
/// |-----------------|---------------------------------------------------------------------------|
/// | "unix:/path"    | a Unix socket: any path of up to 107 bytes, also a relative one           |
/// | "/path"         | the same                                                                  |
/// | "tcp:host:port" | TCP; an IPv6 address stands in brackets; host * is every interface        |
/// | "tcp:port"      | TCP on the loopback interface                                             |
///
/// Every interface is those of IPv6 and of IPv4.
///
/// TCP knows no users: every user of this machine may connect to a port of the loopback interface, and
/// everybody who reaches it to any other. Where that is too many, take a Unix socket.
///
/// Port 0 lets the system choose one when listening; Listener::address() tells it. A plain value; any thread.

#include "runtime/Types.h"

#include <string>
#include <string_view>

namespace Kor::Link {

class KOR_EXPORT Address {
public:
    enum class Kind : U8 { local, tcp };

    /// Kor::RangeException, with what is wrong and what would be right, for another text.
    static Address parse(std::string_view text);
    static Address local(std::string_view path);
    static Address tcp(std::string_view host, U16 port);

    Kind kind() const noexcept { return kind_; }
    /// Of a Unix socket.
    std::string const& path() const noexcept { return text_; }
    /// Of TCP, without brackets.
    std::string const& host() const noexcept { return text_; }
    U16 port() const noexcept { return port_; }
    /// As parse() reads it.
    std::string text() const;

    friend bool operator==(Address const&, Address const&) = default;

private:
    Address(Kind kind, std::string_view text, U16 port) : kind_(kind), text_(text), port_(port) {}

    Kind kind_;
    std::string text_;
    U16 port_ = 0;
};

} // namespace Kor::Link
