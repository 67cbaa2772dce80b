#include "link/Address.h"

#include "runtime/Exception.h"
#include "runtime/String8.h"

#include <charconv>

namespace Kor::Link {

namespace {

constexpr std::size_t maxPath = 107;

[[noreturn]] void refuse(std::string_view text, char const* why) {
    throwRangeException(format("'%s' is no address: %s; one is /path, unix:/path, tcp:port or tcp:host:port",
                               std::string(text.substr(0, 200)).c_str(), why)
                            .charPtr());
}

U16 portOf(std::string_view text, std::string_view whole) {
    U16 port = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size()) {
        refuse(whole, "a port is a number from 0 to 65535");
    }
    return port;
}

} // namespace

Address Address::local(std::string_view path) {
    if (path.empty() || path.size() > maxPath || path.find('\0') != path.npos) {
        refuse(path, "the path of a socket has 1 to 107 bytes");
    }
    return {Kind::local, path, 0};
}

Address Address::tcp(std::string_view host, U16 port) {
    if (host.empty() || host.size() > 255) {
        refuse(host, "the name of a host has 1 to 255 bytes");
    }
    return {Kind::tcp, host, port};
}

Address Address::parse(std::string_view text) {
    if (text.starts_with("unix:")) {
        return local(text.substr(5));
    }
    if (text.starts_with('/')) {
        return local(text);
    }
    if (!text.starts_with("tcp:")) {
        refuse(text, "it begins with none of these");
    }
    std::string_view const rest = text.substr(4);
    if (rest.starts_with('[')) {
        std::size_t const end = rest.find("]:");
        if (end == rest.npos) {
            refuse(text, "a bracket ends with ]:port");
        }
        return tcp(rest.substr(1, end - 1), portOf(rest.substr(end + 2), text));
    }
    std::size_t const colon = rest.rfind(':');
    if (colon == rest.npos) {
        return tcp("localhost", portOf(rest, text));
    }
    if (rest.find(':') != colon) {
        refuse(text, "an IPv6 address stands in brackets");
    }
    return tcp(rest.substr(0, colon), portOf(rest.substr(colon + 1), text));
}

std::string Address::text() const {
    if (kind_ == Kind::local) {
        return "unix:" + text_;
    }
    bool const isBare = text_.find(':') == text_.npos;
    return (isBare ? "tcp:" + text_ : "tcp:[" + text_ + ']') + ':' + std::to_string(port_);
}

} // namespace Kor::Link
