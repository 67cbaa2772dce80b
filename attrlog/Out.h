#pragma once

/// Kor::NboAttrLog::Out, the writing end of an attribute log: pure bytes, in a bounded ring.
///
///     auto out = Kor::makePtr<Kor::NboAttrLog::Out>();
///     if (out->hasSufficientBuffer()) {
///         out->nextHeaderIs({id, 259, true});
///         out << TransactToken(1) << entry << U32{7} << TransactToken(3);      // big-endian, in place
///     }
///     ... out->readable() goes to the peer, by whatever carries it; then ...
///     out->nextBytes(sent);
///
/// A record is written where it will be read, and is there for the reader only with its last token: one that
/// is broken off by an exception leaves nothing, and the next header begins anew. Writing allocates nothing.
///
/// Before each record ask hasSufficientBuffer(); then any record of the limit's length and a few markers fit.
/// One that does not fit raises Kor::RangeException and is dropped. One thread; nothing here blocks or waits.

#include "attrlog/Record.h"
#include "reflect/Text.h"
#include "runtime/Contract.h"
#include "runtime/Ring.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <span>

namespace Kor::NboAttrLog {

class Demuxer;
class In;

namespace detail {

inline constexpr std::size_t lengthBytes = 2;
/// The most that stands before a payload: length, form, entity, attribute, secondary attribute.
inline constexpr std::size_t headerMost = lengthBytes + 1 + 10 + 5 + 5;

/// An integer, a bool or an enumerator, and the integer that carries it: bool alone is narrower than 16 bits.
template <class T>
concept Carried = std::is_enum_v<T> || std::is_same_v<T, bool> || std::is_same_v<T, U8> ||
    (std::is_integral_v<T> && sizeof(T) > 1 && sizeof(T) <= 8);
template <Carried T>
using Carrier = std::conditional_t<std::is_same_v<T, bool>, U8,
                                   std::conditional_t<std::is_enum_v<T> || sizeof(T) == 4, U32,
                                                      std::conditional_t<sizeof(T) == 8, U64, U16>>>;

/// How many bytes a type takes on the wire; 0 for one that varies.
template <class T>
constexpr std::size_t fixedSize() {
    if constexpr (Carried<T>) {
        return sizeof(Carrier<T>);
    } else if constexpr (PatternValue<T>) {
        return []<class... S>(Kor::detail::Storage<S...> const*) {
            bool const isFixed = ((fixedSize<typename S::Type>() != 0) && ...);
            return isFixed ? (std::size_t{0} + ... + fixedSize<typename S::Type>()) : 0;
        }(static_cast<Kor::detail::StorageTypeOf<T> const*>(nullptr));
    } else {
        return 0;
    }
}

/// An integer with its bytes in network order, or back.
template <class U>
constexpr U networkOrder(U value) noexcept {
    static_assert(std::is_unsigned_v<U> && sizeof(U) <= 8);
    if constexpr (std::endian::native == std::endian::big || sizeof(U) == 1) {
        return value;
    } else if constexpr (sizeof(U) == 2) {
        return __builtin_bswap16(value);
    } else if constexpr (sizeof(U) == 4) {
        return __builtin_bswap32(value);
    } else {
        return __builtin_bswap64(value);
    }
}

/// Stores an integer big-endian.
template <class U>
void store(U8* at, U value) noexcept {
    U const ordered = networkOrder(value);
    std::memcpy(at, &ordered, sizeof ordered);
}
template <class U>
U load(U8 const* at) noexcept {
    U ordered;
    std::memcpy(&ordered, at, sizeof ordered);
    return networkOrder(ordered);
}

/// Stores a number in as many bytes as it needs, 10 at most, and returns where it ends.
[[gnu::always_inline]] inline U8* storeNumber(U8* at, U64 number) noexcept {
    while (number >= 0x80)
        [[unlikely]] {
            *at++ = static_cast<U8>(number | 0x80);
            number >>= 7;
        }
    *at++ = static_cast<U8>(number);
    return at;
}

/// Stores what stands before each payload but the length, which takes the first two bytes, and returns where
/// it ends. At most headerMost bytes.
[[gnu::always_inline]] inline U8* storeHeader(U8* at, MsgHeader const& header) noexcept {
    bool const secondary = header.secondaryAttribute != 0;
    at[lengthBytes] =
        static_cast<U8>((header.variableLength ? form::variableLength : 0) |
                        (secondary ? form::secondary : 0) | (header.isMarker ? form::marker : 0));
    at = storeNumber(at + lengthBytes + 1, header.entityId.number());
    at = storeNumber(at, zigzag(header.attributeId));
    return secondary ? storeNumber(at, header.secondaryAttribute) : at;
}

template <class T>
[[gnu::always_inline]] inline void storeFixed(U8*& at, T const& value) noexcept {
    if constexpr (Carried<T>) {
        store(at, static_cast<Carrier<T>>(value));
        at += sizeof(Carrier<T>);
    } else {
        T::storage(value).each([&](auto const& each) { storeFixed(at, each); });
    }
}

} // namespace detail

class KOR_EXPORT Out final : public PtrInterface {
public:
    explicit Out(StreamLimits const& limits = {});

