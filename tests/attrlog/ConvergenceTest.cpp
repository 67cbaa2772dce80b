/// Two trees end up equal, whatever happens to the streams between them. A failure prints the seed; give it
/// again as LOAM_SEED.

#include "support/Link.h"

#include <gtest/gtest.h>
#include <map>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::Link;
using support::Random;

/// Whether the tests may take hours.
bool isLong() {
    return std::getenv("LOAM_LONG") != nullptr;
}

/// An entity that one side owns, and the other side's copy.
struct Mirrored {
    virtual ~Mirrored() = default;
    virtual Ptr<Entity> owned() const = 0;
    virtual bool takes(Ptr<Entity> const& offered) = 0;
    virtual Ptr<Entity> copy() const = 0;
    virtual void change(Random& random) = 0;
    virtual bool isEqual() const = 0;
};
template <class X>
struct MirroredOf : Mirrored {
    explicit MirroredOf(Random& random) : original(support::randomEntity<X>(random)) {}
    Ptr<Entity> owned() const override { return original; }
    bool takes(Ptr<Entity> const& offered) override {
        if (offered->fwkType() != X::_fwkType()) {
            return false;
        }
        if (!theirs) {
            theirs = ptrCast<X>(offered);
        }
        return true;
    }
    Ptr<Entity> copy() const override { return theirs; }
    void change(Random& random) override { support::change(*original, random); }
    bool isEqual() const override { return theirs && support::sameState(*original, *theirs); }

    Ptr<X> original, theirs;
};

// A copy outlives its connection, as the originals do: a new one finds whatever was left.
TEST(Convergence, SurvivesStallsCutsAndFeedingInPieces) {
    Random random;
    int const runs = isLong() ? 5000 : 150;
    for (int run = 0; run < runs; ++run) {
        using List = std::vector<std::unique_ptr<Mirrored>>;
        List ofA, ofB;
        ofA.push_back(std::make_unique<MirroredOf<LifAppConfigDir>>(random));
        ofA.push_back(std::make_unique<MirroredOf<OutAcConfig>>(random));
        ofA.push_back(std::make_unique<MirroredOf<FapTypeProperties>>(random));
        ofA.push_back(std::make_unique<MirroredOf<TcamSharingConfig>>(random));
        ofB.push_back(std::make_unique<MirroredOf<LifAppStatusDir>>(random));
        ofB.push_back(std::make_unique<MirroredOf<EvecStatus>>(random));
        ofB.push_back(std::make_unique<MirroredOf<Hardware::LoamTunnel::TapAggNormalFapMask>>(random));
        std::unique_ptr<Link> link;
        auto const connect = [&] {
            link = std::make_unique<Link>(support::smallStream);
            auto const side = [](Demuxer& demuxer, List& mine, List& others) {
                demuxer.rootHookIs([&others](Ptr<Entity> const& offered) {
                    for (auto const& each : others) {
                        if (each->takes(offered)) {
                            return each->copy();
                        }
                    }
                    return offered;
                });
                for (auto const& each : mine) {
                    demuxer.mount(each->owned());
                }
            };
            side(*link->a, ofA, ofB);
            side(*link->b, ofB, ofA);
        };
        connect();
        std::size_t const piece = 1 + random.below(run % 2 == 0 ? 3 : 300);
        for (int step = 0; step < 400; ++step) {
            Demuxer& from = random.below(2) != 0 ? *link->a : *link->b;
            Demuxer& to = &from == link->a.ptr() ? *link->b : *link->a;
            switch (random.below(8)) {
            case 0:
            case 1:
            case 2: {
                List& list = random.below(2) != 0 ? ofA : ofB;
                list[random.below(static_cast<U32>(list.size()))]->change(random);
                break;
            }
            case 3:
                from.flow();
                break;
            case 4:
            case 5:
            case 6:
                for (U32 i = random.below(20); i-- > 0;) {
                    Link::carry(from, to, 1 + random.below(static_cast<U32>(piece)));
                    ASSERT_TRUE(to.receive()) << to.closeReason().charPtr();
                }
                break;
            default:
                if (random.below(20) == 0) {
                    link->a->close("cut");
                    if (random.below(2) != 0) { // the other one may notice late, or never
                        link->b->receive();
                    }
                    connect();
                }
            }
        }
        link->quiet(piece);
        for (Demuxer const* const each : {link->a.ptr(), link->b.ptr()}) {
            Stats const stats = each->stats();
            EXPECT_TRUE(each->isOpen()) << each->closeReason().charPtr();
            EXPECT_EQ(stats.dirtyKeys, 0u);
            EXPECT_EQ(stats.refusedRecords + stats.unknownAttributes, 0u);
            EXPECT_FALSE(each->hasWork());
        }
        for (List const* const list : {&ofA, &ofB}) {
            for (auto const& each : *list) {
                ASSERT_TRUE(each->isEqual())
                    << "run " << run << ": " << each->owned()->fwkType()->typeName().charPtr();
            }
        }
        // Nothing echoed: an owner applies nothing.
        U64 const before = link->a->out()->records() + link->b->out()->records();
        ofA[3]->change(random);
        ofB[2]->change(random);
        link->quiet();
        ASSERT_LE(link->a->out()->records() + link->b->out()->records(), before + 2);
    }
}

