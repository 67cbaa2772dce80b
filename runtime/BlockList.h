#pragma once

/// Memory for objects that live shortly, where the next one is about as large: a thread keeps a few blocks of
/// each size. For classes of the library that have an `operator new` and `delete` of their own:
///
///     void* const block = Kor::detail::newBlock(sizeof(Box));       // in Box::operator new
///     Kor::detail::deleteBlock(block, sizeof(Box));                 // in Box::operator delete
///
/// A block that is kept costs a few instructions; any other is the global `operator new`, which throws
/// std::bad_alloc. A block may be given back by another thread than the one that took it. Builds that check
/// contracts keep none, so that the sanitizers see who touches an object that has ended.

#include "runtime/Types.h"

#include <cstddef>

namespace Kor::detail {

KOR_EXPORT void* newBlock(std::size_t size);
/// `size` is the one that it was taken with.
KOR_EXPORT void deleteBlock(void* block, std::size_t size) noexcept;

} // namespace Kor::detail
