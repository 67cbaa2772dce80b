#pragma once

/// The processes of a switch, for bench/SwitchBench.cpp: the owner of the LIFs and its standby, the
/// applications that ask for them, the chips that hold their rows, and relays between owner and chips. Each
/// is a process of its own, with the sockets of link/, and tells what it has done in a `Report` in memory
/// that all share.
///
///     Chip chip(world, 3);
///     chip.run();                       // until the process is killed
///
/// Applications push their requests to the owner. It gives each LIF a place, and tells it in the LifAppStatus
/// of that application, which the application wants, and the standby, and every chip. A chip writes a row for
/// each LIF.

#include "bench/Process.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"
#include "model/LoamTunnelModule.h"
#include "tables/TableInfos.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace bench {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;
using Kor::U32;
using Kor::U64;
using Kor::U8;

struct SwitchSize {
    U32 lifs = 131'072, applications = 10, chips = 8, cards = 0;
    /// LIFs that an application takes back, and asks for anew, in a change.
    U32 changed = 131;
    ChipType chip = jerichoChip8;

    U32 lifsOf(U32 application) const {
        return lifs / applications + (application < lifs % applications ? 1 : 0);
    }
};

enum class Order : U32 { wait, connect, change, restart, takeOver, report, verify };

/// What one process tells.
struct Report {
    /// The step that it has done last, and when the last thing of it happened, in nanoseconds.
    std::atomic<U64> doneFor, doneAt;
    /// Rows written; bytes sent, nanoseconds of processor time and bytes of memory as of the last order to
    /// report.
    std::atomic<U64> rows, bytes, processor, memory;
    std::atomic<bool> isWrong;
};

/// What all processes share.
struct World {
    static constexpr U32 most = 64;

    SwitchSize size;
    char folder[64];
    std::atomic<U64> step;
    std::atomic<Order> order;
    /// How many changes the applications were told to make.
    std::atomic<U32> round;
    /// The owner's, of all places, valid for the step.
    std::atomic<U64> digest, digestFor;
    Report reports[most];

    std::string socket(std::string const& of) const { return std::string(folder) + '/' + of; }
};

inline U64 now() {
    return static_cast<U64>(std::chrono::steady_clock::now().time_since_epoch().count());
}

/// Each application's LIFs are a window of a sequence of its own, which every change moves on.
inline AradLifEntry lifOf(World const& world, U32 application, U32 number) {
    AradLifAcMp lif(lifAcMp);
    lif.vsiIs(static_cast<Kor::U16>(number & 0xffff));
    lif.vlanEditVid1Is(static_cast<Kor::U16>(1 + (number >> 16) * world.size.applications + application));
    return lif;
}
inline Loam::VtAppId idOf(U32 application) {
    return static_cast<Loam::VtAppId>(application + 1);
}
inline Kor::Name pathOf(U32 application) {
    return Kor::Name("status/" + std::to_string(application));
}
inline U64 partOfDigest(AradLifEntry const& lif, U32 index) {
    return U64{lif.hash()} * (index + 1);
}

/// One process: its report, its loop, and the bytes of its sessions.
class Role {
public:
    Role(World& world, U32 number) : world_(world), mine_(world.reports[number]) {}
    virtual ~Role() = default;
    Role(Role const&) = delete;
    Role& operator=(Role const&) = delete;

    void run() {
        auto const tick = loop_.every(std::chrono::milliseconds(5), [this] { look(); });
        loop_.run();
    }

protected:
    /// A step begins.
    virtual void begin(Order order) = 0;
    /// Whether all is there that the step is to lead to.
    virtual bool isDone() = 0;
    virtual bool verify() { return true; }
    virtual U64 openBytes() const = 0;

    World& world() const { return world_; }
    Kor::Link::Loop& loop() { return loop_; }
    Report& mine() { return mine_; }
    void happened() { last_ = now(); }

    void prepare(Kor::Link::Peering& config, std::string const& name) {
        config.session.name = Kor::Name(name);
        config.session.schema = loamTunnelModule().checksum();
        config.hooks.closed = [this](Session& session, Kor::String8 const&) {
            closedBytes_ += session.stats().bytesOut;
        };
    }

private:
    void look() {
        U64 const step = world_.step.load();
        if (step != step_) {
            bool const isNew = std::exchange(step_, step) == 0;
            last_ = 0;
            isTold_ = false;
            order_ = world_.order.load();
            if (order_ == Order::restart && isNew) {
                order_ = Order::connect;
            }
            if (order_ == Order::report) {
                mine_.bytes = closedBytes_ + openBytes();
                mine_.processor = static_cast<U64>(processorTime().count());
                mine_.memory = privateMemory();
            } else if (order_ == Order::verify) {
                mine_.isWrong = !verify();
            } else {
                begin(order_);
            }
        }
        bool const isAnswered = order_ == Order::report || order_ == Order::verify;
        if (!isTold_ && (isAnswered || isDone())) {
            isTold_ = true;
            if (!isAnswered) {
                mine_.doneAt = last_;
            }
            mine_.doneFor = step_;
        }
    }
    /// Bytes that no other process shares.
    static U64 privateMemory() {
        std::ifstream file("/proc/self/status");
        for (std::string line; std::getline(file, line);) {
            if (unsigned long kilobytes = 0; std::sscanf(line.c_str(), "RssAnon: %lu", &kilobytes) == 1) {
                return U64{kilobytes} * 1024;
            }
        }
        return 0;
    }

