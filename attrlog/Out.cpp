#include "attrlog/Out.h"

#include "attrlog/In.h"

void Kor::throwAttrLogRecordException(char const* message) {
    throw AttrLogRecordException(message);
}

namespace Kor::NboAttrLog {

Out::Out(StreamLimits const& limits) : limits_(soundLimits(limits)), ring_(limits_.ring, limits_.record) {}

void Out::nextBytes(std::size_t n) noexcept {
    require(n <= readable().size(), [] {
        return Breach{"Kor::NboAttrLog::Out::nextBytes", "more than was readable"};
    });
    ring_.nextBytes(static_cast<U32>(std::min(n, readable().size())));
    if (ring_.available() == 0 && begin_ == nullptr) {
        ring_.rewind();
    }
}

void Out::preambleIs(std::span<U8 const> bytes) {
    if (bytes.size() > std::min(ring_.room(), limits_.record)) {
        throwRangeException("no room for a preamble in the stream");
    }
    std::memcpy(ring_.linearWrite(), bytes.data(), bytes.size());
    ring_.linearWrote(static_cast<U32>(bytes.size()));
    bytes_ += bytes.size();
}

void Out::nextHeaderIs(MsgHeader const& header) {
    begin_ = cursor_ = ring_.linearWrite();
    end_ = begin_ + std::min(ring_.room(), limits_.record);
    section_ = nullptr;
    U8 bytes[detail::headerMost];
    auto const size = static_cast<std::size_t>(detail::storeHeader(bytes, header) - bytes);
    std::memcpy(take(size), bytes, size);
}

void Out::currentPayloadSectionIs(PayloadSection section) {
    sectionEnd();
    *take(1) = static_cast<U8>(section);
    section_ = take(detail::lengthBytes);
}

void Out::token(TransactToken token) {
    require(begin_ != nullptr, [] { return Breach{"Kor::NboAttrLog::Out", "a token without a header"}; });
    if (token == TransactToken(3) && begin_ != nullptr) {
        sectionEnd();
        written(cursor_);
    }
}

void Out::putNumber(U64 number) {
    U8 bytes[10];
    auto const size = static_cast<std::size_t>(detail::storeNumber(bytes, number) - bytes);
    std::memcpy(take(size), bytes, size);
}

void Out::putText(std::string_view text) {
    if (text.size() > maxRecord) {
        tooLong();
    }
    put(static_cast<U16>(text.size()));
    if (!text.empty()) {
        std::memcpy(take(text.size()), text.data(), text.size());
    }
}

void Out::tooLong() {
    bool const limit = begin_ != nullptr && end_ - begin_ == std::ptrdiff_t{limits_.record};
    begin_ = cursor_ = end_ = nullptr;
    throwRangeException(limit ? format("record is longer than %u bytes", limits_.record)
                              : String8("no room for a record in the stream"));
}

void Out::sectionEnd() noexcept {
    if (section_ != nullptr) {
        detail::store(section_, static_cast<U16>(cursor_ - section_ -
                                                 static_cast<std::ptrdiff_t>(detail::lengthBytes)));
        section_ = nullptr;
    }
}

Ptr<In> Out::reverseLog() const noexcept {
    return reverse_;
}

} // namespace Kor::NboAttrLog
