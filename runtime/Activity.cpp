#include "runtime/Activity.h"

namespace Kor {

ActivitySm::~ActivitySm() = default;
ActivityConfig::~ActivityConfig() = default;

unsigned ActivitySm::run() {
    return runFrom(urgent_) + runFrom(due_);
}

void ActivitySm::redispatch() {
    runFrom(urgent_);
}

unsigned ActivitySm::runFrom(Queue& queue) {
    Ptr<ActivitySm> const self(this);
    unsigned count = 0;
    for (std::size_t due = queue.size(); due != 0 && !queue.empty(); --due) {
        Ptr<ActivityConfig> const config = std::move(queue.front());
        queue.pop_front();
        if (config->running_) {
            queue.push_back(config); // its own delivery is on the stack: again later
            continue;
        }
        config->queued_ = false;
        config->deliver();
        ++count;
    }
    return count;
}

ActivityConfig::ActivityConfig(Ptr<ActivitySm> sm, PtrInterface::NotifieeConst* reactor)
    : sm_(std::move(sm)), reactor_(reactor) {}

void ActivityConfig::schedule() {
    if (!queued_ && reactor_ != nullptr) {
        (urgent_ ? sm_->urgent_ : sm_->due_).emplace_back(this);
        queued_ = true;
    }
}

void ActivityConfig::scheduleAll() {
    if (reactor_ != nullptr) {
        reactor_->pendingAttributeIs(PtrInterface::NotifieeConst::allWholePending);
        schedule();
    }
}

void ActivityConfig::deliver() {
    Ptr<PtrInterface::NotifieeConst> const reactor = reactor_; // it may be let go of in a handler
    if (!reactor) {
        return;
    }
    if (!reactor->hasNotificationActive()) {
        reactor->pendingDel();
        return;
    }
    struct Running {
        bool& running;
        ~Running() { running = false; }
    } const running{running_};
    running_ = true;
    AttributeId const pending = reactor->pendingAttribute();
    try {
        reactor->handleNotification(this);
    } catch (...) {
        handlerExceptionNote(*reactor, pending);
        reactor->onNotificationException();
    }
}

void ActivityConfig::reactorDel() noexcept {
    reactor_ = nullptr;
    Ptr<ActivityConfig> const self(this);
    // Out of the queue as well: a queue that nobody runs any more must not keep the two alive.
    for (auto* queue : {&sm_->urgent_, &sm_->due_}) {
        std::erase(*queue, this);
    }
    queued_ = false;
}

} // namespace Kor
