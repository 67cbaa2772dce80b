#include "runtime/HashMap.h"

#include "runtime/OneAtATime.h"
#include "tests/runtime/Probe.h"
#include "tests/support/Random.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <vector>

using namespace Kor;

namespace {

enum class Kind { given, identity, constant };

template <Kind kind>
struct Key {
    U32 id = 0;
    auto operator<=>(Key const&) const = default;
    U32 hash() const {
        return kind == Kind::given      ? OneAtATime{}.add(id).add(U64{id}).finish()
               : kind == Kind::identity ? id
                                        : 7;
    }
};

// An entity-like member: fields before and behind the link, which it keeps private.
template <class K>
struct Child : Probe {
    Child(K theKey, int theValue) : Probe(theValue), key_(theKey) {}
    K const& fwkKey() const { return key_; }

private:
    friend HashMember;
    U64 padding_ = 0;
    K key_;
    HashLink next;
    U64 behind_ = 0;
};

template <class K>
class HashMapTest : public testing::Test {
protected:
    using Map = HashMap<Child<K>, K, int>;
    // The order of a walk.
    struct Order {
        bool operator()(K const& a, K const& b) const {
            return std::pair(Map::reversedHash(a), a) < std::pair(Map::reversedHash(b), b);
        }
    };
    struct Walk {
        explicit Walk(typename Map::Iterator start) : at(std::move(start)) {}
        typename Map::Iterator at;
        std::set<K> due; // there since the walk began and not visited yet
        std::set<K> visited;
    };

    ~HashMapTest() override {
        walks.clear();
        map.emptyAllBuckets();
        EXPECT_EQ(Probe::alive, 0);
    }

