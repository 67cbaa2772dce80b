/// The owner of a chip's LIF table and an application that asks it for LIFs, with a Unix socket between them.
/// Both are here in one process, on one loop, so that the example is one program; nothing in either relies on
/// that. With two arguments it is the owner alone: driver ADDRESS FILE serves there until it is killed, and
/// keeps its places in the file.

#include "forms/Diagnostics.h"
#include "forms/Entries.h"
#include "forms/Json.h"
#include "forms/Rows.h"
#include "forms/Text.h"
#include "forms/Values.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"
#include "model/LoamTunnelModule.h"
#include "owner/IndexAllocator.h"
#include "owner/LifPlace.h"
#include "reflect/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Kor::Forms::JsonWriter;
using Kor::Forms::lifOf;
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

using Row = std::array<Kor::U8, 16>;

/// Stands for the chip, and for whatever writes to it.
class Chip {
public:
    void write(LifPlace const& place, Row const& row) {
        std::printf("driver: write 0x%08x block 0x%02x: %s\n", place.address, unsigned{place.block},
                    Kor::Forms::wordsText(words(row)).c_str());
        rows_[place.address] = row;
    }
    Row read(LifPlace const& place) const {
        auto const found = rows_.find(place.address);
        return found == rows_.end() ? Row{} : found->second;
    }
    static Kor::Forms::Words words(Row const& row) {
        Kor::Forms::Words all;
        for (std::size_t i = 0; i < row.size(); i += 4) {
            all.push_back(Kor::U32{row[i]} | Kor::U32{row[i + 1]} << 8 | Kor::U32{row[i + 2]} << 16 |
                          Kor::U32{row[i + 3]} << 24);
        }
        return all;
    }

private:
    std::map<Kor::U32, Row> rows_{};
};

/// Which LIF has which index, in a file that survives the driver.
class Kept {
public:
    struct Place {
        Loam::VtAppId app;
        AradLifEntry lif;
    };

    explicit Kept(std::string path) : path_(std::move(path)) {
        std::ifstream file(path_);
        Kor::U32 index = 0;
        Kor::U32 app = 0;
        for (std::string text; file >> index >> app && std::getline(file >> std::ws, text);) {
            AradLifEntry const lif = Kor::strepToValue<AradLifEntry>(Kor::String8(text));
            all_.emplace(index, Place{static_cast<Loam::VtAppId>(app), lif});
        }
    }
    std::map<Kor::U32, Place> const& all() const { return all_; }
    void add(Kor::U32 index, Place const& place) {
        auto fresh = all_;
        fresh.emplace(index, place);
        save(std::move(fresh));
    }
    void del(Kor::U32 index) {
        auto fresh = all_;
        fresh.erase(index);
        save(std::move(fresh));
    }

private:
    /// All of it beside the file, and then in its place: whenever the driver dies, one of both is whole. To
    /// survive a loss of power, too, it would have to wait for the disk, fsync(2).
    void save(std::map<Kor::U32, Place> now) {
        std::string const fresh = path_ + ".new";
        std::ofstream file(fresh);
        for (auto const& [index, place] : now) {
            file << index << ' ' << Kor::U32{place.app} << ' ' << Kor::valueToStrep(place.lif).view() << '\n';
        }
        file.close();
        if (!file || std::rename(fresh.c_str(), path_.c_str()) != 0) {
            throw std::runtime_error("cannot keep the places in " + path_);
        }
        all_ = std::move(now);
    }

    std::string path_;
    std::map<Kor::U32, Place> all_{};
};

/// What all applications share: the chip, its indexes, and what is kept of them.
struct Table {
    Chip hardware{};
    Kept kept;
    IndexAllocator indexes{0, places.capacity()};

    static Row rowOf(AradLifEntry const* lif) {
        Row row{};
        if (lif != nullptr) {
            lif->writeToChipFormat(chip, row.data());
        }
        return row;
    }
    static LifPlace placeOf(Kor::U32 index) { return places.at(AradLifIndex(index, lifBankManaged)); }
    void writeRow(Kor::U32 index, AradLifEntry const* lif) { hardware.write(placeOf(index), rowOf(lif)); }
};

/// Gives the LIFs that one application asks for their places, and writes their rows.
class Placer : public LifAppConfig::Notifiee {
public:
    Placer(Kor::Ptr<LifAppStatus> status, Table& table) : status_(std::move(status)), table_(table) {}

