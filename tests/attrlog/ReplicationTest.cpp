/// What holds for the replication of every entity, one connection at a time.

#include "support/Link.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::Link;
using support::Random;
using support::sameState;

void expectNothingOdd(Demuxer const& demuxer) {
    Stats const stats = demuxer.stats();
    EXPECT_EQ(stats.refusedRecords + stats.unknownEntities + stats.unknownAttributes + stats.unknownEnums,
              0u);
    EXPECT_TRUE(demuxer.isOpen()) << demuxer.closeReason().charPtr();
}

TEST(Replication, EveryEntityTravelsWholeThenEachChangeAndEachDeletionAsOneRecord) {
    Random random;
    support::eachReplicatedEntity([&]<class X>() {
        SCOPED_TRACE(std::string(typeName<X>()));
        Link link;
        Ptr<X> const mine = support::randomEntity<X>(random);
        for (int i = 0; i < 40; ++i) {
            support::change(*mine, random);
        }
        Ptr<X> const theirs = link.mountAtA(mine);
        ASSERT_TRUE(theirs);
        ASSERT_TRUE(sameState(*mine, *theirs));
        ASSERT_EQ(theirs->name(), mine->name());
        support::eachWireAttribute<X>([&]<class A>() {
            if constexpr (requires { typename A::Key; }) {
                constexpr bool isPlain = !A::shape.holdsObjects();
                auto const& map = A::Name::map(*mine);
                auto const key = support::randomValue<typename A::Key>(random);
                for (bool const isDelete : {true, false, true}) {
                    U64 const before = link.a->out()->records();
                    bool const was = map.member(key) != nullptr;
                    support::changeAt<A>(*mine, key, isDelete, random);
                    U64 const records = link.a->out()->records() - before;
                    EXPECT_EQ(records != 0, was || !isDelete);
                    EXPECT_TRUE(!isPlain || records <= 1);
                    link.quiet();
                    ASSERT_TRUE(sameState(*mine, *theirs)) << A::Name::text;
                }
            } else {
                for (int i = 0; i < 4; ++i) {
                    A::Name::set(*mine, support::randomValue<typename A::Type>(random));
                    link.quiet();
                    ASSERT_TRUE(sameState(*mine, *theirs)) << A::Name::text;
                }
            }
        });
        expectNothingOdd(*link.b);
        EXPECT_EQ(link.b->out()->records(), 0u); // who only applies sends nothing

        // And the other way, on the same connection, without an echo.
        U64 const before = link.a->out()->records();
        for (int i = 0; i < 10; ++i) {
            support::change(*theirs, random);
            link.quiet();
            ASSERT_TRUE(sameState(*mine, *theirs));
        }
        expectNothingOdd(*link.a);

        link.a->unmount(mine);
        link.quiet();
        if constexpr (!std::is_same_v<X, FapTypeProperties>) { // what it refers to is mounted until it ends
            EXPECT_EQ(link.a->out()->records(), before + 1);
            EXPECT_EQ(link.a->mounted(), 0u);
            EXPECT_EQ(link.b->mounted(), 0u);
        }
        EXPECT_EQ(mine->references(), 1u);
    });
}

} // namespace
