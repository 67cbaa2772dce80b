/// The rules of change for every attribute of every entity, from the declarations alone, and what single
/// entities have of their own.

#include "support/Entities.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace {

using namespace Hardware;
using namespace support;

template <class X>
U32 version(X const& x) {
    if constexpr (X::isEntity) {
        return x.version();
    } else {
        return 0;
    }
}

template <class Watcher, class X>
Kor::Ptr<Watcher> attached(Kor::Ptr<X> const& x) {
    auto watcher = Kor::makePtr<Watcher>();
    watcher->isRegisteredNotifieeIs(true);
    watcher->notifierIs(x);
    return watcher;
}

/// An entity that is watched, and how often a change of the attribute has been counted and told.
template <class X, class Watcher>
struct Watched {
    explicit Watched(Random& random) : x(randomEntity<X>(random)) {}
    ~Watched() { watcher->notifierIs(nullptr); }

    /// Since the last check.
    void expect(U32 counted, int told, int line) {
        EXPECT_EQ(version(*x) - start, X::isEntity ? counted : 0) << "line " << line;
        EXPECT_EQ(watcher->told, told) << "line " << line;
        start = version(*x);
        watcher->told = 0;
    }

    Kor::Ptr<X> x;
    Kor::Ptr<Watcher> watcher = attached<Watcher>(x);
    U32 start = version(*x);
};

template <class X, class A>
void singletonRules(Random& random) {
    using Name = typename A::Name;
    Watched<X, ScalarWatcher<X, A>> w(random);
    auto const other = [&] {
        for (;;) {
            auto value = [&] {
                if constexpr (A::shape.reference) {
                    return randomObject<typename A::Type>(random);
                } else {
                    return randomValue<typename A::Type>(random);
                }
            }();
            if (!(value == Name::call(*w.x))) {
                return value;
            }
        }
    }();
    auto const initial = Name::call(*w.x);
    Name::set(*w.x, initial);
    w.expect(0, 0, __LINE__);
    w.watcher->look = [&] { // the change is whole by then
        EXPECT_EQ(Name::call(std::as_const(*w.x)), other);
        EXPECT_EQ(version(*w.x) - w.start, X::isEntity ? 1u : 0u);
    };
    Name::set(*w.x, other);
    w.expect(1, 1, __LINE__);
    EXPECT_EQ(Name::call(std::as_const(*w.x)), other);
    Name::set(*w.x, other);
    w.expect(0, 0, __LINE__);
}

