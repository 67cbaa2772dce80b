#pragma once

/// Hashes of the keys of a burst of records, before their turn. A burst of changes of a large map waits for
/// memory more than for anything else: so the hash of a key is computed some records ahead, and what it leads
/// to is loaded meanwhile.
///
/// For adapters (attrlog/adapter/Applying.h). It allocates nothing and raises nothing that the key itself
/// does not; one thread, that of the stream.

#include "attrlog/In.h"

#include <array>

namespace Kor::detail {

class KeysAhead {
public:
    /// Of keys of fixed size that are more than one number.
    template <class Key>
    static constexpr bool canLook = NboAttrLog::detail::fixedSize<Key>() != 0 && !std::is_enum_v<Key> &&
                                    !std::is_integral_v<Key>;

    /// The hash of the key of the record that is being read, after a look at those that follow.
    template <class Map, class Key>
    U32 reversedHash(NboAttrLog::In const& in, AttributeId attribute, Map const& map, Key const& key) {
        Ahead const own = slot(0);
        U64 const offset = in.offset();
        constexpr U32 far = 4; // records
        constexpr U32 near = 2;
        if (U8 const* at = in.payloadAhead(far)) {
            try {
                U32 const reversed = Map::reversedHash(NboAttrLog::detail::loadFixed<Key>(at));
                map.prefetchBucket(reversed);
                slot(far) = {offset + far * in.record().size(), attribute, reversed};
            } catch (Exception const&) { // it will be refused when it is its turn
            }
        }
        if (Ahead const& next = slot(near); next.attribute == attribute && next.offset > offset) {
            map.prefetchFirst(next.reversed);
        }
        ++at_;
        return own.offset == offset && own.attribute == attribute ? own.reversed : Map::reversedHash(key);
    }

private:
    struct Ahead {
        U64 offset = ~U64{0}; // of the record
        AttributeId attribute = 0;
        U32 reversed = 0;
    };
    Ahead& slot(U32 n) noexcept { return ahead_[(at_ + n) % ahead_.size()]; }

    std::array<Ahead, 8> ahead_;
    U32 at_ = 0;
};

} // namespace Kor::detail
