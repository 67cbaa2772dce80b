#pragma once

/// The owner of a chip's LIF table: it answers what applications ask for with places, and writes the rows.
///
///     auto const lock = Kor::Link::LockFile::take("chip.img.lock"); // and nothing further without it
///     auto const driver = Kor::makePtr<tool::LifDriver>(Hardware::jerichoChip8, "chip.img", tool::Sync::full, hooks);
///     driver->offerTo(*service);        // "lifConfig" takes what applications push, "lifStatus" has the answers
///     ... a loop, in which hooks.later has driver->commit() called ...
///     ... from time to time ... driver->settle();
///
/// An application pushes its LifAppConfig under "lifConfig". An entry whose count is not 0 gets the lowest
/// free index in the application's range, a row in the image, and an answer in the LifAppStatus; one whose
/// count falls to 0, or that is deleted, loses all three. An entry that has no row on this chip, and one
/// beyond the range, gets no answer, and is reported.
///
/// What is asked for in one turn of the loop is one transaction of the database beside the image. Only when
/// it is kept are the rows written and the answers set. So what an application has been told is there again
/// after any end of the driver. A transaction that fails, on a full disk say, is reported once and tried
/// again; until then nothing of it is answered.
///
/// The image is made anew from the database at each start. What the applications, when they are back, do not
/// ask for any more is released by settle(). So an application that goes and comes back, or a driver that
/// does, changes no place. The caller has the lock. One thread.

#include "attrlog/session/Session.h"
#include "demo/ChipImage.h"
#include "demo/PlaceStore.h"
#include "model/LoamTunnelModel.h"

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tool {

class LifDriver final : public Kor::PtrInterface {
public:
    using Config = Hardware::LoamTunnel::LifAppConfig;
    using Lif = Hardware::LoamTunnel::AradLifEntry;
    using App = Hardware::Loam::VtAppId;
    struct Hooks {
        /// What an operator should know: a line.
        std::function<void(std::string const&)> report;
        /// Has to call commit() soon, but not at once: what else is asked for until then is kept with it.
        std::function<void()> later;
    };

    /// Takes up what the database has. Refused if that cannot be used, or the image cannot be made.
    LifDriver(Hardware::ChipType chip, std::string const& image, Sync sync, Hooks hooks);
    ~LifDriver() override;

    void offerTo(Kor::NboAttrLog::Service& service);
    /// Keeps what has been asked for since the last call, then writes the rows and answers.
    void commit();
    /// Tries again what has failed, and releases what applications whose requests are completely there do not
    /// ask for.
    void settle();

    /// How many requests of an application that can have no place are borne with. One more, and its peer is
    /// told so and cut off.
    static constexpr std::size_t mostRefused = 10'000;

    /// The LIFs that have a place, as far as it is kept.
    U64 placed() const { return placed_; }
    U64 refused() const { return refused_; }

private:
    class Requests;
    struct Range;

    Kor::Ptr<Config> configFor(App app);
    void requested(App app, Lif const& lif, U32 count);
    void refuse(App app, Lif const& lif, std::string const& why);
    void forget(App app);
    void place(App app, Lif const& lif);
    void release(App app, Lif const& lif);
    void add(PlaceStep const& step);
    void undo();
    void releaseStale();
    void answer();
    void answerFences();
    void retry();
    void takeUp();
    void show(PlaceStep const& step);
    bool succeeds(std::function<void()> const& attempt, std::string const& consequence);

    Hardware::ChipType chip_;
    Hooks hooks_;
    Hardware::LoamTunnel::LifPlaces places_;
    Kor::Ptr<Hardware::LoamTunnel::LifAppConfigDir> configs_;
    Kor::Ptr<Hardware::LoamTunnel::LifAppStatusDir> statuses_;
    ChipImage image_; // which looks at its file before the database makes one
    PlaceStore store_;
    /// How many indexes each application has.
    U32 share_;
    std::map<App, Range> ranges_;
    /// What is to be kept, in its order.
    std::vector<PlaceStep> pending_;
    /// What is kept, and not in the image yet.
    std::deque<PlaceStep> kept_;
    /// What could not be kept.
    std::map<App, std::set<Lif>> failed_;
    /// Those of peers that wait until what they asked for is kept.
    struct Waits {
        Kor::Ptr<Kor::NboAttrLog::Fence> fence;
        Kor::NboAttrLog::Session const* peer;
    };
    std::vector<Waits> fences_;
    bool isFailing_ = false;
    U64 placed_ = 0;
    U64 refused_ = 0;
};

/// Refused for an entry that has no row on a chip.
void mustHaveRow(Hardware::LoamTunnel::AradLifEntry const& lif, Hardware::ChipType chip);
/// The row of an entry on a chip; Refused if it has none there.
Words rowOfLif(Hardware::LoamTunnel::AradLifEntry const& lif, Hardware::ChipType chip);

} // namespace tool
