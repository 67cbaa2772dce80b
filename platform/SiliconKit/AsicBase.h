#pragma once

/// The base of all chip table rows, and the three bit operations through which every field access goes.
///
/// Row bits are numbered from the least significant bit of the first 32-bit word upward, which on this host
/// is bit (n mod 8) of byte (n div 8) of the buffer. A field starts and ends anywhere and crosses words
/// freely.
///
/// Users read and write fields by the names of a row class (tables/LoamTunnelMetaInfo.h), which calls these.
/// They are a shift and a mask each, allocate nothing and throw nothing: start and width must lie in the row,
/// which debug and sanitizer builds check (runtime/Contract.h). A row may be used by one thread at a time.

#include "runtime/Types.h"

#include <bit>
#include <cstring>

namespace SiliconKit {

using Kor::S32;
using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

static_assert(std::endian::native == std::endian::little,
              "row buffers are laid out for a little-endian host");

/// A plain block of 16 bytes, passed by value.
struct Raw128 {
    U32 word[4];
    friend bool operator==(Raw128 const&, Raw128 const&) = default;
};

/// A plain block of 32 bytes, passed by value.
struct Raw256 {
    U32 word[8];
    friend bool operator==(Raw256 const&, Raw256 const&) = default;
};

namespace detail {

/// The bit operations at any width, byte by byte. Bits beyond `bufLen` read as 0 and are not written.
KOR_EXPORT void getBits(U8 const* buf, int bufLen, U8* dst, int dstLen, int width, int offset);
KOR_EXPORT void setBits(U8* buf, int bufLen, U8 const* src, int srcLen, int width, int offset);

/// A field within one 64-bit window of the buffer.
constexpr bool fitsWindow(int bufLen, int valueLen, int width, int offset) {
    return valueLen <= 8 && width + (offset & 7) <= 64 && (offset >> 3) + 8 <= bufLen;
}

constexpr U64 lowBits(int width) {
    return width == 0 ? 0 : ~U64{0} >> (64 - width);
}

} // namespace detail

/// Copies row bits offset to offset+width-1 of `buf` into the low `width` bits of `dst`, which is a value of
/// `dstLen` bytes, least significant byte first, that the caller has zeroed. Widths to 256, any offset.
inline void getBuf(U8 const* buf, int bufLen, U8* dst, int dstLen, int width, int offset) {
    if (detail::fitsWindow(bufLen, dstLen, width, offset)) {
        U64 window;
        std::memcpy(&window, buf + (offset >> 3), sizeof window);
        U64 const value = (window >> (offset & 7)) & detail::lowBits(width);
        std::memcpy(dst, &value, static_cast<std::size_t>(dstLen));
        return;
    }
    detail::getBits(buf, bufLen, dst, dstLen, width, offset);
}

/// Copies the low `width` bits of `src` into row bits offset to offset+width-1 of `buf` and leaves all other
/// bits as they are. `src` holds `srcLen` bytes, least significant byte first, and may hold more than `width`
/// bits.
inline void setBuf(U8* buf, int bufLen, U8 const* src, int srcLen, int width, int offset) {
    if (detail::fitsWindow(bufLen, srcLen, width, offset)) {
        U64 value = 0;
        std::memcpy(&value, src, static_cast<std::size_t>(srcLen));
        U64 const mask = detail::lowBits(width) << (offset & 7);
        U64 window;
        std::memcpy(&window, buf + (offset >> 3), sizeof window);
        window = (window & ~mask) | ((value << (offset & 7)) & mask);
        std::memcpy(buf + (offset >> 3), &window, sizeof window);
        return;
    }
    detail::setBits(buf, bufLen, src, srcLen, width, offset);
}

/// Word by word, dst[i] = src[i] & mask[i]. The three counts are equal.
inline void maskBuf(U32 const* src, int srcWords, U32* dst, int /*dstWords*/, U32 const* mask,
                    int /*maskWords*/) {
    for (int i = 0; i < srcWords; ++i) {
        dst[i] = src[i] & mask[i];
    }
}

/// One row of a chip table: a view over a buffer that the caller owns and that outlives the row. It belongs
/// to whoever made it, and its destruction does nothing to the buffer.
class KOR_EXPORT AsicBase {
public:
    virtual ~AsicBase();

    virtual U64 getField64(U32 fieldId) const = 0;
    virtual void setField64(U32 fieldId, U64 value) = 0;
    virtual U16 fieldWidth(U32 fieldId) const = 0;
    virtual U16 fieldOffset(U32 fieldId) const = 0;
    virtual U16 width() const = 0;
    virtual U32 entries() const = 0;

    /// Not for table rows: no caller may reach these two on one, and they stop the program.
    virtual S32 sdkDefinedId() const;
    virtual bool compareTo(void* other, U16 length) const;

    AsicBase& operator=(AsicBase const&) = delete;

protected:
    /// `len` is the length of the buffer in bytes. A row is opened as it stands: nothing is cleared, whatever
    /// `rowFlag` says.
    AsicBase(U8 chipType, U8* data, U32 len, bool rowFlag, U8 variant, U8 extra)
        : data_(data), chipType_(chipType), variant_(variant), len_(static_cast<U16>(len)), rowFlag_(rowFlag),
          extra_(extra) {}
    AsicBase(AsicBase const&) = default;

    U8* data_;
    U8 chipType_;
    U8 variant_;
    U16 len_;
    bool rowFlag_;
    U8 extra_;
    /// 1 in the row of a table.
    U8 tableRow_ = 0;
};

/// What the rows of the supported chips add: their address in the chip's register space.
class KOR_EXPORT BcmAsicBase : public AsicBase {
public:
    ~BcmAsicBase() override;

    virtual bool getSchanAddress(U32& schanAddress, U8& schanAux, U8& schanBlock, U16 identifier,
                                 U32 tableEntry, U16 arrayIndex) const = 0;

protected:
    using AsicBase::AsicBase;
};

} // namespace SiliconKit
