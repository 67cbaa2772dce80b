/// The owner of a chip's LIF table and an application that asks it for LIFs, with a Unix socket between them.
/// Both are here in one process, on one loop, so that the example is one program; nothing in either relies on
/// that.

#include "forms/Diagnostics.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"
#include "model/LoamTunnelTypeList.h"
#include "owner/IndexAllocator.h"
#include "owner/LifPlace.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unistd.h>
#include <utility>

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Kor::NboAttrLog::Access;
using Kor::NboAttrLog::Fence;
using Kor::NboAttrLog::FenceLevel;
using Kor::NboAttrLog::FenceResult;
using Kor::NboAttrLog::RootState;
using Kor::NboAttrLog::Service;
using Kor::NboAttrLog::Session;

namespace {

constexpr ChipType chip = jerichoChip8;

/// Where each LIF of the chip lies.
LifPlaces const places(chip);

/// Stands for whatever writes to the chip.
void writeToChip(Kor::U32 address, Kor::U8 block, std::array<Kor::U8, 16> const& row) {
    std::printf("driver: write 0x%08x block 0x%02x:", address, unsigned{block});
    for (std::size_t i = 0; i < row.size(); i += 4) {
        std::printf(" %02x%02x%02x%02x", row[i + 3], row[i + 2], row[i + 1], row[i]);
    }
    std::printf("\n");
}

/// Gives the LIFs that one application asks for their places, and writes their rows.
class Placer : public LifAppConfig::Notifiee {
public:
    Placer(Kor::Ptr<LifAppStatus> status, IndexAllocator& indexes)
        : status_(std::move(status)), indexes_(indexes) {}

    /// The LIFs that have no place since the chip is full.
    std::set<AradLifEntry> unplaced;

    void onReqCount(AradLifEntry const& lif) override {
        if (notifier() == nullptr) {
            return; // another reactor has detached this one
        }
        bool const isWanted = notifier()->reqCount(lif) != 0;
        AradLifIndex const has = status_->lifEntry(lif);
        if (lif.lifType() != lifAcMp || (isWanted == !!has && !unplaced.contains(lif))) {
            return; // a peer may ask for anything, and more than once
        }
        unplaced.erase(lif);
        if (!isWanted) {
            release(lif);
            return;
        }
        std::optional<Kor::U32> const index = indexes_.take();
        if (!index) {
            unplaced.insert(lif);
            return;
        }
        AradLifIndex const place(*index, lifBankManaged);
        writeRow(place, &lif);
        status_->lifEntryIs(lif, place); // told last, when it holds
    }

    /// All of the application's requests are there: what it asks for no more has no place any more.
    void complete() {
        for (auto const& placed : status_->lifEntryMap()) {
            if (notifier() != nullptr && notifier()->reqCount(placed.fwkKey()) == 0) {
                release(AradLifEntry(placed.fwkKey()));
            }
        }
    }

private:
    void release(AradLifEntry const& lif) {
        AradLifIndex const has = status_->lifEntry(lif);
        if (!!has) {
            writeRow(has, nullptr);
            indexes_.release(has.index());
            status_->lifEntryDel(lif);
        }
    }
    static void writeRow(AradLifIndex const& index, AradLifEntry const* lif) {
        std::array<Kor::U8, 16> row{};
        if (lif != nullptr) {
            lif->writeToChipFormat(chip, row.data());
        }
        LifPlace const place = places.at(index);
        writeToChip(place.address, place.block, row);
    }

    Kor::Ptr<LifAppStatus> status_;
    IndexAllocator& indexes_;
};

/// All that the driver has.
struct Driver {
    Kor::Ptr<LifAppConfigDir> configs = lifAppConfigDirFactory("lifConfig");
    Kor::Ptr<LifAppStatusDir> statuses = lifAppStatusDirFactory("lifStatus");
    std::map<Loam::VtAppId, Kor::Ptr<Placer>> placers{};
    IndexAllocator indexes{0, places.capacity()};
    Kor::Ptr<Service> service = Kor::makePtr<Service>();

