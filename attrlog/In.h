#pragma once

/// Kor::NboAttrLog::In, the reading end of an attribute log.
///
///     auto in = Kor::makePtr<Kor::NboAttrLog::In>();
///     std::size_t const taken = in->feed(bytes);       // what has come from the peer, in pieces of any size
///     MsgHeader header;
///     while (in->nextRecord(header)) {
///         AradLifEntry const entry(in.ptr(), Kor::StreamBogon());
///         U32 const count = in->nextU32();
///         in->recordEnd();                             // there must be nothing more
///         in->recordDone();
///     }
///
/// Whatever arrives, no read goes past the end of the record. A record that is too short, too long, or makes
/// no sense raises Kor::AttrLogRecordException; after that the stream is of no more use. A value out of its
/// range raises Kor::RangeException, as its class says; recordDone() then passes over the record.
/// Reading copies only a record that crosses the end of the ring, and allocates only strings. One thread.

#include "attrlog/Out.h"
#include "reflect/Enumeration.h"
#include "runtime/Entity.h"

#include <algorithm>
#include <optional>
#include <span>

namespace Kor::Connection {

class KOR_EXPORT In : public PtrInterface {
public:
    /// Takes in as much as there is room for, and returns how much that was.
    std::size_t feed(std::span<U8 const> bytes) noexcept;
    /// Where the carrier can write without a copy, in one piece; before it asks again it tells with wrote().
    std::span<U8> writable() noexcept {
        if (payload_ == nullptr) {
            ring_.rewind();
        }
        return ring_.writable();
    }
    void wrote(std::size_t n) noexcept;
    /// Bytes that have arrived and are not done with.
    U32 available() const noexcept { return ring_.available(); }

    /// Passes over `n` bytes of the record.
    void nextBytes(U32 n) { take(n); }
    /// Bytes that are left of the record.
    U32 recordLeft() const noexcept { return static_cast<U32>(end_ - cursor_); }
    /// Where the reader is, from the start of the payload. It can be put anywhere up to the payload's end.
    U32 position() const noexcept { return static_cast<U32>(cursor_ - payload_); }
    void positionIs(U32 position);

protected:
    In(U32 size, U32 slack) : ring_(size, slack) {}

    U8 const* take(std::size_t n) {
        if (static_cast<std::size_t>(end_ - cursor_) < n) [[unlikely]] {
            throwAttrLogRecordException("record is shorter than its attribute");
        }
        return std::exchange(cursor_, cursor_ + n);
    }

    Ring ring_;
    // The payload of the record that is being read.
    U8 const* payload_ = nullptr;
    U8 const* cursor_ = nullptr;
    U8 const* end_ = nullptr;
};

} // namespace Kor::Connection

namespace Kor::ByteConnection {

/// The primitives. All are big-endian.
class KOR_EXPORT In : public Connection::In {
public:
    U16 nextU16() { return load<U16>(); }
    U32 nextU32() { return load<U32>(); }
    U64 nextU64() { return load<U64>(); }
    int nextint() { return static_cast<int>(load<U32>()); }
    /// Any byte but 0 is true.
    bool nextbool() { return *take(1) != 0; }
    String8 nextString();
    /// A number in as many bytes as it needs. Kor::AttrLogRecordException for more, or above 64 bits.
    U64 nextNumber() {
        if (U64 number = 0; shortNumber(cursor_, end_, number)) [[likely]] {
            return number;
        }
        return nextLongNumber();
    }

protected:
    using Connection::In::In;

    U64 nextLongNumber();
    /// Reads one of one or two bytes that has another byte behind it.
    [[gnu::always_inline]] static bool shortNumber(U8 const*& at, U8 const* end, U64& number) noexcept {
        if (end - at < 2) {
            return false;
        }
        U32 const first = at[0];
        U32 const second = at[1];
        bool const isOne = first < 0x80;
        number = isOne ? first : first - 0x80 + (second << 7);
        at += isOne ? 1 : 2;
        return isOne || second - 1 < 0x7f || (at -= 2, false);
    }
    template <class U>
    U load() {
        return NboAttrLog::detail::load<U>(take(sizeof(U)));
    }
};

} // namespace Kor::ByteConnection

namespace Kor::NboAttrLog {

namespace detail {

/// Reads a value of a fixed size without a check of what it is.
template <class T>
T loadFixed(U8 const*& at) {
    if constexpr (Carried<T>) {
        auto const carried = load<Carrier<T>>(at);
        at += sizeof carried;
        return static_cast<T>(carried);
    } else {
        return [&]<class... S>(Kor::detail::Storage<S...> const*) {
            return T{loadFixed<typename S::Type>(at)...}; // braces: in order
        }(static_cast<Kor::detail::StorageTypeOf<T> const*>(nullptr));
    }
}

} // namespace detail

class KOR_EXPORT In final : public ByteConnection::In {
public:
    explicit In(StreamLimits const& limits = {});

