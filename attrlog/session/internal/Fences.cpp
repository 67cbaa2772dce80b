#include "attrlog/session/internal/Parts.h"

namespace Kor::NboAttrLog {

constexpr U64 doneBit = 1, allBit = 2;
/// How many fences of one side may be unanswered.
constexpr std::size_t most = 1024;
/// The first that has fences.
constexpr U32 firstProtocol = 3;

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
    tell(std::exchange(answer_, {}), result);
}

char const* fenceOutcomeName(FenceOutcome outcome) noexcept {
    constexpr char const* names[] = {"gone", "failed", "applied", "done"};
    return names[std::min<std::size_t>(static_cast<std::size_t>(outcome), std::size(names) - 1)];
}

void Session::fence(FenceLevel level, FenceHook hook, FenceExtent extent, U32 hops) {
    Fences& fences = impl_->fences;
    impl_->core.requireOpen();
    if (fences.asked_.size() >= most) {
        throwRangeException(format("%zu fences wait for their answers already", most));
    }
    U32 const number = ++fences.last_;
    fences.asked_[number] = {level, extent, hops, std::move(hook)};
    impl_->core.whenEstablished([&fences, number] { fences.send(number); });
}

std::size_t Session::openFences() const noexcept {
    return impl_->fences.asked_.size();
}

void Fences::send(U32 number) {
    if (U32 const protocol = core_.demuxer.protocol(); protocol < firstProtocol) {
        tell(std::move(asked_.extract(number).mapped().hook),
             FenceResult{.outcome = FenceOutcome::failed,
                         .why = format("%s speaks protocol %u, which has no fences",
                                       core_.peer.name.charPtr(), protocol)});
        return;
    }
    core_.afterChanges([this, number] {
        Asked& asked = asked_.at(number);
        asked.isSent = true;
        core_.write(fenceAttribute, number,
                    (asked.level == FenceLevel::done ? doneBit : 0) |
                        (asked.extent == FenceExtent::all ? allBit : 0),
                    asked.hops);
    });
}

void Fences::readFence(In& in) {
    auto const [number, bits, hops] = SessionCore::read<U32, U64, U64>(in);
    in.recordEnd();
    if (answers_.size() >= most || answers_.contains(number)) {
        fault(answers_.contains(number) ? String8("record is a fence whose number is in use")
                                        : format("peer has more than %zu fences under way", most));
    }
    FenceLevel const level = (bits & doneBit) != 0 ? FenceLevel::done : FenceLevel::applied;
    FenceExtent const extent = (bits & allBit) != 0 ? FenceExtent::all : FenceExtent::peer;
    auto const sum =
        makePtr<FenceSum>([this, id = number](FenceResult const& result) { answer(id, result); });
    answers_[number] = sum;
    FenceHook const whole = sum->part(); // so that it is not answered before all parts are asked
    auto const fence = makePtr<Fence>(level, extent, level == FenceLevel::done ? sum->part() : FenceHook());
    Ptr<Service> const service(&core_.service);
    if (service->fenceHook()) {
        tell(service->fenceHook(), core_.self, fence);
    } else {
        fence->failedIs(format("%s does not say when it is done", core_.config.name.charPtr()));
    }
    if (extent == FenceExtent::all && core_.isOpen()) {
        if (hops == 0) {
            sum->part()({.outcome = FenceOutcome::failed, .why = "the fence goes in a circle", .peers = 0});
        } else {
            service->fenceBeside(core_.self, level, sum->part(),
                                 static_cast<U32>(std::min<U64>(hops, maxFenceHops)) - 1);
        }
    }
    // This process counts once, with what it says of `done`.
    whole({.outcome = outcomeOf(level), .peers = level == FenceLevel::done ? 0u : 1u});
}

void Fences::answer(U32 number, FenceResult const& result) {
    if (!core_.isOpen()) {
        return;
    }
    answers_[number] = nullptr;
    auto write = [this, number, result] {
        answers_.erase(number);
        core_.write(fencedAttribute, number, static_cast<U64>(result.outcome), result.peers, result.gone,
                    peerText(result.why.view(), maxReasonLength));
    };
    if (result.outcome == FenceOutcome::done) { // what this side has written before it was is there first
        core_.afterChanges(std::move(write));
    } else {
        core_.whenRoom(std::move(write));
    }
}

void Fences::readFenced(In& in) {
    auto const [number, outcome, peers, gone] = SessionCore::read<U32, U64, U32, U32>(in);
    String8 const why = SessionCore::readReason(in);
    in.recordEnd();
    Asked const* const asked = lookUp(asked_, number);
    if (asked == nullptr || !asked->isSent || outcome > static_cast<U64>(FenceOutcome::done)) {
        fault("record answers no fence");
    }
    tell(std::move(asked_.extract(number).mapped().hook),
         FenceResult{static_cast<FenceOutcome>(outcome), why, peers, gone});
}

/// The bare reason where there is no memory for a sentence: a session can end for that.
static String8 whyGone(String8 const& peer, String8 const& reason) {
    try {
        return format("%s has gone: %s", peer.charPtr(), reason.charPtr());
    } catch (std::bad_alloc const&) {
        return reason;
    }
}

void Fences::ended(String8 const& reason) {
    for (auto const& [number, answer] : std::exchange(answers_, {})) {
        if (answer) {
            answer->drop();
        }
    }
    while (!asked_.empty()) {
        tell(std::move(asked_.extract(asked_.begin()).mapped().hook),
             FenceResult{
                 .outcome = FenceOutcome::gone, .why = whyGone(core_.self.peerName(), reason), .gone = 1});
    }
}

} // namespace Kor::NboAttrLog
