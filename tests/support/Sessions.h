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
    /// Until nothing moves any more, both ways, in pieces of at most `piece` bytes.
    void quiet(std::size_t piece = ~std::size_t{0}) {
        int rounds = 0;
        for (bool moves = true; moves;) {
            moves = false;
            if (++rounds > 1'000'000) {
                throw std::runtime_error("the two sides never fall silent");
            }
            for (auto const& [from, to] : {std::pair{a, b}, std::pair{b, a}}) {
                from->flow();
                moves = carry(*from, *to, piece) != 0 || moves;
                to->receive();
            }
        }
    }

    Kor::Ptr<Service> offeredByA, offeredByB;
    Kor::Ptr<Session> a, b;
};

} // namespace support
