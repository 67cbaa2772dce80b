#include "reflect/type/Dir.h"

#include "runtime/Exception.h"

#include <algorithm>

namespace Kor {

Dir::~Dir() {
    entryDelAll();
}

void Dir::entityIs(Ptr<Entity> const& entity) {
    if (!entity || entity->name().empty()) {
        throwRangeException("an entity in a directory needs a name");
    }
    if (entity->name().view().find_first_of("/[") != std::string_view::npos) {
        throwRangeException(format("%s cannot be in a directory: in a path, / and [ stand between names",
                                   entity->name().charPtr()));
    }
    Ptr<Entity> const there = entry(entity->name());
    if (there == entity) {
        return;
    }
    if (entity->hasParent()) {
        throwRangeException(format("%s has a parent already", entity->fullName().charPtr()));
    }
    for (Ptr<Entity> above = this; above; above = above->parent()) {
        if (above == entity) {
            throwRangeException(format("%s cannot be within itself", entity->name().charPtr()));
        }
    }
    if (there) {
        throw NameInUseException(
            format("%s has an entity %s already", fullName().charPtr(), entity->name().charPtr()));
    }
    entity->parentIs(this);
    entity->parentAttrIdIs(attributeIdOf<name::entry>());
    EntityOver::entryIs(entity->name(), entity);
}

void Dir::entryIs(Name const& name, Ptr<Entity> const& entity) {
    if (!entity) {
        entryDel(name);
    } else if (entity->name() != name) {
        throwRangeException(format("%s is not the name of %s", name.charPtr(), entity->name().charPtr()));
    } else {
        entityIs(entity);
    }
}

Ptr<Entity> Dir::entryDel(Name const& name) {
    Ptr<Entity> there = entry(name);
    if (there) {
        there->parentIs(nullptr);
        modes_.deleteMember(name);
        EntityOver::entryDel(name);
    }
    return there;
}

void Dir::entryDelAll() {
    Keep const keep(*this); // a hook may let the last reference go
    for (auto const& each : entryMap()) {
        entryDel(Name(each.fwkKey()));
    }
}

U32 Dir::entryMode(Name const& name) const {
    auto const* const found = modes_.member(name);
    return found != nullptr ? found->value : 0;
}

void Dir::entryModeIs(Name const& name, U32 mode) {
    if (auto* const found = modes_.member(name)) {
        found->value = mode;
    } else if (entryMap().member(name) != nullptr) {
        modes_.newMember(makePtr<MapEntry<Name, U32>>(name, mode));
    }
}

Ptr<Entity> Dir::at(std::string_view path) {
    Ptr<Entity> here = this;
    while (here && !path.empty()) {
        auto const slash = path.find('/');
        Ptr<Dir> const dir = ptrCast<Dir>(here);
        here = dir ? dir->entry(String8(path.substr(0, slash))) : nullptr;
        path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
    }
    return here;
}

/// What directories that end on this thread have let go.
static constinit thread_local std::vector<Ptr<Entity>>* ending = nullptr;

/// Directories may stand in one another to any depth, so they end one after another.
void Dir::zeroReferencesIs(bool zero) {
    EntityOver::zeroReferencesIs(zero);
    if (!hasSoleHolder()) {
        return;
    }
    if (ending != nullptr) {
        entriesMove(*ending);
        return;
    }
    std::vector<Ptr<Entity>> entries;
    ending = &entries;
    entriesMove(entries);
    while (!entries.empty()) {
        Ptr<Entity> const last = std::move(entries.back());
        entries.pop_back();
    }
    ending = nullptr;
}

/// Takes all entries out, the first one to the back.
void Dir::entriesMove(std::vector<Ptr<Entity>>& to) {
    auto const first = static_cast<std::ptrdiff_t>(to.size());
    for (auto const& each : entryMap()) {
        to.push_back(entryDel(Name(each.fwkKey())));
    }
    std::reverse(to.begin() + first, to.end());
}

} // namespace Kor
