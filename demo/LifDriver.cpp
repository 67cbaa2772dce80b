#include "demo/LifDriver.h"

#include "owner/IndexAllocator.h"
#include "reflect/Text.h"
#include "tools/Failure.h"

#include <exception>
#include <optional>
#include <unistd.h>
#include <utility>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

/// Each application has its own part of the indexes, so that none can take them all, and what one does moves
/// nobody else's.
constexpr U32 ranges = 16;

std::string lifText(AradLifEntry const& lif) {
    return std::string(Kor::valueToStrep(lif).view());
}

/// An older driver kept the places in a journal. They are not to be lost without a word.
std::string databaseOf(std::string const& image) {
    std::string path = image + ".db";
    std::string const journal = image + ".journal";
    if (::access(path.c_str(), F_OK) != 0 && ::access(journal.c_str(), F_OK) == 0) {
        throw Refused(shown(journal) +
                      " has the places of an older driver, which this one does not read; without it "
                      "the chip begins empty");
    }
    return path;
}

} // namespace

void mustHaveRow(AradLifEntry const& lif, ChipType chip) {
    U64 outLif = 0;
    switch (lif.lifType()) {
    case lifAcP2pToAc:
        outLif = AradLifAcP2pToAc(lif).outLif();
        break;
    case lifAcMp:
    case lifAcP2pToPwe:
    case lifLabelPweP2p:
    case lifLabelProtocolOrLsp:
        break;
    default:
        throw Refused("an entry of that type has no row");
    }
    if (outLif > 0xffff && chip >= jerichoChip5) {
        throw Refused("its outLif " + std::to_string(outLif) + " does not fit the row of chip " +
                      std::to_string(chip));
    }
}

Words rowOfLif(AradLifEntry const& lif, ChipType chip) {
    mustHaveRow(lif, chip);
    Words words(rowForm("LifTable", chip, lif.variant()).table->words);
    lif.writeToChipFormat(chip, reinterpret_cast<U8*>(words.data()));
    return words;
}

/// What one application asks for.
class LifDriver::Requests final : public LifAppConfig::Notifiee {
public:
    explicit Requests(LifDriver& driver) : driver_(driver) { isRegisteredNotifieeIs(true); }

    void onReqCount(AradLifEntry const& lif) override {
        driver_.requested(notifier()->app(), lif, notifier()->reqCount(lif));
    }

private:
    LifDriver& driver_;
};

struct LifDriver::Range {
    IndexAllocator indexes;
    std::map<Lif, U32> places{};
    Kor::Ptr<Requests> requests{};
    /// Who pushes the requests.
    Kor::NboAttrLog::Session* peer = nullptr;
    /// All of them are there.
    bool isComplete = false;
    /// What is asked for and can have no place, and why.
    std::map<Lif, std::string> refused{};
    /// Taken up from the database, and not yet compared with what the application asks for.
    bool isStale = false;
};

LifDriver::LifDriver(ChipType chip, std::string const& image, Sync sync, Hooks hooks)
    : chip_(chip), hooks_(std::move(hooks)), places_(chip), configs_(lifAppConfigDirFactory("lifConfig")),
      statuses_(lifAppStatusDirFactory("lifStatus")), image_(image, chip, ChipImage::create),
      store_(databaseOf(image), chip, sync), share_(places_.capacity() / ranges) {
    for (U32 i = 0; i < ranges; ++i) {
        ranges_.emplace(static_cast<App>(i), Range{IndexAllocator(i * share_, share_)});
    }
    takeUp();
}

LifDriver::~LifDriver() {
    for (auto& [app, range] : ranges_) {
        if (range.requests) {
            range.requests->notifierIs(nullptr);
        }
    }
}

/// Nothing is written before all of it is known to be sound.
void LifDriver::takeUp() {
    std::vector<PlaceStep> const places = store_.all();
    for (PlaceStep const& step : places) {
        auto const refuse = [&](std::string const& why) {
            throw Refused("the database has a place that cannot be: index " + std::to_string(step.index) +
                          " of application " + std::to_string(step.app) + ": " + why);
        };
        auto const found = ranges_.find(step.app);
        if (found == ranges_.end()) {
            refuse("applications go up to " + std::to_string(ranges - 1));
        }
        Range& range = found->second;
        U32 const first = range.indexes.first();
        if (step.index < first || step.index >= first + share_) {
            refuse("its indexes are " + std::to_string(first) + " to " + std::to_string(first + share_ - 1));
        }
        if (!range.places.emplace(step.lif, step.index).second) {
            refuse("its entry has index " + std::to_string(range.places.at(step.lif)) + " already");
        }
        try {
            mustHaveRow(step.lif, chip_);
        } catch (Refused const& failure) {
            refuse(failure.what());
        }
        range.indexes.take(step.index);
        range.isStale = true;
    }
    image_.make();
    for (PlaceStep const& step : places) {
        show(step);
    }
    image_.publish();
}

