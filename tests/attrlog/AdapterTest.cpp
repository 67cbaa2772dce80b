/// What adapters and demultiplexers do at the edges: read-only entities, passes of the peer, handlers that
/// write back, crossing changes, and peers that are wrong or hostile.

#include "attrlog/adapter/AttrLogTypes.h"
#include "reflect/registry/TypeOf.h"
#include "reflect/type/Dir.h"
#include "reflect/type/TypeModule.h"
#include "runtime/HandlerExceptions.h"
#include "support/Link.h"
#include "tests/attrlog/Page.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <string>

KOR_NAME(remark, Remark, entity)

namespace remarks {

/// Whose records may be too long for a stream.
class Remarks final
    : public Kor::EntityOf<Remarks, Kor::ValueMap<Kor::name::remark, Kor::String8, Kor::U32>> {
public:
    using EntityOver::EntityOver;
};
using Types = Kor::TypeModuleOf<Remarks>;
Kor::TypeModule module(Types::seeds);
Kor::TypeModule::Load const load(module);
Kor::AttrLogTypes<Types> const attrLogAtLoad;

} // namespace remarks

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::fill;
using support::lifEntry;
using support::Link;
using support::Random;
using Type = StreamAdapter::AttrTransactionType;

/// Gives `to` a record as if its peer had sent it.
template <class Write>
bool give(Demuxer& to, MsgHeader const& header, Write const& write) {
    auto const out = makePtr<Out>();
    out->nextHeaderIs(header);
    out << TransactToken(1);
    write(out);
    out << TransactToken(3);
    to.in()->feed(out->readable());
    return to.receive();
}
bool giveMarker(Demuxer& to, EntityId id, AttributeId attribute, Type type) {
    MsgHeader header{id, attribute};
    header.isMarker = true;
    return give(to, header, [&](auto const& out) {
        out->putNumber(static_cast<U32>(type));
        out->putNumber(0);
    });
}
bool announce(Demuxer& to, EntityId id, char const* type = "Hardware::LoamTunnel::HwIvecs") {
    return give(to, {MsgHeader::announcing, newEntityAttribute, true}, [&](auto const& out) {
        out->currentPayloadSectionIs(PayloadSection::types);
        out << TypeId(type);
        out->currentPayloadSectionIs(PayloadSection::argument);
        out << String8("it");
        out->currentPayloadSectionIs(PayloadSection::entityId);
        out << id;
    });
}

Ptr<StreamAdapter> adapterOf(Entity& entity, Demuxer const& demuxer) {
    return ptrCast<StreamAdapter>(entity.korNboAttrLogSa(demuxer.out()));
}

/// A mounted entity at side a and its copy at side b.
template <class X>
struct Mounted : testing::Test {
    explicit Mounted(Ptr<X> const& entity, StreamLimits const& limits = {}) : link(limits), mine(entity) {}
    Link link;
    Ptr<X> mine, theirs = link.mountAtA(mine);
    EntityId id = adapterOf(*mine, *link.a)->entityId();
};
struct Configs : Mounted<LifAppConfig> {
    explicit Configs(StreamLimits const& limits = {})
        : Mounted(lifAppConfigFactory(Loam::vtAppMpls), limits) {}
};
struct ConfigsOverASmallStream : Configs {
    ConfigsOverASmallStream() : Configs(support::smallStream) {}
};
struct Directories : Mounted<LifAppConfigDir> {
    Directories() : Mounted(lifAppConfigDirFactory("lif")) {}
};
struct Properties : Mounted<FapTypeProperties> {
    Properties() : Mounted(makePtr<FapTypeProperties>()) {}
};

/// Answers a change of its key with a change of another one.
struct Answering : LifAppConfig::Notifiee {
    void onReqCount(AradLifEntry const& key) override {
        if (key == lifEntry(1)) {
            notifier()->reqCountIs(lifEntry(100), 5);
        }
    }
};

