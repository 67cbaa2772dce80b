#include "testing/FakeOwner.h"

#include "owner/LifPlace.h"
#include "reflect/entity/Reactors.h"

#include <algorithm>
#include <utility>

namespace Hardware::LoamTunnel {

using namespace Kor::NboAttrLog;
using Kor::Entity;
using Kor::format;
using Kor::Name;
using Kor::Ptr;
using Kor::String8;

/// Hears of each request of one application.
class FakeOwner::Requests final : public LifAppConfig::Notifiee {
public:
    explicit Requests(FakeOwner& owner) : owner_(owner) {}
    void onReqCount(AradLifEntry const& lif) override {
        if (auto* const config = notifier()) {
            owner_.heard(config->app(), lif);
        }
    }

private:
    FakeOwner& owner_;
};

struct FakeOwner::Application {
    Ptr<Requests> requests;
    std::map<AradLifEntry, std::string> refused;
    /// The session that pushes.
    Session* peer = nullptr;
};

FakeOwner::FakeOwner()
    : statuses_(lifAppStatusDirFactory("lifStatus")), indexes_(0, LifPlaces(jerichoChip8).capacity()),
      capacity_(indexes_.capacity()) {
    serve();
}

FakeOwner::~FakeOwner() {
    lose();
}

void FakeOwner::serve() {
    service_ = Kor::makePtr<Service>();
    configs_ = lifAppConfigDirFactory("lifConfig");
    service_->offer("lifConfig", configs_, Access::readOnly);
    service_->offer("lifStatus", statuses_, Access::readOnly);
    service_->acceptIs(
        "lifConfig",
        [this](Session& peer, Name const&, Ptr<Entity> const& made) -> Ptr<Entity> {
            if (!pushRefusal_.empty()) {
                Kor::throwRangeException(String8(pushRefusal_));
            }
            auto const pushed = Kor::ptrCast<LifAppConfig>(made);
            if (!pushed) {
                return nullptr;
            }
            Ptr<LifAppConfig> const config = configs_->appConfigIs(pushed->app());
            statuses_->appStatusIs(pushed->app());
            Application& application = applications_[pushed->app()];
            application.peer = &peer;
            if (!application.requests) {
                application.requests = Kor::observe<Requests>(config, *this);
            }
            return config;
        },
        [this](Session&, Name const&, Ptr<Entity> const& root, RootState state, String8 const&) {
            auto const config = Kor::ptrCast<LifAppConfig>(root);
            if (state == RootState::absent) {
                applications_[config->app()].peer = nullptr;
            } else if (state == RootState::synchronized) { // what it asks for no more has no place any more
                for (auto const& [lif, index] : places(config->app())) {
                    if (config->reqCount(lif) == 0) {
                        heard(config->app(), lif);
                    }
                }
            }
        });
    service_->fenceHookIs([this](Session& peer, Ptr<Fence> const& fence) { reached(peer, fence); });
}

void FakeOwner::connect(Ptr<Session> const& application) {
    if (!application) {
        Kor::throwRangeException("the session of the application is null");
    }
    wires_.push_back(
        {application, Kor::makePtr<Session>(Side::accepting, SessionConfig{.name = "owner"}, service_)});
}

void FakeOwner::run(std::size_t most) {
    auto const move = [most](Session& from, Session& to) {
        from.flow();
        auto const bytes = from.out()->readable();
        std::size_t const n = to.in()->feed(bytes.first(std::min(most, bytes.size())));
        from.out()->nextBytes(n);
        to.receive();
        return n != 0;
    };
    for (bool moves = true; moves;) {
        moves = false;
        for (auto const& [application, mine] : std::vector<Wire>(wires_)) {
            moves = move(*application, *mine) || moves;
            moves = move(*mine, *application) || moves;
        }
        std::erase_if(wires_,
                      [](Wire const& wire) { return wire.application->isOver() && wire.mine->isOver(); });
    }
}

void FakeOwner::isHoldingIs(bool isHolding) {
    isHolding_ = isHolding;
    if (!isHolding) {
        answer(waiting_.size());
    }
}

std::size_t FakeOwner::answer(std::size_t most) {
    std::size_t n = 0;
    for (; n != most && !waiting_.empty(); ++n) {
        Request const next = waiting_.front();
        waiting_.pop_front();
        decide(next);
    }
    settleFences();
    return n;
}

void FakeOwner::heard(App app, AradLifEntry const& lif) {
    bool const waits = std::ranges::any_of(
        waiting_, [&](Request const& each) { return each.app == app && each.lif == lif; });
    if (isHolding_ && !waits) {
        waiting_.push_back({app, lif});
    } else if (!isHolding_) {
        decide({app, lif});
    }
}

std::string FakeOwner::reasonAgainst(Request const& request) const {
    std::string why = refusal_ ? refusal_(request.app, request.lif) : std::string();
    if (why.empty() && indexes_.count() >= capacity_) {
        why = format("lifBankManaged is full: all of its %u places are taken", capacity_).view();
    }
    return why;
}

/// As the request stands now.
void FakeOwner::decide(Request const& request) {
    auto const config = requests(request.app);
    bool const isWanted = config && config->reqCount(request.lif) != 0;
    auto const status = statuses_->appStatusIs(request.app);
    AradLifIndex const index = status->lifEntry(request.lif);
    Application& application = applications_[request.app];
    application.refused.erase(request.lif);
    if (isWanted && !index) {
        if (std::string const why = reasonAgainst(request); !why.empty()) {
            application.refused[request.lif] = why;
        } else {
            status->lifEntryIs(request.lif, AradLifIndex(*indexes_.take(), lifBankManaged));
        }
    } else if (!isWanted && !!index) {
        indexes_.release(index.index());
        status->lifEntryDel(request.lif);
    }
}

void FakeOwner::reached(Session& peer, Ptr<Fence> const& fence) {
    if (fence->level() != FenceLevel::done) {
        return;
    }
    Waits waits{fence, {}};
    for (auto const& [app, application] : applications_) {
        if (application.peer == &peer) {
            waits.apps.insert(app);
        }
    }
    fences_.push_back(std::move(waits));
    settleFences();
}

/// A fence is done when nothing of its applications waits, and fails with the words of the first refusal.
void FakeOwner::settleFences() {
    for (Waits const& each : std::exchange(fences_, {})) {
        if (std::ranges::any_of(waiting_,
                                [&](Request const& request) { return each.apps.contains(request.app); })) {
            fences_.push_back(each);
            continue;
        }
        std::string why;
        for (App const app : each.apps) {
            for (auto const& [lif, reason] : applications_[app].refused) {
                why = why.empty() ? reason : why;
            }
        }
        why.empty() ? each.fence->doneIs() : each.fence->failedIs(String8(why));
    }
}

void FakeOwner::lose() {
    fences_.clear();
    for (auto& [app, application] : applications_) {
        application.peer = nullptr;
        if (application.requests) {
            application.requests->notifierIs(nullptr);
        }
    }
    for (auto const& [application, mine] : std::exchange(wires_, {})) {
        mine->cut("the owner has died");
        application->cut("the owner has died");
    }
    service_->acceptIs("lifConfig", {});
    service_->fenceHookIs({});
}

void FakeOwner::restart(bool keepsPlaces) {
    lose();
    waiting_.clear();
    applications_.clear();
    if (!keepsPlaces) {
        statuses_ = lifAppStatusDirFactory("lifStatus");
        indexes_.releaseAll();
    }
    serve();
}

Ptr<LifAppConfig const> FakeOwner::requests(App app) const {
    return std::as_const(*configs_).appConfig(app);
}

std::map<AradLifEntry, AradLifIndex> FakeOwner::places(App app) const {
    std::map<AradLifEntry, AradLifIndex> places;
    if (auto const status = std::as_const(*statuses_).appStatus(app)) {
        for (auto const& each : status->lifEntryMap()) {
            places.emplace(each.fwkKey(), each.value);
        }
    }
    return places;
}

std::map<AradLifEntry, std::string> FakeOwner::refused(App app) const {
    auto const found = applications_.find(app);
    return found != applications_.end() ? found->second.refused : std::map<AradLifEntry, std::string>();
}

} // namespace Hardware::LoamTunnel
