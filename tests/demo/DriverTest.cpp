#include "console/Live.h"
#include "demo/ChipImage.h"
#include "demo/Family.h"
#include "forms/Entries.h"
#include "link/Connector.h"
#include "tests/demo/OnDriver.h"
#include "tests/tools/Terminal.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <map>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace Hardware::LoamTunnel;
using Kor::U32;
using support::acLif;
using support::contentOf;
using support::ends;
using support::has;
using support::loamtunnel;
using support::Outcome;
using support::Table;
using Driver = support::OnDriver;
namespace fs = std::filesystem;

constexpr auto app = Hardware::Loam::vtAppMpls;

/// All that lies in a folder, with its bytes where they can be had.
std::map<std::string, std::string> filesOf(fs::path const& folder) {
    std::map<std::string, std::string> files;
    for (auto const& each : fs::directory_iterator(folder)) {
        bool const isPlain = each.is_regular_file() && !each.is_symlink();
        files[each.path().filename()] = isPlain ? contentOf(each.path()) : "";
    }
    return files;
}

void sql(std::string const& database, std::string const& statement) {
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &opened), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(opened, statement.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << statement << ": " << sqlite3_errmsg(opened);
    sqlite3_close(opened);
}

TEST_F(Driver, TheChipHoldsWhatApplicationsAskForWhoeverIsKilled) {
    std::string const files =
        LOAM_EXAMPLES "/lifs.txt," LOAM_EXAMPLES "/out-acs.txt," LOAM_EXAMPLES "/evecs.txt";
    for (std::string const chip : {"3", "7", "8"}) {
        Outcome const outcome = loamtunnel(
            {"demo", "--chip", chip, "--file", files, "--kill", "driver,application", "--format", "csv"});
        EXPECT_TRUE(ends(outcome, 0, "the two images are the same"));
        for (char const* const entry : {"AradLifAcMp vsi=", "OutAcKey fapMask=", "EvecEntry key="}) {
            EXPECT_TRUE(has(outcome.out, entry)) << entry;
        }
        EXPECT_GT(std::ranges::count(outcome.out, '\n'), 100);
    }
}

TEST_F(Driver, ADemoThatIsEndedOrKilledLeavesNothing) {
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
        fs::remove(file("demo.log"));
        auto demo = start({"demo", "--file", LOAM_EXAMPLES "/lifs.txt", "--folder", file("run")}, "demo.log");
        ASSERT_TRUE(says("demo.log", "applications run"));
        ASSERT_TRUE(eventually([&] { return fs::exists(file("run/run/driver.socket")); }));
        EXPECT_EQ(ended(demo, signal), 128 + signal);
        EXPECT_EQ(has(content("demo.log"), "ended by a signal"), signal != SIGKILL);
        for (char const* const each : {"run/run/driver.socket", "run/run/chip.img.lock"}) {
            EXPECT_TRUE(eventually([&] { return !fs::exists(file(each)); })) << each << ' ' << signal;
        }
        fs::remove_all(file("run"));
    }
}

