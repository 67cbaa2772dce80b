#include "attrlog/session/Session.h"

#include "attrlog/session/internal/Parts.h"
#include "runtime/HandlerExceptions.h"

#include <algorithm>
#include <random>

namespace Kor::NboAttrLog {

/// Hands each part what is its own.
struct Session::Impl final : DemuxerControl {
    explicit Impl(Session& session)
        : core{session,           session.config_, *session.service_,     session.hooks_,
               *session.demuxer_, session.peer_,   session.isEstablished_} {
        core.demuxer.controlIs(this);
        core.service.sessionIs(session);
        hello.send();
    }
    ~Impl() {
        core.demuxer.controlIs(nullptr);
        core.service.sessionDel(core.self);
    }
    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    bool control(MsgHeader const& header, In& in) override {
        bool const isOwn = header.entityId == MsgHeader::announcing && !header.isMarker;
        AttributeId const attribute = header.attributeId;
        if (isOwn && attribute == goodbyeAttribute) {
            core.self.isClosedByPeer_ = true;
            String8 const reason = in.nextString();
            core.demuxer.close(reason.empty() ? String8("peer said goodbye")
                                              : peerText(reason.view(), detail::maxReasonLength));
            return true;
        }
        if (!core.isEstablished && !(isOwn && attribute == helloAttribute)) {
            detail::fault("record comes before the hello");
        }
        return isOwn && read(attribute, in);
    }
    bool read(AttributeId attribute, In& in) {
        switch (attribute) {
        case helloAttribute:
            hello.read(in);
            offers.begin();
            detail::tell(core.hooks.established, core.self);
            pushes.begin();
            core.established();
            return true;
        case offerAttribute:
        case -offerAttribute:
            wishes.readOffer(in, attribute < 0);
            return true;
        case offersKnownAttribute:
            wishes.offersKnown();
            return true;
        case wantAttribute:
        case -wantAttribute: {
            Name const path = detail::SessionCore::nextPath(in);
            auto const number = static_cast<U32>(in.nextNumber());
            attribute > 0 ? offers.wanted(path, number) : offers.unwanted(path, number);
            return true;
        }
        case verdictAttribute:
            readVerdict(in);
            return true;
        case requestAttribute:
            calls.readRequest(in);
            return true;
        case answerAttribute:
            calls.readAnswer(in);
            return true;
        case fenceAttribute:
            fences.readFence(in);
            return true;
        case fencedAttribute:
            fences.readFenced(in);
            return true;
        default:
            return false;
        }
    }
    void readVerdict(In& in) {
        Name const path = detail::SessionCore::nextPath(in);
        auto const number = static_cast<U32>(in.nextNumber());
        U64 const bits = in.nextNumber();
        String8 const reason = peerText(in.nextString().view(), detail::maxReasonLength);
        if ((bits & detail::pushedBit) != 0) {
            pushes.readVerdict(path, number, (bits & detail::acceptedBit) != 0, reason);
        } else {
            wishes.refused(path, number, reason);
        }
    }

    // What the connection says of roots.

    Ptr<Entity> root(Announcement const& announcement) override {
        if (!isSoundName(announcement.name.path.view(), maxPathLength)) {
            detail::fault("record has an unsound path");
        }
        return announcement.name.isPushed ? pushes.root(announcement) : wishes.root(announcement);
    }
    void mounted(EntityId id) override {
        wishes.mounted(id);
        pushes.stateIs(id, RootState::synchronizing);
    }
    void retired(EntityId id) override {
        wishes.retired(id);
        pushes.retired(id);
        offers.retired(id);
        core.pathOf.erase(id);
    }
    void syncModeTold(EntityId id, StreamAdapter::SyncMode mode) override {
        bool const begins = mode == StreamAdapter::SyncMode::synchronizing;
        if (begins || mode == StreamAdapter::SyncMode::allSynchronized) {
            RootState const state = begins ? RootState::synchronizing : RootState::synchronized;
            wishes.stateTold(id, state);
            pushes.stateIs(id, state);
        }
    }
    void failed(EntityId id, String8 const& why) override {
        if (!offers.failed(id, why)) {
            pushes.failed(id, why);
        }
        core.pathOf.erase(id);
    }

    // What goes before the entities' records.

    bool hasControl() const {
        return !core.notes.empty() || offers.hasWork() || calls.hasWork() || core.hasDue();
    }
    void flow() {
        if (!core.isOpen()) {
            if (saysGoodbye && core.hasRoom()) {
                saysGoodbye = false;
                core.write(goodbyeAttribute, [&](Out& to) {
                    to.put(peerText(core.demuxer.closeReason().view(), detail::maxReasonLength));
                });
            }
            return;
        }
        if (!core.isEstablished) {
            return;
        }
        do {
            core.writeNotes();
            offers.write();
            calls.write();
            core.doDue();
            if (!core.hasRoom()) {
                break;
            }
            core.demuxer.flow();
        } while (core.isOpen() && hasControl() && core.hasRoom());
    }

