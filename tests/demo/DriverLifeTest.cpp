/// A driver that is killed, ended, started twice, kept from writing, and whose files are moved, while
/// applications ask and are killed themselves: what it has acknowledged is there after each start.
///
/// LOAM_DRIVER_ROUNDS is how many starts there are, LOAM_SEED where their choices begin. Each ten rounds are
/// a life with files and a seed of its own, which a failure tells; with ten rounds and that seed it is lived
/// again. What the processes do meanwhile is theirs, so a fault may take a few tries.

#include "console/Live.h"
#include "demo/ChipImage.h"
#include "demo/Family.h"
#include "link/Connector.h"
#include "tests/demo/OnDriver.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace Hardware::LoamTunnel;
using Hardware::Loam::VtAppId;
using Kor::U32;
using support::acLif;
using support::has;
namespace fs = std::filesystem;

constexpr U32 lifCount = 40; // that an application asks for now and then

/// What an application knows of one of its LIFs.
struct Fact {
    bool isWanted = false;
    /// The driver has answered a fence since it was asked for, or taken back.
    bool isDone = false;
    AradLifIndex told{};

    bool isSettled() const { return isDone || isWanted == !!told; }
    bool operator==(Fact const& other) const = default;
};
using Facts = std::vector<Fact>;

/// Asks a driver for LIFs, and keeps what it was told while the driver is away.
class Asker {
public:
    Asker(std::string const& socket, VtAppId app, U32 count = lifCount)
        : app_(app), isDone_(count, true), config_(lifAppConfigFactory(app)),
          statuses_(lifAppStatusDirFactory("lifStatus")),
          connector_(loop_, Kor::Link::Address::parse(socket), how()) {}

    /// What it had before is asked for, and the driver has said that this is so.
    bool isReady() const { return isReady_; }
    Fact fact(U32 number) const {
        auto const status = std::as_const(*statuses_).appStatus(app_);
        return {config_->reqCount(acLif(number)) != 0, isDone_[number],
                status ? status->lifEntry(acLif(number)) : AradLifIndex()};
    }
    Facts facts() const {
        Facts all;
        for (U32 i = 0; i < isDone_.size(); ++i) {
            all.push_back(fact(i));
        }
        return all;
    }
    void toggle(U32 number) {
        if (config_->reqCount(acLif(number)) != 0) {
            config_->reqCountDel(acLif(number));
        } else {
            config_->reqCountInc(acLif(number), 1);
        }
        isDone_[number] = false;
        ++changes_;
    }
    /// Up to so many of those that it has an answer for.
    void toggleSome(unsigned most, std::mt19937& generator) {
        for (; most > 0 && isReady(); --most) {
            auto const number = static_cast<U32>(generator() % isDone_.size());
            if (fact(number).isSettled()) {
                toggle(number);
            }
        }
    }
    /// Where the driver is connected, and has been told of all that is asked for.
    void fence() {
        if (!connector_.isEstablished() || connector_.session() != pushedTo_) {
            return;
        }
        connector_.session()->fence(Kor::NboAttrLog::FenceLevel::done,
                                    [this, changes = changes_](Kor::NboAttrLog::FenceResult const& result) {
                                        if (result.isReached(Kor::NboAttrLog::FenceLevel::done) &&
                                            changes == changes_) {
                                            isDone_.assign(isDone_.size(), true);
                                        }
                                    });
    }
    void runFor(std::chrono::microseconds time) { loop_.runFor(time); }
    bool runUntil(std::function<bool()> const& condition) { return loop_.runUntil(condition, 20s); }

private:
    Kor::Link::ConnectorConfig how() {
        using namespace Kor::NboAttrLog;
        Kor::Link::ConnectorConfig config;
        config.session = tool::sessionConfig("asker");
        config.firstWait = 1ms;
        config.mostWait = 20ms;
        config.setUp = [this](Session& session) {
            session.want(
                "lifStatus", statuses_,
                [this, &session](RootState state, Kor::Ptr<Kor::Entity> const&, Kor::String8 const&) {
                    if (state == RootState::synchronized) {
                        statusIsThere(session);
                    }
                });
        };
        return config;
    }
    void statusIsThere(Kor::NboAttrLog::Session& session) {
        using namespace Kor::NboAttrLog;
        if (!isReady_) {
            for (U32 i = 0; i < isDone_.size(); ++i) {
                config_->reqCountIs(acLif(i), !!fact(i).told ? 1 : 0);
            }
        }
        session.push("lifConfig", config_, Access::writable, {}, PushPlace::takesOver);
        pushedTo_ = Kor::Ptr<Session>(&session);
        if (!isReady_) {
            session.fence(FenceLevel::done, [this](FenceResult const& result) {
                isReady_ = isReady_ || result.isReached(FenceLevel::done);
            });
        }
    }