TEST_F(Driver, WhatIsNotItsOwnIsLeftAsItIs) {
    std::string const image = file("work/chip.img");
    auto const text = [](std::string const& path) {
        return [path] {
            std::ofstream(path) << "a letter to somebody else, of more than seventy-two bytes, so that "
                                   "it could have a header";
        };
    };
    auto const link = [&](std::string const& path) {
        return [this, path] {
            std::ofstream(file("target"));
            fs::create_symlink(file("target"), path);
        };
    };
    auto const fifo = [](std::string const& path) {
        return [path] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); };
    };
    for (auto const& [what, prepare, message] : Table<char const*, std::function<void()>, char const*>{
             {"image, a file of another kind", text(image), "it is none"},
             {"image, a link", link(image), "symbolic link"},
             {"image, a FIFO", fifo(image), "no regular file"},
             {"new image", text(image + ".new"), "is in the way"},
             {"lock", text(image + ".lock"), "is in the way"},
             {"lock, a link", link(image + ".lock"), "symbolic link"},
             {"database, a file of another kind", text(image + ".db"), "no database of places"},
             {"database, a link", link(image + ".db"), "symbolic link"},
             {"database, a FIFO", fifo(image + ".db"), "no regular file"},
             {"database of somebody else",
              [&] { sql(image + ".db", "PRAGMA journal_mode=WAL; CREATE TABLE place(slot)"); },
              "no database of places"},
             {"log of the database, a link", link(image + ".db-wal"), "symbolic link"},
             {"database that others may write to",
              [&] {
                  std::ofstream(image + ".db").flush();
                  ::chmod((image + ".db").c_str(), 0666);
              },
              "every user may write to it"},
             {"log of no database", text(image + ".db-wal"), "is in the way: it is no log"},
             {"journal of no database", text(image + ".db-journal"), "is in the way: it is no log"},
             {"log of a database that is gone",
              [&] { std::ofstream(image + ".db-wal") << "\x37\x7f\x06\x82 and whatever was written"; },
              "is in the way: the database that it belongs to is gone"},
             {"journal of an older driver", text(image + ".journal"), "an older driver"},
         }) {
        fs::create_directory(file("work"));
        prepare();
        auto const before = filesOf(file("work"));
        Outcome const outcome = loamtunnel(words(image));
        EXPECT_TRUE(ends(outcome, 1, message)) << what;
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
        EXPECT_EQ(filesOf(file("work")), before) << what;
        EXPECT_EQ(content("target"), "");
        fs::remove_all(file("work"));
        fs::remove(file("target"));
    }
    fs::create_directory(file("work"));
    for (std::string const& name : {image + ".new", image + ".lock", image + ".db", std::string()}) {
        EXPECT_EQ(loamtunnel(words(name)).status, 2) << name;
        EXPECT_EQ(filesOf(file("work")).size(), 0u) << name;
    }
    for (std::vector<std::string> const& wrong :
         {std::vector<std::string>{"driver", "--socket", socket(), "--image", image},
          {"driver", "--socket", "tcp:x:y:z", "--chip", "8", "--image", image},
          {"driver", "--socket", socket(), "--chip", "6", "--image", image},
          {"driver", "--socket", file("no/where"), "--chip", "8", "--image", image}}) {
        EXPECT_NE(loamtunnel(wrong).status, 0);
        EXPECT_EQ(filesOf(file("work")).size(), 0u);
    }
}

TEST_F(Driver, ADatabaseThatCannotBeIsRefusedAndLeftAsItIs) {
    std::string const database = image_ + ".db";
    auto driver = serving(words());
    ask("AradLifAcMp vsi=1\nAradLifAcMp vsi=2\n");
    ASSERT_EQ(ended(driver, SIGTERM), 0);
    std::string const good = contentOf(database);
    for (auto const& [statement, message] : Table<char const*, char const*>{
             {"UPDATE place SET slot = slot + 1048576", "its indexes are"},
             {"UPDATE place SET slot = 0 WHERE entry LIKE '%1%' AND slot = (SELECT min(slot) FROM place)",
              "its indexes are"},
             {"UPDATE place SET slot = -slot", "no whole number"},
             {"UPDATE place SET slot = slot + (1 << 40)", "no whole number"},
             {"UPDATE place SET app = 99", "applications go up to 15"},
             {"UPDATE place SET app = 'mpls'", "no whole number"},
             {"UPDATE place SET entry = 'nonsense'", "row 1 of place"},
             {"UPDATE place SET entry = ''", "row 1 of place"},
             {"UPDATE place SET entry = (SELECT entry FROM place LIMIT 1)", "already"},
             {"DELETE FROM chip", "does not say of which chip"},
             {"UPDATE chip SET number = 4294967304", "no whole number"},
             {"UPDATE place SET family = 'lifs'", "no family"},
             {"UPDATE place SET family = 'evec', entry = 'Value(''Hardware::LoamTunnel::EvecEntry'', ** "
              "{})'",
              "its indexes are 0 to 1023"},
             {"PRAGMA user_version=3", "version 3"},
             {"PRAGMA application_id=1", "no database of places"},
             {"DROP TABLE place", "no such table"},
         }) {
        sql(database, statement);
        std::string const spoilt = contentOf(database);
        ASSERT_NE(spoilt, good);
        EXPECT_TRUE(ends(loamtunnel(words()), 1, message)) << statement;
        EXPECT_EQ(contentOf(database), spoilt) << statement;
        std::ofstream(database, std::ios::binary | std::ios::trunc) << good;
    }
    // A page of it damaged: whatever is found, it is said.
    for (std::size_t at = 100; at < good.size(); at += 509) {
        std::string spoilt = good;
        spoilt[at] = static_cast<char>(spoilt[at] ^ 0x55);
        std::ofstream(database, std::ios::binary | std::ios::trunc) << spoilt;
        auto damaged = serving(words());
        damaged.kill(SIGTERM);
        EXPECT_LE(damaged.join(), 1) << at << ": " << content("driver.log");
    }
    std::string const before = (std::ofstream(database, std::ios::binary | std::ios::trunc) << good, good);
    fs::remove(database + "-wal");
    EXPECT_TRUE(has(loamtunnel(words(image_, "3")).err, "it is of chip 8, not 3"));
    fs::remove(image_);
    EXPECT_TRUE(has(loamtunnel(words(image_, "3")).err, "has the places of chip 8, not of chip 3"));
    EXPECT_EQ(contentOf(database), before);
    EXPECT_FALSE(fs::exists(image_));
}

