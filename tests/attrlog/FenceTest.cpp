/// What a fence promises: each value that was set before it, or a newer one, is there when it is answered.
/// Through full streams, passes, peers that come and go, and relays.

#include "support/Sessions.h"

#include <array>
#include <deque>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::fill;
using support::lifEntry;
using support::Sessions;
using Outcomes = std::vector<FenceOutcome>;
using Texts = std::vector<std::string>;

struct Answers {
    FenceHook hook() {
        return [this](FenceResult const& result) {
            outcomes.push_back(result.outcome);
            whys.emplace_back(result.why.view());
            last = result;
        };
    }
    Outcomes outcomes;
    Texts whys;
    FenceResult last;
};

Ptr<Service> accepting(Ptr<LifAppConfigDir> const& dir) {
    auto const service = makePtr<Service>();
    service->acceptIs("lifConfig", [dir](Session&, Name const&, Ptr<Entity> const& made) -> Ptr<Entity> {
        auto const config = ptrCast<LifAppConfig>(made);
        return config ? dir->appConfigIs(config->app()).ptr() : nullptr;
    });
    return service;
}

// 10,000 changes wait, since the smallest ring is full; then comes a request, and a fence. A key that is
// changed all the time, and keys that are new, do not hold them up.
TEST(Fence, StandsBehindAllThatWasChangedBeforeIt) {
    for (StreamLimits const& limits : {StreamLimits{}, support::smallSession}) {
        auto const dir = lifAppConfigDirFactory("lif");
        auto const service = accepting(dir);
        auto const mine = lifAppConfigFactory(Loam::vtAppMpls);
        auto const theirs = dir->appConfigIs(Loam::vtAppMpls);
        U32 const changes = 10'000;
        U32 handled = 0, overtook = ~0u;
        for (auto const& [verb, seen] : {std::pair{"count", &handled}, std::pair{"stats", &overtook}}) {
            service->handlerIs(verb, [&theirs, at = seen](Session&, String8 const&) {
                *at = theirs->reqCountMap().count();
                return String8();
            });
        }
        Sessions two(limits, {}, service);
        two.a->push("lifConfig", mine);
        two.quiet();
        fill(*mine, changes);
        Answers answers;
        bool wasAsked = false;
        two.a->call("count", "", [&](bool ok, String8 const&) { wasAsked = ok; });
        two.a->call("stats", "", {}, CallOrder::overtakes);
        two.a->fence(FenceLevel::applied, answers.hook());
        // The peer is as slow as can be, and there are ever newer changes.
        U32 next = changes;
        for (int rounds = 0; answers.outcomes.empty() && rounds < 1'000'000; ++rounds) {
            mine->reqCountIs(lifEntry(0), next);
            mine->reqCountIs(lifEntry(next++), 1);
            two.turn(600);
        }
        ASSERT_EQ(answers.outcomes, Outcomes{FenceOutcome::applied});
        for (U32 i = 0; i < changes; ++i) {
            ASSERT_NE(theirs->reqCount(lifEntry(i)), 0u) << i;
        }
        two.quiet();
        EXPECT_TRUE(wasAsked);
        EXPECT_GE(handled, changes);
        EXPECT_LT(overtook, changes);
        EXPECT_EQ(theirs->reqCountMap().count(), mine->reqCountMap().count());
    }
}

/// What one side has pushed, over the smallest streams, and what the other one has of it.
struct Pushed {
    Pushed() {
        two.offeredByB->acceptIs("dir", [this](Session&, Name const&, Ptr<Entity> const&) { return theirs; });
        two.a->push("dir", mine);
    }
    /// Notes how much has come of these children when the answer comes.
    void fence(std::vector<Loam::VtAppId> const& apps) {
        two.a->fence(FenceLevel::applied, [this, apps](FenceResult const& result) {
            ASSERT_EQ(result.outcome, FenceOutcome::applied) << result.why.charPtr();
            there.push_back(0);
            for (auto const app : apps) {
                auto const config = std::as_const(*theirs).appConfig(app);
                there.back() += config ? config->reqCountMap().count() : 0;
            }
        });
    }
    Ptr<LifAppConfigDir> const mine = lifAppConfigDirFactory("mine"),
                               theirs = lifAppConfigDirFactory("theirs");
    Sessions two{support::smallSession};
    std::vector<U32> there;
};

