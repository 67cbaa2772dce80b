/// Two trees over a pair of rings.

#include "attrlog/Demuxer.h"
#include "model/LoamTunnelModel.h"
#include "support/Random.h"

#include <gtest/gtest.h>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware::LoamTunnel;

TEST(Replication, Smoke) {
    auto a = makePtr<Demuxer>(Side::connecting);
    auto b = makePtr<Demuxer>(Side::accepting);
    Ptr<Entity> got;
    b->rootHookIs([&](Ptr<Entity> const& e) {
        got = e;
        return e;
    });
    auto dir = lifAppConfigDirFactory("lif");
    auto mpls = dir->appConfigIs(Hardware::Loam::vtAppMpls);
    mpls->reqCountIs(AradLifEntry(lifGeneral, 1, 2), 7);
    a->mount(dir);
    auto pump = [&](Ptr<Demuxer> const& x, Ptr<Demuxer> const& y) {
        for (int i = 0; i < 20; ++i) {
            x->flow();
            auto r = x->out()->readable();
            x->out()->nextBytes(y->in()->feed(r));
            ASSERT_TRUE(y->receive()) << y->closeReason().charPtr();
        }
    };
    pump(a, b);
    ASSERT_TRUE(got);
    auto copy = ptrCast<LifAppConfigDir>(got);
    ASSERT_TRUE(copy);
    ASSERT_TRUE(copy->appConfig(Hardware::Loam::vtAppMpls));
    EXPECT_EQ(copy->appConfig(Hardware::Loam::vtAppMpls)->reqCount(AradLifEntry(lifGeneral, 1, 2)), 7u);
    EXPECT_EQ(b->stats().refusedRecords + b->stats().unknownEntities + b->stats().unknownAttributes, 0u);
    EXPECT_EQ(b->out()->records(), 0u);
    dir->appConfigDel(Hardware::Loam::vtAppMpls);
    pump(a, b);
    EXPECT_FALSE(copy->appConfig(Hardware::Loam::vtAppMpls));
}

} // namespace