    VtAppId app_;
    bool isReady_ = false;
    std::vector<bool> isDone_;
    unsigned changes_ = 0;
    Kor::Ptr<Kor::NboAttrLog::Session> pushedTo_;
    Kor::Link::Loop loop_;
    Kor::Ptr<LifAppConfig> config_;
    Kor::Ptr<LifAppStatusDir> statuses_;
    Kor::Link::Connector connector_; // whose end may call hooks
};

/// An application in a process of its own, which writes down what it knows before it asks for more.
class Application {
public:
    Application(std::string socket, VtAppId app) : socket_(std::move(socket)), app_(app), facts_(lifCount) {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        reader_ = tool::File(ends[0]);
        writer_ = tool::File(ends[1]);
        EXPECT_EQ(::fcntl(reader_.fd(), F_SETFL, O_NONBLOCK), 0);
    }

    void start(unsigned seed) {
        process_.emplace([&] { return ask(seed); });
    }
    void kill() {
        process_.reset();
        for (Line line{}; ::read(reader_.fd(), &line, sizeof line) == sizeof line;) {
            facts_[line.number] = line.fact;
        }
    }
    VtAppId app() const { return app_; }
    Facts const& facts() const { return facts_; }
    /// What a driver has that has just started is what the next process takes up.
    void factsAre(Facts facts) { facts_ = std::move(facts); }

private:
    struct Line {
        U32 number;
        Fact fact;
    };