    /// The LIFs that are not as they are asked for, and why.
    std::map<AradLifEntry, std::string> unplaced;

    void onReqCount(AradLifEntry const& lif) override {
        if (notifier() == nullptr) {
            return; // another reactor has detached this one
        }
        bool const isWanted = notifier()->reqCount(lif) != 0;
        AradLifIndex const has = status_->lifEntry(lif);
        unplaced.erase(lif);
        if (isWanted == !!has) {
            return; // a peer may ask more than once
        }
        try {
            if (isWanted) {
                place(lif);
            } else {
                release(lif);
            }
        } catch (std::exception const& failure) {
            unplaced.emplace(lif, failure.what());
        }
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
    void place(AradLifEntry const& lif) {
        if (lif.lifType() != lifAcMp) { // a peer may ask for anything
            throw std::runtime_error("this driver has LIFs of the kind lifAcMp alone");
        }
        std::optional<Kor::U32> const index = table_.indexes.take();
        if (!index) {
            throw std::runtime_error("the chip is full");
        }
        try {
            table_.kept.add(*index, {status_->app(), lif}); // kept first
        } catch (...) {
            table_.indexes.release(*index);
            throw;
        }
        table_.writeRow(*index, &lif);
        status_->lifEntryIs(lif, AradLifIndex(*index, lifBankManaged)); // told last, when it holds
    }
    void release(AradLifEntry const& lif) {
        AradLifIndex const has = status_->lifEntry(lif);
        if (!!has) {
            table_.kept.del(has.index());
            table_.writeRow(has.index(), nullptr);
            table_.indexes.release(has.index());
            status_->lifEntryDel(lif);
        }
    }

    Kor::Ptr<LifAppStatus> status_;
    Table& table_;
};

/// All that the driver has.
struct Driver {
    Kor::Ptr<LifAppConfigDir> configs = lifAppConfigDirFactory("lifConfig");
    Kor::Ptr<LifAppStatusDir> statuses = lifAppStatusDirFactory("lifStatus");
    std::map<Loam::VtAppId, Kor::Ptr<Placer>> placers{};
    Table table;
    Kor::Ptr<Service> service = Kor::makePtr<Service>();

