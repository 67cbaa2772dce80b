/// A whole switch, as processes with sockets between them: how long it takes until every process has the same
/// state and every chip each of its rows, when the switch starts, at a change, and when one of them fails.
///
///     SwitchBench                                 // 131,072 LIFs, 10 applications, 8 chips
///     SwitchBench --cards 4                       // the chips behind 4 relays
///     SwitchBench --lifs 16384 --chips 2 --json sizes.json
///
/// After each step every chip compares all its rows with those of the LIFs; a wrong row ends the program with
/// status 1. Rows go to memory: what the chip itself takes to store one comes on top.

#include "SwitchRoles.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace bench {
namespace {

struct Figures {
    std::string name;
    double applications = 0, chips = 0; // seconds until the last of them is done
    U64 rows = 0, bytes = 0;
    double processor = 0, ofOwner = 0; // seconds, of all processes and of the owner
};

class Switch {
public:
    explicit Switch(SwitchSize const& size) : world_(share()) {
        world_.size = size;
        std::snprintf(world_.folder, sizeof world_.folder, "/tmp/SwitchBench.XXXXXX");
        if (mkdtemp(world_.folder) == nullptr) {
            fail("cannot make a folder for the sockets");
        }
        owner_ = size.applications;
        chips_ = owner_ + 2;
        relays_ = chips_ + size.chips;
        end_ = relays_ + size.cards;
        children_.resize(end_);
        before_.resize(end_);
        // Whoever is connected to is there before the ones that connect.
        start(owner_);
        for (U32 i = relays_; i < end_; ++i) {
            start(i);
        }
        for (U32 i = 0; i < relays_; ++i) {
            if (i != owner_) {
                start(i);
            }
        }
    }
    Switch(Switch const&) = delete;
    Switch& operator=(Switch const&) = delete;
    ~Switch() {
        for (pid_t const child : children_) {
            if (child > 0) {
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
            }
        }
        if (std::system(("rm -rf " + std::string(world_.folder)).c_str()) != 0) {
            std::fprintf(stderr, "SwitchBench: %s stays\n", world_.folder);
        }
    }

    void run() {
        usleep(200'000); // all have begun, and have what they begin with
        std::string const part = std::to_string(world_.size.changed) + " LIFs each changed";
        step("cold start", Order::connect);
        ++world_.round;
        step(part, Order::change);
        restart("a chip restarted", chips_);
        restart("an application restarted", 0);
        failover("owner gone, and " + part);
        ++world_.round;
        step(part, Order::change);
    }
    std::vector<Figures> const& figures() const { return figures_; }
    /// Bytes at the end, of the largest process of a kind.
    std::map<std::string, U64> const& memory() const { return memory_; }

private:
    [[noreturn]] static void fail(std::string const& what) {
        std::fprintf(stderr, "SwitchBench: %s\n", what.c_str());
        std::exit(1);
    }
    static World& share() {
        void* const at =
            mmap(nullptr, sizeof(World), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (at == MAP_FAILED) {
            fail("no shared memory");
        }
        return *new (at) World();
    }
    std::string kind(U32 i) const {
        return i < owner_    ? "application"
               : i == owner_ ? "owner"
               : i < chips_  ? "standby"
               : i < relays_ ? "chip"
                             : "relay";
    }
    std::unique_ptr<Role> role(U32 i) {
        if (i < owner_) {
            return std::make_unique<Application>(world_, i, i);
        }
        if (i < chips_) {
            return std::make_unique<Owner>(world_, i, i != owner_);
        }
        auto const card = [](U32 number) { return "card" + std::to_string(number); };
        if (i < relays_) {
            U32 const cards = world_.size.cards;
            return std::make_unique<Chip>(world_, i, cards == 0 ? "owner" : card((i - chips_) % cards));
        }
        return std::make_unique<Relay>(world_, i, card(i - relays_));
    }
    void start(U32 i) {
        pid_t const child = fork();
        if (child < 0) {
            fail("cannot start a process");
        }
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL); // however this program ends
            try {
                role(i)->run();
            } catch (std::exception const& exception) {
                std::fprintf(stderr, "SwitchBench: %s: %s\n", kind(i).c_str(), exception.what());
            }
            std::_Exit(1);
        }
        children_[i] = child;
    }
    void end(U32 i) {
        kill(children_[i], SIGKILL);
        waitpid(children_[i], nullptr, 0);
        children_[i] = 0;
    }

    void step(std::string const& name, Order what) {
        measure(name, what, [] {});
    }
    /// The process has what it begins with, and nothing of the others.
    void restart(std::string const& name, U32 i) {
        measure(name, Order::restart, [&] {
            end(i);
            before_[i] = {};
            world_.reports[i].rows = 0;
            start(i);
        });
    }
    /// The owner is gone before the applications change anything.
    void failover(std::string const& name) {
        end(owner_);
        ++world_.round;
        measure(name, Order::takeOver, [] {});
    }

