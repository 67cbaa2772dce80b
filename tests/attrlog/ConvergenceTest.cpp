/// Two trees end up equal, whatever happens to the streams between them. A failure prints the seed; give it
/// again as LOAM_SEED.

#include "support/Sessions.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

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
    /// The holder changes its copy.
    virtual void changeCopy(Random& random) = 0;
    virtual bool isEqual() const = 0;
    /// The process that owns it comes back with another one; the one with the copy without it.
    virtual void ownerDies(Random& random) = 0;
    virtual void holderDies() = 0;
};
/// Writes into each child as soon as it is there: a key of its own, once.
struct Writing : LifAppConfigDir::Notifiee {
    void onAppConfig(Loam::VtAppId const& app) override {
        if (Ptr<LifAppConfig> const child = notifier()->appConfig(app)) {
            child->reqCountIs(support::lifEntry(++last), 1);
        }
    }
    U32 last = 1'000'000;
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
            if constexpr (std::is_same_v<X, LifAppConfigDir>) {
                writing->isRegisteredNotifieeIs(true);
                writing->notifierIs(theirs);
            }
        }
        return true;
    }
    Ptr<Entity> copy() const override { return theirs; }
    void change(Random& random) override { support::change(*original, random); }
    void changeCopy(Random& random) override { support::change(*theirs, random); }
    bool isEqual() const override { return theirs && support::sameState(*original, *theirs); }

    void ownerDies(Random& random) override { original = support::randomEntity<X>(random); }
    void holderDies() override { theirs = nullptr; }

    Ptr<X> original, theirs;
    Ptr<Writing> writing = makePtr<Writing>();
};

// A copy outlives its connection, as the originals do: a new one finds whatever was left.
TEST(Convergence, SurvivesStallsCutsAndFeedingInPieces) {
    Random random;
    int const runs = isLong() ? 5000 : 60;
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
        // Nothing echoed.
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

/// A process, as the other one sees it: what it offers, pushes and wants, on one session after another.
struct Process {
    using List = std::vector<std::unique_ptr<Mirrored>>;

    /// A session anew: all that is owned is offered under its number, but for the last one, which is pushed.
    Ptr<Session> connect(Side side, Random& random, List& others) {
        if (!service) {
            service = makePtr<Service>();
            for (std::size_t i = 0; i + 1 < owned.size(); ++i) {
                service->offer(std::to_string(i), owned[i]->owned());
            }
        }
        service->acceptIs("", [&others](Session&, Name const&, Ptr<Entity> const& made) {
            return others.back()->takes(made) ? others.back()->copy() : nullptr;
        });
        U32 const record = Session::minRecord + random.below(500);
        auto const session =
            makePtr<Session>(side, SessionConfig{"", 0, {2 * record + 128, record, 1000}}, service);
        for (std::size_t i = 0; i + 1 < others.size(); ++i) {
            // Of the second one the keys are many, so that both sides hardly write the same.
            auto const hook = [&others, &random, i](RootState state, auto const&, auto const&) {
                if (state == RootState::synchronizing && i == 1) {
                    for (U32 n = random.below(4); n-- > 0;) {
                        others[i]->changeCopy(random);
                    }
                }
            };
            session->want(std::to_string(i), hook, [&others, i](Ptr<Entity> const& made) {
                return others[i]->takes(made) ? others[i]->copy() : nullptr;
            });
        }
        session->push("pushed", owned.back()->owned());
        return session;
    }
    List owned;
    Ptr<Service> service;
};

// Connections are cut at any byte and replaced, and what holds a copy writes into it while it comes; either
// process dies and comes back with nothing of what it had, while the other one keeps its copies.
TEST(Convergence, SurvivesCutSessionsAndPeersThatDieAndComeBack) {
    Random random;
    int const runs = isLong() ? 5000 : 60;
    for (int run = 0; run < runs; ++run) {
        std::array<Process, 2> ends;
        ends[0].owned.push_back(std::make_unique<MirroredOf<LifAppConfigDir>>(random));
        ends[0].owned.push_back(std::make_unique<MirroredOf<TcamSharingConfig>>(random));
        ends[0].owned.push_back(std::make_unique<MirroredOf<FapTypeProperties>>(random));
        ends[1].owned.push_back(std::make_unique<MirroredOf<LifAppStatusDir>>(random));
        ends[1].owned.push_back(std::make_unique<MirroredOf<EvecStatus>>(random));
        ends[1].owned.push_back(std::make_unique<MirroredOf<OutAcConfig>>(random));
        auto const die = [&](std::size_t which) {
            ends[which].service = nullptr;
            for (auto const& each : ends[which].owned) {
                each->ownerDies(random);
            }
            for (auto const& each : ends[1 - which].owned) {
                each->holderDies();
            }
        };
        std::array<Ptr<Session>, 2> sessions;
        auto const connect = [&] {
            sessions[0] = ends[0].connect(Side::connecting, random, ends[1].owned);
            sessions[1] = ends[1].connect(Side::accepting, random, ends[0].owned);
        };
        connect();
        std::size_t const piece = run % 2 == 0 ? 1 : 1 + random.below(500);
        for (int step = 0; step < 600; ++step) {
            U32 const which = random.below(2);
            Session& from = *sessions[which];
            Session& to = *sessions[1 - which];
            switch (random.below(6)) {
            case 0:
                ends[which].owned[random.below(3)]->change(random);
                break;
            case 1:
                from.flow();
                break;
            case 2:
            case 3:
            case 4:
                for (U32 i = random.below(200); i-- > 0;) {
                    support::Sessions::carry(from, to, 1 + random.below(static_cast<U32>(piece)));
                    ASSERT_TRUE(to.receive()) << to.closeReason().charPtr();
                    from.flow();
                }
                break;
            default:
                if (random.below(30) != 0) {
                    break;
                }
                from.cut("cut");
                if (random.below(2) != 0) { // the other one may notice late, or never
                    to.cut("cut");
                }
                if (random.below(2) != 0) {
                    sessions = {};
                    die(which);
                }
                connect();
            }
        }
        support::Sessions two;
        two.a = sessions[0];
        two.b = sessions[1];
        two.quiet(piece);
        for (std::size_t const which : {std::size_t{0}, std::size_t{1}}) {
            Session const& session = *sessions[which];
            ASSERT_TRUE(session.isOpen()) << session.closeReason().charPtr();
            EXPECT_FALSE(session.demuxer().hasWork());
            for (char const* const path : {"0", "1"}) {
                EXPECT_EQ(session.rootState(path), RootState::synchronized);
            }
            EXPECT_EQ(session.stats().refusedRecords + session.stats().unknownAttributes, 0u);
            EXPECT_EQ(session.stats().dirtyKeys, 0u);
            for (auto const& each : ends[which].owned) {
                ASSERT_TRUE(each->isEqual())
                    << "run " << run << ": " << each->owned()->fwkType()->typeName().charPtr();
            }
        }
    }
}

/// All sequences of `steps` steps, each setting or deleting one of `keys` keys, on a stream that has room or
/// is full. Shorter sequences are among them: deleting what is not there changes nothing. The values rise, so
/// that the copy can tell the order.
void everySequence(U32 keys, U32 steps) {
    Link link(support::smallStream);
    auto const mine = hwIvecsFactory("filler");
    auto const entity = lifAppConfigFactory(Loam::vtAppMpls);
    auto const filler = link.mountAtA(mine);
    auto const copy = link.mountAtA(entity);
    auto const listener = observe<Listener>(copy);
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