TEST_F(Driver, ADatabaseOfLifsAloneIsTakenUp) {
    auto driver = serving(words());
    ask("AradLifAcMp vsi=1\nAradLifAcMp vsi=2\n");
    ASSERT_EQ(ended(driver, SIGTERM), 0);
    std::string const before = contentOf(image_);
    sql(image_ + ".db",
        "CREATE TABLE older(slot INTEGER PRIMARY KEY, app INTEGER NOT NULL, lif TEXT NOT NULL);"
        "INSERT INTO older SELECT slot, app, entry FROM place; DROP TABLE place;"
        "ALTER TABLE older RENAME TO place; PRAGMA user_version=1");
    std::ofstream(image_, std::ios::in | std::ios::binary) << "LifImage"; // as that driver's began
    driver = serving(words());
    EXPECT_TRUE(has(content("driver.log"), "2 places taken up"));
    EXPECT_EQ(contentOf(image_), before);
    ask("AradLifAcMp vsi=1\nAradLifAcMp vsi=2\nAradLifAcMp vsi=3\n");
}

TEST_F(Driver, OutAcsAndVlanEditsArePlacedKeptAndRefusedWithWords) {
    auto driver = serving(words(image_, "7"));
    auto const row = [&](tool::ChipTable table, U32 number) {
        return tool::ChipImage(image_, Hardware::jerichoChip7, tool::ChipImage::readOnly).read(table, number);
    };
    auto const encoded = [](std::string const& entry) {
        return tool::encodeEntry(tool::parseEntry(entry), Hardware::jerichoChip7).words;
    };
    std::string const pair = "OutAcValue ac0.vid1=20 ac0.format=3 ac1.vid2=30";
    std::string const edits = "EvecValue evec0.nTagsToRemove=1 evec1.outerTpidIdx=2";
    EXPECT_EQ(asks("vtAppMpls", pair + '\n' + edits + '\n').err, "");
    // The part of the eighth of sixteen applications; the table begins with the first out-AC.
    U32 const at = 7 * 256 / 2;
    EXPECT_EQ(row(tool::outAcTable, at), encoded(pair));
    EXPECT_EQ(row(tool::evecTable, 0), encoded(edits));

    for (auto const& [what, options, message] : Table<std::string, std::vector<std::string>, char const*>{
             {"EvecValue evec0.nTagsToRemove=2\n", {}, "slot 0 belongs to vtAppMpls"},
             {edits + '\n', {"--fap", "3"}, "fapMask has to have 0"},
             {"OutAcValue ac0.vid1=1 ac0.format=4\n",
              {},
              "format: 4 is too large for the row of chip 7, at most 3"},
         }) {
        EXPECT_TRUE(ends(asks("vtAppVxlan", what, options), 1, message)) << what;
    }
    std::string many;
    for (int i = 1; i < 300; ++i) {
        many += "OutAcValue ac0.vid1=" + std::to_string(i) + " ac1.vid1=" + std::to_string(i) + '\n';
    }
    many += "OutAcValue ac0.vid1=300 ac1.vid1=301\n";
    EXPECT_TRUE(has(asks("vtAppEvpn", many).err, "its 256 indexes are all in use"));

    // What a slot holds is exchanged; the rest stays, also over a restart.
    ended(driver, SIGKILL);
    driver = serving(words(image_, "7"));
    EXPECT_EQ(row(tool::outAcTable, at), encoded(pair));
    std::string const others = "EvecValue evec0.nTagsToRemove=3 evec1.outerTpidIdx=2";
    EXPECT_EQ(asks("vtAppMpls", pair + '\n' + others + '\n').err, "");
    EXPECT_EQ(row(tool::evecTable, 0), encoded(others));
    EXPECT_EQ(asks("vtAppMpls", pair + "\nAradLifAcMp vsi=1\n" + others + '\n', {"--withdraw", "1"}).err, "");
    EXPECT_EQ(row(tool::evecTable, 0), encoded("EvecValue evec0.nTagsToRemove=3"));
    EXPECT_EQ(row(tool::outAcTable, at), encoded(pair));
}

