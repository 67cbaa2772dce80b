#include "runtime/HandlerExceptions.h"

#include "runtime/ClassName.h"
#include "runtime/Notification.h"
#include "runtime/Trace.h"

#include <atomic>
#include <exception>
#include <ostream>
#include <string>

namespace Kor {

namespace {

std::atomic<U64> noted = 0;

HandlerExceptionHook& theHook() {
    static auto* const hook = new HandlerExceptionHook;
    return *hook;
}

constexpr int traceLevel = 1;

TraceFacility& facility() {
    static TraceFacility& kor = []() -> TraceFacility& {
        TraceFacility& made = TraceHandle("Kor", true).facility();
        made.levelIs(traceLevel, true);
        return made;
    }();
    return kor;
}

std::string currentText() {
    try {
        throw;
    } catch (std::exception const& error) {
        return error.what();
    } catch (...) {
        return "unknown exception";
    }
}

} // namespace

U64 handlerExceptions() noexcept {
    return noted.load(std::memory_order_relaxed);
}

HandlerExceptionHook handlerExceptionHookIs(HandlerExceptionHook hook) {
    return std::exchange(theHook(), std::move(hook));
}

void handlerExceptionNote(PtrInterface const& reactor, AttributeId attribute) noexcept {
    noted.fetch_add(1, std::memory_order_relaxed);
    try {
        std::string const text = currentText();
        std::string const reactorClass = className(reactor);
        trace(facility(), traceLevel, {"HandlerExceptions", __LINE__, "handlerExceptionNote"},
              [&](std::ostream& out) {
                  out << "handler of " << reactorClass << " for attribute " << attribute
                      << " threw: " << text;
              });
        if (auto const hook = theHook()) { // a copy: the hook may replace itself
            hook({reactor, attribute, reactorClass, text});
        }
    } catch (...) {
        // The hook's own exception, or no memory for the text: the count stands.
    }
}

} // namespace Kor
