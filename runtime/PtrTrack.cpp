#include "runtime/PtrTrack.h"

#include "runtime/PtrInterface.h"

#include <cstdlib>
#include <cxxabi.h>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <typeinfo>
#include <unordered_map>

namespace Kor {

bool ptrifTrackOn_ = false;

namespace {

struct Registry {
    std::mutex mutex;
    U64 made = 0;
    std::unordered_map<void const*, U64> serialOf;
    std::map<U64, PtrInterface const*> objects;
};

void reportAtExit() {
    if (ptrifTrackOn_ && PtrTrack::alive() != 0) {
        std::cerr << "Kor::PtrTrack: " << PtrTrack::alive() << " objects are alive at exit\n";
        PtrTrack::report(std::cerr);
    }
}

Registry& registry() {
    // Never destroyed: objects end during static destruction too.
    static Registry* const it = [] {
        std::atexit(reportAtExit);
        return new Registry;
    }();
    return *it;
}

std::string typeName(PtrInterface const& object) {
    char const* const mangled = typeid(object).name();
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const text(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                      std::free);
    return text ? text.get() : mangled;
}

} // namespace

void PtrTrack::ptrifAdd(PtrInterface const* object) {
    Registry& r = registry();
    std::lock_guard const lock(r.mutex);
    r.serialOf[object] = r.made;
    r.objects.emplace(r.made, object);
    ++r.made;
}

void PtrTrack::ptrifDel(void* object) {
    Registry& r = registry();
    std::lock_guard const lock(r.mutex);
    if (auto const found = r.serialOf.find(object); found != r.serialOf.end()) {
        r.objects.erase(found->second);
        r.serialOf.erase(found);
    }
}

std::size_t PtrTrack::alive() {
    Registry& r = registry();
    std::lock_guard const lock(r.mutex);
    return r.objects.size();
}

void PtrTrack::report(std::ostream& out) {
    Registry& r = registry();
    std::lock_guard const lock(r.mutex);
    for (auto const& [serial, object] : r.objects) {
        out << typeName(*object) << ' ' << static_cast<void const*>(object) << ", " << object->references()
            << (object->references() == 1 ? " reference\n" : " references\n");
    }
}

} // namespace Kor
