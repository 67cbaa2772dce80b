#include "forms/Recording.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <span>

namespace Kor::NboAttrLog {

namespace {

using namespace recording;

[[noreturn]] void unsound(U64 offset, char const* what) {
    throwRangeException(
        format("recording is unsound at byte %llu: %s", static_cast<unsigned long long>(offset), what));
}

void put(std::ostream& stream, U8 const* bytes, std::size_t n) {
    stream.write(reinterpret_cast<char const*>(bytes), static_cast<std::streamsize>(n));
}

} // namespace

RecordingOut::RecordingOut(std::ostream& stream, StreamLimits const& limits, U64 most)
    : stream_(stream), most_(most), bytes_(headerSize) {
    U8 header[headerSize];
    std::memcpy(header, magic.data(), magic.size());
    detail::store(header + magic.size(), limits.record);
    NboAttrLog::put(stream_, header, sizeof header);
}

void RecordingOut::put(U8 kind, U64 microseconds, std::span<U8 const> bytes) {
    U8 header[chunkHeaderSize];
    header[0] = kind;
    detail::store(header + 1, microseconds);
    detail::store(header + 9, static_cast<U32>(bytes.size()));
    NboAttrLog::put(stream_, header, sizeof header);
    NboAttrLog::put(stream_, bytes.data(), bytes.size());
    bytes_ += sizeof header + bytes.size();
}

void RecordingOut::write(Side from, U64 microseconds, std::span<U8 const> bytes) {
    while (!bytes.empty() && !isCut_) {
        auto const part = bytes.first(std::min<std::size_t>(bytes.size(), maxChunk));
        isCut_ = bytes_ + part.size() + 2 * chunkHeaderSize > most_;
        isCut_ ? put(cut, microseconds, {}) : put(static_cast<U8>(from), microseconds, part);
        bytes = bytes.subspan(part.size());
    }
}

RecordingIn::RecordingIn(std::istream& stream) : stream_(stream) {
    U8 header[headerSize];
    if (!get(header) || std::memcmp(header, magic.data(), magic.size()) != 0) {
        unsound(0, "it does not begin as one");
    }
    limits_.record = detail::load<U32>(header + magic.size());
    if (limits_.record < minRecord || limits_.record > maxRecord) {
        unsound(magic.size(), "the longest record is not from 128 to 65535 bytes long");
    }
    limits_.ring = std::max(limits_.ring, 2 * (limits_.record + markerRoom));
    offset_ = headerSize;
}

bool RecordingIn::get(std::span<U8> bytes) {
    stream_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<std::size_t>(stream_.gcount()) == bytes.size();
}

bool RecordingIn::next(RecordingChunk& chunk) {
    U8 header[chunkHeaderSize];
    if (!get(std::span(header).first(1))) {
        return false;
    }
    if (isCut_) {
        unsound(offset_, "something stands behind its end");
    }
    if (!get(std::span(header).subspan(1))) {
        unsound(offset_, "it ends within a chunk");
    }
    U32 const size = detail::load<U32>(header + 9);
    if (header[0] == cut) {
        if (size != 0) {
            unsound(offset_, "its end has bytes");
        }
        isCut_ = true;
        offset_ += sizeof header;
        return next(chunk);
    }
    if (header[0] > 1) {
        unsound(offset_, "a chunk is of neither side");
    }
    if (size == 0 || size > maxChunk) {
        unsound(offset_, "a chunk has not 1 to 65536 bytes");
    }
    bytes_.resize(size);
    if (!get(bytes_)) {
        unsound(offset_, "it ends within a chunk");
    }
    chunk = {static_cast<Side>(header[0]), detail::load<U64>(header + 1), bytes_};
    offset_ += sizeof header + size;
    return true;
}

} // namespace Kor::NboAttrLog
