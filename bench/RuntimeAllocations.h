#pragma once

/// Counts what a benchmark allocates. It replaces the program's operator new, so one source file includes it.

#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::size_t allocations = 0;
std::size_t heapBytes = 0;
constexpr std::size_t chunkOverhead = 8;

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const storage = std::malloc(size);
    if (storage == nullptr) {
        throw std::bad_alloc();
    }
    ++allocations;
    heapBytes += malloc_usable_size(storage) + chunkOverhead;
    return storage;
}
[[gnu::noinline]] void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    try {
        return operator new(size);
    } catch (...) {
        return nullptr;
    }
}
[[gnu::noinline]] void operator delete(void* storage) noexcept {
    if (storage != nullptr) {
        heapBytes -= malloc_usable_size(storage) + chunkOverhead;
        std::free(storage);
    }
}
[[gnu::noinline]] void operator delete(void* storage, std::size_t) noexcept {
    operator delete(storage);
}
