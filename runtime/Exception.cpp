#include "runtime/Exception.h"

namespace Kor {

constinit thread_local Expect const* Expect::innermost = nullptr;

Exception::Exception(String8 message, IdBitArray ids, bool byCaller)
    : message_(std::move(message)), detail_(makePtr<Detail>(ids, byCaller)) {}

Exception::~Exception() = default;

char const* Exception::what() const noexcept {
    return message_.charPtr();
}

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

bool Expect::isExpected(Exception::IdBitArray ids) noexcept {
    for (Expect const* guard = innermost; guard != nullptr; guard = guard->outer_) {
        if (guard->id_ == Exception::Id::none || ids.has(guard->id_)) {
            return true;
        }
    }
    return false;
}

} // namespace Kor