    World& world_;
    Report& mine_;
    Kor::Link::Loop loop_;
    U64 step_ = 0;
    Order order_ = Order::wait;
    U64 last_ = 0;
    U64 closedBytes_ = 0;
    bool isTold_ = true;
};

/// A role that connects to a server, and has the statuses of some applications.
class Client : public Role {
public:
    Client(World& world, U32 number, std::string name, std::string server, std::vector<U32> applications)
        : Role(world, number), name_(std::move(name)), server_(std::move(server)),
          applications_(std::move(applications)) {
        for (U32 const each : applications_) {
            statuses_.push_back(lifAppStatusFactory(idOf(each)));
        }
    }

protected:
    void begin(Order order) override {
        if (order == Order::connect) {
            connect();
        }
        if (order == Order::takeOver && server_ == "owner") {
            complete_ = 0; // what comes now must be told by another one
        }
    }
    void connect() {
        Kor::Link::ConnectorConfig config;
        prepare(config, name_);
        config.firstWait = std::chrono::milliseconds(10);
        config.mostWait = std::chrono::milliseconds(100);
        config.setUp = [this](Session& session) {
            complete_ = 0;
            for (std::size_t i = 0; i < statuses_.size(); ++i) {
                session.want(pathOf(applications_[i]), statuses_[i],
                             [this](RootState state, Kor::Ptr<Kor::Entity> const&, Kor::String8 const&) {
                                 if (state == RootState::synchronized) {
                                     ++complete_;
                                     happened();
                                 }
                             });
            }
            connected(session);
        };
        connector_.emplace(loop(), Kor::Link::Address::parse(world().socket(server_)), config);
    }
    virtual void connected(Session&) {}
    void disconnect() { connector_.reset(); }

    bool isComplete() const { return complete_ == statuses_.size(); }
    std::vector<Kor::Ptr<LifAppStatus>> const& statuses() const { return statuses_; }
    U64 openBytes() const override {
        auto const session = connector_ ? connector_->session() : nullptr;
        return session ? session->stats().bytesOut : 0;
    }

private:
    std::string name_, server_;
    std::vector<U32> applications_;
    std::vector<Kor::Ptr<LifAppStatus>> statuses_;
    std::size_t complete_ = 0;
    std::optional<Kor::Link::Connector> connector_;
};

inline std::vector<U32> allApplications(World const& world) {
    std::vector<U32> all(world.size.applications);
    for (U32 i = 0; i < all.size(); ++i) {
        all[i] = i;
    }
    return all;
}

class Application final : public Client {
public:
    Application(World& world, U32 number, U32 application)
        : Client(world, number, "application" + std::to_string(application), "owner", {application}),
          application_(application), config_(lifAppConfigFactory(idOf(application))),
          answers_(Kor::makePtr<Answers>(*this)), first_(world.round * world.size.changed) {
        for (U32 i = 0; i < count(); ++i) {
            config_->reqCountIs(lif(i), 1);
        }
        answers_->notifierIs(statuses().front());
    }

private:
    class Answers final : public LifAppStatus::Notifiee {
    public:
        explicit Answers(Application& of) : of_(of) { isRegisteredNotifieeIs(true); }
        void onLifEntry(AradLifEntry const&) override { of_.happened(); }

    private:
        Application& of_;
    };

    U32 count() const { return world().size.lifsOf(application_); }
    AradLifEntry lif(U32 i) const { return lifOf(world(), application_, first_ + i); }

    void connected(Session& session) override { session.push(Kor::Name("lifConfig"), config_); }
    void begin(Order order) override {
        Client::begin(order);
        if (order == Order::change || order == Order::takeOver) {
            U32 const changed = std::min(world().size.changed, count());
            for (U32 i = 0; i < changed; ++i) {
                config_->reqCountDel(lif(i));
            }
            first_ += world().size.changed;
            for (U32 i = count() - changed; i < count(); ++i) {
                config_->reqCountIs(lif(i), 1);
            }
        }
    }
    bool isDone() override {
        auto const& status = *statuses().front();
        if (!isComplete() || status.lifEntryMap().count() != count()) {
            return false;
        }
        for (U32 i = count(); i-- > 0;) {
            if (!status.lifEntry(lif(i))) {
                return false;
            }
        }
        return true;
    }

