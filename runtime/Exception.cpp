#include "runtime/Exception.h"

#include <utility>

namespace Kor {

thread_local Expect const* Expect::innermost_ = nullptr;

Exception::Exception(String8 message, IdBitArray ids, bool foreseen)
    : message_(std::move(message)), ids_(ids), foreseen_(foreseen) {}

Exception::Exception(Exception const& other)
    : std::exception(other), message_(other.message_), ids_(other.ids_), foreseen_(other.foreseen_) {
    detailIs(other.detail_);
}

Exception::~Exception() {
    detailIs(nullptr);
}

void Exception::detailIs(PtrInterface const* detail) {
    if (detail) {
        detail->referencesInc();
    }
    PtrInterface const* const old = std::exchange(detail_, detail);
    if (old) {
        old->referencesDec();
    }
}

void throwRangeException(char const* words) {
    throw RangeException(words);
}

void throwRangeException(String8 const& words) {
    throw RangeException(words);
}

void throwInternalException(char const* words) {
    throw InternalException(words);
}

void throwInternalException(String8 const& words) {
    throw InternalException(words);
}

bool Expect::isExpected(Exception::Id id) noexcept {
    for (Expect const* scope = innermost_; scope; scope = scope->outer_) {
        if (scope->id_ == 0 || scope->id_ == id) {
            return true;
        }
    }
    return false;
}

} // namespace Kor
