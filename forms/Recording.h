#pragma once

/// A recorded connection: the bytes of both directions, in pieces, each with its time. Form of the file:
/// docs/attribute-log.md. Kor::NboAttrLog::RecordWalker (forms/RecordView.h) takes the bytes apart.
///
///     std::ofstream file("lif.loamlog", std::ios::binary);
///     Kor::NboAttrLog::RecordingOut recording(file, demuxer->out()->limits());
///     ... whenever bytes have been sent or received ...
///     recording.write(Side::connecting, microseconds, bytes);
///
///     std::ifstream recorded("lif.loamlog", std::ios::binary);
///     Kor::NboAttrLog::RecordingIn in(recorded);
///     for (RecordingChunk chunk; in.next(chunk);) { ... chunk.from, chunk.microseconds, chunk.bytes ... }
///
/// The caller gives the times, in microseconds since whatever it likes. One thread.
///
/// Writing costs a header of 13 bytes for each piece of at most 65,536 bytes, and allocates nothing.

#include "attrlog/adapter/Demuxer.h"

#include <iosfwd>
#include <span>
#include <vector>

namespace Kor::NboAttrLog {

/// One piece of a recording. The bytes stay until the next is read.
struct RecordingChunk {
    /// The side that has sent it.
    Side from{};
    U64 microseconds = 0;
    std::span<U8 const> bytes{};
};

namespace recording {
inline constexpr std::string_view magic = "LoamRec1";
inline constexpr U32 maxChunk = 65536;
inline constexpr std::size_t headerSize = 8 + 4;
inline constexpr std::size_t chunkHeaderSize = 1 + 8 + 4;
/// Stands in the place of a side: the recording is full, and the connection went on.
inline constexpr U8 cut = 0xff;
} // namespace recording

/// Writes a recording. What would make it longer than `most` bytes ends it, with a mark that says so: a
/// recording never has a gap. A stream that fails is left alone, and asked by the caller.
class KOR_EXPORT RecordingOut {
public:
    static constexpr U64 defaultMost = U64{1} << 30;
    explicit RecordingOut(std::ostream& stream, StreamLimits const& limits = {}, U64 most = defaultMost);

    /// Of any length; none is written for no bytes.
    void write(Side from, U64 microseconds, std::span<U8 const> bytes);
    bool isCut() const noexcept { return isCut_; }
    U64 bytes() const noexcept { return bytes_; }

private:
    void put(U8 kind, U64 microseconds, std::span<U8 const> bytes);

    std::ostream& stream_;
    U64 most_;
    U64 bytes_ = 0;
    bool isCut_ = false;
};

/// Reads a recording, whatever the bytes are: what is no recording raises Kor::RangeException, which tells
/// where and why. Holds one chunk.
class KOR_EXPORT RecordingIn {
public:
    /// Reads what stands before the chunks.
    explicit RecordingIn(std::istream& stream);

    /// False at the end.
    bool next(RecordingChunk& chunk);
    /// What the connection agreed on, as far as it is recorded: the longest record.
    StreamLimits const& limits() const noexcept { return limits_; }
    /// Where the next chunk begins.
    U64 offset() const noexcept { return offset_; }
    /// Whether the recording was full before the connection ended. Known at the end.
    bool isCut() const noexcept { return isCut_; }

private:
    bool get(std::span<U8> bytes);

    std::istream& stream_;
    StreamLimits limits_;
    std::vector<U8> bytes_;
    U64 offset_ = 0;
    bool isCut_ = false;
};

} // namespace Kor::NboAttrLog