    explicit Driver(std::string const& file) : table{.kept = Kept(file)} {
        for (auto const& [index, place] : table.kept.all()) { // what was given out before a restart
            table.indexes.take(index);
            table.writeRow(index, &place.lif);
            statuses->appStatusIs(place.app)->lifEntryIs(place.lif, AradLifIndex(index, lifBankManaged));
        }
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
            std::string why;
            for (auto const& [app, placer] : placers) {
                unplaced += placer->unplaced.size();
                why = placer->unplaced.empty() ? why : placer->unplaced.begin()->second;
            }
            if (unplaced == 0) {
                fence->doneIs(); // each row is written when its request is heard
            } else {
                fence->failedIs(Kor::format("%s: %zu LIFs are not as asked for", why.c_str(), unplaced));
            }
        });
        service->handlerIs("explain", [this](Session&, Kor::String8 const& what) {
            return explain(lifOf(Kor::Forms::parseEntry(keyIn(what.view()))));
        });
        service->handlerIs("rows", [this](Session&, Kor::String8 const& next) {
            return rows(Kor::Forms::parseNumber(next.view()).value_or(0));
        });
        Kor::Forms::diagnosticsAre(*service, {.setsTrace = true});
    }

    Kor::Ptr<LifAppConfig> requestsOf(Loam::VtAppId app, Session const& peer) {
        Kor::Ptr<LifAppConfig> config = configs->appConfigIs(app);
        auto& placer = placers[app];
        if (!placer) {
            std::printf("driver: %s asks for LIFs\n", peer.peerName().charPtr());
            placer = Kor::observe<Placer>(config, statuses->appStatusIs(app), table);
        }
        return config;
    }

    /// Of a path, such as lifConfig.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100], the key at its end.
    static std::string_view keyIn(std::string_view what) {
        std::size_t const at = what.rfind('[');
        return at == what.npos || !what.ends_with(']') ? what : what.substr(at + 1, what.size() - at - 2);
    }

    /// Where a LIF stands with each application that asks for it.
    Kor::String8 explain(AradLifEntry const& lif) const {
        std::ostringstream text;
        JsonWriter json(text);
        json.beginObject().number("chip", chip).string("key", Kor::Forms::shortText(*Kor::boxOf(lif)));
        json.key("applications").beginArray();
        bool isAsked = false;
        for (auto const& [app, placer] : placers) {
            auto const* const config = placer->notifier();
            Kor::U32 const count = config != nullptr ? config->reqCount(lif) : 0;
            AradLifIndex const index = std::as_const(*statuses).appStatus(app)->lifEntry(lif);
            if (count != 0) {
                isAsked = true;
                json.beginObject().string("app", appText(app)).number("count", count);
                if (!!index) {
                    json.number("index", index.index()).key("row").beginObject();
                    describeRow(json, index.index());
                    json.end();
                } else {
                    auto const why = placer->unplaced.find(lif);
                    json.string("missing", why == placer->unplaced.end() ? "it is on its way" : why->second);
                }
                json.end();
            }
        }
        json.end();
        if (!isAsked) {
            json.string("missing", "no application asks for it");
        }
        json.end();
        return Kor::String8(text.str());
    }

    /// The rows that somebody has or that are not zero, some hundreds in one answer.
    Kor::String8 rows(Kor::U64 next) const {
        std::ostringstream text;
        JsonWriter json(text);
        json.beginObject().number("chip", chip).number("waiting", 0).key("rows").beginArray();
        auto index = static_cast<Kor::U32>(std::min<Kor::U64>(next, places.capacity()));
        Kor::U32 const end = std::min(index + 16'384, places.capacity());
        for (; index < end && text.tellp() < 60'000; ++index) {
            if (table.indexes.isTaken(index) || table.hardware.read(Table::placeOf(index)) != Row{}) {
                json.beginObject();
                describeRow(json, index);
                json.end();
            }
        }
        json.end();
        if (index < places.capacity()) {
            json.string("next", std::to_string(index));
        }
        json.end();
        return Kor::String8(text.str());
    }

    /// Who has a row, what should be in it, and what is.
    void describeRow(JsonWriter& json, Kor::U32 index) const {
        auto const has = table.kept.all().find(index);
        AradLifEntry const* const lif = has == table.kept.all().end() ? nullptr : &has->second.lif;
        LifPlace const place = Table::placeOf(index);
        json.string("table", "LifTable").number("variant", lif == nullptr ? 0 : lif->variant());
        json.number("array", place.array).number("entry", place.entry);
        json.key("who").beginArray();
        if (lif != nullptr) {
            json.beginObject().string("app", appText(has->second.app)).number("index", index).end();
        }
        json.end();
        json.string("wanted", Kor::Forms::wordsText(Chip::words(Table::rowOf(lif))));
        json.string("actual", Kor::Forms::wordsText(Chip::words(table.hardware.read(place))));
    }

    static std::string appText(Loam::VtAppId app) { return Kor::enumeratorText(app, "VtAppId"); }
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

/// A driver and what carries its sessions.
struct Process {
    Driver driver;
    std::optional<Kor::Link::Listener> listener{};

    Process(Kor::Link::Loop& loop, Kor::Link::Address const& address, std::string const& file)
        : driver(file) {
        Kor::Link::ListenerConfig serving;
        serving.service = driver.service;
        serving.session = named("driver");
        listener.emplace(loop, address, serving);
    }
};

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

int main(int count, char** arguments) {
    if (count == 3) {
        try {
            Kor::Link::Loop loop;
            Process const process(loop, Kor::Link::Address::parse(arguments[1]), arguments[2]);
            loop.run();
            return 0;
        } catch (std::exception const& failure) { // such as a file that holds no places
            std::fprintf(stderr, "driver: %s\n", failure.what());
            return 1;
        }
    }
    char folder[] = "/tmp/driver-XXXXXX";
    if (::mkdtemp(folder) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    auto const address = Kor::Link::Address::parse(std::string(folder) + "/socket");
    std::string const kept = std::string(folder) + "/places";
    Kor::Link::Loop loop;

    // The driver's process.
    std::optional<Process> process;
    process.emplace(loop, address, kept);

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

    // The driver dies, and starts again: the LIF is where it was.
    auto const before = connector.session();
    process.reset();
    process.emplace(loop, address, kept);
    auto const isBack = [&] {
        auto const session = connector.session();
        return session && session != before && session->isEstablished();
    };
    ok = ok && loop.runUntil(isBack, std::chrono::seconds(60));
    ok = ok && isDone(loop, *connector.session());
    process->listener->close("the example ends");
    ::unlink(kept.c_str());
    ::rmdir(folder);
    return ok ? 0 : 1;
}