    void insert(K key) {
        U32 const r = Map::reversedHash(key);
        if (map.member(key, r) == nullptr) {
            if (key.id % 2 == 0) {
                map.newMember(makePtr<Child<K>>(key, ++stamp), r);
            } else {
                map.newMemberG(makePtr<Child<K>>(key, ++stamp), &key);
            }
            model[key] = stamp;
        }
    }
    void erase(K key) {
        Ptr<Child<K>> gone = map.member(key);
        if (!gone) {
            EXPECT_FALSE(map.deleteMember(key));
            return;
        }
        if (key.id % 3 == 0) {
            map.deleteMember(Ptr<PtrInterface>(gone));
        } else {
            EXPECT_EQ(map.deleteMember(key), gone);
        }
        EXPECT_EQ(gone->fwkKey(), key);
        EXPECT_EQ(gone->value, model[key]);
        EXPECT_EQ(HashMember::next(*gone), nullptr);
        model.erase(key);
        for (Walk& walk : walks) {
            walk.due.erase(key);
        }
    }
    void open(bool atKey, K key) {
        Walk walk(atKey ? typename Map::Iterator(&map, key) : map.begin());
        for (auto const& [each, value] : model) {
            if (!atKey || !Order{}(each, key)) {
                walk.due.insert(each);
            }
        }
        visit(walk);
        walks.push_back(std::move(walk));
    }
    void visit(Walk& walk) {
        if (walk.at) {
            K const key = walk.at->fwkKey();
            ASSERT_TRUE(model.contains(key));
            ASSERT_TRUE(walk.visited.empty() ||
                        Order{}(*std::max_element(walk.visited.begin(), walk.visited.end(), Order{}), key));
            walk.visited.insert(key);
            walk.due.erase(key);
        } else {
            ASSERT_TRUE(walk.due.empty()) << "a walk has lost " << walk.due.begin()->id;
        }
    }
    void check() {
        ASSERT_EQ(map.count(), model.size());
        auto expected = model.begin();
        int bucket = -2, last = 0;
        PtrInterface* next = map.findNextG(nullptr, &bucket);
        auto const see = [&](Child<K> const& at) {
            ASSERT_NE(expected, model.end());
            ASSERT_EQ(at.fwkKey(), expected->first);
            ASSERT_EQ(at.value, expected->second);
            ASSERT_EQ(map[at.fwkKey()], &at);
            ASSERT_EQ(next, &at);
            ASSERT_EQ(static_cast<U32>(bucket), map.bucketOf(Map::reversedHash(at.fwkKey())));
            ASSERT_GE(bucket, last);
            last = bucket;
            next = map.findNextG(next, &bucket);
            ++expected;
        };
        for (auto const& at : std::as_const(map)) {
            see(at);
        }
        ASSERT_EQ(expected, model.end());
        expected = model.begin(), last = 0, next = map.findNextG(nullptr, &bucket);
        map.forEach(see);
        ASSERT_EQ(next, nullptr);
    }
    Map map;
    std::map<K, int, Order> model;
    std::vector<Walk> walks;
    int stamp = 0;
};

using Keys = testing::Types<Key<Kind::given>, Key<Kind::identity>, Key<Kind::constant>>;
TYPED_TEST_SUITE(HashMapTest, Keys);

TYPED_TEST(HashMapTest, EqualsAModelUnderRandomOperationsWithWalksHeldOpen) {
    support::Random random;
    bool const slow = TypeParam{1}.hash() == TypeParam{2}.hash();
    for (int step = 0; step < 30'000 && !this->HasFatalFailure(); ++step) {
        // The map breathes: it grows for a while, shrinks, and is emptied by a walk, so that the table is
        // rebuilt under the other walks, in both directions.
        bool const growing = step / 3000 % 2 == 0;
        TypeParam const key{random.below(slow ? 100 : 3000)};
        U32 const pick = random.below(8);
        if (pick < 4) {
            (pick < 3) == growing ? this->insert(key) : this->erase(key);
        } else if (pick == 4 && this->walks.size() < 8) {
            this->open(random.below(2) == 0, key);
        } else if (pick == 5 && this->map[key] != nullptr) {
            this->model[key] = this->map[key]->value = ++this->stamp;
        } else if (!this->walks.empty()) {
            auto const which = this->walks.begin() + random.below(static_cast<U32>(this->walks.size()));
            if (!which->at) {
                this->walks.erase(which);
            } else {
                if (random.below(4) == 0) {
                    this->erase(which->at->fwkKey());
                }
                which->at.advance();
                this->visit(*which);
            }
        }
        if (step % 500 == 0) {
            this->check();
        }
        if (step % 6000 == 3000) {
            ASSERT_TRUE(slow || this->map.bucketCount() >= 512);
        } else if (step % 6000 == 5999) {
            for (auto& at : this->map) {
                this->erase(at.fwkKey());
            }
            ASSERT_EQ(this->map.count(), 0u);
            ASSERT_LE(this->map.bucketCount(), 128u); // the next breath grows in the array that it kept,
            if (step > 15'000) {
                this->map.spareDel(); // or in a new one
            }
        }
    }
}

TEST(HashMap, TablesOfOneBucketHashesOfAllOnesAndWalksOnNothingNeedNoSpecialCase) {
    HashMapGeneric one(1);
    EXPECT_EQ(one.bucketCount(), 1u);
    EXPECT_EQ(one.bucketOf(0xffffffff), 0u);
    EXPECT_EQ(HashMapGeneric(5).bucketCount(), 8u);
    EXPECT_EQ(HashMapGeneric(4).bucketOf(0xffffffff), 3u);
    static_assert(bitReverse(1) == 0x80000000 && bitReverse(0x12345678) == 0x1e6a2c48);
    using Map = HashMap<MapEntry<U32, int>, U32, int>;
    Map map;
    for (Map::Iterator at : {Map::Iterator(nullptr), Map::Iterator(&map), Map::Iterator(&map, 5)}) {
        at.advance();
        EXPECT_FALSE(at);
        EXPECT_EQ(at.version(), 0u);
        EXPECT_EQ(at.bucket(), -1);
    }
}

TEST(HashMap, ALookupThatMissesChangesNoCountAndDeletionKeepsHeldMembers) {
    HashMap<MapEntry<U32, int>, U32, int> map;
    auto one = makePtr<MapEntry<U32, int>>(1u, 10);
    map.newMember(one);
    U32 const version = map.version();
    EXPECT_EQ(version, 1u); // the insertion
    EXPECT_EQ(map[2], nullptr);
    EXPECT_EQ(map[1]->value, 10);
    EXPECT_EQ(one->references(), 2u);
    EXPECT_EQ(map.version(), version);
    map.deleteMember(Ptr<PtrInterface>(makePtr<MapEntry<U32, int>>(1u, 10))); // equal, but not the member
    EXPECT_EQ(map.count(), 1u);
    map.recentIs(*one);
    map.deleteMember(1);
    EXPECT_EQ(map.version(), version + 1);
    EXPECT_EQ(map.recent(1), nullptr); // forgotten with it
    EXPECT_EQ(one->references(), 1u);
    map.newMember(one); // may come back
    EXPECT_EQ(map[1], one.ptr());
}

TEST(HashMap, AMemberThatEndsFindsTheMapSound) {
    struct Entry : Probe {
        using Probe::Probe;
        U32 fwkKey() const { return static_cast<U32>(value); }
        HashLink next;
    };
    HashMap<Entry, U32, int> map;
    int left = 0;
    for (int id = 0; id < 20; ++id) {
        auto entry = makePtr<Entry>(id);
        entry->onEnd = [&](Probe& ending) {
            EXPECT_EQ(map[static_cast<U32>(ending.value)], nullptr);
            left += static_cast<int>(map.count());
            if (ending.value == 3) {
                map.newMember(makePtr<Entry>(100));
            }
        };
        map.newMember(std::move(entry));
    }
    map.emptyAllBuckets();
    EXPECT_EQ(map.count(), 0u);
    EXPECT_GT(left, 0);

    // One near the end that takes another with it makes the table shrink to below its own bucket.
    for (int id = 0; id < 512; ++id) {
        map.newMember(makePtr<Entry>(id));
    }
    ASSERT_EQ(map.bucketCount(), 512u);
    map[255]->onEnd = [&](Probe&) { map.deleteMember(511); };
    map.emptyAllBuckets();
    EXPECT_EQ(map.count(), 0u);
    EXPECT_LT(map.bucketCount(), 512u);
}

TEST(HashMap, ABrokenContractIsNamed) {
    if constexpr (contractChecks) {
        HashMap<MapEntry<U32, int>, U32, int> map;
        map.newMember(makePtr<MapEntry<U32, int>>(1u, 1));
        EXPECT_DEATH(map.newMember(makePtr<MapEntry<U32, int>>(1u, 1)), "the key is present already");
        EXPECT_DEATH(map.forEach([&](auto&) { map.deleteMember(1); }), "was changed in a visit");
    }
}

} // namespace
