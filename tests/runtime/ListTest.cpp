#include "runtime/BitSet.h"
#include "runtime/LinkQueue.h"
#include "runtime/LinkedQueue.h"
#include "runtime/ListRaw.h"
#include "runtime/RbTreeMap.h"
#include "tests/runtime/Probe.h"
#include "tests/support/Random.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <list>
#include <vector>

using namespace Kor;

namespace {

struct Node : PtrInterface {
    explicit Node(int theId) : id(theId) {}
    int id;

private:
    friend ListMember;
    Node* next = nullptr;
};

using List = ListRaw<Node>;

std::vector<int> ids(List const& list) {
    std::vector<int> result;
    for (auto const& node : list) {
        result.push_back(node.id);
    }
    return result;
}

TEST(ListRaw, EqualsAModelUnderRandomOperationsWithWalksHeldOpen) {
    support::Random random;
    List list;
    std::vector<Ptr<Node>> nodes;
    for (int id = 0; id < 40; ++id) {
        nodes.push_back(makePtr<Node>(id));
    }
    std::list<int> model;
    std::vector<List::LrIterator> walks;
    U32 version = list.version();
    for (int step = 0; step < 30'000; ++step) {
        Node& node = *nodes[random.below(40)];
        bool const in = std::find(model.begin(), model.end(), node.id) != model.end();
        ASSERT_EQ(list.contains(&node), in);
        U32 const pick = random.below(5);
        if (pick < 3) {
            bool const head = pick == 0;
            if (in) {
                list.deleteMember(node);
                model.remove(node.id);
            } else {
                head ? list.newMemberHead(node) : list.newMemberTail(node);
                model.insert(head ? model.begin() : model.end(), node.id);
            }
            ++version;
        } else if (pick == 3) {
            walks.emplace_back(list);
        } else {
            for (auto walk = walks.begin(); walk != walks.end();) {
                if (*walk && random.below(8) == 0 && list.contains(walk->ptr())) {
                    model.remove((*walk)->id);
                    walk->deleteMember();
                    ++version;
                }
                ++*walk;
                walk = *walk ? walk + 1 : walks.erase(walk);
            }
        }
        ASSERT_EQ(list.version(), version);
        ASSERT_EQ(list.count(), model.size());
        ASSERT_EQ(ids(list), std::vector<int>(model.begin(), model.end()));
        ASSERT_EQ(list.tail() != nullptr ? list.tail()->id : -1, model.empty() ? -1 : model.back());
    }
    walks.clear();
    list.deleteMember(*makePtr<Node>(99)); // not found: nothing changes
    EXPECT_EQ(list.version(), version);
    list.deleteAll();
    list.deleteAll();
    EXPECT_EQ(list.version(), version + 2);
    EXPECT_EQ(list.count() + ids(list).size(), 0u);
    for (auto const& node : nodes) {
        EXPECT_EQ(node->references(), 1u);
        EXPECT_EQ(ListMember::next(*node), nullptr);
    }
}

TEST(ListRaw, AStepGoesOnBehindWhatIsLeft) {
    std::vector<Ptr<Node>> nodes;
    List list;
    for (int id = 0; id < 6; ++id) {
        nodes.push_back(makePtr<Node>(id));
        list.newMemberTail(*nodes.back());
    }
    List::LrIterator at(list), deleting(list);
    list.deleteMember(*nodes[0]);
    EXPECT_EQ((++at)->id, 1); // the head went: on at the new head
    EXPECT_EQ((++at)->id, 2);
    list.deleteMember(*nodes[2]);
    EXPECT_EQ((++at)->id, 3); // behind the one before
    ++at;
    list.deleteMember(*nodes[3]);
    list.deleteMember(*nodes[4]);
    EXPECT_FALSE(++at); // both went
    ++deleting;
    EXPECT_EQ(deleting->id, 1);
    deleting.deleteMember();
    EXPECT_EQ(deleting->id, 5);
    EXPECT_EQ((++deleting)->id, 5); // already advanced
    EXPECT_FALSE(++deleting);
}

TEST(LinkedQueue, EqualsAModelAndCopiesItsMembersNotItsValues) {
    using Member = LinkedQueueMember<Ptr<Probe>>;
    using Queue = LinkedQueue<Member, Probe>;
    support::Random random;
    {
        Queue queue;
        std::deque<int> model;
        for (int step = 0; step < 10'000; ++step) {
            if (random.below(2) == 0) {
                queue.enq(makePtr<Probe>(step));
                model.push_back(step);
            } else if (auto value = queue.deq()) {
                ASSERT_EQ(value->value, model.front());
                model.pop_front();
            } else {
                ASSERT_TRUE(model.empty());
            }
            if (step % 100 == 0) {
                Queue copy(queue);
                std::vector<int> values;
                for (Member& each : copy) {
                    values.push_back(each.value->value);
                }
                ASSERT_EQ(values, std::vector<int>(model.begin(), model.end()));
                ASSERT_EQ(copy.count(), model.size());
                ASSERT_EQ(copy.version(), 0u);
                ASSERT_TRUE(copy.head() == nullptr || copy.head() != queue.head());
                copy.enq(nullptr);
                ASSERT_EQ(queue.count(), model.size());
                queue = copy;
                ASSERT_EQ(queue.count(), model.size() + 1);
                queue.deleteAll();
                model.clear();
            }
        }
        queue.deleteAll();
        queue.enq(nullptr);
        Queue::Iterator at(queue);
        ++at;
        EXPECT_FALSE(++at);                 // stays at its end
        for (int i = 0; i < 200'000; ++i) { // ends without recursion
            queue.enq(nullptr);
        }
    }
    EXPECT_EQ(Probe::alive, 0);
}

// A queue is compared with a deque of 64-bit numbers that never wrap; the keys are their low 32 bits.
TEST(LinkQueue, AReaderGoesOnBehindItsKeyWhereverTheKeysWrap) {
    using Member = LinkQueueMember<U32, Probe>;
    using Queue = LinkQueue<Member, U32, Probe>;
    support::Random random;
    auto value = makePtr<Probe>();
    for (U64 start : {U64{100}, U64{0xfffffff0}}) {
        Queue queue;
        std::deque<U64> model;
        U64 last = start;
        Queue::IteratorConst at;
        U64 place = 0;
        for (int step = 0; step < 40'000; ++step) {
            switch (random.below(5)) {
            case 0:
            case 1:
                last += 1 + random.below(3);
                last += static_cast<U32>(last) == 0;
                queue.newMember(makePtr<Member>(static_cast<U32>(last), value));
                model.push_back(last);
                break;
            case 2:
                if (model.size() > 12) {
                    ASSERT_EQ(queue.deq(), value);
                    model.pop_front();
                }
                break;
            case 3:
                if (model.size() > 6) {
                    auto const which = model.begin() + random.below(static_cast<unsigned>(model.size()));
                    ASSERT_EQ(queue.deleteMember(static_cast<U32>(*which)), value);
                    ASSERT_EQ(queue.member(static_cast<U32>(*which)), nullptr);
                    model.erase(which);
                }
                break;
            default:
                // A reader never falls so far behind that its key belongs to no run of the queue.
                if (!at || place < model.front() || random.below(20) == 0) {
                    at = queue.begin();
                    place = model.empty() ? 0 : model.front();
                    break;
                }
                at.advance();
                auto const next = std::upper_bound(model.begin(), model.end(), place);
                ASSERT_EQ(static_cast<bool>(at), next != model.end());
                if (at) {
                    place = *next;
                    ASSERT_TRUE(at.hasBookmark());
                    ASSERT_EQ(at.key(), static_cast<U32>(place));
                    ASSERT_EQ(at.ptr(), value);
                }
            }
            if (model.size() > 40 && start > 1000) { // stay around the wrap
                queue.deleteAll();
                model.clear();
                last = start;
                at = {};
            }
        }
    }
}

TEST(LinkQueue, NumbersFromOneAndPassesOverZero) {
    using Member = LinkQueueMember<U32, Probe>;
    LinkQueue<Member, U32, Probe> queue;
    EXPECT_FALSE(queue.begin().hasBookmark());
    EXPECT_EQ(queue.enq(nullptr), 1u);
    auto at = queue.begin();
    queue.deq();
    EXPECT_EQ(queue.enq(nullptr), 2u);
    at.advance();
    EXPECT_EQ(at.key(), 2u);
    at.advance();
    EXPECT_FALSE(at);
    queue.newMember(makePtr<Member>(0xffffffffu, nullptr));
    EXPECT_EQ(queue.enq(nullptr), 1u);
}

TEST(RbTreeMap, IsEmptyBeforeWhatItHeldEnds) {
    bool seen = false;
    {
        RbTreeMap<Probe, int, int> map;
        map.rootIs(makePtr<Probe>(1));
        ASSERT_EQ(map.root()->value, 1);
        map.root()->onEnd = [&](Probe&) { seen = map.root() == nullptr; };
    }
    EXPECT_TRUE(seen);
}

TEST(BitSet, HoldsAWordAndRefusesOtherPositions) {
    BitSet<29, unsigned> set(0x4000000);
    set.set(0);
    set.set(28);
    set.reset(26);
    EXPECT_EQ(set.word(), 0x10000001u);
    if constexpr (contractChecks) {
        EXPECT_DEATH(set.set(29), "position 29 is not below 29");
        EXPECT_DEATH(set.reset(-1), "position -1");
    }
}

} // namespace