/// Hears each state of each key in the order in which they come.
struct Listener : LifAppConfig::Notifiee {
    void onReqCount(AradLifEntry const& key) override {
        U32 const count = notifier()->reqCount(key);
        isInOrder = isInOrder && (count == 0 || count > last[key.dword0()]);
        last[key.dword0()] = std::max(last[key.dword0()], count);
    }
    std::map<U64, U32> last;
    bool isInOrder = true;
};

/// All sequences of `steps` steps, each setting or deleting one of `keys` keys, on a stream that has room or
/// is full. Shorter sequences are among them: deleting what is not there changes nothing. The values rise, so
/// that the copy can tell the order.
void everySequence(U32 keys, U32 steps) {
    Link link(support::smallStream);
    auto const mine = hwIvecsFactory("filler");
    auto const entity = lifAppConfigFactory(Loam::vtAppMpls);
    auto const filler = link.mountAtA(mine);
    auto const copy = link.mountAtA(entity);
    auto const listener = makePtr<Listener>();
    listener->isRegisteredNotifieeIs(true);
    listener->notifierIs(copy);
    U32 const alphabet = keys * 2 * 2;
    U32 sequences = 1;
    for (U32 i = 0; i < steps; ++i) {
        sequences *= alphabet;
    }
    auto const keyOf = [](U32 number) { return AradLifEntry(lifGeneral, number, 0); };
    U32 value = 0;
    U32 fill = 0;
    for (U32 sequence = 0; sequence < sequences; ++sequence) {
        U64 const before = link.a->out()->records();
        bool wasFull = false;
        U32 changes = 0;
        for (U32 i = 0, rest = sequence; i < steps; ++i, rest /= alphabet) {
            U32 const letter = rest % alphabet;
            AradLifEntry const key = keyOf(letter / 4);
            if ((letter & 1) != 0) {
                link.quiet();
            } else if (link.a->out()->hasSufficientBuffer()) {
                for (wasFull = true; link.a->out()->hasSufficientBuffer();) {
                    mine->hwIvecIs(AradIvecKey(), AradIvecEntry(AradIvecKey(), AradIvecFormat(++fill)));
                }
            }
            U32 const version = entity->version();
            (letter & 2) != 0 ? entity->reqCountIs(key, ++value)
                              : static_cast<void>(entity->reqCountDel(key));
            changes += entity->version() - version;
        }
        link.quiet();
        ASSERT_TRUE(support::sameState(*entity, *copy)) << "sequence " << sequence << " of base " << alphabet;
        ASSERT_TRUE(listener->isInOrder) << "sequence " << sequence << " of base " << alphabet;
        if (!wasFull) {
            ASSERT_EQ(link.a->out()->records() - before, changes);
        }
        for (U32 i = 0; i < keys; ++i) {
            entity->reqCountDel(keyOf(i));
        }
        link.quiet();
    }
    EXPECT_TRUE(support::sameState(*mine, *filler));
    EXPECT_EQ(link.b->out()->records(), 0u);
}

TEST(Convergence, EverySequenceOfSetsAndDeletesEndsRight) {
    everySequence(1, 5);
    everySequence(2, 4);
    everySequence(3, 3);
    if (isLong()) {
        everySequence(3, 6); // all of them, three million: no key stands for another
    }
}

} // namespace
