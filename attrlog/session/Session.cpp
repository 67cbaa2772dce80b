#include "attrlog/session/Session.h"

#include "attrlog/session/internal/Parts.h"
#include "runtime/HandlerExceptions.h"

#include <algorithm>
#include <exception>
#include <random>

namespace Kor::NboAttrLog {

void SessionCore::whenEstablished(std::function<void()> todo) {
    if (isEstablished && early.empty()) {
        todo();
    } else {
        early.push_back(std::move(todo));
    }
}

void SessionCore::established() {
    while (!early.empty() && isOpen()) {
        auto const todo = std::move(early.front());
        early.pop_front();
        todo();
    }
}

void SessionCore::afterChanges(std::function<void()> todo) {
    due.push_back({demuxer.barrierIs(), std::move(todo)});
    doDue();
}

void SessionCore::whenRoom(std::function<void()> todo) {
    soon.push_back(std::move(todo));
    doDue();
}

void SessionCore::doDue() {
    writeNotes(); // a verdict stands before the answer to a fence behind what it is about
    if (!notes.empty()) {
        return;
    }
    while (hasDue() && hasRoom()) {
        if (soon.empty()) {
            soon.push_back(std::move(due.front().todo));
            due.pop_front();
        }
        auto const todo = std::move(soon.front());
        soon.pop_front();
        todo();
    }
}

void SessionCore::note(Cause cause, AttributeId attribute, Name const& path, U32 number, U64 bits,
                       String8 const& reason) {
    if (!isOpen()) {
        return;
    }
    if (cause == Cause::peer && ++peersNotes > maxNotes) {
        closeGreedy();
        return;
    }
    notes.push_back({cause, attribute, path, number, bits, peerText(reason.view(), maxReasonLength)});
    out().stir();
}

void SessionCore::writeNotes() {
    while (!notes.empty() && hasRoom()) {
        Note const& next = notes.front();
        if (next.attribute == verdictAttribute) {
            write(next.attribute, next.path, next.number, next.bits, next.reason);
        } else {
            write(next.attribute, next.path, next.number);
        }
        peersNotes -= next.cause == Cause::peer;
        notes.pop_front();
    }
}

Name SessionCore::readPath(In& in) {
    Name path = in.next<Name>();
    if (path.empty() || !isSoundName(path.view(), maxPathLength)) {
        fault("record has an unsound path");
    }
    return path;
}

Ptr<Entity> SessionCore::placeFor(Announcement const& announcement,
                                  std::function<Ptr<Entity>()> const& give) const {
    if (!announcement.made) {
        throwRangeException(announcement.refusal.empty() ? String8("its type is not known here")
                                                         : announcement.refusal);
    }
    Ptr<Entity> entity = give();
    if (!entity) {
        throwRangeException("it is not taken in");
    }
    if (entity->fwkType() != announcement.made->fwkType()) {
        throwRangeException(format("it is a %s, and its place is for a %s",
                                   announcement.made->fwkType()->typeName().charPtr(),
                                   entity->fwkType()->typeName().charPtr()));
    }
    if (entity->korNboAttrLogSa(demuxer.out())) {
        throwRangeException("its place is on this connection already");
    }
    return entity;
}

void SessionCore::ended() {
    notes.clear();
    early.clear();
    due.clear();
    soon.clear();
    peersNotes = 0;
    pathOf.clear();
}

/// Calls `step` until it returns. What it throws is of a hook, which has been told and must not keep those
/// behind it from being told. The first goes to `first`, if that is given; all else is counted.
template <class Step>
static void insist(Session const& session, Step const& step, std::exception_ptr* first = nullptr) {
    for (bool isOver = false; !isOver;) {
        try {
            step();
            isOver = true;
        } catch (...) {
            if (first != nullptr && !*first) {
                *first = std::current_exception();
            } else {
                handlerExceptionNote(session, AttributeId(0));
            }
        }
    }
}

bool Session::Impl::control(MsgHeader const& header, In& in) {
    bool const isOwn = header.entityId == MsgHeader::announcing && !header.isMarker;
    AttributeId const attribute = header.attributeId;
    if (isOwn && attribute == goodbyeAttribute) {
        core.self.isClosedByPeer_ = true;
        String8 const reason = SessionCore::readReason(in);
        core.demuxer.close(reason.empty() ? String8("peer said goodbye") : reason);
        return true;
    }
    if (!core.isEstablished && !(isOwn && attribute == helloAttribute)) {
        fault("record comes before the hello");
    }
    return isOwn && read(attribute, in);
}

bool Session::Impl::read(AttributeId attribute, In& in) {
    AttributeId const magnitude = magnitudeOf(attribute);
    if (attribute == helloAttribute) {
        hello.read(in);
        offers.begin();
        auto const begin = [this] {
            pushes.begin();
            core.established();
        };
        try {
            tell(core.hooks.established, core.self);
        } catch (...) { // what waits for the hello begins all the same
            begin();
            throw;
        }
        begin();
    } else if (magnitude == offerAttribute) {
        wishes.readOffer(in, attribute < 0);
    } else if (attribute == offersKnownAttribute) {
        wishes.offersKnown();
    } else if (magnitude == wantAttribute) {
        offers.readWant(in, attribute < 0);
    } else if (attribute == verdictAttribute) {
        Name const path = SessionCore::readPath(in);
        auto const [number, bits] = SessionCore::read<U32, U64>(in);
        String8 const reason = SessionCore::readReason(in);
        if ((bits & pushedBit) != 0) {
            pushes.readVerdict(path, number, (bits & acceptedBit) != 0, reason);
        } else {
            wishes.refused(path, number, reason);
        }
    } else if (attribute == requestAttribute) {
        calls.readRequest(in);
    } else if (attribute == answerAttribute) {
        calls.readAnswer(in);
    } else if (attribute == fenceAttribute) {
        fences.readFence(in);
    } else if (attribute == fencedAttribute) {
        fences.readFenced(in);
    } else {
        return false;
    }
    return true;
}

void Session::Impl::flow() {
    if (!core.isOpen()) {
        if (saysGoodbye && core.hasRoom()) {
            saysGoodbye = false;
            core.write(goodbyeAttribute, peerText(core.demuxer.closeReason().view(), maxReasonLength));
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

void Session::Impl::ended() {
    if (core.isOpen() || std::exchange(toldEnd, true)) {
        return;
    }
    saysGoodbye = !core.self.isClosedByPeer_ && !isCut;
    core.service.sessionDel(core.self);
    core.ended();
    offers.ended();
    std::exception_ptr first;
    auto const untilOver = [&](auto const& step) { insist(core.self, step, &first); };
    untilOver([&] { flow(); });
    String8 const reason = core.demuxer.closeReason();
    untilOver([&] { wishes.ended(reason); });
    untilOver([&] { pushes.ended(reason); });
    untilOver([&] { calls.ended(reason); });
    untilOver([&] { fences.ended(reason); });
    untilOver([&] { tell(std::exchange(core.hooks.closed, {}), core.self, reason); });
    if (first) {
        std::rethrow_exception(first);
    }
}

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
    insist(*this, [&] { impl_->fences.ended(Demuxer::endedReason()); });
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

std::size_t Session::preambleOf(std::span<U8 const> start) noexcept {
    std::size_t const known = std::min(start.size(), magic.size());
    if (!std::equal(magic.begin(), magic.begin() + static_cast<std::ptrdiff_t>(known), start.begin())) {
        return 0;
    }
    return start.size() < Hello::preambleLength ? more : Hello::preambleLength;
}

} // namespace Kor::NboAttrLog
