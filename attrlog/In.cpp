#include "attrlog/In.h"

#include "runtime/Contract.h"

#include <limits>

namespace Kor::Connection {

std::size_t In::feed(std::span<U8 const> bytes) noexcept {
    std::size_t taken = 0;
    while (taken < bytes.size()) {
        std::span<U8> const to = writable();
        std::size_t const n = std::min(to.size(), bytes.size() - taken);
        if (n == 0) {
            break;
        }
        std::memcpy(to.data(), bytes.data() + taken, n);
        ring_.wrote(static_cast<U32>(n));
        taken += n;
    }
    return taken;
}

void In::wrote(std::size_t n) noexcept {
    std::size_t const most = ring_.writable().size();
    require(n <= most, [] { return Breach{"Kor::Connection::In::wrote", "more than was writable"}; });
    ring_.wrote(static_cast<U32>(std::min(n, most)));
}

void In::positionIs(U32 position) {
    if (position > static_cast<std::size_t>(end_ - payload_)) {
        throwAttrLogRecordException("record is shorter than an offset in it");
    }
    cursor_ = payload_ + position;
}

} // namespace Kor::Connection

namespace Kor::ByteConnection {

String8 In::nextString() {
    U32 const length = nextU16();
    return String8(std::string_view(reinterpret_cast<char const*>(take(length)), length));
}

U64 In::nextLongNumber() {
    U64 number = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
        U8 const byte = *take(1);
        if (shift == 63 && byte > 1) {
            break;
        }
        number |= U64{byte & 0x7fu} << shift;
        if (byte < 0x80) {
            if (byte == 0 && shift != 0) {
                break;
            }
            return number;
        }
    }
    throwAttrLogRecordException("record has a number in an unsound form");
}

} // namespace Kor::ByteConnection

namespace Kor::NboAttrLog {

In::In(StreamLimits const& limits)
    : ByteConnection::In(soundLimits(limits).ring, soundLimits(limits).record), limits_(soundLimits(limits)) {
}

std::size_t In::nextPreamble(std::span<U8> to) noexcept {
    std::size_t const n = std::min<std::size_t>({to.size(), ring_.available(), limits_.record});
    if (n != 0) {
        std::memcpy(to.data(), ring_.linearRead(static_cast<U32>(n)), n);
        ring_.nextBytes(static_cast<U32>(n));
        bytes_ += n;
    }
    return n;
}

bool In::nextRecord(MsgHeader& header) {
    constexpr U32 lengthBytes = detail::lengthBytes;
    recordDone();
    U32 const there = ring_.available();
    if (there < lengthBytes) {
        return false;
    }
    U32 const size = lengthBytes + detail::load<U16>(ring_.linearRead(lengthBytes));
    if (size > limits_.record) {
        throwAttrLogRecordException("record is longer than the limit");
    }
    if (there < size) {
        return false;
    }
    recordSize_ = size;
    U8 const* const record = ring_.linearRead(size);
    payload_ = cursor_ = record + lengthBytes;
    end_ = recordEnd_ = record + size;
    U8 const bits = *take(1);
    if ((bits & ~form::all) != 0) [[unlikely]] {
        throwAttrLogRecordException("record is of an unknown form");
    }
    header.variableLength = (bits & form::variableLength) != 0;
    header.isMarker = (bits & form::marker) != 0;
    header.entityId = nextEntityId();
    S64 const attribute = unzigzag(nextNumber());
    header.attributeId = static_cast<AttributeId>(attribute);
    if (header.attributeId != attribute || header.attributeId == std::numeric_limits<AttributeId>::min())
        [[unlikely]] {
        throwAttrLogRecordException("record has an attribute above 32 bits");
    }
    header.secondaryAttribute = 0;
    if ((bits & form::secondary) != 0) [[unlikely]] {
        U64 const secondary = nextNumber();
        header.secondaryAttribute = static_cast<U32>(secondary);
        if (secondary == 0 || header.secondaryAttribute != secondary) {
            throwAttrLogRecordException("record has an unsound secondary attribute");
        }
    }
    payload_ = cursor_;
    header.fixedLength = header.variableLength ? 0 : recordLeft();
    header.reserved = 0;
    ++records_;
    bytes_ += size;
    return true;
}

Ptr<Entity> In::entityOf(EntityId id) const {
    auto const found = demuxer_ != nullptr ? mounted_(*demuxer_, id) : std::nullopt;
    if (!found && id.number() != 0) {
        throwRangeException("record refers to an entity that is not there");
    }
    return found.value_or(nullptr);
}

bool In::nextSection(PayloadSection& section) {
    if (std::exchange(inSection_, true)) {
        cursor_ = end_;
        end_ = recordEnd_;
    }
    if (recordLeft() == 0) {
        inSection_ = false;
        return false;
    }
    section = static_cast<PayloadSection>(*take(1));
    U32 const length = nextU16();
    if (length > recordLeft()) {
        throwAttrLogRecordException("record is shorter than a section of it");
    }
    end_ = cursor_ + length;
    return true;
}

} // namespace Kor::NboAttrLog
