#pragma once

/// Two sessions in one process, and the bytes between them.

#include "attrlog/session/Session.h"
#include "support/Link.h"

namespace support {

using Kor::NboAttrLog::Access;
using Kor::NboAttrLog::RootState;
using Kor::NboAttrLog::Service;
using Kor::NboAttrLog::Session;
using Kor::NboAttrLog::SessionConfig;

/// As small as a session's stream can be.
inline constexpr StreamLimits smallSession{2 * 1024 + 128, 1024, 1000};

struct Sessions {
    explicit Sessions(StreamLimits const& limits = {}, Kor::Ptr<Service> const& serviceOfA = {},
                      Kor::Ptr<Service> const& serviceOfB = {})
        : offeredByA(serviceOfA ? serviceOfA : Kor::makePtr<Service>()),
          offeredByB(serviceOfB ? serviceOfB : Kor::makePtr<Service>()),
          a(Kor::makePtr<Session>(Side::connecting, SessionConfig{"a", 7, limits}, offeredByA)),
          b(Kor::makePtr<Session>(Side::accepting, SessionConfig{"b", 7, limits}, offeredByB)) {}

    static std::size_t carry(Session& from, Session& to, std::size_t most = ~std::size_t{0}) {
        return Link::carry(from.demuxer(), to.demuxer(), most);
    }
    /// Each side speaks and is heard once, with at most that many bytes.
    void turn(std::size_t mostOfA = ~std::size_t{0}, std::size_t mostOfB = ~std::size_t{0}) {
        for (auto const& [from, to, most] : {std::tuple{a, b, mostOfA}, std::tuple{b, a, mostOfB}}) {
            from->flow();
            carry(*from, *to, most);
            to->receive();
        }
    }
    void quiet(std::size_t piece = ~std::size_t{0}) { support::quiet<Session>(a, b, piece, &carry); }

    Kor::Ptr<Service> offeredByA, offeredByB;
    Kor::Ptr<Session> a, b;
};

} // namespace support
