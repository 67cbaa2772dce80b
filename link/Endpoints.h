#pragma once

/// The socket addresses behind an Address; not installed.

#include "link/Address.h"
#include "runtime/Exception.h"
#include "runtime/String8.h"

#include <asio/generic/stream_protocol.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/local/stream_protocol.hpp>
#include <vector>

namespace Kor::Link {

using Endpoint = asio::generic::stream_protocol::endpoint;

/// Host * is every interface, for who listens. Asks the system's resolver; Kor::RangeException for a host
/// that it does not know.
inline std::vector<Endpoint> endpointsOf(asio::io_context& io, Address const& address) {
    if (address.kind() == Address::Kind::local) {
        return {asio::local::stream_protocol::endpoint(address.path())};
    }
    if (address.host() == "*") {
        return {asio::ip::tcp::endpoint(asio::ip::tcp::v4(), address.port())};
    }
    asio::error_code error;
    asio::ip::tcp::resolver resolver(io);
    auto const found = resolver.resolve(address.host(), std::to_string(address.port()), error);
    if (error) {
        throwRangeException(
            format("no host %s: %s", address.host().c_str(), error.message().c_str()).charPtr());
    }
    std::vector<Endpoint> all;
    for (auto const& each : found) {
        all.emplace_back(each.endpoint());
    }
    return all;
}

} // namespace Kor::Link
