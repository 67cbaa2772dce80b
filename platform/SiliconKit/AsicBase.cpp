#include "platform/SiliconKit/AsicBase.h"

#include "runtime/Contract.h"

#include <algorithm>

namespace SiliconKit {

namespace detail {

namespace {

/// The bytes of `from` shifted so that bit `fromBit` lands in bit `toBit` of `to`, `width` bits long, at most
/// 8 bits a step.
void copyBits(U8 const* from, int fromBits, int fromBit, U8* to, int toBits, int toBit, int width) {
    width = std::min({width, fromBits - fromBit, toBits - toBit});
    while (width > 0) {
        int const step = std::min({width, 8 - (fromBit & 7), 8 - (toBit & 7)});
        auto const mask = static_cast<unsigned>((1 << step) - 1);
        unsigned const bits = (unsigned{from[fromBit >> 3]} >> (fromBit & 7)) & mask;
        U8& target = to[toBit >> 3];
        target = static_cast<U8>((target & ~(mask << (toBit & 7))) | (bits << (toBit & 7)));
        fromBit += step;
        toBit += step;
        width -= step;
    }
}

} // namespace

void getBits(U8 const* buf, int bufLen, U8* dst, int dstLen, int width, int offset) {
    copyBits(buf, bufLen * 8, offset, dst, dstLen * 8, 0, width);
}

void setBits(U8* buf, int bufLen, U8 const* src, int srcLen, int width, int offset) {
    copyBits(src, srcLen * 8, 0, buf, bufLen * 8, offset, width);
}

} // namespace detail

AsicBase::~AsicBase() = default;

BcmAsicBase::~BcmAsicBase() = default;

S32 AsicBase::sdkDefinedId() const {
    Kor::contractBroken({"SiliconKit::AsicBase::sdkDefinedId", "a table row has no such id"});
}

bool AsicBase::compareTo(void*, U16) const {
    Kor::contractBroken({"SiliconKit::AsicBase::compareTo", "table rows are not compared"});
}

} // namespace SiliconKit