TEST_F(Driver, AChipHasOneDriver) {
    auto driver = serving(words());
    ask("AradLifAcMp vsi=1\nAradLifAcMp vsi=2\n");
    auto const before = contentOf(image_);

    EXPECT_TRUE(has(loamtunnel(words()).err, "another driver has the chip"));
    EXPECT_TRUE(has(loamtunnel(words(image_, "8", "other")).err, "another driver has the chip"));
    EXPECT_FALSE(fs::exists(file("other")));
    fs::create_hard_link(image_ + ".db", file("twin.img.db"));
    EXPECT_TRUE(has(loamtunnel(words(file("twin.img"), "8", "other")).err, "another process has"));
    EXPECT_TRUE(has(loamtunnel(words(file("second.img"))).err, "a server is listening there already"));
    EXPECT_FALSE(fs::exists(file("second.img")));
    EXPECT_FALSE(fs::exists(file("second.img.db")));

    EXPECT_EQ(contentOf(image_), before);
    ask("AradLifAcMp vsi=3\n");
    EXPECT_EQ(ended(driver, SIGTERM), 0);
    EXPECT_FALSE(fs::exists(image_ + ".lock"));
    EXPECT_FALSE(fs::exists(socket()));
}

TEST_F(Driver, FilesAreTheOwnersAloneWhateverTheUmask) {
    auto const under = [&](std::string const& umask) {
        std::string command = "umask " + umask + "; exec " LOAM_PROGRAM;
        for (std::string const& word : words()) {
            command += ' ' + word;
        }
        std::ofstream(file("driver.log")).close();
        return tool::Child({"/bin/sh", "-c", command}, file("driver.log"));
    };
    EXPECT_EQ(under("0777").join(), 1);
    EXPECT_TRUE(has(content("driver.log"), "the umask takes away"));
    EXPECT_FALSE(fs::exists(file("chip.img.db")));
    tool::Child driver = under("0000");
    ASSERT_TRUE(eventually([&] { return isServing() || driver.status().has_value(); }));
    ask("AradLifAcMp vsi=1\n");
    for (char const* const end : {"", ".db", ".db-wal", ".lock"}) {
        EXPECT_EQ(support::modeOf(image_ + end), 0600u) << end;
    }
}