    // What the carrier does.

    /// What waits for the peer and is in one piece; what lies behind it comes with the next call.
    std::span<U8 const> readable() const noexcept { return ring_.readable(); }
    /// Takes away what has been sent, at most what was readable.
    void nextBytes(std::size_t n) noexcept;
    /// All bytes that wait for the peer.
    U32 pending() const noexcept { return ring_.available(); }
    /// For a carrier that nobody calls after each change: `wake` is called when there is something to send,
    /// once each time that it is awaited. It must throw nothing.
    void wakeIs(std::function<void()> wake) {
        isAwaited_ = false;
        wake_ = std::move(wake);
    }
    void isAwaitedIs(bool on) noexcept { isAwaited_ = on && wake_ != nullptr; }
    /// There is something to send, or will be once the carrier asks for it.
    void stir() noexcept {
        if (isAwaited_) [[unlikely]] {
            isAwaited_ = false;
            wake_();
        }
    }

    // What writers do.

    /// Writes bytes that are no record, in front of the first one. Kor::RangeException without room for them.
    void preambleIs(std::span<U8 const> bytes);
    /// Makes the longest record shorter, as the peer wants it.
    void recordLimitIs(U32 record) noexcept { limits_.record = std::min(limits_.record, record); }

    bool hasSufficientBuffer() const noexcept { return ring_.room() >= limits_.record + markerRoom; }

    /// Begins a record, in place of one that was not finished.
    void nextHeaderIs(MsgHeader const& header);
    /// Begins a section of the payload, in place of ending the one before.
    void currentPayloadSectionIs(PayloadSection section);
    void token(TransactToken token);

    /// Writes a whole record, in place of one that was not finished: `put(out)` appends its payload.
    template <class Put>
    void write(MsgHeader const& header, Put const& put) {
        nextHeaderIs(header);
        token(TransactToken(1));
        put(*this);
        token(TransactToken(3));
    }
    /// Whether values of those types, one after the other, make a record that recordIs() can write.
    template <class... T>
    static constexpr bool isRecord = ((detail::fixedSize<T>() != 0) && ...) &&
                                     (detail::headerMost + ... + detail::fixedSize<T>()) <= minRecord;
    /// The same for values of those types, and faster. There must be a sufficient buffer.
    template <class... T>
    void recordIs(MsgHeader const& header, T const&... values) {
        startRecord<T...>();
        U8* at = detail::storeHeader(begin_, header);
        (detail::storeFixed(at, values), ...);
        written(at);
    }

    /// What stands before the payload of records with one header and size: for those who write many.
    struct Prefix {
        U64 bytes = 0;
        U32 size = 0; // 0 for none

