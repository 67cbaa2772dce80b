#pragma once

/// Memory for objects that live shortly, where the next one is about as large: a thread keeps a few blocks of
/// each size. For classes of the library that have an `operator new` and `delete` of their own:
///
///     struct Box {
///         void* operator new(std::size_t size) { return Kor::detail::newBlock(size); }
///         void operator delete(void* block, std::size_t size) { Kor::detail::deleteBlock(block, size); }
///     };
///
/// A block that is kept costs a few instructions; any other is the global `operator new`, which throws
/// std::bad_alloc. A block may be given back by another thread than the one that took it. Builds that check
/// contracts keep none, so that the sanitizers see who touches an object that has ended.

#include "runtime/Types.h"

#include <cstddef>

namespace Kor::detail {

/// `size` is at least 1; aligned as by the plain `operator new`.
KOR_EXPORT void* newBlock(std::size_t size);
/// `size` is the one that it was taken with.
KOR_EXPORT void deleteBlock(void* block, std::size_t size) noexcept;

} // namespace Kor::detail