    template <class Act>
    void measure(std::string const& name, Order what, Act const& act) {
        U64 const start = now();
        order(what);
        act();
        await(name);
        order(Order::report);
        await(name);
        Figures figures{.name = name};
        memory_.clear();
        for (U32 i = 0; i < end_; ++i) {
            if (children_[i] == 0) {
                continue;
            }
            Report const& report = world_.reports[i];
            double const seconds = report.doneAt == 0 ? 0 : 1e-9 * static_cast<double>(report.doneAt - start);
            double& last = i < owner_ ? figures.applications : figures.chips;
            if (i < owner_ || (i >= chips_ && i < relays_)) {
                last = std::max(last, seconds);
            }
            double const processor = 1e-9 * static_cast<double>(report.processor - before_[i].processor);
            figures.processor += processor;
            if (i == owner_ || (i == owner_ + 1 && children_[owner_] == 0)) {
                figures.ofOwner += processor;
            }
            figures.rows += report.rows - before_[i].rows;
            figures.bytes += report.bytes - before_[i].bytes;
            U64& most = memory_[kind(i)];
            most = std::max<U64>(most, report.memory);
        }
        figures_.push_back(figures);
        order(Order::verify);
        await(name);
        order(Order::report);
        await(name);
        for (U32 i = 0; i < end_; ++i) {
            if (children_[i] != 0 && world_.reports[i].isWrong) {
                fail(name + ": chip " + std::to_string(i - chips_) + " has rows that are wrong");
            }
            before_[i] = {world_.reports[i].processor, world_.reports[i].rows, world_.reports[i].bytes};
        }
    }
    void order(Order what) {
        world_.order = what;
        ++world_.step;
    }
    void await(std::string const& name) {
        U64 const until = now() + 300'000'000'000;
        for (U32 i = 0; i < end_;) {
            if (children_[i] == 0 || world_.reports[i].doneFor == world_.step) {
                ++i;
                continue;
            }
            int status = 0;
            if (waitpid(children_[i], &status, WNOHANG) != 0) {
                children_[i] = 0;
                fail(name + ": a process of the kind " + kind(i) + " has ended");
            }
            if (now() > until) {
                fail(name + ": a process of the kind " + kind(i) + " does not come to what it should have");
            }
            usleep(1000);
        }
    }

    struct Before {
        U64 processor = 0, rows = 0, bytes = 0;
    };

    World& world_;
    U32 owner_, chips_, relays_, end_;
    std::vector<pid_t> children_;
    std::vector<Before> before_;
    std::vector<Figures> figures_;
    std::map<std::string, U64> memory_;
};

std::string jsonOf(SwitchSize const& size, Switch const& all) {
    nlohmann::ordered_json json{
        {"lifs", size.lifs},   {"applications", size.applications},        {"chips", size.chips},
        {"cards", size.cards}, {"steps", nlohmann::ordered_json::array()}, {"memory", all.memory()}};
    for (auto const& each : all.figures()) {
        json["steps"].push_back({{"name", each.name},
                                 {"applications", each.applications},
                                 {"chips", each.chips},
                                 {"rows", each.rows},
                                 {"bytes", each.bytes},
                                 {"processor", each.processor},
                                 {"owner", each.ofOwner}});
    }
    return json.dump(1);
}

} // namespace
} // namespace bench

int main(int argc, char** argv) {
    bench::SwitchSize size;
    std::string json;
    CLI::App options("A whole switch, as processes with sockets between them", "SwitchBench");
    auto const number = [&](char const* name, Kor::U32& value, Kor::U32 least, Kor::U32 most,
                            char const* what) { bench::addNumber(options, name, value, least, most, what); };
    number("--lifs", size.lifs, 1, 131'072, "LIFs of all applications");
    number("--applications", size.applications, 1, 12, "applications");
    number("--chips", size.chips, 1, bench::World::most, "chips");
    number("--cards", size.cards, 0, bench::World::most,
           "line cards, each with a relay that the chips are behind");
    number("--changed", size.changed, 0, 131'072, "LIFs that each application changes at a time");
    options.add_option("--chip", size.chip, "their type")->capture_default_str();
    options.add_option("--json", json, "writes the figures to this file, too");
    options.callback([&] {
        size.changed = std::min(size.changed, size.lifs / size.applications);
        if (size.lifs < size.applications || size.chips < size.cards) {
            throw CLI::ValidationError("each application has a LIF, and each card a chip");
        }
        if (size.applications + 2 + size.chips + size.cards > bench::World::most) {
            throw CLI::ValidationError("more than " + std::to_string(bench::World::most) +
                                       " processes: applications, chips, cards, and two owners");
        }
        if (!Hardware::tableInfo("LifTable")->has(size.chip, 1)) {
            throw CLI::ValidationError("--chip", "no LifTable on chips of type " + std::to_string(size.chip));
        }
    });
    if (auto const status = bench::read(options, argc, argv)) {
        return *status;
    }
    bench::Switch all(size);
    all.run();
    std::printf("%u LIFs, %u applications, %u chips of type %u", size.lifs, size.applications, size.chips,
                size.chip);
    std::printf(size.cards != 0 ? ", behind %u relays\n" : "\n", size.cards);
    std::printf("%-42s %14s %10s %10s %12s %12s %12s\n", "", "applications", "chips", "rows", "bytes sent",
                "processor", "the owner's");
    for (auto const& each : all.figures()) {
        std::printf("%-42s %12.3f s %8.3f s %10llu %12llu %10.3f s %10.3f s\n", each.name.c_str(),
                    each.applications, each.chips, static_cast<unsigned long long>(each.rows),
                    static_cast<unsigned long long>(each.bytes), each.processor, each.ofOwner);
    }
    for (auto const& [kind, bytes] : all.memory()) {
        std::printf("memory of %-12s %8.1f MiB\n", kind.c_str(), static_cast<double>(bytes) / (1 << 20));
    }
    if (!json.empty() && !(std::ofstream(json) << jsonOf(size, all) << std::flush)) {
        std::fprintf(stderr, "SwitchBench: cannot write %s: %s\n", json.c_str(), std::strerror(errno));
        return 1;
    }
    return 0;
}