template <class X, class A>
void mapRules(Random& random) {
    using Name = typename A::Name;
    using Forms = Name;
    using Value = std::remove_cvref_t<decltype(randomValueAt<A>(random, typename A::Key()))>;
    Watched<X, KeyedWatcher<X, A>> w(random);
    Forms::delAll(*w.x);
    w.expect(version(*w.x) - w.start, w.watcher->told, __LINE__); // FapTypeProperties has some from the start
    auto const write = [&](typename A::Key const& key, Value const& value) {
        if constexpr (A::shape.keyInside) {
            Forms::set(*w.x, value);
        } else {
            Forms::set(*w.x, key, value);
        }
    };
    auto const key = randomValue<typename A::Key>(random);
    EXPECT_EQ(Forms::del(*w.x, key), Value()); // absent: the default, and nothing happens
    EXPECT_EQ(Name::call(std::as_const(*w.x), key), Value());
    w.expect(0, 0, __LINE__);

    auto value = randomValueAt<A>(random, key);
    for (int round = 0; round < 2; ++round) {
        w.watcher->look = [&] { // the change is whole by then
            EXPECT_EQ(Name::call(std::as_const(*w.x), key), value);
            EXPECT_EQ(version(*w.x) - w.start, X::isEntity ? 1u : 0u);
        };
        write(key, value); // new in the first round, another one in the second
        w.expect(1, 1, __LINE__);
        EXPECT_EQ(w.watcher->last, key);
        EXPECT_EQ(Name::call(std::as_const(*w.x), key), value);
        write(key, value);
        w.expect(0, 0, __LINE__);
        for (auto const before = value; value == before;) {
            value = randomValueAt<A>(random, key);
        }
    }
    EXPECT_EQ(Forms::map(*w.x).count(), 1u);
    w.watcher->look = nullptr;
    Forms::notify(*w.x, key);
    w.expect(0, 1, __LINE__);
    auto const stored = Name::call(std::as_const(*w.x), key);
    w.watcher->look = [&] {
        EXPECT_EQ(Forms::map(*w.x).member(key), nullptr);
        EXPECT_EQ(version(*w.x) - w.start, X::isEntity ? 1u : 0u);
    };
    EXPECT_EQ(Forms::del(*w.x, key), stored);
    w.expect(1, 1, __LINE__);
    EXPECT_EQ(Forms::map(*w.x).count(), 0u);

    // One that throws is told so, and holds up nobody.
    w.watcher->look = [] { throw std::runtime_error("handler"); };
    auto const second = attached<KeyedWatcher<X, A>>(w.x);
    write(key, value);
    w.expect(1, 1, __LINE__);
    EXPECT_EQ(w.x->attributeString(w.watcher->reported), Name::text);
    EXPECT_EQ(second->told, 1);
    EXPECT_EQ(Name::call(std::as_const(*w.x), key), value);
    second->notifierIs(nullptr);

    // All go one by one, also when a reactor takes out the next one.
    w.watcher->look = nullptr;
    for (int n = 0; n < 8; ++n) {
        auto const another = randomValue<typename A::Key>(random);
        write(another, randomValueAt<A>(random, another));
    }
    U32 const members = Forms::map(*w.x).count();
    w.expect(version(*w.x) - w.start, w.watcher->told, __LINE__);
    w.watcher->look = [&] {
        w.watcher->look = nullptr;
        EXPECT_EQ(Forms::map(*w.x).member(w.watcher->last), nullptr);
        if (auto const next = Forms::map(*w.x).begin()) {
            Forms::del(*w.x, typename A::Key(next->fwkKey()));
            EXPECT_EQ(w.watcher->told, 2);
        }
    };
    Forms::delAll(*w.x);
    w.expect(members, static_cast<int>(members), __LINE__);
    EXPECT_EQ(Forms::map(*w.x).count(), 0u);
}

template <class X, class A>
void childRules(Random& random) {
    using Name = typename A::Name;
    using Forms = Name;
    using Child = typename A::Type;
    Watched<X, KeyedWatcher<X, A>> w(random);
    auto const key = randomValue<typename A::Key>(random);
    EXPECT_FALSE(Forms::del(*w.x, key));
    EXPECT_FALSE(Name::call(*w.x, key));
    w.expect(0, 0, __LINE__);
    auto const isWhole = [&](Child const* there) {
        EXPECT_EQ(Forms::map(*w.x).member(key), there);
        EXPECT_EQ(version(*w.x) - w.start, X::isEntity ? 1u : 0u);
    };
    w.watcher->look = [&] {
        Kor::Ptr<Child const> const there = Name::call(std::as_const(*w.x), key);
        ASSERT_TRUE(there);
        isWhole(there.ptr());
        if constexpr (Child::isEntity) {
            EXPECT_EQ(there->parent().ptr(), w.x.ptr());
            EXPECT_EQ(there->parentAttrId(), X::template attributeIdOf<Name>());
        }
    };
    Kor::Ptr<Child> const child = Forms::set(*w.x, key);
    w.expect(1, 1, __LINE__);
    EXPECT_EQ(Forms::set(*w.x, key).ptr(), child.ptr());
    w.expect(1, 0, __LINE__);
    EXPECT_EQ(child->fwkKey(), key);
    if constexpr (Child::isEntity) {
        EXPECT_EQ(child->parent().ptr(), w.x.ptr());
        EXPECT_EQ(child->parentAttrId(), X::template attributeIdOf<Name>());
        EXPECT_EQ(child->name(), "");
    }
    w.watcher->look = [&] {
        isWhole(nullptr);
        if constexpr (Child::isEntity) {
            EXPECT_FALSE(child->parent());
        }
    };
    EXPECT_EQ(Forms::del(*w.x, key).ptr(), child.ptr());
    w.expect(1, 1, __LINE__);
    if constexpr (Child::isEntity) {
        EXPECT_FALSE(child->parent());
    }
}