TEST_F(Configs, AttachingFindsTheAdapterAndReplacesItsFlagsUnderTheMask) {
    Ptr<Out> const& out = link.a->out();
    auto const there = adapterOf(*mine, *link.a);
    auto const again = mine->korNboAttrLogSaIs(Entity::Kor_BitSet(0x04000021), 0, out, nullptr);
    EXPECT_EQ(again, there);
    EXPECT_EQ(again->kor_bitSet().word(), 0x04100021u); // bits 20 and 26 are not the caller's
    EXPECT_EQ(link.a->mounted(), 1u);
    EXPECT_THROW(mine->korNboAttrLogSaIs(Entity::Kor_BitSet(0), 0, nullptr, nullptr), RangeException);
    EXPECT_FALSE(mine->korNboAttrLogSa(link.b->out()));
    EXPECT_EQ(mine->korNboAttrLogSaDel(out), there);
    EXPECT_FALSE(mine->korNboAttrLogSa(out));
    EXPECT_FALSE(mine->korNboAttrLogSaDel(out));
    EXPECT_EQ(mine->references(), 1u);
}

TEST_F(Configs, ReadOnlyHoldsOnEitherSideForRecordsAndMarkers) {
    mine->reqCountIs(lifEntry(1), 1);
    link.quiet();
    auto const adapter = adapterOf(*mine, *link.a);
    adapter->notificationFlagsIs(StreamAdapter::readOnlyThere);
    theirs->reqCountIs(lifEntry(2), 2);
    link.quiet();
    EXPECT_TRUE(giveMarker(*link.a, id, 259, Type::start));
    EXPECT_TRUE(giveMarker(*link.a, id, 259, Type::end));
    EXPECT_TRUE(give(*link.a, {id, syncModeAttribute, false, 4}, [](auto const& out) { out << U32{2}; }));
    EXPECT_EQ(mine->reqCountMap().count(), 1u);
    EXPECT_EQ(adapter->syncMode(), StreamAdapter::SyncMode::none);
    EXPECT_EQ(link.a->stats().refusedRecords, 4u);
    EXPECT_FALSE(adapter->flag(StreamAdapter::Bit::active));
    try {
        adapter->handleAttrTransaction(259, Type::start, 0);
        ADD_FAILURE();
    } catch (InternalException const& exception) {
        EXPECT_EQ(exception.message(), "write-update from readonly proxy: " +
                                           std::string(mine->fullName().view()) + " peerName: b");
    }

    adapter->notificationFlagsIs(StreamAdapter::readOnlyHere);
    U64 const records = link.a->out()->records();
    U64 const exceptions = handlerExceptions();
    mine->reqCountIs(lifEntry(3), 3);
    EXPECT_EQ(handlerExceptions(), exceptions + 1);
    EXPECT_EQ(link.a->out()->records(), records);
    adapter->writableIs(true);
    mine->reqCountIs(lifEntry(3), 4);
    EXPECT_EQ(link.a->out()->records(), records + 1);
}

TEST_F(Configs, FlagsThatForbidToSendKeepAllBackUntilTheyAreGone) {
    for (int const bit :
         {StreamAdapter::Bit::noSending, StreamAdapter::Bit::noSendingEither, StreamAdapter::Bit::silent}) {
        auto const dir = lifAppConfigDirFactory("lif");
        dir->appConfigIs(Loam::vtAppMpls)->reqCountIs(lifEntry(1), 1);
        Link other;
        EXPECT_FALSE(other.mountAtA(dir, Entity::Kor_BitSet(1u << bit)));
        EXPECT_EQ(other.a->out()->records(), 0u);
        EXPECT_FALSE(other.a->hasWork());
        auto const got = other.mountAtA(dir); // again, without
        ASSERT_TRUE(got);
        EXPECT_TRUE(support::sameState(*dir, *got));
    }
}