void LifDriver::offerTo(Kor::NboAttrLog::Service& service) {
    using Kor::NboAttrLog::Access;
    service.offer("lifConfig", configs_, Access::readOnly);
    service.offer("lifStatus", statuses_, Access::readOnly);
    using Kor::NboAttrLog::RootState;
    using Kor::NboAttrLog::Session;
    service.acceptIs(
        "lifConfig",
        [this](Session&, Kor::Name const&, Kor::Ptr<Kor::Entity> const& made) {
            auto const config = Kor::ptrCast<LifAppConfig>(made);
            return config ? Kor::Ptr<Kor::Entity>(configFor(config->app())) : Kor::Ptr<Kor::Entity>();
        },
        [this](Session& peer, Kor::Name const&, Kor::Ptr<Kor::Entity> const& root, RootState state,
               Kor::String8 const&) {
            App const app = Kor::ptrCast<LifAppConfig>(root)->app();
            Range& range = ranges_.at(app);
            range.isComplete = state == RootState::synchronized;
            range.peer = state == RootState::absent ? nullptr : &peer;
            if (state == RootState::absent) {
                forget(app);
            }
        });
    service.fenceHookIs([this](Session& peer, Kor::Ptr<Kor::NboAttrLog::Fence> const& fence) {
        if (fence->level() == Kor::NboAttrLog::FenceLevel::done) {
            fences_.push_back({fence, &peer});
            if (pending_.empty()) {
                hooks_.later();
            }
        }
    });
}

Kor::Ptr<LifDriver::Config> LifDriver::configFor(App app) {
    auto const found = ranges_.find(app);
    if (found == ranges_.end()) {
        Kor::throwRangeException("there are indexes for applications 0 to 15 alone");
    }
    static_cast<void>(statuses_->appStatusIs(app)); // an application's own would go with a pass that has none
    Kor::Ptr<Config> config = configs_->appConfigIs(app);
    Range& of = found->second;
    if (!of.requests) {
        of.requests = Kor::makePtr<Requests>(*this);
        of.requests->notifierIs(config);
    }
    return config;
}

void LifDriver::settle() {
    if (isFailing_) {
        retry();
    }
    releaseStale();
}

void LifDriver::releaseStale() {
    for (auto& [app, range] : ranges_) {
        auto const config = std::as_const(*configs_).appConfig(app);
        if (!range.isStale || !range.isComplete || !config) {
            continue;
        }
        range.isStale = false;
        std::vector<Lif> gone;
        for (auto const& [lif, index] : range.places) {
            if (config->reqCount(lif) == 0) {
                gone.push_back(lif);
            }
        }
        for (Lif const& lif : gone) {
            release(app, lif);
        }
    }
}

void LifDriver::requested(App app, Lif const& lif, U32 count) {
    bool const has = ranges_.at(app).places.contains(lif);
    try {
        if (count != 0 && !has) {
            place(app, lif);
        } else if (count == 0 && has) {
            release(app, lif);
        }
        ranges_.at(app).refused.erase(lif);
    } catch (Refused const& failure) {
        refuse(app, lif, failure.what());
    }
}

void LifDriver::refuse(App app, Lif const& lif, std::string const& why) {
    ++refused_;
    hooks_.report("application " + std::to_string(app) + ", " + lifText(lif) + ": " + why);
    Range& range = ranges_.at(app);
    range.refused[lif] = why;
    if (range.refused.size() > mostRefused && range.peer != nullptr) {
        range.peer->close(
            Kor::format("more than %zu requests can have no place", mostRefused)); // see forget()
    }
}

/// Its peer is gone: what it has asked for in vain is kept no longer.
void LifDriver::forget(App app) {
    for (auto const& [lif, why] : std::exchange(ranges_.at(app).refused, {})) {
        configs_->appConfigIs(app)->reqCountDel(lif);
    }
}

