#include "runtime/Activity.h"
#include "runtime/Entity.h"
#include "runtime/HandlerExceptions.h"
#include "runtime/Trace.h"

#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace Kor;

namespace {

constexpr AttributeId speedId = 258, countId = 259;

// What the entity pattern makes of a class with a scalar and a keyed attribute, cut to the bone.
class Port : public PtrInterface {
public:
    class NotifieeConst : public NotifieeOf<NotifieeConst, Port, PtrInterface::NotifieeConst, int> {
    public:
        virtual void onSpeed() {}
        virtual void onCount(int) {}
    };
    class Notifiee : public NotifieeConst {};

    ~Port() override { --alive; }
    explicit Port(char const* name = "port") : name_(name) { ++alive; }

    Name name() const { return name_; }
    void speedIs(int value) {
        speed = value;
        notify(notifieeList_, speedId, [](NotifieeConst& n) { n.onSpeed(); });
    }
    void countIs(int key) {
        notify(notifieeList_, countId, [&](NotifieeConst& n) { n.onCount(key); });
    }
    void zeroReferencesIs(bool) override { notifyZeroReferences(notifieeList_); }

    static inline int alive = 0;
    int speed = 0;
    ListRaw<NotifieeConst> const& list() const { return notifieeList_; }

private:
    friend NotifieeAccess;
    Name name_;
    mutable ListRaw<NotifieeConst> notifieeList_;
};

std::vector<std::string> heard;

class Watcher : public Port::Notifiee {
public:
    explicit Watcher(std::string theId) : id(std::move(theId)) { ++alive; }
    ~Watcher() override { --alive; }
    void onSpeed() override { hear("s" + std::to_string(notifier()->speed)); }
    void onCount(int key) override { hear("c" + std::to_string(key)); }
    void onZeroReferences() override { hear("zero"); }
    void onNotificationException(AttributeId attribute) override {
        heard.push_back(id + ":!" + std::to_string(attribute));
        if (onException) {
            onException();
        }
    }
    void hear(std::string what) {
        heard.push_back(id + ":" + what);
        if (action) {
            action();
        }
    }

    static inline int alive = 0;
    std::string id;
    void notifierIs(Ptr<PtrInterface const> const& other) override {
        Port::Notifiee::notifierIs(other);
        if (onDetached && !other) {
            onDetached();
        }
    }
    std::function<void()> action, onException, onDetached;
};

template <class W>
Ptr<W> attached(Ptr<Port> const& port, std::string id) {
    auto watcher = makePtr<W>(std::move(id));
    watcher->isRegisteredNotifieeIs(true);
    watcher->notifierIs(port);
    return watcher;
}

// A stream adapter and its twin in the list.
class Stream : public Entity::KorNboAttrLogSa {
public:
    explicit Stream(std::string theId) : id(std::move(theId)) {}
    void onSpeed() { heard.push_back(id + ":s"); }
    void onZeroReferences() override { heard.push_back(id + ":zero"); }
    void onNotificationException(AttributeId attribute) override {
        heard.push_back(id + ":!" + std::to_string(attribute));
    }
    std::string id;
};
class PortStream;
class PortStreamAdapter : public NotifieeAdapter<PortStream, Port::Notifiee> {
public:
    using NotifieeAdapter::NotifieeAdapter;
    void onSpeed() override;
};
class PortStream : public AdapterOwner<Stream, PortStreamAdapter> {
public:
    PortStream(std::string theId, Ptr<Port> const& port) : AdapterOwner(std::move(theId)) {
        adapterIs(makePtr<PortStreamAdapter>(this), port);
    }
    ~PortStream() override { adapterDel(); }
};
void PortStreamAdapter::onSpeed() {
    korReactorAdapter()->onSpeed();
}

class NotificationTest : public testing::Test {
protected:
    NotificationTest() { heard.clear(); }
    ~NotificationTest() override {
        traceSinkIs(nullptr);
        a = b = c = nullptr;
        port = nullptr;
        EXPECT_EQ(Watcher::alive, 0);
        EXPECT_EQ(Port::alive, 0);
    }
    using Heard = std::vector<std::string>;
    Heard take() { return std::exchange(heard, {}); }
    Heard change() {
        port->speedIs(port->speed + 1);
        return take();
    }