TEST_F(Driver, WhatIsAskedForInVainCostsLittleAndIsForgotten) {
    auto driver = serving(words());
    std::string reason;
    {
        Kor::Link::Loop loop;
        auto const config = lifAppConfigFactory(app);
        Kor::Link::ConnectorConfig how = tool::connectOnce("greedy");
        how.setUp = [&](Kor::NboAttrLog::Session& session) { session.push("lifConfig", config); };
        for (U32 i = 0; i < 30'000; ++i) {
            config->reqCountInc(acLif(i), 1); // more than an application has indexes
        }
        Kor::Link::Connector const connector(loop, Kor::Link::Address::parse(socket()), how);
        EXPECT_TRUE(loop.runUntil([&] { return connector.isOver(); }, 60s));
        reason = connector.lastReason().view();
    }
    EXPECT_TRUE(has(reason, "more than 10000 requests can have no place"));
    EXPECT_LT(content("driver.log").size(), 100'000u);
    tool::Live live({socket(), 20'000ms}, "test");
    live.at("lifConfig");
    auto const configs = Kor::ptrCast<LifAppConfigDir>(live.session().root("lifConfig"));
    auto const kept = std::as_const(*configs).appConfig(app);
    ASSERT_TRUE(kept);
    EXPECT_LT(kept->reqCountMap().count(), 15'000u);
    auto const counted = [&](std::string const& name) {
        return std::stoul(
            "0" +
            on("stats", {"--counter", name, "--format", "csv", "--no-headings"}).out.substr(name.size() + 2));
    };
    EXPECT_GT(counted("requestsRefused"), 10'000u);
    EXPECT_EQ(counted("connectionsRefused"), 0u); // a counter, too
    EXPECT_EQ(ended(driver, SIGTERM), 0);
}

// Each process of the program says when it is done: those that ask, and those that only look.
TEST_F(Driver, AllAreDoneWhoeverIsConnected) {
    auto driver = serving(words());
    std::ofstream(file("entries")) << lifs(10'000);
    auto application = start(asking(file("entries"), {"--pace", "10"}), "application.log");
    Outcome const wait = on("wait", {"lifStatus.appStatus[vtAppMpls].lifEntry[AradLifAcMp vsi=3]"});
    ASSERT_EQ(wait.status, 0) << wait.err;
    auto monitor = start({"monitor", "--socket", socket()}, "monitor.log");
    support::Terminal shell({"shell", "--socket", socket()});
    ASSERT_TRUE(shell.shows("loamtunnel> "));
    shell.type("get lifConfig.appConfig[vtAppMpls].app\n");
    ASSERT_TRUE(shell.shows("vtAppMpls\r\n")) << shell.all();
    ASSERT_TRUE(says("monitor.log", "lifStatus"));
    Outcome const sync = on("sync", {"--wait", "done", "--all", "--format", "csv", "--no-headings"});
    EXPECT_EQ(sync.status, 0) << sync.err;
    EXPECT_EQ(sync.out, "done,4,0,\n"); // the driver is one of them
    EXPECT_FALSE(application.status().has_value()) << content("application.log");
    // A key that is none.
    Outcome const nothing = on("explain", {""});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(nothing.err, "loamtunnel: no type '': the name is empty; give one, such as AradLifAcMp\n");
}

TEST_F(Driver, AnApplicationEndsWithAWordWhateverIsWrong) {
    for (auto const& [root, message] :
         Table<std::string, char const*>{{"lifStatus=LifAppConfigDir", "it is no driver"},
                                         {"lifStatus=LifAppStatusDir", "requests are not accepted"}}) {
        auto server = InFolder::serving({"serve", "--socket", socket(), root});
        EXPECT_TRUE(ends(asks("vtAppMpls", lifs(1)), 1, message));
        ended(server, SIGTERM);
    }
    // A driver that goes while it is asked, and does not come back.
    std::ofstream(file("entries")) << lifs(2'000);
    auto driver = serving(words());
    auto application =
        start(asking(file("entries"), {"--timeout", "1500", "--pace", "1"}), "application.log");
    EXPECT_EQ(on("wait", {"lifStatus.appStatus[vtAppMpls].lifEntry[AradLifAcMp vsi=3]"}).status, 0);
    ended(driver, SIGKILL);
    EXPECT_EQ(application.join(), 6) << content("application.log");
    EXPECT_TRUE(has(content("application.log"), "not done within"));
}

TEST_F(Driver, AnApplicationWaitsForNobodyWhoReadsItsMessages) {
    std::string const full = file("full");
    ASSERT_EQ(::mkfifo(full.c_str(), 0600), 0);
    int const fifo = ::open(full.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    std::string const page(4096, 'x');
    while (::write(fifo, page.data(), page.size()) > 0) {
    }
    std::ofstream(file("entries")) << lifs(1);
    for (char const* const timeout : {"500", "60000"}) { // nobody serves
        auto application = start(asking(file("entries"), {"--timeout", timeout}), "full");
        if (timeout[0] == '6') {
            ASSERT_TRUE(eventually([&] { return support::hears(application.id(), SIGTERM); }));
            application.kill(SIGTERM);
        }
        EXPECT_TRUE(eventually([&] { return application.status().has_value(); })) << timeout;
        EXPECT_EQ(application.status(), timeout[0] == '5' ? 6 : 128 + SIGTERM) << timeout;
    }
    ::close(fifo);
}

} // namespace
