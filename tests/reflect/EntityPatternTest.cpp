/// The rules of change, once for each kind of attribute: a driver per kind says how its map is written, and
/// one typed test holds for all of them.

#include "model/LoamTunnelModel.h"

#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

/// A reactor that writes down what it hears: the keys, and whether it saw a member under each.
template <class X, class K>
struct Recorder : X::Notifiee {
    using Key = K;
    std::vector<Key> keys;
    std::vector<bool> present;
    bool throws = false;
    std::function<void()> action; // runs once
    Kor::AttributeId reported = 0;

    void note(Key const& key, auto const& map) {
        keys.push_back(key);
        present.push_back(map.member(key) != nullptr);
        if (auto const run = std::exchange(action, nullptr)) {
            run();
        }
        if (throws) {
            throw std::runtime_error("handler");
        }
    }
    void onNotificationException(Kor::AttributeId attribute) override { reported = attribute; }
};

AradLifEntry lif(U32 n) {
    return AradLifEntry(lifAcMp, n, 0);
}
EvecKey slot(U32 n) {
    return EvecKey(Sideband::Fapmask::of({0}), Loam::EvecIndex(static_cast<U16>(n)));
}

struct ValueMapKind {
    using X = LifAppStatus;
    using Key = AradLifEntry;
    static constexpr Kor::AttributeId id = 259;
    static Kor::Ptr<X> make() { return lifAppStatusFactory(Loam::vtAppMpls); }
    static Key key(U32 n) { return lif(n); }
    static void write(X& x, U32 n, U32 value) { x.lifEntryIs(lif(n), AradLifIndex(value, lifBankManaged)); }
    static U32 read(X const& x, U32 n) { return x.lifEntry(lif(n)).index(); }
    static U32 del(X& x, U32 n) { return x.lifEntryDel(lif(n)).index(); }
    static void delAll(X& x) { x.lifEntryDelAll(); }
    static auto const& map(X const& x) { return x.lifEntryMap(); }
    static constexpr U32 absent = AradLifIndex::null;
    struct Reactor : Recorder<X, Key> {
        void onLifEntry(typename Recorder::Key const& key) override {
            this->note(key, this->notifier()->lifEntryMap());
        }
    };
};

struct CountedMapKind {
    using X = LifAppConfig;
    using Key = AradLifEntry;
    static constexpr Kor::AttributeId id = 259;
    static Kor::Ptr<X> make() { return lifAppConfigFactory(Loam::vtAppMpls); }
    static Key key(U32 n) { return lif(n); }
    static void write(X& x, U32 n, U32 value) { x.reqCountIs(lif(n), value); }
    static U32 read(X const& x, U32 n) { return x.reqCount(lif(n)); }
    static U32 del(X& x, U32 n) { return x.reqCountDel(lif(n)); }
    static void delAll(X& x) { x.reqCountDelAll(); }
    static auto const& map(X const& x) { return x.reqCountMap(); }
    static constexpr U32 absent = 0;
    struct Reactor : Recorder<X, Key> {
        void onReqCount(typename Recorder::Key const& key) override {
            this->note(key, this->notifier()->reqCountMap());
        }
    };
};

struct KeyedMapKind {
    using X = EvecStatus;
    using Key = EvecKey;
    static constexpr Kor::AttributeId id = 258;
    static Kor::Ptr<X> make() { return evecStatusFactory("evec"); }
    static Key key(U32 n) { return slot(n); }
    static void write(X& x, U32 n, U32 value) { x.entryIs(EvecEntry(slot(n), EvecFormat(value))); }
    static U32 read(X const& x, U32 n) { return x.entry(slot(n)).format().value() & 0x3ffff; }
    static U32 del(X& x, U32 n) { return x.entryDel(slot(n)).format().value() & 0x3ffff; }
    static void delAll(X& x) { x.entryDelAll(); }
    static auto const& map(X const& x) { return x.entryMap(); }
    static constexpr U32 absent = 0;
    struct Reactor : Recorder<X, Key> {
        void onEntry(typename Recorder::Key const& key) override {
            this->note(key, this->notifier()->entryMap());
        }
    };
};

