#pragma once

/// Kor::Ring, a bounded ring of bytes whose records are always in one piece: of one direction of a byte
/// stream.
///
///     Kor::Ring ring(1 << 18, 4096);
///     U8* at = ring.linearWrite();            // room for a record in one piece, whatever the place
///     ... write n bytes, n <= ring.room() and <= 4096 ...
///     ring.linearWrote(n);
///     write(socket, ring.readable());         // what can be taken away in one piece,
///     ring.nextBytes(n);                      // and what was
///
/// Behind the ring lie `slack` bytes into which a record may run on; what stands there is copied to the front
/// when the record is done, and the other way round for reading. So a record is always in one piece, and only
/// one that crosses the end, which few do, is copied. Read and write position are equal when the ring is
/// empty: it takes one byte less than its size. Nothing here throws but the constructor. One thread.

#include "runtime/Types.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <span>

namespace Kor {

class Ring {
public:
    Ring(U32 size, U32 slack)
        : bytes_(std::make_unique_for_overwrite<U8[]>(std::size_t{size} + slack)), limit_(&bytes_[size]),
          size_(size), read_(&bytes_[0]), write_(&bytes_[0]) {}

    /// Bytes that can be read.
    U32 available() const noexcept {
        std::ptrdiff_t const distance = write_ - read_;
        return static_cast<U32>(distance < 0 ? distance + size_ : distance);
    }
    /// Bytes that can be written.
    U32 room() const noexcept { return size_ - 1 - available(); }

    /// What can be read in one piece, and taking of it.
    std::span<U8 const> readable() const noexcept { return {read_, read_ <= write_ ? write_ : limit_}; }
    void nextBytes(U32 n) noexcept {
        read_ += n;
        if (read_ >= limit_) {
            read_ -= size_;
        }
    }
    /// Puts what little is there to the front, where the cache has it. No piece of the ring may be in use.
    void rewind() noexcept {
        constexpr std::ptrdiff_t little = 256;
        std::ptrdiff_t const n = write_ - read_;
        if (n >= 0 && n <= little && read_ - &bytes_[0] >= n) {
            std::memcpy(&bytes_[0], read_, static_cast<std::size_t>(n));
            read_ = &bytes_[0];
            write_ = read_ + n;
        }
    }

    /// Where can be written in one piece, and what has been.
    std::span<U8> writable() noexcept {
        std::size_t const toEnd = static_cast<std::size_t>(limit_ - write_);
        return {write_, toEnd < room() ? toEnd : room()};
    }
    void wrote(U32 n) noexcept {
        write_ += n;
        if (write_ >= limit_) {
            write_ -= size_;
        }
    }

    /// The write position, behind which as many bytes as there is room for can be written, at most `slack`;
    /// `n` of them are then taken in.
    U8* linearWrite() noexcept { return write_; }
    [[gnu::always_inline]] void linearWrote(U32 n) noexcept {
        if (write_ + n > limit_) [[unlikely]] {
            std::memcpy(&bytes_[0], limit_, static_cast<std::size_t>(write_ + n - limit_));
        }
        wrote(n);
    }

    /// The next `n` bytes, at most `slack` and available, in one piece. They stay until nextBytes().
    U8 const* linearRead(U32 n) noexcept {
        if (read_ + n > limit_) {
            std::memcpy(limit_, &bytes_[0], static_cast<std::size_t>(read_ + n - limit_));
        }
        return read_;
    }

private:
    std::unique_ptr<U8[]> bytes_;
    U8* limit_;
    U32 size_;
    U8* read_;
    U8* write_;
};

} // namespace Kor
