#pragma once

/// The owner of a chip's tables of LIFs, out-ACs and egress VLAN edits: it answers what applications ask for
/// with places, and writes the rows.
///
///     auto const lock = Kor::Link::LockFile::take("chip.img.lock"); // and nothing further without it
///     auto const driver = Kor::makePtr<tool::ChipDriver>(how, hooks);
///     driver->offerTo(*service);        // "lifConfig" takes what applications push, "lifStatus" has the answers
///     ... a loop, in which hooks.later has driver->commit() called ...
///     ... from time to time ... driver->settle();
///
/// What each family does stands in demo/RowOwner.h and demo/Family.h. What is asked for in one turn of the
/// loop is one transaction of the database beside the image, of all families together. Only when it is kept
/// are the rows written and the answers set. So what an application has been told is there again after any
/// end of the driver. A transaction that fails, on a full disk say, is reported once and tried again; until
/// then nothing of it is answered.
///
/// The image is made anew from the database at each start. What the applications, when they are back, do not
/// ask for any more is released by settle(). So an application that goes and comes back, or a driver that
/// does, changes no place. The caller has the lock. One thread.
///
/// It answers the requests `explain` and `rows` of docs/drivers.md.

#include "attrlog/session/Session.h"
#include "demo/ChipImage.h"
#include "demo/PlaceStore.h"
#include "demo/RowOwner.h"

#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool {

class ChipDriver final : public Kor::PtrInterface, private RowOwner::Ground {
public:
    struct How {
        Hardware::ChipType chip;
        /// Which of the switch's chips it is, as masks of chips count.
        U32 fap = 0;
        std::string image;
        Sync sync = Sync::full;
    };
    struct Hooks {
        /// What an operator should know: a line.
        std::function<void(std::string const&)> report;
        /// Has to call commit() soon, but not at once: what else is asked for until then is kept with it.
        std::function<void()> later;
    };

    /// Takes up what the database has. Refused if that cannot be used, or the image cannot be made.
    ChipDriver(How const& how, Hooks hooks);

    void offerTo(Kor::NboAttrLog::Service& service);
    /// Keeps what has been asked for since the last call, then writes the rows and answers.
    void commit();
    /// Tries again what has failed, and releases what applications whose requests are completely there do not
    /// ask for.
    void settle();

    /// Its fences are for nobody any more.
    void hasLeft(Kor::NboAttrLog::Session const& peer);

    /// What has a place, as far as it is kept.
    U64 placed() const;
    U64 refused() const;

private:
    ChipImage& image() override { return image_; }
    void report(std::string const& message) override { hooks_.report(message); }
    void add(PlaceStep const& step) override;
    std::string failure() const override { return failure_; }
    std::size_t fences(Kor::NboAttrLog::Session const& peer) const override;

    RowOwner& ownerOf(PlaceStep const& step) { return *owners_.at(step.family() - 1); }
    std::size_t failed() const;
    /// Of all families.
    template <class Number>
    Number sum(Number (RowOwner::*of)() const) const;
    void takeUp();
    void undo();
    void releaseStale();
    void answer();
    void answerFences();
    bool succeeds(std::function<void()> const& attempt, std::string const& consequence);
    Kor::String8 explain(std::string const& argument) const;
    Kor::String8 rows(std::string const& argument) const;

    How how_;
    Hooks hooks_;
    ChipImage image_; // which looks at its file before the database makes one
    PlaceStore store_;
    /// In the order of the alternatives of Placed.
    std::array<std::unique_ptr<RowOwner>, chipTables> owners_;
    /// What is to be kept, in its order.
    std::vector<PlaceStep> pending_;
    /// What is kept, and not in the image yet.
    std::deque<PlaceStep> kept_;
    /// Fences of peers that wait until what they asked for is kept.
    struct Waits {
        Kor::Ptr<Kor::NboAttrLog::Fence> fence;
        Kor::NboAttrLog::Session const* peer;
    };
    std::vector<Waits> fences_;
    /// Why it cannot be written; empty while it can be.
    std::string failure_;
    /// When it is tried again.
    std::chrono::steady_clock::time_point nextTry_{};
};

} // namespace tool