    U32 application_;
    Kor::Ptr<LifAppConfig> config_;
    Kor::Ptr<Answers> answers_;
    U32 first_;
};

class Chip final : public Client {
public:
    Chip(World& world, U32 number, std::string server)
        : Client(world, number, "chip", std::move(server), allApplications(world)),
          words_(tableInfo("LifTable")->words), rows_(std::size_t{world.size.lifs} * words_),
          keys_(world.size.lifs) {
        for (auto const& status : statuses()) {
            places_.push_back(Kor::makePtr<Places>(*this));
            places_.back()->notifierIs(status);
        }
    }

private:
    class Places final : public LifAppStatus::Notifiee {
    public:
        explicit Places(Chip& of) : of_(of) { isRegisteredNotifieeIs(true); }
        void onLifEntry(AradLifEntry const& lif) override {
            if (auto const* const status = notifier()) {
                AradLifIndex const place = status->lifEntry(lif);
                of_.placed(lif, !!place ? std::optional<U32>(place.index()) : std::nullopt);
            }
        }

    private:
        Chip& of_;
    };
    struct Hash {
        std::size_t operator()(AradLifEntry const& lif) const { return lif.hash(); }
    };

    /// Two LIFs may be told in another order than they changed places.
    void placed(AradLifEntry const& lif, std::optional<U32> place) {
        if (auto const old = indexes_.find(lif); old != indexes_.end()) {
            digest_ -= partOfDigest(lif, old->second);
            if (old->second != place && keys_[old->second] == lif) {
                keys_[old->second] = AradLifEntry();
                write(old->second, nullptr);
            }
            indexes_.erase(old);
        }
        if (place) {
            indexes_.emplace(lif, *place);
            digest_ += partOfDigest(lif, *place);
            keys_[*place] = lif;
            write(*place, &lif);
        }
    }
    void write(U32 place, AradLifEntry const* lif) {
        U8* const row = reinterpret_cast<U8*>(&rows_[std::size_t{place} * words_]);
        std::fill_n(row, words_ * 4, U8{0});
        if (lif != nullptr) {
            AradLifAcMp(*lif).writeToChipFormat(world().size.chip, row);
        }
        mine().rows.fetch_add(1, std::memory_order_relaxed);
        happened();
    }

    bool isDone() override {
        return isComplete() && world().digestFor == world().step && digest_ == world().digest;
    }
    /// Each row is that of the LIF which has the place, and no other one is set.
    bool verify() override {
        std::vector<U32> expected(rows_.size());
        for (auto const& status : statuses()) {
            for (auto const& member : status->lifEntryMap()) {
                AradLifAcMp(member.fwkKey())
                    .writeToChipFormat(
                        world().size.chip,
                        reinterpret_cast<U8*>(&expected[std::size_t{member.value.index()} * words_]));
            }
        }
        return expected == rows_;
    }

    std::size_t words_;
    std::vector<U32> rows_;
    std::vector<AradLifEntry> keys_;
    std::unordered_map<AradLifEntry, U32, Hash> indexes_;
    std::vector<Kor::Ptr<Places>> places_;
    U64 digest_ = 0;
};

/// A client of the owner that offers the statuses itself, from when it serves.
class Server : public Client {
public:
    Server(World& world, U32 number, std::string const& name)
        : Client(world, number, name, "owner", allApplications(world)) {}

protected:
    void serve(std::string const& name) {
        for (U32 i = 0; i < statuses().size(); ++i) {
            service_->offer(pathOf(i), statuses()[i], Access::readOnly);
        }
        Kor::Link::ListenerConfig config;
        prepare(config, name);
        config.service = service_;
        listener_.emplace(loop(), Kor::Link::Address::parse(world().socket(name)), config);
    }
    Service& service() { return *service_; }
    U64 openBytes() const override {
        U64 bytes = Client::openBytes();
        for (Session const* const each : service_->sessions()) {
            bytes += each->stats().bytesOut;
        }
        return bytes;
    }

private:
    Kor::Ptr<Service> service_ = Kor::makePtr<Service>();
    std::optional<Kor::Link::Listener> listener_;
};

/// Has what the owner has, for chips that are behind it.
class Relay final : public Server {
public:
    Relay(World& world, U32 number, std::string const& name) : Server(world, number, name) { serve(name); }

private:
    bool isDone() override { return isComplete(); }
};

