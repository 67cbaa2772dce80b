/// The fake owner, from the view of an application under test.

#include "testing/FakeOwner.h"

#include "support/Entities.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::fill;
using support::lifEntry;

struct Application {
    explicit Application(Loam::VtAppId theApp = Loam::vtAppMpls)
        : app(theApp), config(lifAppConfigFactory(theApp)) {}
    void connectTo(FakeOwner& owner) {
        session = makePtr<Session>(Side::connecting, SessionConfig{.name = "app"});
        session->want("lifStatus");
        session->push("lifConfig", config, Access::writable, [this](bool ok, String8 const& why) {
            verdicts.emplace_back(ok ? "accepted" : why.view());
        });
        owner.connect(session);
        owner.run(100);
    }
    /// What a fence says that is asked for now, once the owner has run.
    void fence() {
        session->fence(FenceLevel::done, [this](FenceResult const& result) {
            fences.emplace_back(result.outcome == FenceOutcome::done ? "done" : result.why.view());
        });
    }
    AradLifIndex index(U32 number) const {
        auto const dir = ptrCast<LifAppStatusDir>(session->root("lifStatus"));
        auto const status = dir ? dir->appStatus(app) : Ptr<LifAppStatus>();
        return status ? status->lifEntry(lifEntry(number)) : AradLifIndex();
    }

    Loam::VtAppId app;
    Ptr<LifAppConfig> config;
    Ptr<Session> session;
    std::vector<std::string> verdicts, fences;
};
using Texts = std::vector<std::string>;

TEST(FakeOwner, AnswersAtOnceOrLateInTheOrderOfTheRequests) {
    FakeOwner owner;
    Application mpls, vxlan(Loam::vtAppVxlan);
    mpls.connectTo(owner);
    vxlan.connectTo(owner);
    mpls.config->reqCountIs(lifEntry(1), 1);
    owner.run();
    EXPECT_EQ(mpls.index(1).index(), 0u);
    owner.isHoldingIs(true);
    for (U32 i = 2; i < 6; ++i) {
        mpls.config->reqCountIs(lifEntry(i), 1);
    }
    mpls.config->reqCountIs(lifEntry(1), 0);
    mpls.fence();
    vxlan.fence(); // of which nothing waits
    owner.run();
    EXPECT_EQ(owner.waiting(), 5u);
    EXPECT_TRUE(mpls.fences.empty() && !mpls.index(2));
    EXPECT_EQ(vxlan.fences, Texts{"done"});
    EXPECT_EQ(owner.answer(), 1u);
    owner.run();
    EXPECT_EQ(owner.placed(Loam::vtAppMpls), 2u);
    EXPECT_TRUE(mpls.fences.empty());
    owner.isHoldingIs(false);
    owner.run();
    EXPECT_EQ(mpls.fences, Texts{"done"});
    EXPECT_EQ(owner.placed(Loam::vtAppMpls), 4u);
    EXPECT_TRUE(!mpls.index(1) && !!mpls.index(5));
}

TEST(FakeOwner, RefusesAndIsFullInTheWordsOfTheTest) {
    FakeOwner owner;
    Application mpls;
    owner.pushRefusalIs("maintenance");
    mpls.connectTo(owner);
    EXPECT_EQ(mpls.verdicts, Texts{"maintenance"});
    owner.pushRefusalIs("");
    mpls.connectTo(owner);
    EXPECT_EQ(mpls.verdicts.back(), "accepted");

    owner.refusalIs([](auto, auto const& lif) { return lif == lifEntry(7) ? "not here" : ""; });
    mpls.config->reqCountIs(lifEntry(7), 1);
    mpls.fence();
    owner.run();
    EXPECT_EQ(mpls.fences, Texts{"not here"});
    EXPECT_EQ(owner.refused(Loam::vtAppMpls).at(lifEntry(7)), "not here");
    mpls.config->reqCountDel(lifEntry(7)); // given up
    owner.capacityIs(2);
    fill(*mpls.config, 3);
    mpls.fence();
    owner.run();
    EXPECT_EQ(owner.placed(Loam::vtAppMpls), 2u);
    EXPECT_EQ(mpls.fences.back(), "lifBankManaged is full: all of its 2 places are taken");
}

TEST(FakeOwner, RestartsWithItsPlacesOrWithout) {
    FakeOwner owner;
    Application mpls;
    mpls.connectTo(owner);
    fill(*mpls.config, 3);
    owner.run();
    U32 const before = mpls.index(2).index();
    mpls.fence();
    owner.restart();
    EXPECT_EQ(mpls.fences, Texts{"owner has gone: the owner has died"});
    EXPECT_FALSE(mpls.session->isOpen());
    mpls.config->reqCountDel(lifEntry(0)); // while nobody hears
    EXPECT_EQ(owner.placed(Loam::vtAppMpls), 3u);
    mpls.connectTo(owner);
    EXPECT_EQ(owner.placed(Loam::vtAppMpls), 2u);
    EXPECT_EQ(mpls.index(2).index(), before);
    owner.restart(false);
    EXPECT_EQ(owner.placed(Loam::vtAppMpls), 0u);
    mpls.connectTo(owner);
    EXPECT_EQ(owner.placed(Loam::vtAppMpls), 2u);
}

} // namespace