    /// Tells everybody here, once.
    void ended() {
        if (core.isOpen() || std::exchange(toldEnd, true)) {
            return;
        }
        saysGoodbye = !core.self.isClosedByPeer_ && !isCut;
        core.service.sessionDel(core.self);
        core.ended();
        offers.ended();
        calls.drop();
        flow();
        String8 const reason = core.demuxer.closeReason();
        wishes.ended(reason);
        pushes.ended(reason);
        calls.ended(reason);
        fences.ended(reason);
        detail::tell(core.hooks.closed, core.self, reason);
    }

    detail::SessionCore core;
    detail::Hello hello{core};
    detail::Offers offers{core};
    detail::Wishes wishes{core};
    detail::Pushes pushes{core};
    detail::Calls calls{core};
    detail::Fences fences{core};
    bool isCut = false;
    bool saysGoodbye = false;
    bool toldEnd = false;
};

Session::Session(Side side, SessionConfig config, Ptr<Service> service, SessionHooks hooks)
    : config_(std::move(config)), service_(service ? std::move(service) : makePtr<Service>()),
      hooks_(std::move(hooks)) {
    config_.limits = soundLimits(config_.limits, minRecord);
    demuxer_ = makePtr<Demuxer>(side, config_.limits);
    impl_ = std::make_unique<Impl>(*this);
}

Session::~Session() {
    impl_->isCut = true;
    impl_->core.close(Demuxer::endedReason());
    for (bool isTold = false; !isTold;) {
        try {
            impl_->fences.ended(Demuxer::endedReason());
            isTold = true;
        } catch (...) { // of a hook, which has been told
            handlerExceptionNote(*this, AttributeId(0));
        }
    }
}

bool Session::receive() {
    Ptr<Session> const self(this);
    if (isOpen() && impl_->hello.readPreamble()) {
        demuxer_->receive();
    }
    impl_->ended();
    return isOpen();
}

bool Session::flow() {
    Ptr<Session> const self(this);
    impl_->flow();
    impl_->ended();
    return impl_->saysGoodbye || (isEstablished() && (impl_->hasControl() || demuxer_->hasWork()));
}

void Session::close(String8 const& reason) {
    Ptr<Session> const self(this);
    impl_->core.close(reason);
    impl_->ended();
    out()->stir();
}

void Session::cut(String8 const& reason) {
    impl_->isCut = true;
    impl_->saysGoodbye = false;
    close(reason);
}

bool Session::isOver() const noexcept {
    return !isOpen() && (impl_->isCut || (!impl_->saysGoodbye && out()->pending() == 0));
}

std::map<Name, Session::PeerOffer> const& Session::peerOffers() const noexcept {
    return impl_->wishes.peerOffers();
}

bool Session::areOffersKnown() const noexcept {
    return impl_->wishes.areOffersKnown();
}

void Session::want(Name const& path, WantHook hook, Take take) {
    impl_->wishes.want(path, std::move(hook), std::move(take));
}

void Session::want(Name const& path, Ptr<Entity> const& mine, WantHook hook) {
    requireRoot(path, mine);
    impl_->wishes.want(path, std::move(hook), [mine](Ptr<Entity> const&) { return mine; });
}

void Session::unwant(Name const& path) {
    impl_->wishes.unwant(path);
}

Ptr<Entity> Session::root(Name const& path) const {
    return impl_->wishes.root(path);
}

RootState Session::rootState(Name const& path) const noexcept {
    return impl_->wishes.state(path);
}

void Session::push(Name const& path, Ptr<Entity> const& entity, Access access, PushHook hook,
                   PushPlace place) {
    impl_->pushes.push(path, entity, access, std::move(hook), place);
}

void Session::unpush(Name const& path) {
    impl_->pushes.unpush(path);
}

void Session::call(Name const& verb, String8 const& argument, Reply reply, CallOrder order) {
    impl_->calls.request(verb, argument, std::move(reply), order);
}

void Session::fence(FenceLevel level, FenceHook hook, FenceExtent extent) {
    fence(level, std::move(hook), extent, detail::maxFenceHops);
}

void Session::fence(FenceLevel level, FenceHook hook, FenceExtent extent, U32 hops) {
    impl_->fences.fence(level, std::move(hook), extent, hops);
}

std::size_t Session::openFences() const noexcept {
    return impl_->fences.open();
}

bool Session::hasMounted(Name const& path) const noexcept {
    return impl_->offers.hasMounted(path);
}

void Session::pushLost(Name const& path, String8 const& why) {
    impl_->pushes.lost(path, why);
}

InstanceToken const& instanceToken() {
    static InstanceToken const token = [] {
        InstanceToken random{};
        std::random_device source;
        for (U64& each : random) {
            each = U64{source()} << 32 | source();
        }
        return random;
    }();
    return token;
}

void Session::offerChanged(Name const& path) {
    impl_->offers.changed(path);
}

std::size_t Session::preambleOf(std::span<U8 const> start) noexcept {
    std::size_t const known = std::min(start.size(), magic.size());
    if (!std::equal(magic.begin(), magic.begin() + static_cast<std::ptrdiff_t>(known), start.begin())) {
        return 0;
    }
    return start.size() < detail::Hello::preambleLength ? more : detail::Hello::preambleLength;
}

} // namespace Kor::NboAttrLog
