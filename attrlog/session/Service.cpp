#include "attrlog/session/Service.h"

#include "attrlog/session/Session.h"
#include "reflect/AttrLogType.h"
#include "runtime/PlainText.h"

#include <algorithm>
#include <string>

namespace Kor::NboAttrLog {

void requireRoot(Name const& path, Ptr<Entity> const& entity) {
    requirePath(path);
    if (!entity) {
        throwRangeException("null ValidPtr");
    }
    String8 const& type = entity->fwkType()->typeName();
    if (AttrLogType::named(type.view()) == nullptr) {
        throwRangeException(format("%s has no attribute log", type.charPtr()));
    }
}

static bool isControl(char c) noexcept {
    return static_cast<U8>(c) < 0x20 || c == 0x7f;
}

String8 shown(std::string_view text, std::size_t most) {
    return String8(plainText(textStart(text, most)));
}

bool isSoundName(std::string_view text, std::size_t most) noexcept {
    return text.size() <= most && std::ranges::none_of(text, isControl);
}

void requirePath(Name const& path) {
    if (path.empty() || !isSoundName(path.view(), maxPathLength)) {
        throwRangeException(
            format("a path has 1 to %u bytes, none of them a control character", maxPathLength));
    }
}

Service::Service() = default;
Service::~Service() = default;

void Service::offer(Name const& path, Ptr<Entity> const& entity, Access access) {
    requireRoot(path, entity);
    auto const isWithin = [](Ptr<Entity const> inner, Entity const* outer) {
        while (inner && inner.ptr() != outer) {
            inner = inner->parent();
        }
        return static_cast<bool>(inner);
    };
    for (auto const& [other, there] : offers_) {
        if (other != path && (isWithin(entity, there.entity.ptr()) || isWithin(there.entity, entity.ptr()))) {
            throwRangeException(format("%s would overlap with %s", path.charPtr(), other.charPtr()));
        }
    }
    Offer& offer = offers_[path];
    if (offer.entity == entity && offer.access == access) {
        return;
    }
    offer = {entity, access};
    tell(path);
}

void Service::withdraw(Name const& path) {
    if (offers_.erase(path) != 0) {
        tell(path);
    }
}

Service::Offer const* Service::offered(Name const& path) const noexcept {
    auto const found = offers_.find(path);
    return found != offers_.end() ? &found->second : nullptr;
}

void Service::acceptIs(Name const& path, Accept accept) {
    if (!path.empty()) {
        requirePath(path);
    }
    if (accept) {
        accepts_[path] = std::move(accept);
    } else {
        accepts_.erase(path);
    }
}

void Service::handlerIs(Name const& verb, Handler handler) {
    if (verb.empty() || !isSoundName(verb.view(), maxVerbLength)) {
        throwRangeException(
            format("a verb has 1 to %u bytes, none of them a control character", maxVerbLength));
    }
    if (handler) {
        handlers_[verb] = std::move(handler);
    } else {
        handlers_.erase(verb);
    }
}

void Service::sessionDel(Session& session) noexcept {
    std::erase(sessions_, &session);
}

Ptr<Entity> Service::accept(Session& peer, Name const& path, Ptr<Entity> const& made) const {
    auto found = accepts_.find(path);
    if (found == accepts_.end()) {
        found = accepts_.find(Name());
    }
    if (found == accepts_.end()) {
        throwRangeException(format("nothing is taken in under %s", path.charPtr()));
    }
    Accept const accept = found->second; // the hook may replace itself
    return accept(peer, path, made);
}

void Service::tell(Name const& path) {
    for (Session* const each : sessions_) {
        each->offerChanged(path);
    }
}

} // namespace Kor::NboAttrLog
