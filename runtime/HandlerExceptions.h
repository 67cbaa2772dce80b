#pragma once

/// What becomes of an exception that a reactor's handler lets out. It is contained, so that the other
/// reactors are told all the same; but each one is counted, traced and handed to a hook:
///
///     Kor::handlerExceptionHookIs([](Kor::HandlerException const& e) { alarm(e.attribute, e.what); });
///     if (Kor::handlerExceptions() != before) { ... }
///
/// The trace record goes to the facility "Kor", level 1, which is on from the start. The count may be read
/// from any thread; the hook is set before a second thread notifies. Without exceptions it costs nothing.

#include "runtime/PtrInterface.h"

#include <functional>
#include <string_view>

namespace Kor {

/// One contained exception. The views are valid during the call alone.
struct HandlerException {
    /// The reactor whose handler threw, and the attribute that it was told of.
    PtrInterface const& reactor;
    AttributeId attribute;
    /// The class of the reactor, and the text of the exception; "unknown exception" if it has none.
    std::string_view reactorClass;
    std::string_view what;
};

using HandlerExceptionHook = std::function<void(HandlerException const&)>;

/// How many exceptions from handlers were contained in this process.
KOR_EXPORT U64 handlerExceptions() noexcept;

/// Replaces the hook, an empty one for none, and returns the old one. An exception that leaves it is dropped.
/// The hook may unmount, and let go of, what was being told or sent.
KOR_EXPORT HandlerExceptionHook handlerExceptionHookIs(HandlerExceptionHook hook);

} // namespace Kor