template <class X, class A>
void rules(Random& random) {
    SCOPED_TRACE(std::string(Kor::typeName<X>()) + " " + A::Name::text);
    if constexpr (A::shape.child) {
        childRules<X, A>(random);
    } else if constexpr (A::shape.keyed) {
        mapRules<X, A>(random);
    } else if constexpr (A::shape.hasHooks()) {
        singletonRules<X, A>(random);
    } else if constexpr (A::shape.role == Kor::Role::key || A::shape.role == Kor::Role::field) {
        auto const key = randomValue<typename A::Type>(random);
        auto const x = Kor::makePtr<X>(key);
        EXPECT_EQ(A::Name::call(*x), key);
        if constexpr (requires { x->fwkKey(); }) {
            EXPECT_EQ(x->fwkKey(), key);
        }
    }
}

template <class X>
class AttributesOf : public testing::Test {};
template <class List>
struct ToTypes;
template <class... T>
struct ToTypes<TypeList<T...>> {
    using type = testing::Types<T...>;
};
TYPED_TEST_SUITE(AttributesOf, ToTypes<AllEntities>::type);

TYPED_TEST(AttributesOf, ChangeByTheRules) {
    Random random;
    [&]<class... A>(Kor::AttributeList<A...>) {
        (rules<TypeParam, A>(random), ...);
        auto const x = randomEntity<TypeParam>(random);
        Kor::AttributeId id = TypeParam::firstAttributeId;
        if constexpr (!(std::is_same_v<A, Kor::Override<typename A::Name>> || ...)) {
            for (char const* name : std::initializer_list<char const*>{A::Name::text...}) {
                EXPECT_EQ(x->attributeString(id++), name);
            }
        }
        EXPECT_EQ(x->attributeString(id), "unknown");
    }(typename TypeParam::Attributes());
}

/// A kind of attribute each that no other entity has, and one of each level.
TEST(CommonSmData, ChangesByTheRules) {
    Random random;
    using X = LoamTunnelCommonSmData;
    namespace n = Kor::name;
    rules<X, Kor::SingletonReference<n::vlanHelper, Fen::VlanHelperBase>>(random);
    rules<X, Kor::SingletonReference<n::cliConfig, Fen::HwCliConfig const>>(random);
    rules<X, Kor::ValueMap<n::lagToPort, Lumen::IntfId, Fen::FenPortList>>(random);
    rules<X, Kor::KeyedMap<n::parityEvent, Fen::ParityEvent, n::key>>(random);
    rules<X, Kor::ValueMap<n::fapPortToIntfId, Loam::PortMap, Lumen::IntfId>>(random);

    auto const x = loamTunnelCommonSmDataFactory("sm");
    EXPECT_EQ(x->name(), "sm");
    EXPECT_FALSE(x->korHasAttrLogInterface());
    EXPECT_TRUE(lifAppConfigDirFactory("lif")->korHasAttrLogInterface());
    U32 const reads = x->mutableReads();
    std::as_const(*x).vlanHelper();
    EXPECT_EQ(x->mutableReads(), reads);
    x->vlanHelper();
    EXPECT_EQ(x->mutableReads(), reads + 1);
    x->freeMirrorSessionEnq(3);
    x->freeMirrorSessionEnq(4);
    EXPECT_EQ(x->freeMirrorSessionDeq(), 3);
    EXPECT_EQ(x->freeMirrorSessionQueue().head()->value, 4);
    EXPECT_EQ(x->version(), 3u);
}

TEST(HwIvecs, LooksIntoNoEntry) {
    auto const all = hwIvecsFactory("hw");
    AradIvecKey const key(Sideband::Fapmask::of({1}), Loam::AradIvecIndex(3));
    AradIvecEntry const entry(AradIvecKey(Sideband::Fapmask::of({2}), Loam::AradIvecIndex(4)),
                              AradIvecFormat(5));
    all->hwIvecIs(key, entry);
    EXPECT_EQ(all->hwIvec(key), entry);
    EXPECT_EQ(all->hwIvec(entry.key()), AradIvecEntry());
}

} // namespace
