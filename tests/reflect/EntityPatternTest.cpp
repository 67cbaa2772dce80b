/// What single kinds of attributes do beyond the rules that EntityRulesTest finds with all of them.

#include "model/LoamTunnelModel.h"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

KOR_NAME(sealed, Sealed, entity)

namespace {

/// A kind of attribute of a program's own: what its shape does not say it cannot do.
template <class N, class K, class V>
struct SealedMap : Kor::ValueMap<N, K, V> {
    static constexpr Kor::Shape shape{.role = Kor::Role::map, .keyed = true};
};
class Vault final : public Kor::EntityOf<Vault, SealedMap<Kor::name::sealed, Kor::U32, Kor::U32>> {
public:
    using EntityOver::EntityOver;
};
template <class T>
concept SetsSealed = requires(T& vault) {
    vault.sealedIs(Kor::U32{1}, Kor::U32{2});
};
static_assert(!SetsSealed<Vault>);

using namespace Hardware;
using namespace Hardware::LoamTunnel;

AradLifEntry lif(U32 n) {
    return AradLifEntry(lifAcMp, n, 0);
}
EvecKey slot(U32 n) {
    return EvecKey(Sideband::Fapmask::of({0}), Loam::EvecIndex(static_cast<U16>(n)));
}

TEST(Change, OfNoReferenceTakesTheMemberOut) {
    auto const all = fapTypePropertiesFactory();
    U32 const before = all->version();
    all->propertiesIs(Loam::fapTypeArad, nullptr);
    EXPECT_EQ(all->propertiesMap().count(), 1u);
    all->propertiesIs(Loam::fapTypeArad, nullptr);
    EXPECT_EQ(all->version() - before, 1u);
}

/// What is there when it hears of a change, and the version.
struct SmReactor : LoamTunnelCommonSmData::Notifiee {
    void onFreeMirrorSession(U32 const& key) override {
        seen.emplace_back(notifier()->freeMirrorSession(key), notifier()->version());
    }
    void onVlanHelper() override {
        seen.emplace_back(notifier()->vlanHelper() ? 1 : 0, notifier()->version());
    }
    std::vector<std::pair<int, U32>> seen;
};

TEST(Change, OfAQueueIsOneOfAMemberThatIsThere) {
    auto const data = loamTunnelCommonSmDataFactory("sm");
    auto const reactor = Kor::observe<SmReactor>(data);
    data->freeMirrorSessionEnq(3);
    U32 const key = data->freeMirrorSessionQueue().head()->fwkQkey();
    data->freeMirrorSessionIs(key, 3);     // which it is
    data->freeMirrorSessionIs(key + 1, 4); // nobody
    EXPECT_EQ(data->freeMirrorSessionDel(key + 1), 0);
    EXPECT_EQ(data->version(), 1u);
    data->freeMirrorSessionIs(key, 4);
    EXPECT_EQ(data->freeMirrorSession(key), 4);
    data->freeMirrorSessionEnq(5);
    EXPECT_EQ(data->freeMirrorSessionDel(key), 4);
    EXPECT_EQ(data->freeMirrorSessionDeq(), 5);
    EXPECT_EQ(data->freeMirrorSessionDeq(), 0); // of an empty one
    EXPECT_EQ(reactor->seen, (std::vector<std::pair<int, U32>>{{3, 1}, {4, 2}, {5, 3}, {0, 4}, {0, 5}}));
}

TEST(Change, OfAReferenceToNullIsTold) {
    auto const data = loamTunnelCommonSmDataFactory("sm");
    auto const reactor = Kor::observe<SmReactor>(data);
    data->vlanHelperIs(nullptr); // which it is
    data->vlanHelperIs(Kor::makePtr<Fen::VlanHelperBase>());
    data->vlanHelperIs(nullptr);
    EXPECT_EQ(reactor->seen, (std::vector<std::pair<int, U32>>{{1, 1}, {0, 2}}));
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

template <class X>
concept hasDec = requires(X& x) {
    x.reqCountDec({}, 1);
};
static_assert(hasDec<LifAppConfig> && !hasDec<OutAcAppConfig>);

TEST(Counts, WrapAndNeverMoveTheVersion) {
    auto config = lifAppConfigFactory(Loam::vtAppMpls);
    auto const reactor = Kor::observe<Meddler>(config, false);
    EXPECT_EQ(config->reqCountInc(lif(1), 0), 0u);
    EXPECT_NE(config->reqCountMap().member(lif(1)), nullptr);
    EXPECT_TRUE(reactor->heard.empty());
    EXPECT_EQ(config->reqCountDec(lif(2), 1), 0xffffffffu);
    EXPECT_EQ(config->reqCountInc(lif(2), 3), 2u);
    EXPECT_EQ(config->reqCountDec(lif(2), 2), 0u);
    EXPECT_EQ(config->reqCountMap().count(), 2u);
    EXPECT_EQ(reactor->heard, std::vector(3, lif(2)));
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
    Kor::Ptr<LifAppConfig> late; // brought in by the first change after this one is asked for
    bool bringsLate = false;
    void onAppConfig(Loam::VtAppId const& key) override {
        keys.push_back(key);
        if (std::exchange(bringsLate, false)) {
            late = notifier()->newAppConfig(key); // its place is behind the walk
        }
    }
};

TEST(New, InsertsAndDoesNothingElse) {
    auto const dir = lifAppConfigDirFactory("lif");
    auto const ofDir = Kor::observe<DirReactor>(dir);
    auto const config = dir->newAppConfig(Loam::vtAppMpls);
    auto const ofConfig = Kor::observe<Meddler>(config, false);
    config->newReqCount(lif(1), 7);
    EXPECT_EQ(dir->appConfig(Loam::vtAppMpls).ptr(), config.ptr());
    EXPECT_EQ(config->reqCount(lif(1)), 7u);
    EXPECT_TRUE(ofDir->keys.empty() && ofConfig->heard.empty());
    EXPECT_EQ(dir->version() + config->version(), 0u);
}

TEST(Children, AreMadeHeldAndLetGoByTheirParent) {
    auto dir = lifAppConfigDirFactory("lif");
    auto const reactor = Kor::observe<DirReactor>(dir);
    Kor::Ptr<LifAppConfig> const child = dir->appConfigIs(Loam::vtAppMpls);
    EXPECT_EQ(child->app(), Loam::vtAppMpls);
    EXPECT_EQ(child->parentAttr(), "appConfig");
    EXPECT_EQ(child->fullName(), "lif/appConfig['vtAppMpls']");
    EXPECT_EQ(child->uriPath(), "/lif/appConfig['vtAppMpls']");
    EXPECT_EQ(dir->mutableReads(), 0u);
    EXPECT_FALSE(dir->appConfig(Loam::vtAppVxlan));
    EXPECT_EQ(dir->mutableReads(), 1u);
    child->reqCountInc(lif(1), 1);
    dir->appConfigDel(Loam::vtAppMpls);
    EXPECT_EQ(child->reqCount(lif(1)), 1u); // still usable
    EXPECT_EQ(child->parentAttrId(), 258);

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

TEST(Change, SurvivesAHookThatDeletesTheKeyItIsToldOf) {
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    config->newReqCount(lif(1), 1);
    auto const first = Kor::observe<Meddler>(config, true);
    auto const second = Kor::observe<Meddler>(config, false);
    using Tell = void (*)(LifAppConfig&, AradLifEntry const&);
    for (Tell const tell : {Tell([](auto&x, auto const&key) { x.reqCountIs(key, 2); }),
                            Tell([](auto&x, auto const&key) { x.reqCountInc(key, 1); }),
                            Tell([](auto&x, auto const&key) { x.reqCountNotify(key); })}) {
        tell(*config, config->reqCountMap().member(lif(1))->fwkKey()); // the member's own
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

// Hooks that are hard to see from outside, and are called all the same.
struct Counter : LifAppConfig::Notifiee {
    int told = 0;
};
class Private : public Counter {
    void onReqCount(AradLifEntry const&) override { ++told; }
};
class PrivateBehindOthers : public Counter {
public:
    void onReqCount() override {}
    void onReqCount(U32) {}

private:
    void onReqCount(AradLifEntry const&) override { ++told; }
};
class Overloaded : public Counter {
public:
    void onReqCount() override {}
    void onReqCount(AradLifEntry const&) noexcept override { ++told; }
    void onReqCount(auto const&) {}
};

template <class R>
class Observe : public testing::Test {};
using HardToSee = testing::Types<Private, PrivateBehindOthers, Overloaded>;
TYPED_TEST_SUITE(Observe, HardToSee);

TYPED_TEST(Observe, TakesAReactorWhoseHookIsThere) {
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    auto const reactor = Kor::observe<TypeParam>(config);
    config->reqCountInc(lif(1), 1);
    EXPECT_EQ(reactor->told, 1);
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