// What was pushed, wanted and fenced before the hello is in that order, too.
TEST(Fence, BeforeTheHelloAndBehindAFullPassWithChildrenWaitsForBoth) {
    Pushed pushed;
    for (auto const app : {Loam::vtAppMpls, Loam::vtAppVxlan}) {
        fill(*pushed.mine->appConfigIs(app), 500);
    }
    std::vector const apps{Loam::vtAppMpls, Loam::vtAppVxlan, Loam::vtAppEvpn};
    pushed.fence(apps);
    while (!pushed.two.a->isEstablished()) {
        pushed.two.turn(100, 100);
    }
    // A child with contents while the pass is on its way, and one more fence behind it.
    fill(*pushed.mine->appConfigIs(Loam::vtAppEvpn), 500);
    pushed.fence(apps);
    pushed.two.quiet(300);
    ASSERT_EQ(pushed.there.size(), 2u);
    EXPECT_GE(pushed.there[0], 1000u);
    EXPECT_EQ(pushed.there[1], 1500u);
}

// It is made while there is no room, so that its key is what waits; what is in it begins to be sent after
// that.
TEST(Fence, WaitsForWhatIsInAChildWhoseKeyWaits) {
    Pushed pushed;
    pushed.two.quiet();
    fill(*pushed.mine->appConfigIs(Loam::vtAppMpls), 200);
    fill(*pushed.mine->appConfigIs(Loam::vtAppVxlan), 2'000);
    pushed.fence({Loam::vtAppVxlan});
    pushed.two.quiet(300);
    EXPECT_EQ(pushed.there, std::vector{2'000u});
}

// The pass owes what the marks before it did.
TEST(Fence, WaitsForAPassThatTakesThePlaceOfMarks) {
    Pushed pushed;
    auto const config = pushed.mine->appConfigIs(Loam::vtAppMpls);
    pushed.two.quiet();
    fill(*config, 2'000);
    pushed.fence({Loam::vtAppMpls});
    ptrCast<StreamAdapter>(config->korNboAttrLogSa(pushed.two.a->out()))->doThis();
    pushed.two.quiet(300);
    EXPECT_EQ(pushed.there, std::vector{2'000u});
}

// What is held back while the peer's full state is on its way counts; so does what is deleted.
TEST(Fence, WaitsForWhatIsHeldBackDuringAPassOfThePeer) {
    auto const theirs = lifAppConfigFactory(Loam::vtAppMpls);
    fill(*theirs, 2000);
    Sessions two(support::smallSession);
    two.offeredByB->offer("config", theirs);
    auto const mine = lifAppConfigFactory(Loam::vtAppMpls);
    two.a->want("config", mine);
    for (int i = 0; i < 100 && two.a->rootState("config") != RootState::synchronizing; ++i) {
        two.turn(300, 300);
    }
    ASSERT_EQ(two.a->rootState("config"), RootState::synchronizing);
    mine->reqCountIs(lifEntry(5000), 5);
    mine->reqCountIs(lifEntry(5001), 5);
    mine->reqCountDel(lifEntry(5001));
    Answers answers;
    U32 seen = 0;
    two.a->fence(FenceLevel::applied, [&](FenceResult const& result) {
        seen = theirs->reqCount(lifEntry(5000));
        answers.hook()(result);
    });
    two.quiet(300);
    EXPECT_EQ(answers.outcomes, Outcomes{FenceOutcome::applied});
    EXPECT_EQ(seen, 5u);
}

TEST(Fence, IsDoneWhenTheProcessSaysSoWithWhatItWroteBefore) {
    auto const dir = lifAppConfigDirFactory("lif");
    auto const service = accepting(dir);
    auto const status = lifAppStatusFactory(Loam::vtAppMpls);
    service->offer("lifStatus", status, Access::readOnly);
    std::deque<Ptr<Fence>> waiting;
    Sessions two(support::smallSession, {}, service);
    auto const mine = lifAppConfigFactory(Loam::vtAppMpls);
    two.a->push("lifConfig", mine);
    two.a->want("lifStatus");
    two.quiet();
    Answers answers;
    two.a->fence(FenceLevel::done, answers.hook());
    two.quiet();
    EXPECT_EQ(answers.whys, Texts{"b does not say when it is done"});

    service->fenceHookIs([&](Session&, Ptr<Fence> const& fence) { waiting.push_back(fence); });
    auto const copy = ptrCast<LifAppStatus>(two.a->root("lifStatus"));
    U32 seen = 0;
    two.a->fence(FenceLevel::done, [&](FenceResult const& result) {
        seen = copy->lifEntryMap().count();
        answers.hook()(result);
    });
    two.a->fence(FenceLevel::done, answers.hook());
    two.a->fence(FenceLevel::done, answers.hook());
    two.a->fence(FenceLevel::applied, answers.hook()); // hears of it, and asks nothing
    two.quiet();
    ASSERT_EQ(waiting.size(), 4u);
    EXPECT_EQ(answers.outcomes.back(), FenceOutcome::applied);
    waiting.pop_back();
    waiting[1]->failedIs("bank 1 is full"); // in any order
    waiting[1]->doneIs();
    for (U32 i = 0; i < 1000; ++i) {
        status->lifEntryIs(lifEntry(i), AradLifIndex(i));
    }
    waiting[0]->doneIs();
    waiting.pop_back(); // unsaid
    two.quiet(300);
    EXPECT_EQ(seen, 1000u);
    EXPECT_EQ(answers.outcomes, (Outcomes{FenceOutcome::failed, FenceOutcome::applied, FenceOutcome::failed,
                                          FenceOutcome::failed, FenceOutcome::done}));
    EXPECT_EQ(answers.whys[2], "bank 1 is full");
    EXPECT_EQ(answers.whys[3], "the process has not said that it is done");
    EXPECT_EQ(answers.last.peers, 1u);

    two.a->fence(FenceLevel::done, answers.hook());
    two.quiet();
    two.b->cut("died");
    two.a->cut("peer is gone");
    EXPECT_EQ(answers.last.outcome, FenceOutcome::gone);
    EXPECT_EQ(answers.last.gone, 1u);
    EXPECT_EQ(answers.whys.back(), "b has gone: peer is gone");
    waiting.back()->doneIs(); // nobody listens
    EXPECT_THROW(two.a->fence(FenceLevel::applied, {}), RangeException);
}

/// An owner, a relay and two leaves behind it.
struct Tree {
    explicit Tree(FenceHook const& = {}) {
        top.quiet();
        upstream->relaysTo(downstream);
        top.a->want("lif", copy);
        top.quiet();
        downstream->offer("lif", copy, Access::readOnly);
        for (Sessions& leaf : leaves) {
            leaf.a->want("lif");
        }
        quiet();
    }
    void quiet() {
        for (int i = 0; i < 10; ++i) {
            top.quiet();
            for (Sessions& leaf : leaves) {
                leaf.quiet();
            }
        }
    }
    Ptr<LifAppConfigDir> owned = lifAppConfigDirFactory("lif"), copy = lifAppConfigDirFactory("lif");
    Ptr<Service> owner = [this] {
        auto service = makePtr<Service>();
        service->offer("lif", owned);
        return service;
    }();
    Ptr<Service> upstream = makePtr<Service>(), downstream = makePtr<Service>();
    Sessions top{support::smallSession, upstream, owner};
    std::array<Sessions, 2> leaves{Sessions{support::smallSession, {}, downstream},
                                   Sessions{support::smallSession, {}, downstream}};
};

TEST(Fence, OfAllIsAnsweredByARelayWithTheLeastOfItsOwnPeers) {
    Tree tree;
    Answers answers;
    auto const leafHas = [&](std::size_t leaf, U32 n) {
        auto const dir = ptrCast<LifAppConfigDir>(tree.leaves[leaf].a->root("lif"));
        auto const config = dir ? dir->appConfig(Loam::vtAppMpls) : Ptr<LifAppConfig>();
        return config && config->reqCountMap().count() >= n;
    };
    fill(*tree.owned->appConfigIs(Loam::vtAppMpls), 1000);
    tree.owner->fence(FenceLevel::applied, answers.hook(), "lif", FenceExtent::all);
    EXPECT_TRUE(answers.outcomes.empty());
    tree.top.quiet();
    EXPECT_TRUE(answers.outcomes.empty()); // the relay has it, the leaves don't
    tree.leaves[0].quiet();
    EXPECT_TRUE(leafHas(0, 1000) && answers.outcomes.empty());
    tree.quiet();
    EXPECT_EQ(answers.outcomes, Outcomes{FenceOutcome::applied});
    EXPECT_TRUE(leafHas(1, 1000));
    EXPECT_EQ(answers.last.peers, 3u);

    // One of the leaves dies before it has answered.
    tree.owned->appConfigIs(Loam::vtAppMpls)->reqCountIs(lifEntry(5000), 1);
    tree.owner->fence(FenceLevel::applied, answers.hook(), "lif", FenceExtent::all);
    tree.top.quiet();
    tree.leaves[0].quiet();
    tree.leaves[1].a->cut("died");
    tree.leaves[1].b->cut("peer is gone");
    tree.quiet();
    EXPECT_EQ(answers.last.outcome, FenceOutcome::gone);
    EXPECT_EQ(answers.last.gone, 1u);
    EXPECT_EQ(answers.whys.back(), "a has gone: peer is gone");

    // Processes that relay to each other in a circle.
    tree.downstream->relaysTo(tree.upstream);
    tree.owner->fence(FenceLevel::applied, answers.hook(), "lif", FenceExtent::all);
    tree.quiet();
    EXPECT_EQ(answers.outcomes.size(), 3u);
    tree.downstream->relaysTo(nullptr);
    tree.owner->fence(FenceLevel::applied, answers.hook(), "nobody wants it");
    EXPECT_EQ(answers.last.peers, 0u);
}

TEST(Fence, IsRefusedWhereTooManyWait) {
    Answers answers;
    Sessions two;
    std::vector<Ptr<Fence>> kept;
    two.offeredByB->fenceHookIs([&](Session&, Ptr<Fence> const& fence) { kept.push_back(fence); });
    two.quiet();
    for (int i = 0; i < 1024; ++i) {
        two.a->fence(FenceLevel::done, answers.hook());
    }
    EXPECT_THROW(two.a->fence(FenceLevel::done, answers.hook()), RangeException);
    two.quiet();
    EXPECT_EQ(kept.size(), 1024u);
    EXPECT_TRUE(two.b->isOpen());
}

// One writer

struct Pusher {
    explicit Pusher(Ptr<Service> const& service, U64 token = 0) : two({}, {}, service) {
        if (token != 0) {
            SessionConfig config{"mpls", 7};
            config.token = {token, token};
            two.a = makePtr<Session>(Side::connecting, config);
        }
    }
    void push(Ptr<LifAppConfig> const& config, PushPlace place = PushPlace::ifFree) {
        two.a->push(
            "lifConfig", config, Access::writable,
            [this](bool ok, String8 const& why) { told.emplace_back(ok ? "accepted" : why.view()); }, place);
        two.quiet();
    }
    Sessions two;
    Texts told;
};

TEST(Writer, OfAKeyIsOneUnlessItConnectsAnewOrTakesThePlaceAloud) {
    auto const dir = lifAppConfigDirFactory("lif");
    auto const service = makePtr<Service>();
    Texts heard;
    auto const take = accepting(dir)->accepting("lifConfig").accept;
    auto const hook = [&](Session&, Name const&, Ptr<Entity> const& root, RootState state,
                          String8 const& why) {
        heard.push_back(std::to_string(static_cast<int>(state)) + " " +
                        std::to_string(ptrCast<LifAppConfig>(root)->reqCountMap().count()) + " " +
                        std::string(why.view()));
    };
    service->acceptIs("lifConfig", take, hook);
    auto const mine = lifAppConfigFactory(Loam::vtAppMpls), others = lifAppConfigFactory(Loam::vtAppMpls);
    mine->reqCountIs(lifEntry(1), 1);
    Pusher first(service, 1), second(service, 2), again(service, 1), vxlan(service, 3);
    first.two.b->peerDetailIs("process 4711");
    first.push(mine);
    EXPECT_EQ(heard, (Texts{"2 0 ", "3 1 "})); // synchronizing; synchronized, all is there
    heard.clear();

    second.push(others);
    ASSERT_EQ(second.told.size(), 1u);
    EXPECT_TRUE(second.told[0].starts_with("vtAppMpls is pushed already, by \"mpls\" (process 4711, since "))
        << second.told[0];
    EXPECT_EQ(dir->appConfig(Loam::vtAppMpls)->reqCountMap().count(), 1u); // nothing is lost
    vxlan.push(lifAppConfigFactory(Loam::vtAppVxlan));                     // another key is free
    EXPECT_EQ(vxlan.told, Texts{"accepted"});

    again.push(mine); // the same process, before the old connection is noticed as dead
    EXPECT_EQ(again.told, Texts{"accepted"});
    first.two.quiet();
    EXPECT_EQ(first.told.back(), "its process has connected anew");

    second.push(others, PushPlace::takesOver);
    again.two.quiet();
    EXPECT_EQ(again.told.back(), "\"mpls\" has taken its place");
    EXPECT_EQ(second.told.back(), "accepted");
    EXPECT_EQ(dir->appConfig(Loam::vtAppMpls)->reqCountMap().count(), 0u);
    heard.clear();
    second.two.b->cut("peer is gone");
    EXPECT_EQ(heard, Texts{"0 0 peer is gone"});
    Pusher third(service, 4);
    third.push(mine);
    EXPECT_EQ(third.told, Texts{"accepted"});

    service->acceptIs("lifConfig", take, {}, Service::Pushers::many);
    Pusher more(service, 5), most(service, 6);
    more.push(mine);
    most.push(others);
    EXPECT_EQ(most.told, Texts{"accepted"});
}

} // namespace
