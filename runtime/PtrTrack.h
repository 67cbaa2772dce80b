#pragma once

/// A debug aid: which counted objects are alive?
///
///     Kor::ptrifTrackOn_ = true;   // first thing in main()
///     ...                          // at exit, every object still alive is listed on stderr
///
/// Objects made while the switch is off are not known to it. Objects made immortal by `referencesLeak` are
/// not listed. Tracking takes a mutex for every object made and ended, so that it also works with threads;
/// while the switch is off it costs a test of one byte.

#include "runtime/Types.h"

#include <cstddef>
#include <iosfwd>

namespace Kor {

class PtrInterface;

/// The switch. Set it before the objects of interest are made.
[[gnu::visibility("default")]] extern bool ptrifTrackOn_;

class [[gnu::visibility("default")]] PtrTrack {
public:
    /// Starts to track the object. Called by the constructors of PtrInterface when the switch is on.
    static void ptrifAdd(PtrInterface const* object);
    /// Forgets the object. No effect for an object that is not tracked.
    static void ptrifDel(void* object);
    /// How many tracked objects are alive.
    static std::size_t alive();
    /// One line for each live object, in the order of their creation: type, address, references.
    static void report(std::ostream & out);
};

} // namespace Kor