/// Gives each LIF a place. The standby is the same, and a client of the owner until it takes over.
class Owner final : public Server {
public:
    Owner(World& world, U32 number, bool isStandby)
        : Server(world, number, isStandby ? "standby" : "owner"), isStandby_(isStandby),
          applications_(world.size.applications) {
        if (!isStandby) {
            own();
        }
    }

private:
    class Requests final : public LifAppConfig::Notifiee {
    public:
        Requests(Owner& of, U32 application) : of_(of), application_(application) {
            isRegisteredNotifieeIs(true);
        }
        void onReqCount(AradLifEntry const& lif) override {
            if (auto const* const config = notifier()) {
                of_.requested(application_, lif, config->reqCount(lif) != 0);
            }
        }

    private:
        Owner& of_;
        U32 application_;
    };
    struct Asking {
        Kor::Ptr<LifAppConfig> config{};
        Kor::Ptr<Requests> requests{};
        Kor::Ptr<Out> stream{};
        /// Has places that another owner gave.
        bool isStale = false;
    };

    void own() {
        for (U32 i = world().size.lifs; i-- > 0;) {
            free_.push_back(i);
        }
        std::vector<bool> used(world().size.lifs);
        for (U32 i = 0; i < statuses().size(); ++i) {
            applications_[i].config = lifAppConfigFactory(idOf(i));
            applications_[i].requests = Kor::makePtr<Requests>(*this, i);
            applications_[i].requests->notifierIs(applications_[i].config);
            for (auto const& member : statuses()[i]->lifEntryMap()) {
                used[member.value.index()] = true;
                digest_ += partOfDigest(member.fwkKey(), member.value.index());
                applications_[i].isStale = true;
            }
        }
        std::erase_if(free_, [&](U32 index) { return used[index]; });
        service().acceptIs(Kor::Name("lifConfig"),
                           [this](Session& peer, Kor::Name const&, Kor::Ptr<Kor::Entity> const& made) {
                               auto const config = Kor::ptrCast<LifAppConfig>(made);
                               U32 const application = config ? config->app() - 1u : ~0u;
                               if (application >= applications_.size()) {
                                   return Kor::Ptr<Kor::Entity>();
                               }
                               applications_[application].stream = peer.out();
                               return Kor::Ptr<Kor::Entity>(applications_[application].config);
                           });
        serve("owner");
    }
    void requested(U32 application, AradLifEntry const& lif, bool isWanted) {
        auto& status = *statuses()[application];
        AradLifIndex const has = status.lifEntry(lif);
        if (isWanted == !!has) {
            return;
        }
        if (isWanted) {
            if (free_.empty()) {
                waiting_.emplace_back(application, lif);
                return;
            }
            digest_ += partOfDigest(lif, free_.back());
            status.lifEntryIs(lif, AradLifIndex(free_.back(), lifBankManaged));
            free_.pop_back();
            return;
        }
        digest_ -= partOfDigest(lif, has.index());
        free_.push_back(has.index());
        status.lifEntryDel(lif);
        while (!free_.empty() && !waiting_.empty()) {
            auto const [next, key] = waiting_.back();
            waiting_.pop_back();
            requested(next, key, applications_[next].config->reqCount(key) != 0);
        }
    }
    /// What was asked for while there was no owner has come: what is not asked for any more goes.
    void settle(U32 application) {
        auto& of = applications_[application];
        auto const adapter =
            of.stream ? Kor::ptrCast<Kor::StreamAdapter const>(of.config->korNboAttrLogSa(of.stream))
                      : nullptr;
        if (!of.isStale || !adapter || adapter->syncMode() != Kor::StreamAdapter::SyncMode::synchronized) {
            return;
        }
        of.isStale = false;
        std::vector<AradLifEntry> gone;
        for (auto const& member : statuses()[application]->lifEntryMap()) {
            if (of.config->reqCount(member.fwkKey()) == 0) {
                gone.push_back(member.fwkKey());
            }
        }
        for (auto const& lif : gone) {
            requested(application, lif, false);
        }
    }

    void begin(Order order) override {
        if (order == Order::connect && isStandby_) {
            connect();
        }
        if (order == Order::takeOver && isStandby_) {
            disconnect();
            isStandby_ = false;
            own();
        }
    }
    bool isDone() override {
        if (isStandby_) {
            return isComplete();
        }
        for (U32 i = 0; i < applications_.size(); ++i) {
            settle(i);
        }
        for (U32 i = 0; i < applications_.size(); ++i) {
            if (world().reports[i].doneFor != world().step) {
                return false;
            }
        }
        world().digest = digest_;
        world().digestFor = world().step.load();
        return true;
    }

    bool isStandby_;
    std::vector<Asking> applications_;
    std::vector<U32> free_;
    std::vector<std::pair<U32, AradLifEntry>> waiting_;
    U64 digest_ = 0;
};

} // namespace bench