    int ask(unsigned seed) const {
        std::mt19937 generator(seed);
        Asker asker(socket_, app_);
        asker.runUntil([&] { return asker.isReady(); });
        Facts before(lifCount, Fact{true, true, {}}); // which none is
        for (;;) {
            Facts const now = asker.facts();
            for (U32 i = 0; i < lifCount; ++i) {
                Line const line{i, now[i]};
                if (now[i] != before[i] && ::write(writer_.fd(), &line, sizeof line) != sizeof line) {
                    return 1;
                }
            }
            before = now;
            asker.runFor(std::chrono::microseconds(generator() % 3'000));
            asker.toggleSome(generator() % 8, generator);
            if (generator() % 4 == 0) {
                asker.fence();
            }
        }
    }

    std::string socket_;
    VtAppId app_;
    Facts facts_;
    tool::File reader_, writer_;
    std::optional<support::Forked> process_;
};

/// A small disk of its own, where the system lets us have one.
class SmallDisk {
public:
    explicit SmallDisk(std::string path) : path_(std::move(path)) {
        fs::create_directories(path_);
        // Two images of chip 8 and some more.
        isThere_ = ::mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=9000k") == 0;
    }
    ~SmallDisk() {
        if (isThere_) {
            ::umount2(path_.c_str(), MNT_DETACH);
        }
    }
    SmallDisk(SmallDisk const&) = delete;
    SmallDisk& operator=(SmallDisk const&) = delete;
    explicit operator bool() const { return isThere_; }

    void fill() {
        std::ofstream out(path_ + "/filler", std::ios::binary | std::ios::app);
        std::string const page(4096, 'x');
        while (out.write(page.data(), 4096) && out.flush()) {
        }
    }
    void makeRoom() { fs::remove(path_ + "/filler"); }

private:
    std::string path_;
    bool isThere_ = false;
};

class DriverLife : public support::OnDriver {
protected:
    DriverLife() : OnDriver("life/chip.img") {}
    static unsigned number(char const* variable, unsigned otherwise) {
        char const* const text = std::getenv(variable);
        return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
    }
    /// One folder, from its first driver to its last.
    void live(unsigned seed, unsigned rounds, bool isOnSmallDisk) {
        generator_.seed(seed);
        fs::create_directories(file("life"));
        std::optional<SmallDisk> disk;
        if (isOnSmallDisk) {
            disk.emplace(file("life"));
        }
        disk_ = disk ? &*disk : nullptr;
        asker_ = std::make_unique<Asker>(socket(), VtAppId::vtAppMpls);
        for (VtAppId const app : {VtAppId::vtAppPseudowire, VtAppId::vtAppBridging}) {
            applications_.push_back(std::make_unique<Application>(socket(), app));
        }
        for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
            startDriver();
            compareAll();
            work();
            end();
            offline();
        }
        if (HasFailure()) {
            return;
        }
        SCOPED_TRACE("seed " + std::to_string(seed) + ", its end");
        makeRoom();
        startDriver();
        makeRoom();
        // Whatever was in the way, at last each has what it wants.
        EXPECT_TRUE(asker_->runUntil([&] {
            return asker_->isReady() && std::ranges::all_of(asker_->facts(), [](Fact const& each) {
                       return each.isWanted == !!each.told;
                   });
        }));
        compareAll();
        driver_.reset();
        asker_.reset();
        applications_.clear();
        disk.reset();
        fs::remove_all(file("life"));
        fs::remove(socket());
    }

    unsigned random(unsigned below) { return static_cast<unsigned>(generator_() % below); }
    bool chance(unsigned of) { return random(of) == 0; }
    unsigned& count(std::string const& what) { return counts_[what]; }

    /// A file can be no larger than that.
    void limit(rlim_t bytes) {
        rlimit const limits{bytes, RLIM_INFINITY};
        if (driver_ && !driver_->status()) {
            EXPECT_EQ(::prlimit(driver_->id(), RLIMIT_FSIZE, &limits, nullptr), 0) << std::strerror(errno);
        }
    }
    void fill() {
        if (disk_ != nullptr) {
            disk_->fill();
            ++count("full disks");
        } else {
            limit(rlim_t{random(64)} * 1024);
            ++count("limits of a file's size");
        }
    }
    void makeRoom() {
        if (disk_ != nullptr) {
            disk_->makeRoom();
        } else {
            limit(RLIM_INFINITY);
        }
    }
    void startDriver() {
        ++count("starts");
        if (disk_ == nullptr && chance(10)) {
            startTwo();
            return;
        }
        driver_.emplace(serving(words()));
        if (disk_ != nullptr && !isServing()) { // there is no room for an image
            ++count("starts without room");
            EXPECT_EQ(driver_->join(), 1);
            std::string const log = content("driver.log");
            EXPECT_TRUE(log.find("o space left") != log.npos || log.find("no room on its disk") != log.npos)
                << log;
            disk_->makeRoom();
            driver_.emplace(serving(words()));
        }
        EXPECT_TRUE(isServing()) << content("driver.log");
    }
    /// At once: one of them has the chip, and the other one says so.
    void startTwo() {
        ++count("races of two starts");
        fs::remove(file("first.log"));
        fs::remove(file("second.log"));
        auto first = start(words(), "first.log");
        auto second = start(words(), "second.log");
        EXPECT_TRUE(eventually([&] { return first.status() || second.status(); }));
        bool const isFirst = !first.status();
        driver_.emplace(std::move(isFirst ? first : second));
        EXPECT_EQ((isFirst ? second : first).join(), 1);
        std::string const log = content(isFirst ? "second.log" : "first.log");
        EXPECT_TRUE(has(log, "another driver has the chip"));
        EXPECT_TRUE(eventually([&] { return isServing(isFirst ? "first.log" : "second.log"); }));
    }
    /// While the other one has the chip, or the socket.
    void startSecond() {
        fs::remove(file("second.log"));
        auto second = start(chance(2) ? words(image_, "8", "other") : words(file("other.img")), "second.log");
        EXPECT_TRUE(eventually([&] { return second.status().has_value(); })) << content("second.log");
        EXPECT_EQ(second.status(), 1);
        EXPECT_FALSE(driver_->status()) << "it has ended by itself: " << content("driver.log");
    }
    /// The places of an application, where the image of the chip agrees with each; adds the indexes to those
    /// in use.
    Facts placesOf(LifAppStatusDir const& all, VtAppId app, std::set<U32>& used) {
        auto const status = all.appStatus(app);
        tool::ChipImage const chip(image_, Hardware::jerichoChip8, tool::ChipImage::readOnly);
        tool::Lifs const family(Hardware::jerichoChip8, 0);
        Facts facts(lifCount);
        for (U32 i = 0; i < lifCount; ++i) {
            AradLifIndex const at = status ? status->lifEntry(acLif(i)) : AradLifIndex();
            facts[i] = {!!at, true, at};
            if (!!at) {
                EXPECT_TRUE(used.insert(at.index()).second) << "LIF " << i;
                EXPECT_EQ(chip.read(tool::lifTable, family.at(at.index()).row),
                          tool::rowOfLif(acLif(i), Hardware::jerichoChip8));
            }
        }
        return facts;
    }
    void compare(VtAppId app, Facts const& known, Facts const& there) {
        for (U32 i = 0; i < lifCount; ++i) {
            if (known[i].isSettled()) {
                EXPECT_EQ(!!there[i].told, known[i].isWanted) << "application " << app << ", LIF " << i;
                if (!!there[i].told && !!known[i].told) {
                    EXPECT_EQ(there[i].told, known[i].told) << "application " << app << ", LIF " << i;
                }
                ++count("acknowledged states compared");
            } else { // it was on its way
                ++count("requests without an answer");
            }
        }
    }
    void compareAll() {
        tool::Live live({socket(), 20'000ms}, "test");
        live.at("lifStatus");
        auto const all = Kor::ptrCast<LifAppStatusDir>(live.session().root("lifStatus"));
        std::set<U32> used;
        compare(VtAppId::vtAppMpls, asker_->facts(), placesOf(*all, VtAppId::vtAppMpls, used));
        for (auto const& each : applications_) {
            Facts const there = placesOf(*all, each->app(), used);
            compare(each->app(), each->facts(), there);
            each->factsAre(there);
        }
        tool::ChipImage const chip(image_, Hardware::jerichoChip8, tool::ChipImage::readOnly);
        EXPECT_EQ(chip.usedRows(), used.size());
    }
    /// All ask, while what is in their way comes and goes.
    void work() {
        for (auto const& each : applications_) {
            each->start(static_cast<unsigned>(generator_()));
        }
        if (chance(2)) {
            makeRoom();
        }
        unsigned const steps = 10 + random(30);
        unsigned const fillsAt = chance(3) ? random(steps) : steps;
        unsigned const emptiesAt = random(2 * steps);
        unsigned const secondAt = chance(6) ? random(steps) : steps;
        for (unsigned i = 0; i < steps; ++i) {
            if (i == fillsAt) {
                fill();
            }
            if (i == emptiesAt) {
                makeRoom();
            }
            if (i == secondAt) {
                ++count("second starts");
                startSecond();
            }
            if (chance(15)) {
                auto const& victim = applications_[random(2)];
                victim->kill();
                victim->start(static_cast<unsigned>(generator_()));
                ++count("applications killed while the driver runs");
            }
            asker_->toggleSome(random(8), generator_);
            if (chance(4)) {
                asker_->fence();
            }
            asker_->runFor(std::chrono::microseconds(random(3'000)));
        }
    }
    void end() {
        EXPECT_FALSE(driver_->status()) << "it has ended by itself: " << content("driver.log");
        bool const isKilled = !chance(4);
        ++count(isKilled ? "drivers killed" : "drivers ended by SIGTERM");
        if (chance(2)) {
            std::ranges::for_each(applications_, [](auto const& each) { each->kill(); });
        }
        driver_->kill(isKilled ? SIGKILL : SIGTERM);
        EXPECT_EQ(driver_->join(), isKilled ? 128 + SIGKILL : 0) << content("driver.log");
        std::ranges::for_each(applications_, [](auto const& each) { each->kill(); });
    }
    /// What happens to the files of a driver that does not run.
    void offline() {
        if (chance(6)) {
            ++count("starts with the wrong chip");
            EXPECT_EQ(support::loamtunnel(words(image_, "3")).status, 1);
        }
        if (chance(6)) {
            move();
        }
        if (chance(10)) { // which the database makes anew, if there is room
            ++count("images removed");
            fs::remove(image_);
            if (disk_ != nullptr) {
                disk_->fill();
            }
        }
    }
    /// To where copies of the database are, without the image.
    void move() {
        std::string const copy = file("life/copy.img");
        std::error_code full;
        for (char const* const end : {".db", ".db-wal"}) {
            fs::remove(copy + end);
            if (fs::exists(image_ + end) && !full) {
                fs::copy_file(image_ + end, copy + end, full);
            }
        }
        if (full) {
            return;
        }
        ++count("copied databases");
        for (char const* const end : {"", ".db", ".db-wal", ".lock", ".new"}) {
            fs::remove(image_ + end);
        }
        for (char const* const end : {".db", ".db-wal"}) {
            if (fs::exists(copy + end)) {
                fs::rename(copy + end, image_ + end);
            }
        }
    }

    std::mt19937 generator_;
    std::map<std::string, unsigned> counts_;
    SmallDisk* disk_ = nullptr;
    std::optional<tool::Child> driver_;
    std::unique_ptr<Asker> asker_;
    std::vector<std::unique_ptr<Application>> applications_;
};

TEST_F(DriverLife, WhatIsAcknowledgedIsThereAfterAnyEnd) {
    unsigned const seed = number("LOAM_SEED", 1);
    unsigned const rounds = number("LOAM_DRIVER_ROUNDS", 20);
    fs::create_directories(file("probe"));
    bool const hasDisks = !!SmallDisk(file("probe"));
    if (!hasDisks) {
        std::cout << "no disk of its own, so none that is full: " << std::strerror(errno) << '\n';
    }
    std::cout << "seeds from " << seed << std::endl;
    for (unsigned done = 0; done < rounds && !HasFailure(); done += 10) {
        unsigned const each = seed + done / 10;
        live(each, std::min(10u, rounds - done), hasDisks && each % 2 == 0);
    }
    for (auto const& [what, times] : counts_) {
        std::cout << times << ' ' << what << '\n';
    }
}

TEST_F(DriverLife, AFullDiskIsSaidOnceAndWhatWasAskedMeanwhileIsDoneAfterwards) {
    SmallDisk disk(file("disk"));
    if (!disk) {
        GTEST_SKIP() << "this user may not mount a small disk";
    }
    auto driver = serving(words(file("disk/chip.img")));
    U32 const many = 400; // more than what is left of a page or two
    Asker asker(socket(), VtAppId::vtAppMpls, many);
    ASSERT_TRUE(asker.runUntil([&] { return asker.isReady(); }));
    auto const told = [&] {
        return std::ranges::count_if(asker.facts(), [](Fact const& each) { return !!each.told; });
    };
    disk.fill();
    for (U32 i = 0; i < many; ++i) {
        asker.toggle(i);
        asker.runFor(1ms);
    }
    EXPECT_TRUE(eventually([&] {
        asker.runFor(1ms);
        return content("driver.log").find("there is no room on its disk") != std::string::npos;
    })) << content("driver.log");
    asker.runFor(300ms);
    EXPECT_EQ(std::ranges::count(content("driver.log"), '\n'), 2) << content("driver.log");
    EXPECT_LT(told(), many);
    Facts const now = asker.facts();
    auto const waiting = std::ranges::find_if(now, [](Fact const& each) { return !each.told; });
    auto const number = std::to_string(waiting - now.begin());
    support::Outcome const why = on("explain", {"AradLifAcMp vsi=" + number});
    EXPECT_EQ(why.status, 4) << why.err;
    EXPECT_TRUE(has(why.out, "missing: it waits: cannot write"));
    EXPECT_EQ(on("audit", {}).status, 0);
    EXPECT_EQ(on("audit", {"--image", file("disk/chip.img")}).status, 0);
    disk.makeRoom();
    EXPECT_TRUE(asker.runUntil([&] { return told() == many; }));
    EXPECT_TRUE(has(content("driver.log"), "nothing waits any more"));
}

} // namespace
