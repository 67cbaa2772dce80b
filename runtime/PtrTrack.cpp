#include "runtime/PtrTrack.h"

#include "runtime/PtrInterface.h"

#include <cstdlib>
#include <cxxabi.h>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <typeinfo>

namespace Kor {

bool ptrifTrackOn_ = false;

namespace {

using Objects = std::set<PtrInterface const*>;

/// Never freed: objects may end after the last destructor of this unit.
Objects& objects() {
    static auto* const all = new Objects;
    return *all;
}

std::string className(PtrInterface const& object) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(typeid(object).name(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : typeid(object).name();
}

} // namespace

void PtrTrack::trackingIs(bool on) {
    if (on) {
        objects();
        [[maybe_unused]] static int const atExit = std::atexit([] {
            if (ptrifTrackOn_ && live() != 0) {
                report(std::cerr);
            }
        });
    }
    ptrifTrackOn_ = on;
}

void PtrTrack::ptrifAdd(PtrInterface const* object) {
    objects().insert(object);
}

void PtrTrack::ptrifDel(void const* object) {
    objects().erase(static_cast<PtrInterface const*>(object));
}

std::size_t PtrTrack::live() {
    return objects().size();
}

void PtrTrack::report(std::ostream& stream) {
    struct Tally {
        std::size_t objects = 0;
        U64 references = 0;
    };
    std::map<std::string, Tally> classes;
    for (PtrInterface const* const each : objects()) {
        Tally& tally = classes[className(*each)];
        ++tally.objects;
        tally.references += each->references();
    }
    for (auto const& [name, tally] : classes) {
        stream << "alive: " << tally.objects << ' ' << name << ", " << tally.references << " references\n";
    }
}

} // namespace Kor