// What is known of a new entity is what its owner sends; a reactor need not wait for it.
TEST(Adapter, WhatAReactorWritesWhileTheStateComesIsSentAfterIt) {
    struct Filling : LifAppConfigDir::Notifiee {
        void onAppConfig(Loam::VtAppId const& app) override {
            if (Ptr<LifAppConfig> const child = notifier()->appConfig(app)) {
                child->reqCountIs(lifEntry(1), 100); // the owner's, if it has one
                child->reqCountIs(lifEntry(2), 2);
                child->reqCountDel(lifEntry(3));
            }
        }
    };
    Link link;
    auto const mine = lifAppConfigDirFactory("lif");
    mine->appConfigIs(Loam::vtAppMpls)->reqCountIs(lifEntry(1), 1);
    mine->appConfig(Loam::vtAppMpls)->reqCountIs(lifEntry(3), 3);
    auto const filling = makePtr<Filling>();
    filling->isRegisteredNotifieeIs(true);
    link.b->rootHookIs([&](Ptr<Entity> const& offered) {
        filling->notifierIs(ptrCast<LifAppConfigDir>(offered));
        return offered;
    });
    link.a->mount(mine);
    link.quiet(1);
    mine->appConfigIs(Loam::vtAppVxlan); // without anything
    link.quiet(1);
    for (auto const app : {Loam::vtAppMpls, Loam::vtAppVxlan}) {
        auto const& config = *mine->appConfig(app);
        EXPECT_EQ(config.reqCount(lifEntry(1)), app == Loam::vtAppMpls ? 1u : 100u);
        EXPECT_EQ(config.reqCount(lifEntry(2)), 2u);
        EXPECT_EQ(config.reqCount(lifEntry(3)), app == Loam::vtAppMpls ? 3u : 0u);
    }
    EXPECT_TRUE(support::sameState(*mine, *filling->notifier()));
    EXPECT_EQ(link.b->stats().dirtyKeys, 0u);
}

// Before protocol 2 a pass had no markers: the sync modes around it stood for them.
TEST_F(Configs, AnOlderPeersSyncModesBeginAndEndItsPass) {
    theirs->reqCountIs(lifEntry(1), 1);
    theirs->reqCountIs(lifEntry(2), 2);
    link.quiet();
    link.b->protocolIs(1);
    auto const told = [&](U32 mode) {
        return give(*link.b, {id, syncModeAttribute, false, 4}, [&](auto const& out) { out << mode; });
    };
    EXPECT_TRUE(told(2));
    EXPECT_TRUE(give(*link.b, {id, 259, true}, [](auto const& out) { out << lifEntry(1) << U32{1}; }));
    EXPECT_EQ(theirs->reqCountMap().count(), 2u);
    EXPECT_TRUE(told(1));
    EXPECT_EQ(theirs->reqCountMap().count(), 1u);
    EXPECT_EQ(theirs->reqCount(lifEntry(1)), 1u);
    EXPECT_EQ(link.b->stats().refusedRecords, 0u);
}

TEST_F(Configs, APassOfThePeerReplacesTheMapOnceItEnds) {
    auto const reactor = observe<Answering>(theirs);
    auto const count = [&] { return theirs->reqCountMap().count(); };
    theirs->reqCountIs(lifEntry(1), 1);
    theirs->reqCountIs(lifEntry(2), 2);
    theirs->reqCountDel(lifEntry(100));
    link.quiet();
    Demuxer& b = *link.b;
    for (Type const type : {Type::end, Type::start, Type::abort, Type::end}) { // none has begun, or it is off
        EXPECT_TRUE(giveMarker(b, id, 259, type));
    }
    EXPECT_EQ(count(), 2u);

    U64 const before = b.out()->records();
    EXPECT_TRUE(giveMarker(b, id, 259, Type::start));
    EXPECT_TRUE(give(b, {id, 259, true}, [](auto const& out) { out << lifEntry(2) << U32{7}; }));
    EXPECT_TRUE(giveMarker(b, id, 259, Type::end));
    // The one that was not mentioned is gone; what the reactor answered to that stays, and is sent. Nothing
    // else is.
    EXPECT_EQ(theirs->reqCount(lifEntry(2)), 7u);
    EXPECT_EQ(theirs->reqCount(lifEntry(100)), 5u);
    EXPECT_EQ(count(), 2u);
    EXPECT_EQ(b.out()->records(), before + 1);
}

