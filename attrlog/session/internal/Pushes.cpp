#include "attrlog/session/internal/Parts.h"

#include <ctime>

namespace Kor::NboAttrLog {

/// How people call it: its key in the map of its parent, or its name.
static String8 nameOf(Entity const& entity) {
    String8 const full = entity.fullName();
    std::string_view const text = full.view();
    std::size_t const key = text.rfind("['");
    if (key != text.npos && text.ends_with("']")) {
        return String8(text.substr(key + 2, text.size() - key - 4));
    }
    return full.empty() ? entity.fwkType()->typeName() : full;
}

void Session::push(Name const& path, Ptr<Entity> const& entity, Access access, PushHook hook,
                   PushPlace place) {
    requireRoot(path, entity);
    impl_->core.requireOpen();
    unpush(path);
    auto& pushes = impl_->pushes;
    Pushes::Push& push = pushes.pushes_[path];
    push = {entity, access, std::move(hook), {}, ++impl_->core.lastNumber, place};
    if (isEstablished_) {
        try {
            pushes.mount(path, push);
        } catch (...) {
            pushes.pushes_.erase(path);
            throw;
        }
    }
}

void Session::unpush(Name const& path) {
    if (auto const gone = impl_->pushes.pushes_.extract(path)) {
        impl_->core.pathOf.erase(gone.mapped().id);
        demuxer().reactorRetire(gone.mapped().id);
    }
}

void Session::pushLost(Name const& path, String8 const& why) {
    for (auto const& [id, taken] : impl_->pushes.taken_) {
        if (taken.path == path) {
            EntityId const lostId = id;
            impl_->core.note(Cause::application, verdictAttribute, path, taken.number, pushedBit, why);
            demuxer().reactorDel(lostId);
            impl_->pushes.letGo(lostId, why);
            return;
        }
    }
}

void Pushes::begin() {
    for (auto const& [path, each] : std::map(pushes_)) { // which a hook may change
        if (Push* const push = lookUp(pushes_, path); push != nullptr && core_.isOpen()) {
            try {
                mount(path, *push);
            } catch (Exception const& exception) {
                refused(path, exception.message());
            }
        }
    }
}

void Pushes::mount(Name const& path, Push& push) {
    Ptr<StreamAdapter> const adapter = core_.demuxer.mountRoot(
        push.entity, {path, /*isPushed=*/true, push.access, push.number, push.place == PushPlace::takesOver});
    push.id = adapter->entityId();
    core_.pathOf[push.id] = path;
}

void Pushes::refused(Name const& path, String8 const& why) {
    if (Push const* const push = lookUp(pushes_, path)) {
        Session::PushHook const hook = push->hook;
        core_.self.unpush(path);
        tell(hook, false, why);
    }
}

void Pushes::readVerdict(Name const& path, U32 number, bool isAccepted, String8 const& reason) {
    Push const* const push = lookUp(pushes_, path);
    if (push == nullptr || push->number != number) {
        return; // an answer to an earlier one
    }
    if (isAccepted) {
        tell(push->hook, true, "");
    } else {
        refused(path, reason);
    }
}

void Pushes::failed(EntityId id, String8 const& why) {
    if (auto const push = core_.ofId(pushes_, id); push != pushes_.end()) {
        refused(Name(push->first), why);
    }
}

void Pushes::retired(EntityId id) {
    failed(id, "the peer has let it go");
    letGo(id, "its pusher has let it go");
}

void Pushes::ended(String8 const& reason) {
    pushes_.clear();
    while (!taken_.empty()) {
        letGo(taken_.begin()->first, reason);
    }
}

Ptr<Entity> Pushes::root(Announcement const& announcement) {
    Name const path = announcement.name.path;
    U32 const number = announcement.name.number;
    Ptr<Entity> entity;
    Service::AcceptHook hook;
    try {
        Service::Accepting const accepting = core_.service.accepting(path); // the hook may replace it
        hook = accepting.hook;
        entity = core_.placeFor(announcement,
                                [&] { return accepting.accept(core_.self, path, announcement.made); });
        if (accepting.pushers == Service::Pushers::one) {
            placeMustBeFree(*entity, announcement.name.takesOver);
            core_.service.holderIs(*entity, core_.self, path);
        }
    } catch (Exception const& exception) {
        core_.note(Cause::peer, verdictAttribute, path, number, pushedBit, exception.message());
        return nullptr;
    }
    core_.note(Cause::peer, verdictAttribute, path, number, pushedBit | acceptedBit);
    taken_[announcement.id] = {path, entity, hook, number};
    return entity;
}

/// Who holds it gives way to the same process, which has connected anew, and to one that asks aloud.
void Pushes::placeMustBeFree(Entity const& entity, bool takesOver) {
    Service::Holder const* const found = core_.service.holder(entity);
    if (found == nullptr || found->session == &core_.self) {
        return;
    }
    Service::Holder const holder = *found;
    PeerHello const& other = *holder.session->peer();
    bool const isSame = other.token == core_.peer.token && other.token != InstanceToken{};
    if (!isSame && !takesOver) {
        std::time_t const since = std::chrono::system_clock::to_time_t(holder.since);
        char time[sizeof "12:34:56"] = "";
        std::strftime(time, sizeof time, "%T", std::localtime(&since));
        String8 const& detail = holder.session->peerDetail();
        throwRangeException(
            format("%s is pushed already, by \"%s\" (%s%ssince %s); --takeover takes its place",
                   nameOf(entity).charPtr(), other.name.charPtr(), detail.charPtr(),
                   detail.empty() ? "" : ", ", time));
    }
    holder.session->pushLost(holder.path,
                             isSame ? String8("its process has connected anew")
                                    : format("\"%s\" has taken its place", core_.peer.name.charPtr()));
}

void Pushes::stateIs(EntityId id, RootState state) {
    Taken* const found = lookUp(taken_, id);
    if (found != nullptr && std::exchange(found->state, state) != state) {
        Taken const taken = *found; // the hook may end it
        tell(taken.hook, core_.self, taken.path, taken.entity, state, "");
    }
}

void Pushes::letGo(EntityId id, String8 const& why) {
    if (auto gone = taken_.extract(id)) {
        Taken& taken = gone.mapped();
        core_.service.holderDel(*taken.entity, core_.self);
        tell(std::move(taken.hook), core_.self, taken.path, taken.entity, RootState::absent, why);
    }
}

} // namespace Kor::NboAttrLog
