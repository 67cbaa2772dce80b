#pragma once

/// A fence: one asks for it with Session::fence() or Service::fence(), and hears when all that was written
/// before it is there. This is what both sides see of it.
///
///     session->push("lifConfig", config);
///     config->reqCountIs(lif, 1);
///     session->fence(FenceLevel::done, [](FenceResult const& result) {
///         std::puts(result.isReached(FenceLevel::done) ? "all LIFs are placed" : result.why.charPtr());
///     });
///
/// The process that is asked says when it is done:
///
///     service->fenceHookIs([&](Session& peer, Kor::Ptr<Fence> const& fence) {
///         fence->doneIs();                    // or later, or fence->failedIs("bank 1 is full")
///     });
///
/// What it says. When the asked process has read a fence, each value that was set before the fence, or a
/// newer one, is there: also those that waited for room, or for a full state of the other side. It is no
/// snapshot: of what is written after the fence some may be there, too. Two fences around a group of writes
/// tell the other side where the group is: when it hears the second, all of the group is there. When *done*
/// is answered, what the asked process wrote before it said so is here.
///
/// Cost. Nothing is kept or sent while nobody asks. A fence costs one record each way, and one entry for
/// each key that waits for room when it is asked for. One thread: that of the session.

#include "runtime/PtrInterface.h"
#include "runtime/String8.h"
#include "runtime/Types.h"

#include <functional>

namespace Kor::NboAttrLog {

/// How far what was written must have come.
enum class FenceLevel : U8 {
    /// It is applied to the entities there, and their reactors have been told.
    applied,
    /// The process there says that it is done with it.
    done,
};

/// Who must have it.
enum class FenceExtent : U8 {
    /// The other side of the connection.
    peer,
    /// Also those to whom it passes on what it gets (Service::relaysTo()), and so on.
    all,
};

/// How far it has come, the least first.
enum class FenceOutcome : U8 {
    /// A peer left before it could answer. It may have applied all, or nothing.
    gone,
    /// A peer says that it could not do it, or cannot know.
    failed,
    applied,
    done,
};

/// The outcome for which a level asks.
constexpr FenceOutcome outcomeOf(FenceLevel level) noexcept {
    return level == FenceLevel::done ? FenceOutcome::done : FenceOutcome::applied;
}

struct FenceResult {
    FenceOutcome outcome = FenceOutcome::applied;
    /// Who has failed or gone, and why; empty otherwise.
    String8 why{};
    /// How many peers were asked, and how many of them have gone.
    U32 peers = 1;
    U32 gone = 0;

    bool isReached(FenceLevel level) const noexcept { return outcome >= outcomeOf(level); }
    /// The least of both, with the peers of both.
    void add(FenceResult const& other);
};

/// Called once.
using FenceHook = std::function<void(FenceResult const& result)>;

/// A fence that a peer has sent. It has been reached here: all before it is applied. Of level `done` the
/// process says when it is done, now or later; one that is dropped unsaid has failed.
class KOR_EXPORT Fence final : public PtrInterface {
public:
    Fence(FenceLevel level, FenceExtent extent, FenceHook answer)
        : level_(level), extent_(extent), answer_(std::move(answer)) {}
    ~Fence() override;

    FenceLevel level() const noexcept { return level_; }
    FenceExtent extent() const noexcept { return extent_; }
    /// Says so, once: what is said first holds. Nothing happens if the peer has gone.
    void doneIs() { answer({.outcome = FenceOutcome::done}); }
    void failedIs(String8 const& why) { answer({.outcome = FenceOutcome::failed, .why = why}); }

private:
    void answer(FenceResult const& result);

    FenceLevel level_;
    FenceExtent extent_;
    FenceHook answer_;
};

/// The name of an outcome: "applied".
KOR_EXPORT char const* fenceOutcomeName(FenceOutcome outcome) noexcept;

} // namespace Kor::NboAttrLog