TEST_F(Configs, WhatAHandlerAnswersIsSentAndNothingEchoes) {
    auto const reactor = observe<Answering>(theirs);
    mine->reqCountIs(lifEntry(1), 1);
    link.quiet();
    EXPECT_EQ(mine->reqCount(lifEntry(100)), 5u);
    EXPECT_EQ(link.b->out()->records(), 1u);
    EXPECT_EQ(adapterOf(*theirs, *link.b)->syncMode(), StreamAdapter::SyncMode::synchronized);

    // A record that is given to the adapter is not applied: it is asked for its state.
    auto const other = makePtr<Out>();
    other->nextHeaderIs({id, 259, true});
    other << TransactToken(1) << lifEntry(1) << U32{99} << TransactToken(3);
    auto const in = makePtr<In>();
    in->feed(other->readable());
    MsgHeader header;
    ASSERT_TRUE(in->nextRecord(header));
    U64 const before = link.a->out()->records();
    adapterOf(*mine, *link.a)->handleAttrDeserialization(259, {}, 0, in);
    EXPECT_EQ(mine->reqCount(lifEntry(1)), 1u);
    EXPECT_EQ(link.a->out()->records(), before + 1);
}

TEST_F(ConfigsOverASmallStream, AKeyAtWhichAPassHasStoppedMayGo) {
    fill(*mine, 50);
    link.quiet();
    auto const adapter = adapterOf(*mine, *link.a);
    adapter->doRemountSelf(link.a->out());
    link.a->flow();
    ASSERT_NE(adapter->flowOut()->bookmark(), nullptr);
    auto const stopped = *static_cast<AradLifEntry const*>(adapter->flowOut()->bookmark());
    mine->reqCountDel(stopped);
    if (Link::carry(*link.a, *link.b) != 0) {
        link.a->flow();
    }
    adapter->doThis(); // and begin again half-way
    link.quiet();
    EXPECT_TRUE(support::sameState(*mine, *theirs));
    EXPECT_FALSE(theirs->reqCountMap().member(stopped));
}

TEST_F(ConfigsOverASmallStream, AnEntityThatCannotBeAnnouncedIsToldAndHoldsUpNothing) {
    fill(*mine, 100);
    auto const tooLong = hwIvecsFactory(std::string(500, 'x'));
    link.a->mount(tooLong); // there is no room now to see that
    U64 const exceptions = handlerExceptions();
    link.quiet();
    EXPECT_EQ(handlerExceptions(), exceptions + 1);
    EXPECT_FALSE(tooLong->korNboAttrLogSa(link.a->out()));
    EXPECT_TRUE(support::sameState(*mine, *theirs));
    EXPECT_THROW(link.a->mount(tooLong), RangeException);
    EXPECT_EQ(link.a->mounted(), 1u);
}

/// In a full pass, or at a mark; at the last key, or before others.
TEST(Adapter, AHookOfExceptionsMayUnmountWhatIsBeingSent) {
    String8 const tooLong(std::string(500, 'x'));
    for (int which = 0; which < 4; ++which) {
        Link link(support::smallStream);
        auto remarks = makePtr<remarks::Remarks>("remarks");
        bool const isMarked = which % 2 != 0, isLast = which < 2;
        if (isMarked) {
            link.a->mount(remarks, Entity::Kor_BitSet(1u << StreamAdapter::Bit::alwaysFlowOut));
            link.a->flow();
        }
        for (int i = 0; i < 2 && !isLast; ++i) { // one of them is after it
            remarks->remarkIs(String8(i == 0 ? "a" : "y"), 1);
        }
        remarks->remarkIs(tooLong, 1);
        int told = 0;
        auto const before = handlerExceptionHookIs([&](HandlerException const&) {
            ++told;
            link.a->unmount(remarks);
            remarks = nullptr;
        });
        if (!isMarked) {
            link.a->mount(remarks);
        }
        link.a->flow();
        handlerExceptionHookIs(before);
        EXPECT_EQ(told, 1);
        EXPECT_EQ(link.a->mounted(), 0u);
        EXPECT_FALSE(link.a->hasWork());
    }
}

