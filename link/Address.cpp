#include "link/Address.h"

#include "runtime/Exception.h"

#include <algorithm>
#include <charconv>

namespace Kor::Link {

namespace {

constexpr std::string_view localPrefix = "unix:";
constexpr std::string_view tcpPrefix = "tcp:";
/// What a socket address has room for, with the NUL.
constexpr std::size_t maxPath = 107;

[[noreturn]] void refuse(std::string_view text, char const* why) {
    throwRangeException(
        format("\"%.*s\" is no address: %s; write unix:/path, /path, tcp:host:port or tcp:port",
               static_cast<int>(std::min<std::size_t>(text.size(), 200)), text.data(), why));
}

} // namespace

Address Address::local(std::string_view path) {
    if (path.empty() || path.size() > maxPath || path.find('\0') != std::string_view::npos) {
        refuse(path, "a path has 1 to 107 bytes");
    }
    return {Kind::local, path, 0};
}

Address Address::tcp(std::string_view host, U16 port) {
    if (host.empty()) {
        refuse(host, "the host is empty");
    }
    return {Kind::tcp, host, port};
}

Address Address::parse(std::string_view text) {
    if (text.starts_with('/')) {
        return local(text);
    }
    if (text.starts_with(localPrefix)) {
        return local(text.substr(localPrefix.size()));
    }
    if (!text.starts_with(tcpPrefix)) {
        refuse(text, "it does not say of what kind");
    }
    std::string_view host = text.substr(tcpPrefix.size());
    std::size_t const colon = host.rfind(':');
    std::string_view const digits = host.substr(colon == std::string_view::npos ? 0 : colon + 1);
    host = colon == std::string_view::npos ? "localhost" : host.substr(0, colon);
    U16 port = 0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        refuse(text, "a port is a number from 0 to 65535");
    }
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string_view::npos) {
        refuse(text, "an IPv6 address stands in brackets");
    }
    if (host.empty()) {
        refuse(text, "the host is empty");
    }
    return tcp(host, port);
}

std::string Address::text() const {
    if (kind_ == Kind::local) {
        return std::string(localPrefix) + text_;
    }
    bool const isV6 = text_.find(':') != std::string::npos;
    return std::string(format(isV6 ? "tcp:[%s]:%u" : "tcp:%s:%u", text_.c_str(), port_).view());
}

} // namespace Kor::Link