struct ReferenceMapKind {
    using X = FapTypeProperties;
    using Key = Loam::FapType;
    static constexpr Kor::AttributeId id = 258;
    static Kor::Ptr<X> make() {
        auto x = fapTypePropertiesFactory();
        x->propertiesDelAll();
        return x;
    }
    static Key key(U32 n) { return static_cast<Key>(n); }
    static void write(X& x, U32 n, U32 value) { x.propertiesIs(key(n), object(value)); }
    static U32 read(X& x, U32 n) { return number(x.properties(key(n))); }
    static U32 del(X& x, U32 n) { return number(x.propertiesDel(key(n))); }
    static void delAll(X& x) { x.propertiesDelAll(); }
    static auto const& map(X const& x) { return x.propertiesMap(); }
    static constexpr U32 absent = 0;
    struct Reactor : Recorder<X, Key> {
        void onProperties(typename Recorder::Key const& key) override {
            this->note(key, this->notifier()->propertiesMap());
        }
    };

    /// One object for each number, so that writing a number again writes the same pointer.
    static Kor::Ptr<X::Properties> object(U32 value) {
        static std::vector<Kor::Ptr<X::Properties>> const all = [] {
            std::vector<Kor::Ptr<X::Properties>> objects;
            for (U32 n = 0; n < 16; ++n) {
                objects.push_back(X::propertiesFactory(Loam::fapTypeArad));
                objects.back()->isemHwSizeIs(n);
            }
            return objects;
        }();
        return all[value];
    }
    static U32 number(Kor::Ptr<X::Properties> const& set) { return set ? set->isemHwSize() : 0; }
};

template <class Kind>
class Change : public testing::Test {
protected:
    Change() { attach(*reactor); }
    ~Change() override { reactor->notifierIs(nullptr); }

    void attach(typename Kind::Reactor& each) {
        each.isRegisteredNotifieeIs(true);
        each.notifierIs(x);
    }
    U32 changes() const { return x->version() - start; }

    Kor::Ptr<typename Kind::X> x = Kind::make();
    Kor::Ptr<typename Kind::Reactor> reactor = Kor::makePtr<typename Kind::Reactor>();
    U32 start = x->version();
};

using Kinds = testing::Types<ValueMapKind, CountedMapKind, KeyedMapKind, ReferenceMapKind>;
TYPED_TEST_SUITE(Change, Kinds);

TYPED_TEST(Change, IsStoredThenToldOnceWithItsKey) {
    std::vector<std::pair<U32, U32>>
        seen; // by the reactor: the value, and the changes that the version counts
    auto const lookOnce = [&] {
        this->reactor->action = [&] { seen.emplace_back(TypeParam::read(*this->x, 3), this->changes()); };
    };
    lookOnce();
    TypeParam::write(*this->x, 3, 7);
    lookOnce();
    TypeParam::write(*this->x, 3, 9);
    TypeParam::write(*this->x, 3, 9); // which changes nothing
    lookOnce();
    EXPECT_EQ(TypeParam::del(*this->x, 3), 9u);
    EXPECT_EQ(seen, (std::vector<std::pair<U32, U32>>{{7, 1}, {9, 2}, {TypeParam::absent, 3}}));
    EXPECT_EQ(TypeParam::read(*this->x, 3), TypeParam::absent);
    EXPECT_EQ(this->changes(), 3u);
    EXPECT_EQ(this->reactor->keys, std::vector(3, TypeParam::key(3)));
    EXPECT_EQ(this->reactor->present, (std::vector{true, true, false}));
}