TEST(Adapter, TheExchangeIsThatOfThePage) {
    Link link;
    auto const dir = lifAppConfigDirFactory("lif");
    auto const key = AradLifEntry(lifGeneral, 1, 2);
    dir->appConfigIs(Loam::vtAppMpls)->reqCountIs(key, 1);
    link.a->mount(dir);
    link.a->flow();
    dir->appConfig(Loam::vtAppMpls)->reqCountIs(key, 2);
    dir->appConfigDel(Loam::vtAppMpls);
    link.a->unmount(dir);
    std::string expected = exchangeOfPage("## An exchange");
    std::ranges::replace(expected, '\n', ' ');
    EXPECT_EQ(hexOf(link.a->out()->readable()), expected);
}

TEST_F(Directories, AnUnknownApplicationIsKeptAndAnyOtherUnknownEnumeratorIsTheRecordsFault) {
    EXPECT_TRUE(give(*link.b, {id, 258, true, 0, announcedChildAttribute},
                     [&](auto const& out) { out << U32{77} << EntityId::ofNumber(1000 << 2 | 3); }));
    EXPECT_EQ(link.b->stats().unknownEnums, 1u);
    EXPECT_TRUE(theirs->appConfig(static_cast<Loam::VtAppId>(77)));
    auto const request = link.mountAtA(makePtr<OutAcRequest>(OutAcKey()));
    EXPECT_TRUE(give(*link.b, {adapterOf(*request, *link.b)->entityId(), 259, true},
                     [&](auto const& out) { out << U32{77} << U32{1}; }));
    EXPECT_EQ(link.b->stats().refusedRecords, 1u);
    EXPECT_TRUE(request->reqCountMap().empty());
    // An offset that leads out of the record.
    EXPECT_FALSE(give(*link.b, {id, directoryAttribute, true},
                      [&](auto const& out) { out << U16{9999} << U16{0} << U32{258}; }));
}

TEST_F(Directories, AChildUnderANewIdIsMadeAnewAndOneThatIsNotMountedIsKept) {
    auto const key = Loam::vtAppMpls;
    auto const copyOf = [&] { return theirs->appConfig(key); };
    mine->appConfigIs(key)->reqCountIs(lifEntry(1), 1);
    link.quiet();
    Ptr<LifAppConfig> const first = copyOf();
    // Deleted and made again while nothing leaves.
    adapterOf(*mine, *link.a)
        ->notificationFlagsIs(Entity::Kor_BitSet(1u << StreamAdapter::Bit::alwaysFlowOut));
    mine->appConfigDel(key);
    mine->appConfigIs(key)->reqCountIs(lifEntry(2), 2);
    link.quiet();
    EXPECT_NE(copyOf(), first);
    EXPECT_TRUE(support::sameState(*mine, *theirs));
    // Both sides at once: that of the side that was connected to stays.
    mine->appConfigDel(key);
    link.quiet();
    auto const loser = mine->appConfigIs(key);
    auto const winner = theirs->appConfigIs(key);
    loser->reqCountIs(lifEntry(3), 3);
    winner->reqCountIs(lifEntry(4), 4);
    link.quiet();
    EXPECT_EQ(copyOf(), winner);
    EXPECT_EQ(mine->appConfig(key)->reqCount(lifEntry(4)), 4u);
    mine->appConfig(key)->reqCountIs(lifEntry(5), 5);
    link.quiet();
    EXPECT_TRUE(support::sameState(*mine, *theirs));
    // A new connection keeps the children that are there.
    Link second;
    second.b->rootHookIs([&](Ptr<Entity> const&) { return theirs; });
    second.a->mount(mine);
    second.quiet();
    EXPECT_EQ(copyOf(), winner);
    EXPECT_TRUE(support::sameState(*mine, *theirs));
    // A remount goes down the whole tree.
    adapterOf(*mine, *second.a)->doRemountSelf(second.a->out());
    EXPECT_EQ(second.a->mounted(), 1u);
    second.quiet();
    EXPECT_EQ(second.a->mounted(), 2u);
    EXPECT_TRUE(support::sameState(*mine, *theirs));
}