    /// Takes bytes that are no record, from in front of the first one; how many have arrived.
    std::size_t nextPreamble(std::span<U8> to) noexcept;
    /// Makes the longest record shorter, as agreed with the peer.
    void recordLimitIs(U32 record) noexcept { limits_.record = std::min(limits_.record, record); }
    /// Steps to the next record and reads its header. False when it has not arrived as a whole.
    bool nextRecord(MsgHeader& header);
    /// Requires that the record is read to its end.
    void recordEnd() const {
        if (recordLeft() != 0) [[unlikely]] {
            throwAttrLogRecordException("record is longer than its attribute");
        }
    }
    /// Where the record that is being read begins, counted from the start of the stream.
    U64 offset() const noexcept { return bytes_ - recordSize_; }
    /// The payload of the record that lies `n` records of the current one's size ahead, if it is there and
    /// has the same header; otherwise null. What lies between them is not looked at.
    U8 const* payloadAhead(U32 n) const noexcept {
        std::size_t const distance = std::size_t{n} * recordSize_;
        if (distance + recordSize_ > ring_.readable().size()) {
            return nullptr;
        }
        U8 const* const current = ring_.readable().data();
        auto const header = static_cast<std::size_t>(payload_ - (recordEnd_ - recordSize_));
        return std::memcmp(current, current + distance, header) == 0 ? current + distance + header : nullptr;
    }
    /// The record that is being read, with its length and its header.
    std::span<U8 const> record() const noexcept { return {recordEnd_ - recordSize_, recordSize_}; }
    /// Passes over what is left of the record.
    void recordDone() noexcept {
        ring_.nextBytes(std::exchange(recordSize_, 0));
        payload_ = cursor_ = end_ = recordEnd_ = nullptr;
        inSection_ = false;
    }

    /// What a reference of eight bytes refers to, or null. Kor::RangeException if it is not mounted here.
    Ptr<Entity> nextEntity() { return entityOf(EntityId::ofNumber(nextU64())); }
    Ptr<Entity> entityOf(EntityId id) const;
    /// Steps into the next section, past what is left of the one before; false at the end of the payload.
    bool nextSection(PayloadSection& section);

    /// The next value, of any type that Kor::NboAttrLog::Out takes. Kor::RangeException with the
    /// enumeration's name for a number that is none of it.
    template <class T>
    T next() {
        if constexpr (detail::Carried<T>) {
            auto const carried = load<detail::Carrier<T>>();
            if constexpr (std::is_enum_v<T>) {
                if (!isEnumerator<T>(carried)) [[unlikely]] {
                    throwRangeException(String8(shortTypeName<T>()));
                }
            } else if constexpr (std::is_same_v<T, U8>) {
                if (carried > 255) [[unlikely]] {
                    throwRangeException("U8 > 255 not allowed");
                }
            }
            return static_cast<T>(carried);
        } else if constexpr (std::derived_from<T, String8>) {
            return T(nextString());
        } else if constexpr (std::is_same_v<T, TypeId>) {
            return TypeId(nextString());
        } else if constexpr (std::is_same_v<T, EntityId>) {
            return nextEntityId();
        } else {
            return T(this, StreamBogon());
        }
    }

    EntityId nextEntityId() { return EntityId::ofNumber(nextNumber()); }
    U64 records() const noexcept { return records_; }
    U64 bytes() const noexcept { return bytes_; }
    /// Whether the peer is there: true until the demultiplexer that owns the stream closes it.
    bool isConnected() const noexcept { return demuxer_ != nullptr; }
    Demuxer* demuxer() const noexcept { return demuxer_; }
    /// How the owner finds what is mounted; nothing for an id that is not.
    using Mounted = std::optional<Ptr<Entity>> (*)(Demuxer const& demuxer, EntityId id);
    void demuxerIs(Demuxer* demuxer, Mounted mounted) noexcept {
        demuxer_ = demuxer;
        mounted_ = mounted;
    }

private:
    StreamLimits limits_;
    U32 recordSize_ = 0; // of the record that is being read, 0 for none
    U8 const* recordEnd_ = nullptr;
    bool inSection_ = false;
    U64 records_ = 0;
    U64 bytes_ = 0;
    Demuxer* demuxer_ = nullptr;
    Mounted mounted_ = nullptr;
};

} // namespace Kor::NboAttrLog