TYPED_TEST(Change, OfAllIsToldOneByOneAlsoWhenAReactorInterferes) {
    for (U32 n = 1; n <= 5; ++n) {
        TypeParam::write(*this->x, n, n);
    }
    this->reactor->keys.clear();
    U32 absent = 0;
    this->reactor->action = [&] { // takes one of the other four out, and the table with it
        for (absent = 1; TypeParam::del(*this->x, absent) == TypeParam::absent;) {
            ++absent;
        }
    };
    TypeParam::delAll(*this->x);
    EXPECT_EQ(this->changes(), 10u);
    ASSERT_EQ(this->reactor->keys.size(), 5u);
    EXPECT_EQ(this->reactor->keys[1], TypeParam::key(absent));
    EXPECT_EQ(this->reactor->present,
              (std::vector{true, true, true, true, true, false, false, false, false, false}));
    EXPECT_EQ(TypeParam::map(*this->x).count(), 0u);
}

TYPED_TEST(Change, AHandlerThatThrowsHoldsUpNobody) {
    auto second = Kor::makePtr<typename TypeParam::Reactor>();
    this->attach(*second);
    this->reactor->throws = true;
    TypeParam::write(*this->x, 1, 1);
    EXPECT_EQ(this->reactor->reported, TypeParam::id);
    EXPECT_EQ(second->keys, std::vector(1, TypeParam::key(1)));
    EXPECT_EQ(TypeParam::read(*this->x, 1), 1u);
    second->notifierIs(nullptr);
}

/// What a reactor sees of a singleton when it is told of it.
struct SizeReactor : FapTypeProperties::Properties::Notifiee {
    void onIsemHwSize() override { seen.emplace_back(notifier()->isemHwSize(), notifier()->version()); }
    std::vector<std::pair<U32, U32>> seen;
};

TEST(Change, OfASingletonIsStoredThenTold) {
    auto const set = FapTypeProperties::propertiesFactory(Loam::fapTypeArad);
    auto const reactor = Kor::observe<SizeReactor>(set);
    set->isemHwSizeIs(0); // which it is
    set->isemHwSizeIs(7);
    set->isemHwSizeIs(7);
    set->isemHwSizeIs(9);
    EXPECT_EQ(reactor->seen, (std::vector<std::pair<U32, U32>>{{7, 1}, {9, 2}}));
}

TEST(Change, OfNoReferenceTakesTheMemberOut) {
    auto const all = fapTypePropertiesFactory();
    U32 const before = all->version();
    all->propertiesIs(Loam::fapTypeArad, nullptr);
    EXPECT_EQ(all->propertiesMap().count(), 1u);
    all->propertiesIs(Loam::fapTypeArad, nullptr);
    EXPECT_EQ(all->version() - before, 1u);
}

TEST(Change, OfAQueueIsOneOfAMemberThatIsThere) {
    auto const data = loamTunnelCommonSmDataFactory("sm");
    data->freeMirrorSessionEnq(3);
    U32 const key = data->freeMirrorSessionQueue().head()->fwkQkey();
    data->freeMirrorSessionIs(key, 3);     // which it is
    data->freeMirrorSessionIs(key + 1, 4); // nobody
    EXPECT_EQ(data->version(), 1u);
    data->freeMirrorSessionIs(key, 4);
    EXPECT_EQ(data->freeMirrorSession(key), 4);
    EXPECT_EQ(data->version(), 2u);
}

