#include "runtime/Entity.h"

#include <string>
#include <utility>
#include <vector>

namespace Kor {

Entity::Entity(Name name) : name_(std::move(name)) {}

Entity::~Entity() = default;

Name Entity::name() const {
    return name_;
}

Ptr<Entity const> Entity::parent() const {
    return parent_;
}

Ptr<Entity> Entity::parent() {
    return parent_;
}

void Entity::parentIs(Ptr<Entity> const& parent) {
    parent_ = parent.ptr();
    handleParent(parent);
}

String8 Entity::parentAttr() const {
    return parent_ != nullptr ? parent_->attributeString(parentAttrId_) : String8();
}

AttributeId Entity::parentAttrId() const {
    return parentAttrId_;
}

void Entity::parentAttrIdIs(AttributeId attribute) {
    parentAttrId_ = attribute;
}

String8 Entity::uriPath() const {
    return "/" + fullName();
}

String8 Entity::fullName() const {
    // Up to the root, without recursion: a tree may be as deep as it likes.
    std::vector<std::string> steps;
    for (Entity const* at = this; at != nullptr; at = at->parent_) {
        std::string& step = steps.emplace_back(at->name_.view());
        if (at->name_.empty() && at->parent_ != nullptr) {
            step.append(at->parentAttr().view()).append("[").append(at->korKeyText().view()).append("]");
        }
    }
    std::string path = std::move(steps.back());
    for (auto step = steps.rbegin() + 1; step != steps.rend(); ++step) {
        path.append("/").append(*step);
    }
    return String8(path);
}

String8 Entity::attributeString(AttributeId attribute) const {
    switch (attribute) {
    case nameAttr:
        return "name";
    case versionAttr:
        return "version";
    case mutableReadsAttr:
        return "mutableReads";
    case fullNameAttr:
        return "fullName";
    case korHasAttrLogInterfaceAttr:
        return "korHasAttrLogInterface";
    default:
        return "unknown";
    }
}

void Entity::korNotifieeAdapterIs(Ptr<Entity const> const&) {}

void Entity::handleParent(Ptr<Entity> const&) {}

Ptr<Entity::KorNboAttrLogSa const> Entity::korNboAttrLogSa(Ptr<NboAttrLog::Out const> const&) const {
    return nullptr;
}

bool Entity::korHasAttrLogInterface() const {
    return false;
}

Ptr<Entity::KorNboAttrLogSa> Entity::korNboAttrLogSa(Ptr<NboAttrLog::Out const> const&) {
    return nullptr;
}

Ptr<Entity::KorNboAttrLogSa> Entity::korNboAttrLogSaForMsgChannel(Ptr<KorNboAttrLogSa> const&) const {
    return nullptr;
}

Ptr<Entity::KorNboAttrLogSa> Entity::korNboAttrLogSaDel(Ptr<NboAttrLog::Out const> const&) {
    return nullptr;
}

bool Entity::KorNboAttrLogSa::isTowards(NboAttrLog::Out const*) const {
    return false;
}

bool Entity::KorNboAttrLogSa::isOfChannelOf(KorNboAttrLogSa const&) const {
    return false;
}

bool Entity::KorNboAttrLogSa::korUnmount() {
    return false;
}

String8 Entity::korKeyText() const {
    return {};
}

void Entity::NotifieeConst::onParent() {}

void Entity::NotifieeConst::onVersion() {}

} // namespace Kor