TEST(Adapter, ADirectoryKnowsWhichOfItsEntriesHaveComeAsAWhole) {
    Link link;
    auto const tree = makePtr<Dir>("tree");
    link.b->rootHookIs([&](Ptr<Entity> const& offered) {
        tree->entityIs(offered);
        return offered;
    });
    auto const mine = hwIvecsFactory("mine");
    link.a->mount(mine);
    link.a->flow();
    Link::carry(*link.a, *link.b, link.a->out()->pending() - 1); // all but the last byte of sync mode 1
    link.b->receive();
    EXPECT_TRUE(tree->entry("mine"));
    EXPECT_EQ(tree->entryMode("mine"), 0u);
    link.quiet();
    EXPECT_EQ(tree->entryMode("mine"), static_cast<U32>(MsgChannel::Mode::synchronized));
    // What is there under the name is another one.
    auto const other = hwIvecsFactory("mine");
    tree->entryDel("mine");
    tree->entityIs(other);
    EXPECT_EQ(tree->entryMode("mine"), 0u);
    adapterOf(*mine, *link.a)->doThis();
    link.quiet();
    EXPECT_EQ(tree->entryMode("mine"), 0u);
    tree->entryModeIs("nobody", 3);
    EXPECT_EQ(tree->entryMode("nobody"), 0u);
}

TEST_F(Directories, AChildThatIsToldOfLateBringsWhatItHas) {
    mine->newAppConfig(Loam::vtAppMpls)->reqCountIs(lifEntry(1), 7);
    link.quiet();
    EXPECT_TRUE(theirs->appConfigMap().empty());
    mine->appConfigNotify(Loam::vtAppMpls);
    link.quiet();
    ASSERT_TRUE(theirs->appConfig(Loam::vtAppMpls));
    EXPECT_EQ(theirs->appConfig(Loam::vtAppMpls)->reqCount(lifEntry(1)), 7u);
}

// It was never on the connection; what is written into it meanwhile is of now.
TEST_F(Directories, AChildThatIsNewAndEmptyEmptiesOneThatWasLeftUnderItsKey) {
    auto const left = theirs->newAppConfig(Loam::vtAppMpls);
    left->reqCountIs(lifEntry(1), 7);
    mine->appConfigIs(Loam::vtAppMpls);
    constexpr std::size_t childRecord = 2 + 11;
    Link::carry(*link.a, *link.b, childRecord);
    link.b->receive();
    ASSERT_TRUE(left->korNboAttrLogSa(link.b->out()));
    left->reqCountIs(lifEntry(2), 2);
    link.quiet();
    EXPECT_EQ(theirs->appConfig(Loam::vtAppMpls), left);
    EXPECT_TRUE(support::sameState(*mine, *theirs));
    EXPECT_EQ(left->reqCountMap().count(), 1u);
    EXPECT_EQ(mine->appConfig(Loam::vtAppMpls)->reqCount(lifEntry(2)), 2u);
}

TEST(Adapter, ChildrenThatBothSidesMakeAtOnceEndEqualWhateverIsInThem) {
    Random random;
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        Link link(support::smallStream);
        auto const mine = lifAppConfigDirFactory("lif");
        auto const theirs = link.mountAtA(mine);
        auto const sides = std::array{std::pair{mine, link.a}, std::pair{theirs, link.b}};
        for (int step = 0; step < 100; ++step) {
            U32 const which = random.below(2);
            auto const& [dir, demuxer] = sides[which];
            switch (random.below(4)) {
            case 0: { // each key within a child has one writer
                auto const child = dir->appConfigIs(static_cast<Loam::VtAppId>(1 + random.below(3)));
                if (random.below(2) == 0) {
                    child->reqCountIs(lifEntry(2 * random.below(20) + which), 1 + random.below(1000));
                }
                break;
            }
            case 1:
                demuxer->flow();
                break;
            default:
                Link::carry(*demuxer, *sides[1 - which].second, random.below(200));
                sides[1 - which].second->receive();
            }
        }
        link.quiet();
        ASSERT_TRUE(support::sameState(*mine, *theirs));
        ASSERT_TRUE(link.a->isOpen() && link.b->isOpen());
    }
}

