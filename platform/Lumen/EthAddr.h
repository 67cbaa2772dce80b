#pragma once

/// An Ethernet address. What holds for every value stands in reflect/Value.h.

#include "platform/PlatformNames.h"
#include "reflect/Value.h"

namespace Lumen {

using Kor::U16;

/// An Ethernet address in three words of 16 bits, the first octets in the high half of word 0.
///
///     Lumen::EthAddr address(0x0200, 0x0000, 0x0001);        // 02:00:00:00:00:01
class EthAddr : public Kor::ValueOf<EthAddr, Kor::Stored<Kor::name::word0, U16>,
                                    Kor::Stored<Kor::name::word1, U16>, Kor::Stored<Kor::name::word2, U16>>,
                public Kor::Ordered<EthAddr> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "An Ethernet address, 6 octets", "word0", "The first two octets, the first one in the high half",
        "word1", "The third and the fourth octet", "word2", "The last two octets");

    using ValueOf::ValueOf;
};

} // namespace Lumen
