#pragma once

#include "attrlog/session/internal/SessionCore.h"

#include <array>

namespace Kor::NboAttrLog::detail {

/// What each side says first: a magic and the protocols, which are no record, and the hello.
class Hello {
public:
    explicit Hello(SessionCore& core) : core_(core) {}

    static constexpr U32 preambleLength = static_cast<U32>(Session::magic.size()) + 4;

    void send();
    /// False while the preamble has not arrived. Refuses the peer at the first byte that is wrong.
    bool readPreamble();
    /// Takes the hello in, and sets the connection up by it; a fault if it does not fit.
    void read(In& in);

private:
    SessionCore& core_;
    std::array<U8, preambleLength> preamble_{};
    std::size_t read_ = 0;
};

} // namespace Kor::NboAttrLog::detail