TEST_F(Properties, WhatIsNobodysOrUnknownIsPassedOverAndWhatIsTooShortEndsTheConnection) {
    auto const before = theirs->version();
    auto const refer = [&](U64 to) {
        return give(*link.b, {id, 258, true}, [&](auto const& out) { out << Loam::fapTypeArad << to; });
    };
    EXPECT_TRUE(refer(id.number()));    // another class
    EXPECT_TRUE(refer(4000 << 2 | 3));  // nobody
    EXPECT_TRUE(announce(*link.b, id)); // again, which may be
    EXPECT_EQ(theirs->version(), before);
    EXPECT_EQ(link.b->stats().refusedRecords, 2u);
    auto const nothing = [](auto const&) {};
    EXPECT_TRUE(give(*link.b, {id, 999, false}, nothing));
    EXPECT_TRUE(give(*link.b, {{4001 << 2 | 3, 0}, 258, false}, nothing));
    EXPECT_TRUE(announce(*link.b, {4002 << 2 | 3, 0}, "of::TheFuture"));
    EXPECT_EQ(link.b->stats().unknownAttributes, 1u);
    EXPECT_EQ(link.b->stats().unknownEntities, 2u);
    EXPECT_FALSE(give(*link.b, {id, 259, false, 1}, nothing));
    EXPECT_EQ(link.b->closeReason(), "record is shorter than its attribute");
    EXPECT_FALSE(link.b->receive());
    EXPECT_EQ(theirs->references(), 1u);
    EXPECT_THROW(link.b->mount(theirs), RangeException);
}

TEST_F(Configs, APeerThatBeginsPassesOverAndOverIsLetGo) {
    fill(*mine, 1000);
    link.quiet();
    U32 markers = 0;
    while (markers < 10'000 && giveMarker(*link.b, id, 259, Type::start)) {
        ++markers;
    }
    EXPECT_GT(markers, 100u);
    EXPECT_EQ(link.b->closeReason(), "peer begins full passes over and over");
    EXPECT_EQ(theirs->reqCountMap().count(), 1000u);
}

TEST_F(Directories, AnIdInUseIsTheRecordsFaultAndAnUnknownMarkerThatOfTheStream) {
    EXPECT_TRUE(give(*link.b, {id, 258, true, 0, announcedChildAttribute},
                     [&](auto const& out) { out << Loam::vtAppMpls << id; }));
    EXPECT_EQ(link.b->stats().refusedRecords, 1u);
    EXPECT_TRUE(theirs->appConfigMap().empty());
    EXPECT_FALSE(giveMarker(*link.b, id, 258, static_cast<Type>(3)));
    EXPECT_EQ(link.b->closeReason(), "record is an unknown marker");
}

TEST(Adapter, IdsAreTheSendersOwnAndNoMoreThanTheLimit) {
    EXPECT_FALSE(
        give(*Link().b, {EntityId{7, 0}, std::numeric_limits<AttributeId>::min(), true}, [](auto const&) {}));
    Link link({640, 256, 2});
    for (U32 const number : {1u, 2u, 3u}) {
        EXPECT_EQ(announce(*link.b, EntityId::ofNumber(number << 2 | 3)), number < 3);
    }
    EXPECT_EQ(link.b->closeReason(), "peer has more entities than the limit");
    EXPECT_FALSE(announce(*link.a, EntityId::ofNumber(1 << 2 | 3)));
    EXPECT_EQ(link.a->closeReason(), "record gives an id that is not the sender's to give");
}

} // namespace
