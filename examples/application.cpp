/// A LIF from the request to the answer: an application on one side, the owner of the chip's LIF table on the
/// other, and the entities between them. docs/applications.md explains it step by step.

#include "model/LoamTunnelModel.h"
#include "runtime/Activity.h"
#include "tables/LifTable.h"

#include <cstdio>
#include <utility>

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

// [owner]
/// Answers the requests of one application: a place for each LIF that is asked for, and none for any other.
class LifOwner : public LifAppConfig::Notifiee {
public:
    explicit LifOwner(Kor::Ptr<LifAppStatus> status) : status_(std::move(status)) {}

    void onReqCount(AradLifEntry const& lif) override {
        if (notifier() == nullptr) {
            return; // another reactor has detached this one
        }
        bool const wanted = notifier()->reqCount(lif) != 0;
        bool const has = !!status_->lifEntry(lif);
        if (wanted && !has) {
            status_->lifEntryIs(lif, AradLifIndex(next_++, lifBankManaged));
        } else if (!wanted && has) {
            status_->lifEntryDel(lif);
        }
    }

private:
    Kor::Ptr<LifAppStatus> status_;
    Kor::U32 next_ = 0; // a real owner takes places back
};
// [owner]

// [application]
/// Waits for its LIFs.
class Application : public LifAppStatus::Notifiee {
public:
    void onLifEntry(AradLifEntry const& lif) override {
        AradLifIndex const index = notifier() != nullptr ? notifier()->lifEntry(lif) : AradLifIndex();
        if (!index) {
            std::puts("application: the LIF is gone");
        } else {
            std::printf("application: the LIF is at index %u\n", index.index());
        }
    }
};
// [application]

// [later]
/// Counts the LIFs that are asked for, once for all that has changed since the scheduler ran last.
class Summary : public Kor::ActivityOf<LifAppConfig::Notifiee> {
public:
    void onReqCount(AradLifEntry const& lif) override {
        collect(reqCount, deferred<0>(), lif, [this] { print(); });
    }
    void onAttribute(Kor::AttributeId) override { print(); } // more than one key
    void handleNotification(Kor::ActivityConfig* config) override {
        deliver(config, keyed(reqCount, deferred<0>(), [this](AradLifEntry const& lif) { onReqCount(lif); }));
    }

private:
    static constexpr Kor::AttributeId reqCount = LifAppConfig::attributeIdOf<Kor::name::reqCount>();

    void print() const {
        if (notifier() != nullptr) {
            std::printf("summary: %u LIFs are asked for\n", notifier()->reqCountMap().count());
        }
    }
};
// [later]

} // namespace

int main() {
    // [entities]
    auto const configs = lifAppConfigDirFactory("lifConfig");
    auto const statuses = lifAppStatusDirFactory("lifStatus");
    Kor::Ptr<LifAppConfig> const config = configs->appConfigIs(Loam::vtAppMpls);
    Kor::Ptr<LifAppStatus> const status = statuses->appStatusIs(Loam::vtAppMpls);
    // [entities]

    // [observe]
    auto const owner = Kor::observe<LifOwner>(config, status); // the entity, then what the constructor takes
    auto const application = Kor::observe<Application>(status);
    // [observe]

    // [schedule]
    auto const scheduler = Kor::makePtr<Kor::ActivitySm>();
    auto const summary = Kor::observe<Summary>(config);
    summary->activityIs(scheduler);
    // [schedule]

    // [request]
    AradLifAcMp lif(lifAcMp);
    lif.vsiIs(100);
    config->reqCountInc(lif, 1);
    // [request]
    AradLifAcMp other(lif);
    other.vsiIs(200);
    config->reqCountInc(other, 1);

    // [run]
    scheduler->run(); // wherever the program has its loop
    // [run]

    // [row]
    auto const properties = fapTypePropertiesFactory();
    AradLifIndex const index = status->lifEntry(lif);
    auto const arad = std::as_const(*properties).properties(Loam::fapTypeArad);
    Kor::U8 row[16] = {};
    lif.writeToChipFormat(aradChip3, row);
    std::printf("owner: bank %u, offset %u\n", arad->lifBankFromIndex(index),
                arad->lifOffsetFromIndex(index));
    // [row]

    // [end]
    if (config->reqCountDec(lif, 1) == 0) {
        config->reqCountDel(lif);
    }
    // [end]
    config->reqCountIs(other, 0); // the owner hears of that as well
    config->reqCountDelAll();
    scheduler->run();

    summary->notifierIs(nullptr);
    owner->notifierIs(nullptr);
    application->notifierIs(nullptr);
    return config->reqCountMap().count() == 0 && status->lifEntryMap().count() == 0 ? 0 : 1;
}
