#pragma once

/// Deferred delivery: a reactor that has an activity is not told inside of each change. Its changes collect,
/// and one run of the scheduler delivers them.
///
///     auto sm = Kor::makePtr<Kor::ActivitySm>();
///     class Watcher : public Kor::ActivityOf<LifAppConfig::Notifiee> {
///         void onReqCount(AradLifEntry const& key) override {
///             collect(259, deferred<0>(), key, [&] { ... one key changed ... });
///         }
///         void onAttribute(Kor::AttributeId attribute) override { ... several keys, or a scalar ... }
///         void handleNotification(Kor::ActivityConfig* config) override {
///             deliver(config, keyed(259, deferred<0>(), [&](auto& key) { onReqCount(key); }));
///         }
///     };
///     watcher->activityIs(sm);
///     config->reqCountInc(entry, 1);            // collected
///     sm->run();                                // delivered
///
/// Without an activity the same handlers run at once. Changes merge: of a scalar, and of several keys of one
/// attribute, there is one call of onAttribute(); a single change of one key comes as that key.
///
/// A scheduler runs only when its owner calls run(), on the caller's thread. It takes the activities in the
/// order in which they became due, the urgent ones first, each once in a run. Reactors, scheduler and
/// entities belong to one thread. A reactor that is switched off when its turn comes loses what was pending,
/// as it loses what happens meanwhile.

#include "runtime/Notification.h"
#include "runtime/NotifieeOf.h"

#include <deque>

namespace Kor {

class ActivityConfig;

class KOR_EXPORT ActivitySm : public PtrInterface {
public:
    ~ActivitySm() override;

    /// Delivers what is due now; what becomes due meanwhile waits for the next run. Returns the number of
    /// activities that have run. Handlers' exceptions are contained as in Kor::notify(). One that a reactor's
    /// onNotificationException(attribute) lets out ends the delivery to that reactor: what was not delivered
    /// stays due, and its onNotificationException() is called. Only an exception from that leaves the run.
    unsigned run();

    /// Whether anything is due.
    bool hasWork() const noexcept { return !urgent_.empty() || !due_.empty(); }

    /// Runs the urgent activities that are due, within the delivery of another one.
    void redispatch();

private:
    friend class ActivityConfig;
    using Queue = std::deque<Ptr<ActivityConfig>>;

    unsigned runFrom(Queue& queue);

    Queue urgent_, due_;
};

/// Ties a reactor to a scheduler. The reactor owns it; see Kor::ActivityOf.
class KOR_EXPORT ActivityConfig : public PtrInterface {
public:
    ActivityConfig(Ptr<ActivitySm> sm, PtrInterface::NotifieeConst* reactor);
    ~ActivityConfig() override;

    ActivitySm* actsm() const noexcept { return sm_.ptr(); }
    /// Null once the reactor has ended or has been given another activity.
    PtrInterface::NotifieeConst* reactor() const noexcept { return reactor_; }
    void reactorDel() noexcept;

    /// An urgent activity runs before the others, and also between two attributes of their deliveries.
    bool isUrgent() const noexcept { return urgent_; }
    void isUrgentIs(bool urgent) noexcept { urgent_ = urgent; }

    /// Makes the activity due, once.
    void schedule();
    /// Makes all attributes of the reactor pending, each to be told as a whole, such as when it begins to
    /// observe.
    void scheduleAll();

    /// The next call of the handler for this attribute is the delivery itself and must not be collected
    /// again.
    void immediateIs(AttributeId attribute) noexcept { immediate_ = attribute; }
    /// Asks for that, once.
    bool takeImmediate(AttributeId attribute) noexcept {
        return immediate_ == attribute && std::exchange(immediate_, 0) != 0;
    }

    /// What a derived class has taken and its base's handleNotification() is to deliver; 0 for nothing.
    void handedIs(AttributeId pending) noexcept { handed_ = pending; }
    /// Reads and clears it.
    AttributeId takeHanded() noexcept { return std::exchange(handed_, 0); }

private:
    friend class ActivitySm;
    void deliver();

