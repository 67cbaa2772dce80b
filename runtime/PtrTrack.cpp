#include "runtime/PtrTrack.h"

#include "runtime/ClassName.h"
#include "runtime/PtrInterface.h"

#include <mutex>
#include <new>
#include <set>

namespace Kor {

U8 ptrifTrackOn_ = 0;

namespace {

struct Registry {
    std::mutex mutex;
    std::set<PtrInterface const*> objects;
    std::size_t missed = 0;
};

// Never ended: objects with static storage come and go until the very last. Made without an allocation, which
// could fail.
Registry& registry() noexcept {
    alignas(Registry) static std::byte storage[sizeof(Registry)];
    static auto* const theRegistry = ::new (storage) Registry;
    return *theRegistry;
}

// A static of the library ends after those of the programs that use it, so what they release in time is not
// reported.
struct ReportAtExit {
    ~ReportAtExit() {
        if (ptrifTrackOn_ != 0) {
            PtrTrack::report(stderr);
        }
    }
} const reportAtExit;

} // namespace

void PtrTrack::ptrifAdd(PtrInterface const* object) noexcept {
    std::lock_guard const lock(registry().mutex);
    try {
        registry().objects.insert(object);
    } catch (std::bad_alloc const&) {
        ++registry().missed;
    }
}

void PtrTrack::ptrifDel(void const* object) noexcept {
    std::lock_guard const lock(registry().mutex);
    registry().objects.erase(static_cast<PtrInterface const*>(object));
}

std::size_t PtrTrack::liveObjects() noexcept {
    std::lock_guard const lock(registry().mutex);
    return registry().objects.size();
}

std::size_t PtrTrack::missedObjects() noexcept {
    std::lock_guard const lock(registry().mutex);
    return registry().missed;
}

void PtrTrack::report(std::FILE* out) {
    std::lock_guard const lock(registry().mutex);
    auto const& [mutex, objects, missed] = registry();
    if (objects.empty() && missed == 0) {
        return;
    }
    std::fprintf(out, "Kor::PtrTrack: %zu counted object%s still alive\n", objects.size(),
                 objects.size() == 1 ? "" : "s");
    for (PtrInterface const* object : objects) {
        std::fprintf(out, "Kor::PtrTrack: %p %s, references %u\n", static_cast<void const*>(object),
                     className(*object).c_str(), object->references());
    }
    if (missed != 0) {
        std::fprintf(out, "Kor::PtrTrack: %zu not tracked for want of memory\n", missed);
    }
}

} // namespace Kor
