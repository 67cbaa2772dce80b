#include "attrlog/session/internal/Pushes.h"

#include <vector>

namespace Kor::NboAttrLog::detail {

void Pushes::push(Name const& path, Ptr<Entity> const& entity, Access access, Session::PushHook hook) {
    requireRoot(path, entity);
    core_.requireOpen();
    unpush(path);
    Push& push = pushes_[path];
    push = {entity, access, std::move(hook), {}, ++core_.lastNumber};
    if (core_.isEstablished) {
        try {
            mount(path, push);
        } catch (...) {
            pushes_.erase(path);
            throw;
        }
    }
}

void Pushes::begin() {
    std::vector<Name> paths;
    paths.reserve(pushes_.size());
    for (auto const& [path, push] : pushes_) {
        paths.push_back(path);
    }
    for (Name const& path : paths) {
        if (auto const push = pushes_.find(path); push != pushes_.end() && core_.isOpen()) {
            try {
                mount(path, push->second);
            } catch (Exception const& exception) {
                refused(path, exception.message());
            }
        }
    }
}

void Pushes::mount(Name const& path, Push& push) {
    Ptr<StreamAdapter> const adapter =
        core_.demuxer->mountRoot(push.entity, {path, /*isPushed=*/true, push.access, push.number});
    push.id = adapter->entityId();
    core_.pathOf[push.id] = path;
}

void Pushes::unpush(Name const& path) {
    auto const found = pushes_.find(path);
    if (found == pushes_.end()) {
        return;
    }
    Push const gone = std::move(found->second);
    pushes_.erase(found);
    core_.pathOf.erase(gone.id);
    core_.demuxer->reactorRetire(gone.id);
}

void Pushes::refused(Name const& path, String8 const& why) {
    auto const found = pushes_.find(path);
    if (found == pushes_.end()) {
        return;
    }
    Session::PushHook const hook = found->second.hook;
    unpush(path);
    if (hook) {
        hook(false, why);
    }
}

void Pushes::readVerdict(Name const& path, U32 number, bool isAccepted, String8 const& reason) {
    auto const push = pushes_.find(path);
    if (push == pushes_.end() || push->second.number != number) {
        return; // an answer to an earlier one
    }
    if (!isAccepted) {
        refused(path, reason);
    } else if (Session::PushHook const hook = push->second.hook) {
        hook(true, "");
    }
}

void Pushes::failed(EntityId id, String8 const& why) {
    if (auto const push = core_.ofId(pushes_, id); push != pushes_.end()) {
        refused(Name(push->first), why);
    }
}

void Pushes::retired(EntityId id) {
    failed(id, "the peer has let it go");
}

Ptr<Entity> Pushes::root(Announcement const& announcement) {
    Name const path = announcement.name.path;
    U32 const number = announcement.name.number;
    Ptr<Entity> entity;
    try {
        entity = core_.placeFor(announcement,
                                [&] { return core_.service->accept(core_.self, path, announcement.made); });
    } catch (Exception const& exception) {
        core_.note(Cause::peer, verdictAttribute, path, number, pushedBit, exception.message());
        return nullptr;
    }
    core_.note(Cause::peer, verdictAttribute, path, number, pushedBit | acceptedBit);
    return entity;
}

} // namespace Kor::NboAttrLog::detail
