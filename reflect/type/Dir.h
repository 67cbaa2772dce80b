#pragma once

/// Kor::Dir, a directory of entities by name: the root of a process's tree, and its branches.
///
///     auto root = Kor::makePtr<Kor::Dir>("loam");
///     root->entityIs(lifAppConfigDirFactory("lifConfig"));
///     root->entry("lifConfig")->fullName();                 // "loam/lifConfig"
///     root->at("lifConfig");                                // the same, by a path of names
///
/// A directory holds its entities, is their parent while they are in it, and lets them go when it ends. Its
/// reactors hear onEntry(name). An entry costs one allocation. One thread.

#include "reflect/ReflectNames.h"
#include "reflect/entity/EntityPattern.h"

#include <vector>

namespace Kor {

class KOR_EXPORT Dir final : public EntityOf<Dir, ReferenceMap<name::entry, Name, Entity>> {
public:
    using EntityOver::EntityOver;
    ~Dir() override;

    /// Puts an entity in under its own name. Nothing happens if it is there. Raises Kor::NameInUseException
    /// if another one has the name, and Kor::RangeException for an entity that has no name or one with / or
    /// [, has a parent, or is this directory or above it.
    void entityIs(Ptr<Entity> const& entity);
    /// As entityIs for an entity whose name is `name`; a null entity takes out what is there.
    void entryIs(Name const& name, Ptr<Entity> const& entity);
    Ptr<Entity> entryDel(Name const& name);
    void entryDelAll();
    /// How far the state of an entry has come from a peer, as Kor::MsgChannel::Mode (attrlog/MsgChannel.h)
    /// numbers it: 0 if it did not come from one, 3 once all of it is here. Nobody is told of a change; it
    /// ends with the entry, and nothing happens without one.
    U32 entryMode(Name const& name) const;
    void entryModeIs(Name const& name, U32 mode);
    /// The entity that a path of names with slashes leads to, from this directory on through others; null if
    /// there is none. The empty path is the directory itself.
    Ptr<Entity> at(std::string_view path);

    bool korHasAttrLogInterface() const override { return false; }
    void zeroReferencesIs(bool zero) override;

private:
    using EntityOver::entryIterator;
    using EntityOver::newEntry;
    void entriesMove(std::vector<Ptr<Entity>>& to);

    HashMap<MapEntry<Name, U32>, Name, U32> modes_;
};
KOR_FACTORY(dirFactory, Dir, Name)

// clang-format off
consteval auto korTextsOf(std::type_identity<Dir>) {
    return texts(
        "", "A directory of entities by name: the root of a process's tree, and its branches",
        "entry", "The entity of that name. The directory is its parent while it is in",
        "void entityIs(Ptr<Entity> const& entity)",
            "Puts an entity in under its own name. Raises Kor::NameInUseException or Kor::RangeException for one that cannot be",
        "void entryIs(Name const& name, Ptr<Entity> const& entity)",
            "As entityIs for an entity whose name is `name`; a null entity takes out what is there",
        "Ptr<Entity> entryDel(Name const& name)", "Takes the entity out; null if there is none",
        "void entryDelAll()", "Takes all out",
        "U32 entryMode(Name const& name) const",
            "How far the state of an entry has come from a peer: 0 if it did not come from one, 3 once all of it is here",
        "void entryModeIs(Name const& name, U32 mode)", "Sets that. Nobody is told",
        "Ptr<Entity> at(std::string_view path)", "The entity that a path of names with slashes leads to; null if there is none",
        "private entryIterator", "An entry leaves by entryDel",
        "private newEntry", "An entry comes by entityIs, which checks it",
        "bool korHasAttrLogInterface() const override", "False",
        "void zeroReferencesIs(bool zero) override", "Lets the entries go");
}
// clang-format on

} // namespace Kor