void LifDriver::place(App app, Lif const& lif) {
    mustHaveRow(lif, chip_); // before anything is done
    Range& range = ranges_.at(app);
    std::optional<U32> const index = range.indexes.take();
    if (!index) {
        throw Refused("its " + std::to_string(share_) + " indexes are all in use");
    }
    range.places.emplace(lif, *index);
    add({true, app, *index, lif});
}

void LifDriver::release(App app, Lif const& lif) {
    Range& range = ranges_.at(app);
    auto const at = range.places.find(lif);
    add({false, app, at->second, lif});
    range.indexes.release(at->second);
    range.places.erase(at);
}

void LifDriver::add(PlaceStep const& step) {
    if (pending_.empty()) {
        hooks_.later();
    }
    pending_.push_back(step);
}

void LifDriver::commit() {
    releaseStale(); // since a fence says that this is done, too
    if (!pending_.empty()) {
        std::size_t const count = pending_.size();
        if (succeeds([this] { store_.write(pending_); },
                     std::to_string(count) + (count == 1 ? " request waits" : " requests wait") +
                         ", and so do those that follow")) {
            kept_.insert(kept_.end(), pending_.begin(), pending_.end());
        } else {
            undo();
        }
        pending_.clear();
    }
    answer();
    answerFences();
    if (isFailing_ && failed_.empty() && kept_.empty()) {
        isFailing_ = false;
        hooks_.report("it can be written again, and nothing waits any more");
    }
}

/// As it was before what is pending.
void LifDriver::undo() {
    for (std::size_t i = pending_.size(); i-- > 0;) { // the latest first
        PlaceStep const& step = pending_[i];
        Range& range = ranges_.at(step.app);
        if (step.isPlaced) {
            range.places.erase(step.lif);
            range.indexes.release(step.index);
        } else {
            range.places.emplace(step.lif, step.index);
            range.indexes.take(step.index);
        }
        failed_[step.app].insert(step.lif);
    }
}

void LifDriver::answer() {
    while (!kept_.empty() &&
           succeeds([this] { show(kept_.front()); }, "answers wait until it can be written")) {
        kept_.pop_front();
    }
}

/// A fence is done when what its peer has asked for is kept and in the image, and fails where it can have no
/// place.
void LifDriver::answerFences() {
    if (!kept_.empty() || !failed_.empty()) {
        return; // tried again, and told then
    }
    for (auto const& [fence, peer] : std::exchange(fences_, {})) {
        std::size_t count = 0;
        std::string why;
        for (auto const& [app, range] : ranges_) {
            if (range.peer == peer && !range.refused.empty()) {
                count += range.refused.size();
                auto const& [lif, reason] = *range.refused.begin();
                why = lifText(lif) + ": " + reason;
            }
        }
        if (count == 0) {
            fence->doneIs();
        } else {
            fence->failedIs(Kor::format("%zu requests have no place; %s", count, why.c_str()));
        }
    }
}

/// Everything is asked for again that is still so.
void LifDriver::retry() {
    for (auto const& [app, lifs] : std::exchange(failed_, {})) {
        auto const config = std::as_const(*configs_).appConfig(app);
        for (Lif const& lif : lifs) {
            requested(app, lif, config ? config->reqCount(lif) : 0);
        }
    }
    commit();
}

/// Writes the row, then answers: whoever reads an index can use it.
void LifDriver::show(PlaceStep const& step) {
    AradLifIndex const index(step.index, lifBankManaged);
    Words const words =
        step.isPlaced ? rowOfLif(step.lif, chip_) : Words(rowForm("LifTable", chip_, 0).table->words);
    image_.write(places_.at(index), words);
    auto const status = statuses_->appStatusIs(step.app);
    if (step.isPlaced) {
        status->lifEntryIs(step.lif, index);
        ++placed_;
    } else {
        status->lifEntryDel(step.lif);
        --placed_;
    }
}

/// Reports the first failure of several; commit() tells when they are over.
bool LifDriver::succeeds(std::function<void()> const& attempt, std::string const& consequence) {
    try {
        attempt();
    } catch (Refused const& refused) {
        if (!std::exchange(isFailing_, true)) {
            hooks_.report(std::string(refused.what()) + "; " + consequence);
        }
        return false;
    }
    return true;
}

} // namespace tool
