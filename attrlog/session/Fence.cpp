#include "attrlog/session/Fence.h"

#include <algorithm>

namespace Kor::NboAttrLog {

void FenceResult::add(FenceResult const& other) {
    if (other.outcome < outcome || why.empty()) {
        why = other.why;
    }
    outcome = std::min(outcome, other.outcome);
    peers += other.peers;
    gone += other.gone;
}

Fence::~Fence() {
    failedIs("the process has not said that it is done");
}

void Fence::answer(FenceResult const& result) {
    if (FenceHook const answer = std::exchange(answer_, {})) {
        answer(result);
    }
}

char const* fenceOutcomeName(FenceOutcome outcome) noexcept {
    constexpr char const* names[] = {"gone", "failed", "applied", "done"};
    return names[std::min<std::size_t>(static_cast<std::size_t>(outcome), std::size(names) - 1)];
}

} // namespace Kor::NboAttrLog