        Prefix() = default;
        /// None, if it would be longer than 8 bytes.
        Prefix(MsgHeader const& header, std::size_t payload) {
            U8 at[detail::headerMost];
            auto const length = static_cast<std::size_t>(detail::storeHeader(at, header) - at);
            if (length <= sizeof bytes) {
                detail::store(at, static_cast<U16>(length + payload - detail::lengthBytes));
                std::memcpy(&bytes, at, length);
                size = static_cast<U32>(length);
            }
        }
    };
    template <class... T>
    [[gnu::always_inline]] void recordIs(Prefix prefix, T const&... values) {
        startRecord<T...>();
        std::memcpy(begin_, &prefix.bytes, sizeof prefix.bytes);
        U8* at = begin_ + prefix.size;
        (detail::storeFixed(at, values), ...);
        written<false>(at);
    }

    /// Appends a value to the payload: an integer, a bool, an enumerator, a string, an id, or any value type.
    template <class T>
    void put(T const& value) {
        constexpr std::size_t size = detail::fixedSize<T>();
        if constexpr (size != 0) {
            U8* at = take(size);
            detail::storeFixed(at, value);
        } else if constexpr (PatternValue<T>) {
            T::storage(value).each([&](auto const& each) { put(each); });
        } else if constexpr (std::derived_from<T, String8>) {
            putText(value.view());
        } else if constexpr (std::is_same_v<T, TypeId>) {
            putText(value.name().view());
        } else if constexpr (std::is_same_v<T, EntityId>) {
            putNumber(value.number());
        } else {
            value.writeTo(*this);
        }
    }
    /// Appends a number in as many bytes as it needs.
    void putNumber(U64 number);

    StreamLimits const& limits() const noexcept { return limits_; }
    /// All that were ever written.
    U64 records() const noexcept { return records_; }
    U64 bytes() const noexcept { return bytes_; }

    /// The reading side that belongs to this stream, or null. Set by the demultiplexer that owns both.
    Ptr<In> reverseLog() const noexcept;
    In* reverseLogPtr() const noexcept { return reverse_; }
    void reverseLogIs(In* in) noexcept { reverse_ = in; }

private:
    void putText(std::string_view text);
    U8* take(std::size_t n) {
        if (static_cast<std::size_t>(end_ - cursor_) < n) [[unlikely]] {
            tooLong();
        }
        return std::exchange(cursor_, cursor_ + n);
    }
    [[noreturn, gnu::cold]] void tooLong();
    void sectionEnd() noexcept;
    template <class... T>
    [[gnu::always_inline]] void startRecord() {
        static_assert(isRecord<T...>);
        require(hasSufficientBuffer(), [] {
            return Breach{"Kor::NboAttrLog::Out::recordIs", "hasSufficientBuffer()"};
        });
        begin_ = ring_.linearWrite();
    }
    /// The record that begins at begin_ ends there, and is the reader's.
    template <bool storesLength = true>
    [[gnu::always_inline]] void written(U8* end) noexcept {
        auto const length = static_cast<U32>(end - begin_);
        if constexpr (storesLength) {
            detail::store(begin_, static_cast<U16>(length - detail::lengthBytes));
        }
        ring_.linearWrote(length);
        begin_ = cursor_ = end_ = section_ = nullptr;
        ++records_;
        bytes_ += length;
        stir();
    }

    StreamLimits limits_;
    Ring ring_;
    // The record that is being written: null when there is none.
    U8* begin_ = nullptr;
    U8* cursor_ = nullptr;
    U8* end_ = nullptr;
    U8* section_ = nullptr;
    U64 records_ = 0;
    U64 bytes_ = 0;
    In* reverse_ = nullptr;
    bool isAwaited_ = false;
    std::function<void()> wake_;
};

template <class T>
concept WireValue = detail::fixedSize<T>()
!= 0 || PatternValue<T> || std::derived_from<T, String8> || std::is_same_v<T, TypeId> ||
    std::is_same_v<T, EntityId> || requires(T const& value, Out& out) {
    value.writeTo(out);
};

/// Appends a value to the record that is being written.
template <WireValue T>
Ptr<Out> const& operator<<(Ptr<Out> const& out, T const& value) {
    out->put(value);
    return out;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& out, TransactToken token) {
    out->token(token);
    return out;
}

} // namespace Kor::NboAttrLog