TEST(Counts, WrapAndNeverMoveTheVersion) {
    auto config = lifAppConfigFactory(Loam::vtAppMpls);
    auto reactor = Kor::makePtr<CountedMapKind::Reactor>();
    reactor->isRegisteredNotifieeIs(true);
    reactor->notifierIs(config);
    EXPECT_EQ(config->reqCountInc(lif(1), 0), 0u);
    EXPECT_NE(config->reqCountMap().member(lif(1)), nullptr);
    EXPECT_TRUE(reactor->keys.empty());
    EXPECT_EQ(config->reqCountDec(lif(2), 1), 0xffffffffu);
    EXPECT_EQ(config->reqCountInc(lif(2), 3), 2u);
    EXPECT_EQ(config->reqCountDec(lif(2), 2), 0u);
    EXPECT_EQ(config->reqCountMap().count(), 2u);
    EXPECT_EQ(reactor->keys, std::vector(3, lif(2)));
    EXPECT_EQ(config->version(), 0u);
    config->reqCountIs(lif(3), 0); // stores an explicit 0
    EXPECT_EQ(config->version(), 1u);
    EXPECT_EQ(config->reqCountMap().count(), 3u);
    auto at = config->reqCountIterator();
    U32 const value = at->value;
    EXPECT_EQ(config->reqCountDel(at), value);
    EXPECT_EQ(config->reqCountDel(at), 0u); // it is gone already
    EXPECT_EQ(config->version(), 2u);
    while (at) {
        at.advance();
    }
    EXPECT_EQ(config->reqCountDel(at), 0u); // at the end
    EXPECT_EQ(config->version(), 2u);
}

struct DirReactor : LifAppConfigDir::Notifiee {
    std::vector<Loam::VtAppId> keys;
    std::vector<bool> parents; // whether the child had one then
    std::vector<Kor::AttributeId> places;
    std::vector<U32> versions;
    Kor::Ptr<LifAppConfig const> held; // of which it is told that it has gone
    Kor::Ptr<LifAppConfig> late;       // brought in by the first change after this one is asked for
    bool bringsLate = false;
    void onAppConfig(Loam::VtAppId const& key) override {
        keys.push_back(key);
        auto const child = std::as_const(*notifier()).appConfig(key);
        auto const& known = child ? child : held;
        parents.push_back(known && known->hasParent());
        places.push_back(known ? known->parentAttrId() : 0);
        versions.push_back(notifier()->version());
        if (std::exchange(bringsLate, false)) {
            late = notifier()->newAppConfig(key); // its place is behind the walk
        }
    }
};

TEST(Children, AreMadeHeldAndLetGoByTheirParent) {
    auto dir = lifAppConfigDirFactory("lif");
    auto reactor = Kor::makePtr<DirReactor>();
    reactor->isRegisteredNotifieeIs(true);
    reactor->notifierIs(dir);
    Kor::Ptr<LifAppConfig> const child = dir->appConfigIs(Loam::vtAppMpls);
    EXPECT_EQ(dir->version(), 1u);
    EXPECT_EQ(dir->appConfigIs(Loam::vtAppMpls).ptr(), child.ptr());
    EXPECT_EQ(dir->version(), 2u);
    EXPECT_EQ(reactor->keys, std::vector{Loam::vtAppMpls});
    EXPECT_EQ(child->app(), Loam::vtAppMpls);
    EXPECT_EQ(child->name(), "");
    EXPECT_EQ(child->parentAttrId(), 258);
    EXPECT_EQ(child->parentAttr(), "appConfig");
    EXPECT_EQ(child->parent().ptr(), dir.ptr());
    EXPECT_EQ(child->fullName(), "lif/appConfig['vtAppMpls']");
    EXPECT_EQ(child->uriPath(), "/lif/appConfig['vtAppMpls']");
    EXPECT_EQ(dir->mutableReads(), 0u);
    EXPECT_FALSE(dir->appConfig(Loam::vtAppVxlan));
    EXPECT_EQ(dir->mutableReads(), 1u);
    EXPECT_FALSE(dir->appConfigDel(Loam::vtAppVxlan));
    EXPECT_EQ(dir->version(), 2u);

    child->reqCountInc(lif(1), 1);
    reactor->held = child;
    EXPECT_EQ(dir->appConfigDel(Loam::vtAppMpls).ptr(), child.ptr());
    EXPECT_FALSE(child->parent());
    EXPECT_EQ(child->reqCount(lif(1)), 1u); // still usable
    EXPECT_EQ(dir->version(), 3u);
    EXPECT_EQ(reactor->parents, (std::vector{true, false}));
    EXPECT_EQ(reactor->places, (std::vector<Kor::AttributeId>{258, 258}));
    EXPECT_EQ(reactor->versions, (std::vector{1u, 3u}));

    Kor::Ptr<LifAppConfig> const orphan = dir->appConfigIs(Loam::vtAppVxlan);
    dir->appConfigIs(Loam::vtAppEvpn);
    reactor->keys.clear();
    reactor->isWeakReferenceIs(true);
    reactor->bringsLate = true;
    dir = nullptr; // ends: observers hear of each child, and the children lose their parent
    EXPECT_EQ(reactor->keys.size(), 2u);
    EXPECT_FALSE(orphan->parent());
    ASSERT_TRUE(reactor->late);
    EXPECT_FALSE(reactor->late->hasParent());
    EXPECT_EQ(orphan->references(), 1u);
}

