/// What sessions add to an attribute log: hello and goodbye, roots, pushes, calls, and peers that know more,
/// less, or mean harm.

#include "reflect/type/Dir.h"
#include "runtime/HandlerExceptions.h"
#include "support/Sessions.h"
#include "tests/attrlog/Page.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <span>
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
using support::Random;
using support::sameState;
using support::Sessions;
using Texts = std::vector<std::string>;

/// What a peer could send that is no Session.
struct Raw {
    explicit Raw(std::array<U8, 8> const& magic = Session::magic, U16 lowest = 2, U16 highest = 2) {
        bytes.assign(magic.begin(), magic.end());
        for (U16 const each : {lowest, highest}) {
            bytes.push_back(static_cast<U8>(each >> 8));
            bytes.push_back(static_cast<U8>(each));
        }
    }
    template <class Write>
    Raw& record(MsgHeader const& header, Write const& write) {
        auto const out = makePtr<Out>(StreamLimits{1 << 18, 60'000});
        out->nextHeaderIs(header);
        out << TransactToken(1);
        write(out);
        out << TransactToken(3);
        bytes.insert(bytes.end(), out->readable().begin(), out->readable().end());
        return *this;
    }
    template <class Write>
    Raw& control(AttributeId attribute, Write const& write) {
        return record({MsgHeader::announcing, attribute, true}, write);
    }
    /// So many, each with its number.
    template <class Write>
    Raw& controls(U32 count, AttributeId attribute, Write const& write) {
        for (U32 i = 0; i < count; ++i) {
            control(attribute, [&](auto const& out) { write(out, i); });
        }
        return *this;
    }
    Raw& hello(U32 limit = 4096, U32 ring = 1 << 18, U32 entities = 10, String8 const& name = "raw") {
        return control(helloAttribute, [&](auto const& out) {
            out->currentPayloadSectionIs(PayloadSection::helloName);
            out << name;
            out->currentPayloadSectionIs(PayloadSection::helloSchema);
            out << U64{8};
            out->currentPayloadSectionIs(PayloadSection::helloLimits);
            out << limit << ring << entities << U32{4};
            out->currentPayloadSectionIs(static_cast<PayloadSection>(99)); // of the future
            out << U64{1};
        });
    }
    /// Whether the session is still open.
    bool to(Session& session, std::size_t piece = ~std::size_t{0}) {
        std::span<U8 const> rest(bytes);
        while (!rest.empty() && session.isOpen()) {
            rest = rest.subspan(session.in()->feed(rest.first(std::min(piece, rest.size()))));
            session.receive();
            session.flow();
        }
        bytes.clear();
        return session.isOpen();
    }

    std::vector<U8> bytes;
};

auto const nothing = [](auto const&) {};

struct Refused {
    Raw peer;
    char const* reason;
};
auto const takenIn = [](Session&, Name const&, Ptr<Entity> const& made) { return made; };

// Hello and goodbye

TEST(Hello, TellsEachSideOfTheOtherAndAgreesOnTheSmallerRecord) {
    for (std::size_t const piece : {std::size_t{1}, std::size_t{1000}}) {
        Sessions two({1 << 16, 2000, 50});
        two.b = makePtr<Session>(Side::accepting, SessionConfig{"driver", 9, {1 << 16, 1500, 60}, 5});
        int established = 0;
        two.a->hooksIs({[&](Session&) { ++established; }, {}, {}});
        two.quiet(piece);
        ASSERT_TRUE(two.a->isEstablished() && two.b->isEstablished()) << two.a->closeReason().charPtr();
        EXPECT_EQ(established, 1);
        EXPECT_EQ(two.a->peerName(), "driver");
        EXPECT_EQ(two.a->peer()->schema, 9u);
        EXPECT_FALSE(two.a->isSameSchema());
        EXPECT_EQ(two.a->peer()->limits.entities, 60u);
        EXPECT_EQ(two.b->peer()->offers, 1024u);
        for (auto const& each : {two.a, two.b}) {
            EXPECT_EQ(each->out()->limits().record, 1500u);
            EXPECT_EQ(each->demuxer().protocol(), 3u);
        }
        EXPECT_TRUE(two.a->areOffersKnown() && two.b->areOffersKnown());
        two.a->close("enough");
        two.quiet(piece);
        EXPECT_EQ(two.b->closeReason(), "enough");
        EXPECT_TRUE(two.b->isClosedByPeer() && !two.a->isClosedByPeer());
        EXPECT_TRUE(two.a->isOver() && two.b->isOver());
    }
}

TEST(Hello, ThatDoesNotFitIsRefusedAndThePeerIsToldWhy) {
    auto http = Session::magic;
    std::copy_n("GET / HT", 8, http.begin());
    auto late = Session::magic;
    late[7] = 'h';
    Refused const refused[] = {
        {Raw(http), "peer does not speak the attribute log: it began with 47 45 54 20 2f 20 48 54"},
        {Raw(late), "peer does not speak the attribute log: it began with 89 4c 6f 61 6d 4c 6f 68"},
        {Raw(Session::magic, 4, 7), "peer speaks protocol 4 to 7, this side 2 to 3"},
        {Raw(Session::magic, 0, 1), "peer speaks protocol 0 to 1, this side 2 to 3"},
        {Raw(Session::magic, 3, 2), "hello has no protocol: from 3 to 2"},
        {Raw().hello(1023), "hello has a record limit of 1023 bytes; 1024 to 65535 are possible"},
        {Raw().hello(65536, 1 << 20), "hello has a record limit of 65536 bytes; 1024 to 65535 are possible"},
        {Raw().hello(4096, 8191), "hello has a ring of 8191 bytes, which does not hold two records of 4096"},
        {Raw().hello(4096, 1 << 18, 0), "hello has a limit of no entities"},
        {Raw().hello(4096, 1 << 18, 1, std::string(65, 'x')),
         "hello has a name that is longer than 64 bytes or has control characters"},
        {Raw().hello(4096, 1 << 18, 1, "x\n"),
         "hello has a name that is longer than 64 bytes or has control characters"},
        {Raw().control(helloAttribute, nothing), "hello has no name, schema or limits"},
        {Raw().hello(4096, 1 << 18, 1, std::string(5000, 'x')), "record is longer than the limit"},
        {Raw().control(helloAttribute,
                       [](auto const& out) {
                           out->currentPayloadSectionIs(PayloadSection::helloLimits);
                           out << U32{4096};
                       }),
         "record is shorter than its attribute"},
        {Raw().control(wantAttribute, nothing), "record comes before the hello"},
        {Raw().record({{7, 0}, 258, true}, nothing), "record comes before the hello"},
        {Raw().hello().hello(), "record is a second hello"},
    };
    Sessions newer;
    EXPECT_TRUE(Raw(Session::magic, 1, 9).hello().to(*newer.b));
    EXPECT_EQ(newer.b->demuxer().protocol(), 3u);
    for (auto const& each : refused) {
        for (std::size_t const piece : {std::size_t{1}, std::size_t{100'000}}) {
            SCOPED_TRACE(each.reason);
            Sessions two;
            String8 told;
            two.b->hooksIs({{}, {}, [&](Session&, String8 const& reason) { told = reason; }});
            Raw peer = each.peer;
            EXPECT_FALSE(peer.to(*two.b, piece));
            // Of a wrong beginning it says as much as has come.
            std::string const reason(two.b->closeReason().view());
            EXPECT_EQ(reason, std::string(each.reason).substr(0, std::max<std::size_t>(53, reason.size())));
            EXPECT_EQ(told, reason);
            EXPECT_FALSE(two.b->isOver()); // the goodbye is to be sent
            Sessions::carry(*two.b, *two.a);
            two.a->receive();
            EXPECT_EQ(two.a->closeReason(), reason);
            EXPECT_TRUE(two.a->isClosedByPeer());
            EXPECT_TRUE(two.b->isOver());
        }
    }
}

TEST(Goodbye, WaitsForRoomAndIsTheLastWord) {
    Sessions two(support::smallSession);
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    two.offeredByB->offer("config", config);
    two.a->want("config");
    two.quiet();
    fill(*config, 1000);
    two.b->close("going down\x1b[2J");
    EXPECT_TRUE(two.b->flow());
    EXPECT_FALSE(two.b->isOver());
    two.quiet();
    EXPECT_TRUE(two.b->isOver());
    EXPECT_EQ(two.a->closeReason(), "going down?[2J");
    EXPECT_THROW(two.a->want("other"), RangeException);
    EXPECT_THROW(two.a->call("x", "", {}), RangeException);
    Sessions cut;
    cut.quiet();
    cut.b->cut("peer is gone");
    EXPECT_TRUE(cut.b->isOver());
    EXPECT_EQ(cut.b->out()->pending(), 0u);
}

TEST(Goodbye, ReachesEveryHookWhateverTheOthersThrow) {
    Sessions two;
    Texts told;
    auto const tell = [&](std::string const& who) {
        told.push_back(who);
        throw RangeException(String8(who));
    };
    two.offeredByA->acceptIs(
        "", takenIn, [&](Session&, Name const& path, Ptr<Entity> const&, RootState state, String8 const&) {
            if (state == RootState::absent) {
                tell(std::string(path.view()));
            }
        });
    for (char const* const path : {"pushed 1", "pushed 2"}) {
        two.b->push(path, hwIvecsFactory(path));
    }
    for (char const* const path : {"wanted 1", "wanted 2"}) {
        two.offeredByB->offer(path, hwIvecsFactory(path));
        two.a->want(path, [&tell, path](RootState state, Ptr<Entity> const&, String8 const&) {
            if (state == RootState::absent) {
                tell(path);
            }
        });
    }
    two.quiet();
    for (std::string const number : {" 1", " 2"}) {
        two.a->call("wait", "", [&tell, number](bool, String8 const&) { tell("call" + number); });
        two.a->fence(FenceLevel::done, [&tell, number](FenceResult const&) { tell("fence" + number); });
    }
    two.a->hooksIs({{}, {}, [&](Session&, String8 const&) { tell("closed"); }});
    U64 const counted = handlerExceptions();
    try {
        two.a->close("enough");
        FAIL() << "nothing is thrown";
    } catch (RangeException const& first) {
        EXPECT_EQ(first.message(), "wanted 1");
    }
    EXPECT_EQ(told, (Texts{"wanted 1", "wanted 2", "pushed 1", "pushed 2", "call 1", "call 2", "fence 1",
                           "fence 2", "closed"}));
    EXPECT_EQ(handlerExceptions(), counted + 8);
    two.quiet();
    EXPECT_EQ(two.b->closeReason(), "enough"); // the peer is told, too
    EXPECT_EQ(told.size(), 9u);
}

TEST(Hello, WhoseHookThrowsBeginsWhatHasWaitedForIt) {
    Sessions two;
    two.a->hooksIs({[](Session&) { throw RangeException("no"); }, {}, {}});
    two.a->push("pushed", hwIvecsFactory("pushed"));
    two.offeredByB->acceptIs("", takenIn);
    FenceOutcome outcome = FenceOutcome::gone;
    two.a->fence(FenceLevel::applied, [&](FenceResult const& result) { outcome = result.outcome; });
    two.quiet();
    EXPECT_EQ(two.a->stats().refusedRecords, 1u);
    EXPECT_TRUE(two.a->hasMounted("pushed") || two.b->demuxer().mounted() == 1u);
    EXPECT_EQ(outcome, FenceOutcome::applied);
}

// What each side says, in records, as the page has it: a client wants one root, pushes another one, asks, and
// leaves.
TEST(Session, TheExchangeIsThatOfThePage) {
    auto const dir = lifAppConfigDirFactory("lif");
    dir->appConfigIs(Loam::vtAppMpls);
    auto const service = makePtr<Service>();
    service->offer("lif", dir, Access::readOnly);
    service->handlerIs("echo", [](Session&, String8 const& text) { return text; });
    SessionConfig configOfDriver{"driver", 2}, configOfClient{"mpls", 1};
    configOfDriver.token = {2, 2};
    configOfClient.token = {1, 1};
    auto const driver = makePtr<Session>(Side::accepting, configOfDriver, service);
    auto const client = makePtr<Session>(Side::connecting, configOfClient);
    client->want("lif");
    client->push("request", makePtr<HwIvecs>("mine"));
    client->call("echo", "hi", {});
    client->fence(FenceLevel::applied, [&](FenceResult const&) { client->close("done"); });
    std::string sent;
    for (bool moves = true; moves;) {
        moves = false;
        for (auto const& [from, to, mark] :
             {std::tuple{client, driver, '>'}, std::tuple{driver, client, '<'}}) {
            from->flow();
            for (auto bytes = from->out()->readable(); !bytes.empty();) {
                // The preamble, then record by record.
                std::size_t n = bytes[0] == Session::magic[0] ? 12 : 0; // no record is that long
                n = n != 0 ? n : 2 + (std::size_t{bytes[0]} << 8 | bytes[1]);
                for (std::size_t i = 0; i < n; i += 16) {
                    ((sent += '\n') += mark) += hexOf(bytes.subspan(i, std::min<std::size_t>(16, n - i)));
                }
                to->in()->feed(bytes.first(n));
                from->out()->nextBytes(n);
                bytes = from->out()->readable();
                moves = true;
            }
            to->receive();
        }
    }
    EXPECT_EQ(sent, exchangeOfPage("## Sessions"));
    EXPECT_EQ(driver->closeReason(), "done");
}

// Roots

using States = std::vector<RootState>;
struct Told {
    States states;
    Texts reasons;
    Session::WantHook hook() {
        return [this](RootState state, Ptr<Entity> const&, String8 const& why) {
            states.push_back(state);
            reasons.emplace_back(why.view());
        };
    }
    auto verdictHook() {
        return [this](bool accepted, String8 const& why) {
            reasons.emplace_back(accepted ? "accepted" : why.view());
        };
    }
    /// Why what was asked for is refused.
    std::string refusal() const {
        return states == States{RootState::requested, RootState::refused} ? reasons[1] : "it is not refused";
    }
};

TEST(Root, IsSentToThoseAloneWhoWantItAndSynchronizedWhenAllBelowIsThere) {
    Random random;
    for (std::size_t const piece : {std::size_t{1}, std::size_t{100}, std::size_t{1} << 20}) {
        Sessions two(support::smallSession);
        auto const dir = lifAppConfigDirFactory("lif");
        for (U32 app = 0; app < 8; ++app) {
            auto const child = dir->appConfigIs(static_cast<Loam::VtAppId>(app));
            for (U32 i = 0; i < 60; ++i) {
                child->reqCountIs(lifEntry(random.below(1000)), 1 + random.below(9));
            }
        }
        auto const properties = makePtr<FapTypeProperties>();
        properties->propertiesIs(Loam::fapTypeArad,
                                 makePtr<FapTypeProperties::AradProperties>(Loam::fapTypeArad));
        two.offeredByB->offer("lif", dir);
        two.offeredByB->offer("properties", properties, Access::readOnly);
        two.quiet(piece);
        EXPECT_EQ(two.b->demuxer().mounted(), 0u);
        ASSERT_EQ(two.a->peerOffers().size(), 2u);
        EXPECT_EQ(two.a->peerOffers().at("lif").type, "Hardware::LoamTunnel::LifAppConfigDir");
        EXPECT_EQ(two.a->peerOffers().at("properties").access, Access::readOnly);

        auto const mine = lifAppConfigDirFactory("mine");
        mine->appConfigIs(static_cast<Loam::VtAppId>(9)); // goes
        Told lif, all;
        bool wasWhole = false;
        two.a->want("lif", mine, [&](RootState state, Ptr<Entity> const& root, String8 const& why) {
            lif.hook()(state, root, why);
            wasWhole = state == RootState::synchronized && sameState(*dir, *mine);
        });
        two.a->want("properties", [&](RootState state, Ptr<Entity> const& root, String8 const& why) {
            all.hook()(state, root, why);
            if (state == RootState::synchronized) {
                EXPECT_TRUE(sameState(*properties, static_cast<FapTypeProperties&>(*root)));
            }
        });
        two.quiet(piece);
        EXPECT_TRUE(wasWhole);
        States const usual{RootState::requested, RootState::synchronizing, RootState::synchronized};
        EXPECT_EQ(lif.states, usual);
        EXPECT_EQ(all.states, usual);
        EXPECT_EQ(two.a->root("lif"), mine);

        // Later children and changes come without another word; a remount is one.
        dir->appConfigIs(static_cast<Loam::VtAppId>(10))->reqCountIs(lifEntry(1), 1);
        two.quiet(piece);
        EXPECT_TRUE(sameState(*dir, *mine));
        EXPECT_EQ(lif.states.size(), 3u);
        ptrCast<StreamAdapter>(dir->korNboAttrLogSa(two.b->out()))->doRemountSelf(two.b->out());
        two.quiet(piece);
        EXPECT_EQ(lif.states.size(), 5u);
        EXPECT_EQ(lif.states.back(), RootState::synchronized);
        EXPECT_TRUE(wasWhole);

        // The copy of one is written by its peer, that of the other is not.
        mine->appConfigIs(static_cast<Loam::VtAppId>(11))->reqCountIs(lifEntry(5), 5);
        bool const initialized = properties->initialized();
        ptrCast<FapTypeProperties>(two.a->root("properties"))->initializedIs(!initialized);
        two.quiet(piece);
        EXPECT_TRUE(sameState(*dir, *mine));
        EXPECT_EQ(properties->initialized(), initialized);
        EXPECT_EQ(two.b->stats().refusedRecords, 0u); // it does not even leave

        two.a->unwant("lif");
        two.quiet(piece);
        U32 const before = dir->appConfigMap().count();
        dir->appConfigDelAll();
        two.quiet(piece);
        EXPECT_EQ(mine->appConfigMap().count(), before);
        EXPECT_EQ(two.a->rootState("lif"), RootState::absent);
        two.a->unwant("properties");
        two.quiet(piece);
    }
}

TEST(Root, ComesBackWhenItIsOfferedAgainAndEndsWithTheSession) {
    Sessions two;
    Told told;
    int changes = 0;
    two.a->hooksIs({{}, [&](Session&) { ++changes; }, {}});
    two.a->want("it", told.hook());
    two.quiet();
    EXPECT_EQ(changes, 1);
    EXPECT_TRUE(told.states.empty());
    auto const first = makePtr<HwIvecs>("first");
    auto const second = makePtr<EvecStatus>("second");
    two.offeredByB->offer("it", first);
    two.quiet();
    EXPECT_EQ(two.a->root("it")->name(), "first");
    two.offeredByB->offer("it", first); // as it was
    EXPECT_FALSE(two.b->flow());
    two.offeredByB->offer("it", second, Access::readOnly);
    two.quiet();
    EXPECT_EQ(two.a->root("it")->name(), "second");
    EXPECT_EQ(two.b->demuxer().mounted(), 1u);
    two.offeredByB->withdraw("it");
    two.offeredByB->withdraw("it");
    two.quiet();
    EXPECT_EQ(two.a->root("it"), nullptr);
    two.offeredByB->offer("it", first);
    two.offeredByB->withdraw("it");
    two.quiet();
    two.offeredByB->offer("it", second);
    two.a->unwant("it");
    two.a->want("it", told.hook());
    two.quiet();
    EXPECT_EQ(two.a->rootState("it"), RootState::synchronized);
    two.b->close("bye");
    two.quiet();
    using enum RootState;
    EXPECT_EQ(told.states, (States{requested, synchronizing, synchronized, absent, //
                                   requested, synchronizing, synchronized, absent, //
                                   requested, synchronizing, synchronized, absent}));
    EXPECT_EQ(told.reasons[7], "the peer has withdrawn it");
    EXPECT_EQ(told.reasons.back(), "bye");
    EXPECT_EQ(first->references(), 1u);
    EXPECT_TRUE(two.offeredByB->sessions().empty());
}

TEST(Root, IsAskedForAndGivenUpInAnyOrder) {
    Random random;
    for (int run = 0; run < 300; ++run) {
        Sessions two(support::smallSession);
        std::array<Ptr<LifAppConfig>, 2> const theirs{lifAppConfigFactory(Loam::vtAppMpls),
                                                      lifAppConfigFactory(Loam::vtAppVxlan)};
        auto const mine = lifAppConfigFactory(Loam::vtAppMpls);
        bool wanted = false;
        for (int step = 0; step < 60; ++step) {
            switch (random.below(6)) {
            case 0:
                two.offeredByB->offer("it", theirs[random.below(2)]);
                break;
            case 1:
                two.offeredByB->withdraw("it");
                break;
            case 2:
                two.a->want("it", mine);
                wanted = true;
                break;
            case 3:
                two.a->unwant("it");
                wanted = false;
                break;
            case 4: {
                auto const& config = theirs[random.below(2)];
                for (U32 i = random.below(2) * random.below(200);
                     i-- > 0;) { // often more than there is room for
                    config->reqCountIs(lifEntry(random.below(99)), static_cast<U32>(step) + 1);
                }
                break;
            }
            default:
                Session& from = random.below(2) != 0 ? *two.a : *two.b;
                Session& to = &from == two.a.ptr() ? *two.b : *two.a;
                from.flow();
                Sessions::carry(from, to, random.below(200));
                ASSERT_TRUE(to.receive()) << to.closeReason().charPtr();
            }
        }
        two.quiet(1 + random.below(50));
        auto const* const offer = two.offeredByB->offered("it");
        ASSERT_EQ(two.a->rootState("it"),
                  wanted && offer != nullptr ? RootState::synchronized : RootState::absent);
        ASSERT_EQ(two.b->demuxer().mounted(), wanted && offer != nullptr ? 1u : 0u);
        if (wanted && offer != nullptr) {
            ASSERT_TRUE(sameState(*mine, static_cast<LifAppConfig&>(*offer->entity)));
        }
    }
}

// What was mounted before is let go first, even if offers have filled the stream meanwhile.
TEST(Root, OfferedAnewOnAFullStreamTakesThePlaceOfTheOldOne) {
    Sessions two(support::smallSession);
    auto const first = lifAppConfigFactory(Loam::vtAppMpls), second = lifAppConfigFactory(Loam::vtAppVxlan);
    auto const mine = lifAppConfigFactory(Loam::vtAppMpls);
    two.offeredByB->offer("0", first);
    Told told;
    two.a->want("0", mine, told.hook());
    two.quiet();
    fill(*first, 200);
    second->reqCountIs(lifEntry(1), 1);
    two.offeredByB->offer("0", second); // there is no room to tell that the first one is gone
    for (int i = 1; i < 200; ++i) {
        two.offeredByB->offer(std::to_string(i), hwIvecsFactory(""));
    }
    Sessions::carry(*two.b, *two.a);
    two.a->receive();
    two.b->flow(); // offers, as far as there is room
    Sessions::carry(*two.b, *two.a);
    two.a->receive();
    two.a->flow();
    ASSERT_NE(Sessions::carry(*two.a, *two.b), 0u); // it is asked for
    two.b->receive();
    two.quiet();
    EXPECT_EQ(told.states.back(), RootState::synchronized) << told.reasons.back();
    EXPECT_TRUE(sameState(*second, *mine));
}

TEST(Root, ThatCannotBeHadIsRefusedWithTheReason) {
    Sessions two;
    auto const dir = lifAppConfigDirFactory("lif");
    auto const child = dir->appConfigIs(Loam::vtAppMpls);
    Service& service = *two.offeredByB;
    service.offer("lif", dir);
    EXPECT_THROW(service.offer("child", child), RangeException); // it would travel twice
    EXPECT_THROW(service.offer("again", dir), RangeException);
    EXPECT_THROW(service.offer("", makePtr<HwIvecs>("x")), RangeException);
    EXPECT_THROW(service.offer(std::string(256, 'x'), makePtr<HwIvecs>("x")), RangeException);
    EXPECT_THROW(service.offer("x\n", makePtr<HwIvecs>("x")), RangeException);
    EXPECT_THROW(service.offer("x", nullptr), RangeException);
    EXPECT_THROW(service.offer("x", makePtr<Dir>("x")), RangeException);
    EXPECT_EQ(service.offers().size(), 1u);

    auto const refusal = [&](Name const& path, Session::Take take) {
        Told told;
        two.a->want(path, told.hook(), std::move(take));
        two.quiet();
        EXPECT_EQ(two.b->demuxer().mounted(), 0u);
        two.a->unwant(path);
        return told.refusal();
    };
    EXPECT_EQ(refusal("lif", [](auto const&) { return makePtr<HwIvecs>("x"); }),
              "it is a Hardware::LoamTunnel::LifAppConfigDir, and its place is for a "
              "Hardware::LoamTunnel::HwIvecs");
    EXPECT_EQ(refusal("lif", [](auto const&) -> Ptr<Entity> { throw RangeException("not today"); }),
              "not today");
    EXPECT_EQ(refusal("lif", [](auto const&) { return nullptr; }), "it is not taken in");

    // One that cannot be announced: its name is longer than a record.
    service.offer("long", makePtr<HwIvecs>(std::string(5000, 'x')));
    EXPECT_EQ(refusal("long", {}), "record is longer than 4096 bytes");
    EXPECT_TRUE(two.a->isOpen() && two.b->isOpen());
}

// Pushes

TEST(Push, GivesThePeerAnEntityThatItFindsAPlaceFor) {
    auto const dir = lifAppConfigDirFactory("lif");
    auto const service = makePtr<Service>();
    service->acceptIs("request", [&](Session& peer, Name const&, Ptr<Entity> const& made) -> Ptr<Entity> {
        if (peer.peerName() != "a") {
            throwRangeException("not from you");
        }
        auto const config = ptrCast<LifAppConfig>(made);
        return config ? dir->appConfigIs(config->app()).ptr() : nullptr;
    });
    auto const mine = lifAppConfigFactory(Loam::vtAppMpls);
    mine->reqCountIs(lifEntry(1), 1);
    auto const theirs = dir->appConfigIs(Loam::vtAppMpls);
    for (Access const access : {Access::writable, Access::readOnly}) {
        theirs->reqCountIs(lifEntry(9), 9); // goes
        Sessions two({}, {}, service);
        Told told;
        auto const hook = told.verdictHook();
        two.a->push("request", mine, access, hook);
        two.quiet(7);
        EXPECT_TRUE(sameState(*mine, *theirs));
        mine->reqCountIs(lifEntry(2), mine->reqCount(lifEntry(2)) + 1);
        theirs->reqCountIs(lifEntry(3), theirs->reqCount(lifEntry(3)) + 1);
        two.quiet();
        EXPECT_EQ(theirs->reqCount(lifEntry(2)), mine->reqCount(lifEntry(2)));
        EXPECT_EQ(sameState(*mine, *theirs), access == Access::writable);

        two.a->push("elsewhere", makePtr<HwIvecs>("x"), access, hook);
        two.a->push("request2", makePtr<HwIvecs>("y"), access, hook);
        two.quiet();
        service->acceptIs("", takenIn);
        two.a->push("elsewhere", makePtr<HwIvecs>("x"), access, hook);
        two.quiet();
        service->acceptIs("", {});
        EXPECT_EQ(told.reasons, (Texts{"accepted", "nothing is taken in under elsewhere",
                                       "nothing is taken in under request2", "accepted"}));
        EXPECT_EQ(two.a->demuxer().mounted(), 2u);
        two.a->push("request", lifAppConfigFactory(Loam::vtAppVxlan)); // in place of it
        two.quiet();
        EXPECT_TRUE(dir->appConfig(Loam::vtAppVxlan));
        EXPECT_EQ(two.b->demuxer().mounted(), 2u);
        two.a->unpush("elsewhere");
        two.quiet();
        EXPECT_EQ(two.b->demuxer().mounted(), 1u);
        two.a->cut("died");
        two.b->cut("peer is gone");
        EXPECT_EQ(theirs->references(), 2u);
    }
    EXPECT_EQ(theirs->reqCount(lifEntry(1)), 1u); // what it had stays

    // It cannot travel twice, whoever begins.
    Sessions two({}, {}, service);
    service->offer("lif", dir);
    auto const place = lifAppConfigDirFactory("copy");
    two.a->want("lif", place);
    two.quiet();
    EXPECT_THROW(two.a->push("request", place), RangeException);
    Told told;
    two.a->push("request", mine, Access::writable, told.verdictHook());
    two.quiet();
    EXPECT_EQ(told.reasons, Texts{"its place is on this connection already"});
    Sessions other({}, {}, service);
    other.a->push("request", mine);
    other.quiet();
    other.a->want("lif", told.hook());
    other.quiet();
    EXPECT_EQ(told.reasons.back(), "a part of it is on this connection already");
}

TEST(Push, IsOverWhenThePeerLetsItGo) {
    Sessions two;
    Ptr<Entity> theirs;
    two.offeredByB->acceptIs("",
                             [&](Session&, Name const&, Ptr<Entity> const& made) { return theirs = made; });
    Told told;
    auto const mine = hwIvecsFactory("mine");
    two.a->push("it", mine, Access::writable, told.verdictHook());
    two.quiet();
    two.b->demuxer().unmount(theirs);
    two.quiet();
    EXPECT_EQ(told.reasons, (Texts{"accepted", "the peer has let it go"}));
    EXPECT_EQ(two.a->demuxer().mounted(), 0u);
    two.a->push("it", mine);
    two.quiet();
    EXPECT_EQ(two.b->demuxer().mounted(), 1u);
}

// What the peer takes is what it has said

TEST(Limits, OfThePeerAreKept) {
    Sessions two;
    two.b = makePtr<Session>(Side::accepting, SessionConfig{"b", 7, {1 << 16, 2000, 2}, 2}, two.offeredByB);
    two.offeredByB->acceptIs("", takenIn);
    auto const dir = lifAppConfigDirFactory("lif");
    for (char const* const path : {"1", "2", "3", "4"}) {
        two.offeredByA->offer(path, hwIvecsFactory(path));
    }
    two.quiet();
    EXPECT_EQ(two.b->peerOffers().size(), 2u);
    two.offeredByA->withdraw("1");
    two.offeredByA->withdraw("3"); // which it has not been told of
    two.quiet();
    EXPECT_EQ(two.b->peerOffers().size(), 2u);
    EXPECT_TRUE(two.b->peerOffers().contains("4"));

    two.a->push("dir", dir);
    two.a->push("x", hwIvecsFactory("x"));
    EXPECT_THROW(two.a->push("y", hwIvecsFactory("y")), RangeException);
    two.quiet();
    EXPECT_EQ(two.b->demuxer().mounted(), 2u);
    Told told;
    two.b->want("4", told.hook());
    two.quiet();
    ASSERT_EQ(told.refusal(), "the peer takes at most 2 entities");
    two.a->unpush("x");
    two.b->unwant("4");
    two.b->want("4");
    two.quiet();
    EXPECT_EQ(two.b->rootState("4"), RootState::synchronized);
    EXPECT_TRUE(two.a->isOpen());
    two.a->push("dir", dir, Access::writable, told.verdictHook());
    two.quiet();
    dir->appConfigIs(Loam::vtAppMpls); // a part that cannot be told: that root is let go, and nothing else
    two.quiet();
    EXPECT_EQ(told.reasons.back(), "the peer takes at most 2 entities");
    EXPECT_EQ(two.b->rootState("4"), RootState::synchronized);
    EXPECT_TRUE(two.a->isOpen());
}

TEST(Limits, AnApplicationMayHaveAnyNumberOfWishes) {
    constexpr U32 roots = 4200; // more than a peer's questions may be answered late
    Sessions two(support::smallSession);
    two.b =
        makePtr<Session>(Side::accepting, SessionConfig{"b", 7, {1 << 16, 2000, roots}, 0}, two.offeredByB);
    two.a = makePtr<Session>(Side::connecting, SessionConfig{"a", 7, {1 << 16, 2000, roots}, roots});
    for (U32 i = 0; i < roots; ++i) {
        two.offeredByB->offer(std::to_string(i), hwIvecsFactory(""));
    }
    two.quiet();
    for (U32 i = 0; i < roots; ++i) {
        two.a->want(std::to_string(i));
    }
    two.quiet();
    ASSERT_TRUE(two.a->isOpen() && two.b->isOpen()) << two.a->closeReason().charPtr();
    EXPECT_EQ(two.a->demuxer().mounted(), roots);
}

// Calls

TEST(Call, IsAnsweredInOrderWithTextsOfAnyAllowedLength) {
    Sessions two(support::smallSession);
    for (auto const& service : {two.offeredByA, two.offeredByB}) {
        service->handlerIs("echo", [](Session&, String8 const& text) { return text; });
        service->handlerIs("who", [](Session& peer, String8 const&) { return peer.peerName(); });
        service->handlerIs("fail", [](Session&, String8 const&) -> String8 { throw RangeException("no"); });
        service->handlerIs("long", [](Session&, String8 const&) { return std::string(70'000, 'x'); });
    }
    Texts got;
    auto const ask = [&](Session& from, Name const& verb, std::string const& argument) {
        from.call(verb, argument, [&got](bool ok, String8 const& text) {
            got.push_back((ok ? "" : "error: ") + std::string(text.view()));
        });
    };
    Texts expected;
    for (std::size_t const length : std::initializer_list<std::size_t>{0, 1, 900, 1000, 5000, 65535}) {
        expected.emplace_back(length, 'a');
        ask(*two.a, "echo", expected.back()); // before the hello
    }
    two.quiet(333);
    EXPECT_EQ(got, expected);
    got.clear();
    ask(*two.a, "who", "");
    ask(*two.a, "fail", "");
    ask(*two.a, "long", "");
    ask(*two.a, "what", "");
    two.quiet();
    EXPECT_EQ(got, (Texts{"a", "error: no",
                          "error: the answer to \"long\" is longer than "
                          "65535 bytes",
                          "error: there is no request \"what\""}));
    got.clear();
    // Both sides at once, each with as many as it may.
    for (U32 i = 0; i < Session::maxCalls; ++i) {
        ask(*two.a, "echo", std::string(3000, 'a'));
        ask(*two.b, "echo", std::string(3000, 'b'));
    }
    EXPECT_THROW(ask(*two.a, "echo", ""), RangeException);
    EXPECT_THROW(two.b->call("", "", {}), RangeException);
    EXPECT_THROW(two.b->call(std::string(65, 'x'), "", {}), RangeException);
    two.quiet();
    EXPECT_EQ(got.size(), 2 * Session::maxCalls);
    EXPECT_THROW(ask(*two.a, "echo", std::string(65'536, 'x')), RangeException);
    got.clear();
    ask(*two.a, "echo", "late");
    two.a->cut("the line is dead");
    EXPECT_EQ(got, Texts{"error: the line is dead"});
}

// Other schemas; simulate has whole switches of two.

TEST(Schema, APeerThatIsOlderRefusesARootThatItDoesNotKnow) {
    Sessions two;
    auto const evec = makePtr<EvecStatus>("evec");
    two.offeredByB->offer("evec", evec);
    two.quiet();
    Told told;
    two.a->want("evec", told.hook());
    two.a->flow();
    Sessions::carry(*two.a, *two.b);
    two.b->receive();
    two.b->flow();
    auto const piece = two.b->out()->readable();
    std::string bytes(reinterpret_cast<char const*>(piece.data()), piece.size());
    two.b->out()->nextBytes(piece.size());
    bytes.replace(bytes.find("LoamTunnel::EvecStatus"), 22, "LoamTunnel::EvecSsssss");
    two.a->in()->feed({reinterpret_cast<U8 const*>(bytes.data()), bytes.size()});
    ASSERT_TRUE(two.a->receive()) << two.a->closeReason().charPtr();
    two.quiet();
    EXPECT_EQ(told.refusal(), "its type is not known here");
    EXPECT_FALSE(evec->korNboAttrLogSa(two.b->out())); // and it is not sent for long
    EXPECT_TRUE(two.a->isOpen() && two.b->isOpen());
}

// Limits and harm

TEST(Harm, APeerThatAsksTooMuchIsTurnedAwayWithTheReason) {
    auto const text = [](char const* verb, U32 id, U64 bits, std::size_t length) {
        return [=](auto const& out) {
            out->putNumber(id), out->putNumber(bits);
            out << String8(verb) << String8(std::string(length, 'x'));
        };
    };
    auto const wants = [](auto const& out, U32 i) { out << String8("none"), out->putNumber(i); };
    Refused const cases[] = {
        {Raw().hello().controls(1025, offerAttribute,
                                [](auto const& out, U32 i) {
                                    out << String8(std::to_string(i)) << TypeId("X"), out->putNumber(1);
                                }),
         "peer has more roots than the limit of 1024"},
        {Raw().hello().controls(5000, wantAttribute, wants), "peer asks for more than it reads answers"},
        {Raw().hello().controls(100, requestAttribute,
                                [&](auto const& out, U32 i) { text("x", i, 0, 1)(out); }),
         "peer has more than 16 requests under way"},
        {Raw().hello().controls(80, requestAttribute,
                                [&](auto const& out, U32) { text("x", 1, 1, 900)(out); }),
         "peer has a call of more than 65535 bytes"},
        {Raw().hello().controls(2, requestAttribute,
                                [&](auto const& out, U32 i) { text("x", 1 + i, 1 - i, 9)(out); }),
         "record is of another request than the one that has begun"},
        {Raw().hello().control(requestAttribute, text("", 1, 0, 9)), "record has an unsound verb"},
        {Raw().hello().control(answerAttribute, text("", 1, 0, 9)),
         "record answers another request than the next one"},
        {Raw().hello().control(wantAttribute, [](auto const& out) { out << String8("\x7f"); }),
         "record has an unsound path"},
    };
    for (auto const& each : cases) {
        SCOPED_TRACE(each.reason);
        Sessions two(support::smallSession);
        EXPECT_FALSE(Raw(each.peer).to(*two.b)); // which reads nothing
        EXPECT_EQ(two.b->closeReason(), each.reason);
    }
}

TEST(Harm, ALargeMapDoesNotHoldUpASmallRoot) {
    Sessions two;
    auto const large = lifAppConfigFactory(Loam::vtAppMpls);
    auto const small = lifAppConfigFactory(Loam::vtAppVxlan);
    fill(*large, 100'000);
    small->reqCountIs(lifEntry(1), 1);
    two.offeredByB->offer("large", large);
    two.offeredByB->offer("small", small);
    two.offeredByB->handlerIs("ping", [](Session&, String8 const&) { return "pong"; });
    two.a->want("large");
    two.quiet(1 << 12);
    ASSERT_EQ(two.a->rootState("large"), RootState::synchronized);
    two.a->unwant("large");
    two.a->want("large");
    two.a->want("small");
    bool answered = false;
    two.a->call("ping", "", [&](bool ok, String8 const&) { answered = ok; });
    U64 const before = two.b->out()->records();
    U64 untilSmall = 0, untilAnswer = 0, last = 0;
    while (untilSmall == 0 || untilAnswer == 0) {
        // What is in the ring has left already: the peer reads what fits in one record.
        two.turn(~std::size_t{0}, 4096);
        U64 const records = two.a->in()->records() - before;
        ASSERT_LT(std::exchange(last, records), records);
        if (untilSmall == 0 && two.a->rootState("small") == RootState::synchronized) {
            untilSmall = records;
        }
        if (untilAnswer == 0 && answered) {
            untilAnswer = records;
        }
    }
    EXPECT_LT(untilSmall, 500u);
    EXPECT_LT(untilAnswer, 500u);
    EXPECT_EQ(two.a->rootState("large"), RootState::synchronizing);
    two.quiet();
    EXPECT_TRUE(sameState(*large, static_cast<LifAppConfig&>(*two.a->root("large"))));
}

} // namespace