    Ptr<ActivitySm> sm_;
    PtrInterface::NotifieeConst* reactor_;
    AttributeId immediate_ = 0;
    AttributeId handed_ = 0;
    bool urgent_ = false;
    bool queued_ = false;
    bool running_ = false;
};

/// A scalar attribute of a delivery: its id, and the generic handler that begins with korOnAttribute().
template <class Handler>
struct ScalarDelivery {
    AttributeId attribute;
    Handler handler;
};

/// A keyed attribute: its id, what was saved of it, and the handler for one key.
template <class Key, class Handler>
struct KeyedDelivery {
    AttributeId attribute;
    DeferredKey<Key>& deferred;
    Handler handler;
};

/// Delivers the pending attribute of `reactor`: the body of the handleNotification() of a class with these
/// attributes, given in the order of their ids. `base(config)` is the base's handleNotification(), which
/// takes what is handed down to it. Nothing is pending any more when the first handler runs: what a handler
/// changes is told in the next run. Each handler's exception is contained as in Kor::notify(); when one
/// leaves all the same, what is left stays pending and due.
template <class Reactor, class Base, class... Deliveries>
void deliverPending(Reactor& reactor, ActivityConfig* config, Base const& base,
                    Deliveries const&... deliveries) {
    AttributeId const pending = reactor.pendingAttributeTake(config);
    ActivitySm* const sm = reactor.actsm();
    // Restored if an exception leaves a handler of an exception.
    struct Unfinished {
        Reactor& reactor;
        ActivityConfig* config;
        AttributeId pending;
        bool finished = false;
        ~Unfinished() {
            config->handedIs(0);
            config->immediateIs(0);
            if (!finished) {
                reactor.pendingAttributeAdd(pending);
                config->schedule();
            }
        }
    } unfinished{reactor, config, pending};
    bool const all = pending == Reactor::allPending || pending == Reactor::allWholePending;
    bool const one = ((deliveries.attribute == pending) || ...);
    unfinished.finished = !all && !one; // then the base answers for it
    if (!one) {
        config->handedIs(pending);
        base(config);
        config->handedIs(0);
    }
    if (all) {
        reactor.redispatch(sm);
    }
    bool first = true;
    [[maybe_unused]] auto const deliver = [&](auto const& each) {
        if (!all && each.attribute != pending) {
            return;
        }
        if (!std::exchange(first, false)) {
            reactor.redispatch(sm);
        }
        callHandler(reactor, each.attribute, [&](Reactor&) {
            if constexpr (requires { each.deferred; }) {
                U8 const changes = std::exchange(each.deferred.changes, 0);
                if (pending == Reactor::allWholePending || changes > 1) {
                    reactor.onAttribute(each.attribute);
                } else if (changes == 1) {
                    auto const key = each.deferred.key; // the handler may save another one
                    config->immediateIs(each.attribute);
                    each.handler(key);
                }
            } else {
                config->immediateIs(each.attribute);
                each.handler();
            }
        });
        config->immediateIs(0);
    };
    (deliver(deliveries), ...);
    unfinished.finished = true;
}

/// A reactor class that can be given an activity.
template <class Base>
class ActivityOf : public Base {
public:
    using Base::Base;
    ~ActivityOf() override {
        if (config_) {
            config_->reactorDel();
        }
    }

    /// Collects the changes for this scheduler from now on; null tells them at once again. What is pending is
    /// dropped.
    void activityIs(Ptr<ActivitySm> const& sm) {
        if (config_) {
            config_->reactorDel();
        }
        this->pendingDel();
        config_ = sm ? makePtr<ActivityConfig>(sm, this) : nullptr;
    }

    ActivityConfig* korFwkActivity() override { return config_.ptr(); }
    using Base::korFwkActivity;

protected:
    /// Saves the change of a key for later, or runs `now()`: the body of a keyed handler.
    template <class Key, class Now>
    void collect(AttributeId attribute, DeferredKey<Key>& deferred, std::type_identity_t<Key> const& key,
                 Now const& now) {
        deferred.key = key;
        if (!this->korOnAttribute(attribute, &deferred.changes)) {
            now();
        }
    }
    /// The same for a scalar.
    template <class Now>
    void collect(AttributeId attribute, Now const& now) {
        if (!this->korOnAttribute(attribute, nullptr)) {
            now();
        }
    }

    template <class Handler>
    static ScalarDelivery<Handler> scalar(AttributeId attribute, Handler handler) {
        return {attribute, handler};
    }
    template <class Key, class Handler>
    static KeyedDelivery<Key, Handler> keyed(AttributeId attribute, DeferredKey<Key>& deferred,
                                             Handler handler) {
        return {attribute, deferred, handler};
    }
    /// The body of handleNotification().
    template <class... Deliveries>
    void deliver(ActivityConfig* config, Deliveries const&... deliveries) {
        deliverPending(
            *this, config, [this](ActivityConfig* c) { Base::handleNotification(c); }, deliveries...);
    }

private:
    Ptr<ActivityConfig> config_;
};

} // namespace Kor