    Ptr<Port> port = makePtr<Port>();
    Ptr<Watcher> a = attached<Watcher>(port, "a"), b = attached<Watcher>(port, "b"),
                 c = attached<Watcher>(port, "c");
};

TEST_F(NotificationTest, TellsStreamsTheLatestFirstThenOthersInOrderAfterTheChangeIsStored) {
    auto one = makePtr<PortStream>("one", port);
    auto two = makePtr<PortStream>("two", port);
    EXPECT_EQ(change(), (Heard{"two:s", "one:s", "a:s1", "b:s1", "c:s1"}));
    port->countIs(7);
    EXPECT_EQ(take(), (Heard{"a:c7", "b:c7", "c:c7"}));
    one->hasNotificationActiveIs(false);
    a->hasNotificationActiveIs(false);
    EXPECT_EQ(change(), (Heard{"two:s", "b:s2", "c:s2"}));
    one->hasNotificationActiveIs(true);
    a->hasNotificationActiveIs(true);
    EXPECT_EQ(change(), (Heard{"one:s", "two:s", "b:s3", "c:s3", "a:s3"}));
    EXPECT_EQ(port->references(), 4u); // no stream holds it
}

/// One that says that it is a stream adapter, and is none.
class Pretender : public Watcher {
public:
    using Watcher::Watcher;
    bool isStreamAdapter() const override { return true; }
};

TEST_F(NotificationTest, OnlyWhatIsAStreamAdapterGoesBeforeTheOthers) {
    auto const pretender = attached<Pretender>(port, "p");
    auto const stream = makePtr<PortStream>("stream", port);
    EXPECT_EQ(change(), (Heard{"stream:s", "a:s1", "b:s1", "c:s1", "p:s1"}));
    auto const found = streamAdapterAmong(port->list(), [](Entity::KorNboAttrLogSa&) { return true; });
    EXPECT_EQ(found, stream.ptr());
}

TEST_F(NotificationTest, ANewcomerHearsOnlyLaterChanges) {
    Ptr<Watcher> late;
    a->action = [&] {
        if (!late) {
            late = attached<Watcher>(port, "late");
        }
    };
    EXPECT_EQ(change(), (Heard{"a:s1", "b:s1", "c:s1"}));
    EXPECT_EQ(change(), (Heard{"a:s2", "b:s2", "c:s2", "late:s2"}));
    a->action = nullptr;
}

TEST_F(NotificationTest, ARemovedReactorIsToldOnlyIfSomebodyStillHoldsIt) {
    a->action = [&] {
        b->notifierIs(nullptr);
        c->isRegisteredNotifieeIs(false);
        c = nullptr;
    };
    b->action = [] {};
    port->countIs(1);
    EXPECT_EQ(take(), (Heard{"a:c1", "b:c1"})); // b is held, c was let go of
    EXPECT_EQ(Watcher::alive, 2);
    EXPECT_EQ(port->list().count(), 1u);
}

TEST_F(NotificationTest, TheThrowersExceptionIsContainedCountedTracedAndReported) {
    std::vector<std::string> traced, hooked;
    traceSinkIs([&](TraceRecord const& record) { traced.emplace_back(record.text); });
    handlerExceptionHookIs([&](HandlerException const& e) {
        EXPECT_EQ(&e.reactor, a.ptr());
        hooked.push_back(std::to_string(e.attribute) + " " + std::string(e.what));
        throw 1; // dropped
    });
    U64 const before = handlerExceptions();
    a->action = [] { throwRangeException("too much"); };
    EXPECT_EQ(change(), (Heard{"a:s1", "a:!258", "b:s1", "c:s1"}));
    a->action = [] { throw 42; };
    port->countIs(1);
    EXPECT_EQ(take(), (Heard{"a:c1", "a:!259", "b:c1", "c:c1"}));
    EXPECT_EQ(handlerExceptions(), before + 2);
    EXPECT_EQ(hooked, (Heard{"258 too much", "259 unknown exception"}));
    handlerExceptionHookIs(nullptr);
    ASSERT_EQ(traced.size(), 2u);
    EXPECT_NE(traced[0].find("Watcher for attribute 258 threw: too much"), std::string::npos);
}

TEST_F(NotificationTest, AnExceptionOfTheExceptionHandlerLeavesTheLoopWithAllReferencesDropped) {
    traceSinkIs([](TraceRecord const&) {});
    b->action = [] { throw 1; };
    b->onException = [] { throw std::runtime_error("again"); };
    EXPECT_THROW(port->speedIs(1), std::runtime_error);
    EXPECT_EQ(take(), (Heard{"a:s1", "b:s1", "b:!258"}));
    EXPECT_EQ(c->references(), 1u);
    EXPECT_FALSE(Expect::isExpected({}));
}

TEST_F(NotificationTest, AHandlerMayChangeTheEntityAgainAndExpectsAnyException) {
    a->action = [&] {
        EXPECT_TRUE(Expect::isExpected({}));
        if (port->speed < 3) {
            port->speedIs(port->speed + 1);
        }
    };
    EXPECT_EQ(change(), (Heard{"a:s1", "a:s2", "a:s3", "b:s3", "c:s3", "b:s3", "c:s3", "b:s3", "c:s3"}));
}

TEST_F(NotificationTest, ANotifierOfAnotherClassDetachesAndMovingChangesLists) {
    auto other = makePtr<Port>("other");
    U32 const version = port->list().version();
    a->notifierIs(port); // the same: nothing
    EXPECT_EQ(port->list().version(), version);
    a->notifierIs(other);
    EXPECT_EQ(a->name(), "other");
    EXPECT_EQ(change(), (Heard{"b:s1", "c:s1"}));
    EXPECT_EQ(other->references(), 2u);
    a->notifierIs(makePtr<Watcher>("wrong"));
    EXPECT_EQ(a->notifier(), nullptr);
    EXPECT_EQ(a->name(), "");
    EXPECT_EQ(other->list().count(), 0u);
    EXPECT_EQ(other->references(), 1u);
    b->isRegisteredNotifieeIs(false);
    b->notifierIs(other);
    EXPECT_EQ(other->list().count(), 0u);
    b->isRegisteredNotifieeIs(true);
    EXPECT_EQ(other->list().count(), 1u);
    b = nullptr; // its end takes it out
    EXPECT_EQ(other->list().count(), 0u);
    c->hasNotificationActiveIs(false);
    c->notifierIs(nullptr);
    c->hasNotificationActiveIs(true);
    EXPECT_TRUE(c->isRegisteredNotifiee());
    EXPECT_EQ(port->list().count(), 0u);
}

TEST_F(NotificationTest, AWeakReactorHoldsNothingAndIsDetachedWhenItsNotifierEnds) {
    auto stream = makePtr<PortStream>("stream", port);
    auto other = makePtr<Port>();
    for (bool weak : {true, true, false, true}) {
        a->isWeakReferenceIs(weak);
        EXPECT_EQ(port->references(), weak ? 3u : 4u);
    }
    a->notifierIs(other);
    EXPECT_EQ(other->references(), 1u);
    EXPECT_EQ(port->references(), 3u);
    a->notifierIs(port);
    b = c = nullptr;
    Port* const raw = port.ptr();
    a->action = [&] { port = raw; }; // saves it
    port = nullptr;
    a->action = nullptr;
    EXPECT_EQ(take(), (Heard{"stream:zero", "a:zero"}));
    EXPECT_EQ(a->notifier(), raw); // still attached, for it lives
    port = nullptr;
    EXPECT_EQ(Port::alive, 1);
    EXPECT_EQ(take(), (Heard{"a:zero"}));
    EXPECT_EQ(a->notifier(), nullptr);
    EXPECT_FALSE(stream->hasNotificationActive()); // and out of the list, yet detached:
    EXPECT_EQ(stream->adapter()->notifier(), nullptr);
}

// Whatever a weak reactor has been through, it does not outlive its notifier unawares.
TEST_F(NotificationTest, WeakReactorsInAndOutOfTheListGoWithTheirNotifier) {
    auto other = makePtr<Port>();
    b = makePtr<Watcher>("b"); // never registered
    b->isWeakReferenceIs(true);
    b->notifierIs(port);
    c->hasNotificationActiveIs(false);
    c->isWeakReferenceIs(true);
    a->isWeakReferenceIs(true);
    a->isRegisteredNotifieeIs(false);
    // Many take no longer than their number.
    std::vector<Ptr<Watcher>> many{a, b, c};
    for (int i = 0; i < 100'000; ++i) {
        many.push_back(attached<Watcher>(port, "m"));
        many.back()->isWeakReferenceIs(true);
    }
    many.back() = nullptr; // the end of one takes it out, in the list or not
    many[4]->isRegisteredNotifieeIs(false);
    many[4] = nullptr;
    // One that is detached may take others with it, those that are not detached yet too, and move on.
    many[5]->onDetached = [&] {
        many[5]->notifierIs(other);
        many[1] = many[6] = many[7] = b = nullptr;
    };
    port = nullptr;
    EXPECT_EQ(Port::alive, 1);
    EXPECT_EQ(other->list().head(), many[5].ptr());
    for (auto const& each : many) {
        EXPECT_TRUE(!each || each == many[5] || each->notifier() == nullptr);
    }
    many.clear();
    EXPECT_EQ(other->list().count(), 0u);
}

TEST_F(NotificationTest, AnAdapterStandsForItsOwnerAndLeavesWithIt) {
    auto stream = makePtr<PortStream>("stream", port);
    Ptr<PortStreamAdapter> const adapter = stream->adapter();
    EXPECT_EQ(adapter->korReactor(), stream.ptr());
    EXPECT_EQ(port->references(), 4u);
    adapter->onNotificationException(9);
    EXPECT_EQ(take(), (Heard{"stream:!9"}));
    for (auto const& [act, isActive] : std::initializer_list<std::pair<std::function<void()>, bool>>{
             {[&] { adapter->hasNotificationActiveIs(false); }, false},
             {[&] { stream->hasNotificationActiveIs(true); }, true},
             {[&] { stream->zombieIs(true); }, false},
             {[&] { stream->zombieIs(false); }, true}, // both are revived, and can be switched off again
             {[&] { stream->hasNotificationActiveIs(false); }, false},
             {[&] { stream->hasNotificationActiveIs(true); }, true}}) {
        act();
        EXPECT_EQ(adapter->korMarkedForDeletion(), stream->korMarkedForDeletion());
        EXPECT_EQ(adapter->hasNotificationActive(), isActive);
        EXPECT_EQ(stream->hasNotificationActive(), isActive);
        EXPECT_EQ(port->list().count(), isActive ? 4u : 3u);
        EXPECT_EQ(port->list().head() == adapter.ptr(), isActive);
    }
    stream = nullptr;
    EXPECT_EQ(port->list().count(), 3u);
    EXPECT_EQ(port->references(), 4u);
    EXPECT_EQ(adapter->notifier(), nullptr);
    EXPECT_EQ(adapter->korRawReactor(), adapter.ptr());
}

TEST_F(NotificationTest, ClientsSetOnlyTheFlagsOfTheMask) {
    for (U32 given : {0xffffffffu, 0u}) {
        a->notificationFlagsIs(PtrInterface::NotifieeConst::Kor_BitSet(given));
        EXPECT_EQ(a->kor_bitSet().word(), (given & 0xfa8fffff) | 0x4000000);
    }
}

// A reactor that collects its changes.
class Collector : public ActivityOf<Watcher> {
public:
    using ActivityOf::ActivityOf;
    void onSpeed() override {
        collect(speedId, [this] { onAttribute(speedId); });
    }
    void onCount(int key) override {
        collect(countId, deferred<0>(), key, [&] { hear("c" + std::to_string(key)); });
    }
    void onAttribute(AttributeId attribute) override { hear("A" + std::to_string(attribute)); }
    void handleNotification(ActivityConfig* config) override {
        deliver(config, scalar(speedId, [this] { onSpeed(); }),
                keyed(countId, deferred<0>(), [this](int key) { onCount(key); }));
    }
    void onNotification() override { hear("all"); }
};

class ActivityTest : public NotificationTest {
protected:
    ActivityTest() {
        a = b = c = nullptr;
        x->activityIs(sm);
    }
    Heard run() {
        sm->run();
        return take();
    }
    Ptr<ActivitySm> sm = makePtr<ActivitySm>();
    Ptr<Collector> x = attached<Collector>(port, "x"), y = attached<Collector>(port, "y");
};

TEST_F(ActivityTest, ChangesCollectAndOneRunDeliversThem) {
    port->countIs(1);
    EXPECT_EQ(take(), (Heard{"y:c1"})); // no activity: at once
    EXPECT_EQ(run(), (Heard{"x:c1"}));
    y = nullptr;
    port->countIs(1);
    port->countIs(2);
    EXPECT_EQ(x->pendingAttribute(), countId);
    EXPECT_EQ(run(), (Heard{"x:A259"})); // several keys: the attribute as a whole
    for (int i = 0; i < 300; ++i) {      // the counter does not wrap around to "none"
        port->countIs(3);
    }
    EXPECT_EQ(run(), (Heard{"x:A259"}));
    port->countIs(4);
    port->speedIs(1);
    port->speedIs(2);
    EXPECT_EQ(x->pendingAttribute(), -1);
    EXPECT_EQ(run(), (Heard{"x:all", "x:A258", "x:c4"}));
    EXPECT_FALSE(sm->hasWork());
    EXPECT_EQ(run(), Heard());
    x->korFwkActivity()->scheduleAll();
    EXPECT_EQ(run(), (Heard{"x:all", "x:A258", "x:A259"}));
    x->activityIs(nullptr);
    port->speedIs(3);
    EXPECT_EQ(take(), (Heard{"x:A258"}));
}

TEST_F(ActivityTest, AChangeMadeInADeliveryWaitsForTheNextRun) {
    x->action = [&] {
        if (port->speed < 3) {
            port->speedIs(port->speed + 1);
        }
    };
    y = nullptr;
    port->speedIs(1);
    EXPECT_EQ(run(), (Heard{"x:A258"}));
    EXPECT_EQ(port->speed, 2);
    EXPECT_EQ(run(), (Heard{"x:A258"}));
    EXPECT_EQ(run(), (Heard{"x:A258"}));
    EXPECT_EQ(run(), Heard());
    // A run within a delivery leaves that delivery alone.
    x->action = [&] { port->countIs(port->speed), sm->run(); };
    port->speedIs(9);
    EXPECT_EQ(run(), (Heard{"x:A258"}));
    x->action = nullptr;
    EXPECT_EQ(run(), (Heard{"x:c9"}));
}

// One more level, with an attribute of its own.
class DeepCollector : public Collector {
public:
    using Collector::Collector;
    void handleNotification(ActivityConfig* config) override {
        auto const base = [this](ActivityConfig* c) {
            EXPECT_EQ(pendingAttribute(), 0);
            change();
            Collector::handleNotification(c);
        };
        deliverPending(*this, config, base, scalar(300, [this] { hear("deep"); }));
    }
    std::function<void()> change;
};

TEST_F(ActivityTest, ADerivedLevelHandsDownWhatItHasTakenSoThatChangesArePendingAnew) {
    x = y = nullptr;
    auto deep = attached<DeepCollector>(port, "d");
    deep->activityIs(sm);
    deep->change = [&] { port->speedIs(port->speed + 1); };
    for (auto const& [attribute, told] :
         {std::pair(300, Heard{"d:deep"}), std::pair(countId, Heard{}), std::pair(speedId, Heard{"d:A258"}),
          std::pair(-1, Heard{"d:all", "d:A258", "d:deep"}),
          std::pair(-2, Heard{"d:all", "d:A258", "d:A259", "d:deep"})}) {
        deep->pendingAttributeIs(attribute);
        deep->korFwkActivity()->schedule();
        EXPECT_EQ(run(), told);
        EXPECT_EQ(deep->pendingAttribute(), attribute == 300 ? 0 : speedId);
        EXPECT_EQ(sm->hasWork(), attribute != 300);
    }
}

TEST_F(ActivityTest, TheUrgentRunFirstAndBetweenTheAttributesOfOthers) {
    y->activityIs(sm);
    y->korFwkActivity()->isUrgentIs(true);
    port->speedIs(1);
    EXPECT_EQ(run(), (Heard{"y:A258", "x:A258"}));
    y->isRegisteredNotifieeIs(false);
    port->speedIs(2);
    port->countIs(1);
    y->isRegisteredNotifieeIs(true);
    x->action = [&] {
        if (!sm->hasWork() && port->speed < 3) {
            port->speedIs(3);
        }
    };
    EXPECT_EQ(run(), (Heard{"x:all", "y:A258", "x:A258", "x:c1"}));
    x->action = nullptr;
    EXPECT_EQ(run(), (Heard{"x:A258"}));
}

TEST_F(ActivityTest, ExceptionsAreContainedAndWhatIsLeftStaysDue) {
    traceSinkIs([](TraceRecord const&) {});
    y = nullptr;
    U64 const before = handlerExceptions();
    auto change = [&] {
        port->speedIs(port->speed + 1);
        port->countIs(port->speed);
    };
    change();
    x->action = [] { throw 1; };
    EXPECT_EQ(run(), (Heard{"x:all", "x:!-1", "x:A258", "x:!258", "x:c1", "x:!259"}));
    EXPECT_EQ(handlerExceptions(), before + 3);
    change();
    x->onException = [&] {
        if (heard.back() == "x:!258") {
            throw 2;
        }
    };
    EXPECT_EQ(run(), (Heard{"x:all", "x:!-1", "x:A258", "x:!258"}));
    x->action = nullptr;
    EXPECT_EQ(run(), (Heard{"x:all", "x:A258", "x:c2"}));
}

TEST_F(ActivityTest, AReactorThatEndsOrIsOffIsNotDelivered) {
    auto z = attached<Collector>(port, "z");
    z->activityIs(sm);
    x->action = [&] { z = nullptr; };
    port->speedIs(1);
    EXPECT_EQ(take(), (Heard{"y:A258"}));
    EXPECT_EQ(run(), (Heard{"x:A258"}));
    x->action = nullptr;
    y = nullptr;
    port->countIs(1);
    port->speedIs(2);
    x->hasNotificationActiveIs(false);
    EXPECT_EQ(run(), Heard());
    x->hasNotificationActiveIs(true);
    port->countIs(2); // what was dropped is not counted with this one
    EXPECT_EQ(run(), (Heard{"x:c2"}));
    port->countIs(3);
    x->activityIs(sm);
    port->countIs(4);
    EXPECT_EQ(run(), (Heard{"x:c4"}));
    port->speedIs(3);
    sm = nullptr; // the reactor's activity holds it, and lets go of it with the reactor
    x = nullptr;
}

} // namespace
