#include "runtime/Exception.h"

#include <atomic>

namespace Kor {

namespace {

std::atomic<U64> unexpected{0};
thread_local constinit Expect const* innermost = nullptr;

} // namespace

Exception::Exception(String8 message, IdBitArray ids, bool counted)
    : message_(std::move(message)), ids_(ids) {
    if (counted && !Expect::isExpected(ids)) {
        unexpected.fetch_add(1, std::memory_order_relaxed);
    }
}

Exception::Exception(Exception const& other) noexcept
    : std::exception(other), message_(other.message_), detail_(other.detail_), ids_(other.ids_) {
    if (detail_ != nullptr) {
        detail_->referencesInc();
    }
}

Exception& Exception::operator=(Exception const& other) noexcept {
    message_ = other.message_;
    ids_ = other.ids_;
    detailIs(other.detail_);
    return *this;
}

Exception::~Exception() {
    detailIs(nullptr);
}

void Exception::detailIs(PtrInterface const* detail) noexcept {
    if (detail != nullptr) {
        detail->referencesInc();
    }
    if (PtrInterface const* const old = std::exchange(detail_, detail)) {
        old->referencesDec();
    }
}

U64 Exception::unexpectedCount() noexcept {
    return unexpected.load(std::memory_order_relaxed);
}

RangeException::~RangeException() = default;
AttrLogEntityException::~AttrLogEntityException() = default;
AttrLogRecordException::~AttrLogRecordException() = default;
EntityIdUnavailableException::~EntityIdUnavailableException() = default;
NameInUseException::~NameInUseException() = default;
InternalException::~InternalException() = default;

void throwRangeException(char const* message) {
    throw RangeException(message);
}
void throwRangeException(String8 const& message) {
    throw RangeException(message);
}
void throwInternalException(char const* message) {
    throw InternalException(message);
}
void throwInternalException(String8 const& message) {
    throw InternalException(message);
}

Expect::Expect(Exception::Id id) noexcept : id_(id), outer_(std::exchange(innermost, this)) {}

Expect::~Expect() {
    innermost = outer_;
}

bool Expect::isExpected(Exception::IdBitArray ids) noexcept {
    for (Expect const* guard = innermost; guard != nullptr; guard = guard->outer_) {
        if (guard->id_ == Exception::any || ids.has(guard->id_)) {
            return true;
        }
    }
    return false;
}

} // namespace Kor