    Driver() {
        service->offer("lifStatus", statuses, Access::readOnly);
        service->acceptIs(
            "lifConfig",
            [this](Session& peer, Kor::Name const&, Kor::Ptr<Kor::Entity> const& made) {
                auto const request = Kor::ptrCast<LifAppConfig>(made);
                return request ? Kor::Ptr<Kor::Entity>(requestsOf(request->app(), peer))
                               : nullptr; // null refuses it
            },
            [this](Session&, Kor::Name const&, Kor::Ptr<Kor::Entity> const& root, RootState state,
                   Kor::String8 const&) {
                if (state == RootState::synchronized) {
                    placers.at(Kor::ptrCast<LifAppConfig>(root)->app())->complete();
                }
            });
        service->fenceHookIs([this](Session&, Kor::Ptr<Fence> const& fence) {
            std::size_t unplaced = 0;
            for (auto const& [app, placer] : placers) {
                unplaced += placer->unplaced.size();
            }
            if (unplaced == 0) {
                fence->doneIs(); // each row is written when its request is heard
            } else {
                fence->failedIs(Kor::format("the chip is full: %zu LIFs have no place", unplaced));
            }
        });
        Kor::Forms::diagnosticsAre(*service, {.setsTrace = true});
    }

    Kor::Ptr<LifAppConfig> requestsOf(Loam::VtAppId app, Session const& peer) {
        Kor::Ptr<LifAppConfig> config = configs->appConfigIs(app);
        auto& placer = placers[app];
        if (!placer) {
            std::printf("driver: %s asks for LIFs\n", peer.peerName().charPtr());
            placer = Kor::observe<Placer>(config, statuses->appStatusIs(app), indexes);
        }
        return config;
    }
};

/// Says where each LIF is.
class Watcher : public LifAppStatus::Notifiee {
public:
    void onLifEntry(AradLifEntry const& lif) override {
        AradLifIndex const place = notifier() != nullptr ? notifier()->lifEntry(lif) : AradLifIndex();
        if (!!place) {
            std::printf("application: a LIF is at index %u\n", place.index());
        } else {
            std::printf("application: a LIF is gone\n");
        }
    }
};

Kor::NboAttrLog::SessionConfig named(char const* name) {
    Kor::NboAttrLog::SessionConfig config;
    config.name = name;
    config.schema = loamTunnelModule().checksum();
    return config;
}

/// Waits until all that was asked for so far is done; false with a message if it cannot be.
bool isDone(Kor::Link::Loop& loop, Session& session) {
    auto const result = std::make_shared<std::optional<FenceResult>>();
    session.fence(FenceLevel::done, [result](FenceResult const& told) { *result = told; });
    loop.runUntil([&] { return result->has_value(); }, std::chrono::seconds(60));
    bool const isReached = *result && (*result)->isReached(FenceLevel::done);
    if (!isReached) {
        std::printf("application: not done: %s\n", *result ? (*result)->why.charPtr() : "no answer");
    }
    return isReached;
}

AradLifEntry lif(Kor::U16 vsi) {
    AradLifAcMp made(lifAcMp);
    made.vsiIs(vsi);
    return made;
}

} // namespace

int main() {
    char folder[] = "/tmp/driver-XXXXXX";
    if (::mkdtemp(folder) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    auto const address = Kor::Link::Address::parse(std::string(folder) + "/socket");
    Kor::Link::Loop loop;

    // The driver's process.
    Driver driver;
    Kor::Link::ListenerConfig serving;
    serving.service = driver.service;
    serving.session = named("driver");
    Kor::Link::Listener listener(loop, address, serving);

    // The application's process. It connects again when the driver is restarted.
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    auto const statuses = lifAppStatusDirFactory("lifStatus");
    auto const watcher = Kor::observe<Watcher>(statuses->appStatusIs(Loam::vtAppMpls));
    Kor::Link::ConnectorConfig connecting;
    connecting.session = named("mpls");
    connecting.setUp = [&](Session& session) {
        session.push("lifConfig", config);
        session.want("lifStatus", statuses); // its reactors hear of each answer
    };
    Kor::Link::Connector connector(loop, address, connecting);

    // What it asks for is told as it changes; what it had asked for before it was connected, too.
    config->reqCountInc(lif(100), 1);
    bool ok = loop.runUntil([&] { return connector.session() && connector.session()->isEstablished(); },
                            std::chrono::seconds(60));
    ok = ok && isDone(loop, *connector.session());
    config->reqCountInc(lif(200), 1);
    ok = ok && isDone(loop, *connector.session());
    config->reqCountDel(lif(100));
    ok = ok && isDone(loop, *connector.session());
    listener.close("the example ends");
    ::rmdir(folder);
    return ok ? 0 : 1;
}