/// Deletes what it hears of, or lets go of the last reference to what it observes.
struct Meddler : LifAppConfig::Notifiee {
    explicit Meddler(bool deletesTheKey) : deletes(deletesTheKey) {}
    void onReqCount(AradLifEntry const& key) override {
        if (deletes && notifier() != nullptr && notifier()->reqCountMap().member(key) != nullptr) {
            notifier()->reqCountDel(key);
        }
        heard.push_back(key);
        last = nullptr;
    }
    bool deletes;
    std::vector<AradLifEntry> heard;
    Kor::Ptr<LifAppConfig> last;
};

TEST(Change, SurvivesAHookThatDeletesTheKeyItIsToldOf) {
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    config->newReqCount(lif(1), 1);
    auto const first = Kor::observe<Meddler>(config, true);
    auto const second = Kor::observe<Meddler>(config, false);
    for (U32 const delta : {0u, 1u}) { // by xIs and by xInc, with a key that is the member's own
        auto const* const node = config->reqCountMap().member(lif(1));
        delta == 0 ? config->reqCountIs(node->fwkKey(), 2)
                   : static_cast<void>(config->reqCountInc(node->fwkKey(), delta));
        EXPECT_EQ(second->heard, std::vector(2, lif(1))); // of the change, and of the deletion within it
        second->heard.clear();
        config->newReqCount(lif(1), 1);
    }
}

TEST(Change, OfAllSurvivesAHookThatLetsTheEntityGo) {
    auto config = lifAppConfigFactory(Loam::vtAppMpls);
    for (U32 n = 0; n < 3; ++n) {
        config->reqCountIs(lif(n), 1);
    }
    auto const meddler = Kor::observe<Meddler>(config, false);
    meddler->isWeakReferenceIs(true);
    LifAppConfig& raw = *config;
    meddler->last = std::move(config); // the only reference
    raw.reqCountDelAll();
    EXPECT_EQ(meddler->heard.size(), 3u);
    EXPECT_EQ(meddler->notifier(), nullptr);
}

TEST(Ids, AreCountedByTheLevelOfDerivation) {
    EXPECT_EQ(LifAppConfig::attributeIdOf<Kor::name::app>(), 258);
    EXPECT_EQ(LifAppConfig::attributeIdOf<Kor::name::reqCount>(), 259);
    EXPECT_EQ(FapTypeProperties::Properties::attributeIdOf<Kor::name::lifBankFromIndex>(), 264);
    EXPECT_EQ(FapTypeProperties::attributeIdOf<Kor::name::initialized>(), 259);
    EXPECT_EQ(FapTypeProperties::AradProperties::firstAttributeId, 386);
    auto status = evecStatusFactory("e");
    status->entryIs(EvecEntry(slot(1)));
    status->ownerIs(EvecOwner(slot(1), Loam::vtAppMpls));
    EXPECT_EQ(status->version(), 2u); // two maps, one version
    status->ownerDel(slot(1));
    EXPECT_EQ(status->entryMap().count(), 1u);
}

} // namespace
