/// Peers that speak protocol 2 alone, as a program of that time sent its bytes; they were written down when
/// it talked to today's. Here today's library is fed with them again.

#include "forms/Recording.h"
#include "support/Sessions.h"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::acLif;

/// What this side sends is for nobody. How many bytes that were.
std::size_t drain(Session& session) {
    std::size_t all = 0;
    session.flow();
    for (auto bytes = session.out()->readable(); !bytes.empty(); bytes = session.out()->readable()) {
        all += bytes.size();
        session.out()->nextBytes(bytes.size());
        session.flow();
    }
    return all;
}

/// Fences fail at once, and nothing of them is sent.
void expectNoFences(Session& session, std::string const& name) {
    std::vector<std::string> whys;
    drain(session);
    for (FenceLevel const level : {FenceLevel::applied, FenceLevel::done}) {
        session.fence(level, [&](FenceResult const& result) {
            EXPECT_EQ(result.outcome, FenceOutcome::failed);
            whys.emplace_back(result.why.view());
        });
    }
    EXPECT_EQ(whys, std::vector<std::string>(2, name + " speaks protocol 2, which has no fences"));
    EXPECT_EQ(drain(session), 0u);
}

/// Feeds what the older side of a recording has sent, piece by piece, and has today's side speak in between.
/// `turn` is called behind each piece; a fence is asked for once both have greeted each other.
void replay(
    std::string const& recording, Session& today, std::function<void()> const& turn = [] {}) {
    SCOPED_TRACE(recording);
    std::ifstream file(std::string(LOAM_PROTOCOL2) + '/' + recording + ".loamlog", std::ios::binary);
    ASSERT_TRUE(file);
    RecordingIn in(file);
    FenceOutcome early{};
    today.fence(FenceLevel::applied, [&](FenceResult const& result) { early = result.outcome; });
    Side const own = today.config().name == "server" ? Side::accepting : Side::connecting;
    bool hasAsked = false;
    for (RecordingChunk chunk; in.next(chunk);) {
        drain(today);
        if (chunk.from == own) {
            continue;
        }
        for (auto bytes = chunk.bytes; !bytes.empty();) {
            std::size_t const taken = today.in()->feed(bytes);
            ASSERT_NE(taken, 0u);
            bytes = bytes.subspan(taken);
            today.receive();
        }
        if (today.isEstablished() && !std::exchange(hasAsked, true)) {
            EXPECT_EQ(today.demuxer().protocol(), 2u);
            EXPECT_EQ(early, FenceOutcome::failed); // who spoke before the hello hears of it
            EXPECT_EQ(today.peer()->token, InstanceToken{});
            expectNoFences(today, std::string(today.peerName().view()));
        }
        turn();
    }
    drain(today);
    EXPECT_TRUE(hasAsked);
    Stats const stats = today.stats();
    EXPECT_EQ(stats.refusedRecords + stats.unknownEntities + stats.unknownAttributes + stats.unknownEnums,
              0u);
    EXPECT_TRUE(today.isOpen() || today.isClosedByPeer()) << today.closeReason().charPtr();
}

Ptr<Session> server(Ptr<Service> const& service) {
    return makePtr<Session>(Side::accepting, SessionConfig{.name = "server", .schema = 1}, service);
}

TEST(Protocol2, AnOlderClientIsServedAsItWas) {
    auto const dir = lifAppConfigDirFactory("lif");
    auto const service = makePtr<Service>();
    service->offer("lif", dir);
    replay("older-set-child", *server(service));
    ASSERT_TRUE(dir->appConfig(Loam::vtAppMpls));
    EXPECT_TRUE(dir->appConfig(Loam::vtAppMpls)->reqCountMap().empty());
    replay("older-set", *server(service));
    EXPECT_EQ(dir->appConfig(Loam::vtAppMpls)->reqCount(acLif(1)), 3u);
    replay("older-get", *server(service));
    EXPECT_EQ(dir->appConfig(Loam::vtAppMpls)->reqCountMap().count(), 1u);
}

TEST(Protocol2, AnOlderApplicationIsTakenInAndLetGo) {
    auto const dir = lifAppConfigDirFactory("lifConfig");
    auto const service = makePtr<Service>();
    service->offer("lifStatus", lifAppStatusDirFactory("lifStatus"), Access::readOnly);
    std::vector<RootState> states;
    service->acceptIs(
        "request",
        [&](Session&, Name const&, Ptr<Entity> const& made) -> Ptr<Entity> {
            auto const config = ptrCast<LifAppConfig>(made);
            return config ? dir->appConfigIs(config->app()).ptr() : nullptr;
        },
        [&](Session&, Name const&, Ptr<Entity> const&, RootState state, String8 const&) {
            states.push_back(state);
        });
    auto const session = server(service);
    replay("older-application", *session);
    EXPECT_EQ(dir->appConfig(Loam::vtAppMpls)->reqCountMap().count(), 3u);
    EXPECT_EQ(states,
              (std::vector<RootState>{RootState::synchronizing, RootState::synchronized, RootState::absent}));
    EXPECT_TRUE(session->isClosedByPeer());
    EXPECT_EQ(session->closeReason(), "done");
}

/// Today's client at an older server, as the program's commands behave.
struct Client {
    explicit Client(Name theRoot) : root(std::move(theRoot)) {}
    void turn() {
        if (session->areOffersKnown() && session->rootState(root) == RootState::absent) {
            session->want(root);
        } else if (session->rootState(root) == RootState::synchronized && !std::exchange(isThere, true)) {
            there();
        }
    }
    Name root;
    std::function<void()> there = [] {};
    bool isThere = false;
    Ptr<Session> session = makePtr<Session>(Side::connecting, SessionConfig{.name = "client", .schema = 1});
};

TEST(Protocol2, AnOlderServerIsReadAndWritten) {
    Client getter("lif");
    U32 got = 0;
    getter.there = [&] {
        auto const dir = ptrCast<LifAppConfigDir>(getter.session->root("lif"));
        got = dir->appConfig(Loam::vtAppMpls)->reqCount(acLif(1));
    };
    replay("older-server-get", *getter.session, [&] { getter.turn(); });
    EXPECT_EQ(got, 3u);

    Client setter("lif");
    bool isTaken = false;
    setter.there = [&] {
        auto const dir = ptrCast<LifAppConfigDir>(setter.session->root("lif"));
        dir->appConfig(Loam::vtAppMpls)->reqCountIs(acLif(1), 3);
        setter.session->call("sync", "", [&](bool ok, String8 const&) { isTaken = ok; });
    };
    replay("older-server-set", *setter.session, [&] { setter.turn(); });
    EXPECT_TRUE(isTaken);

    Client reader("lifStatus");
    replay("older-driver-tree", *reader.session, [&] { reader.turn(); });
    ASSERT_TRUE(reader.isThere);
    auto const statuses = ptrCast<LifAppStatusDir>(reader.session->root("lifStatus"));
    EXPECT_FALSE(!statuses->appStatus(Loam::vtAppMpls)->lifEntry(acLif(100)));
}

} // namespace
