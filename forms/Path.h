#pragma once

/// Places in objects by dotted paths, and what can be done at a place, over the generic interface alone.
///
///     Kor::Forms::Roots roots;
///     roots.add("lif", Kor::boxOf(lifAppConfigDirFactory("lif")));
///     auto const place = roots.at("lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]");
///     Kor::Forms::set(place, "3", roots);
///     Kor::Forms::written(Kor::Forms::Form::shortForm, Kor::Forms::valueAt(place));      // 3
///     Kor::Forms::set(roots.at("lif.appConfig[vtAppArad]"), "", roots); // makes a child
///
/// A path begins with the name of a root. `.name` or `.id` is an attribute, `[key]` a member of an attribute
/// that has keys. What stands in the brackets, and what is set, is read as forms/Values.h says.
///
/// Whatever fails is a Refused (forms/Refused.h) of one line that says what is wrong and what would be right.
/// All of it runs on the thread of the objects.

#include "forms/Values.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Kor::Forms {

/// A place in an object: the object as a whole, one of its attributes, or a member of one under a key.
struct KOR_EXPORT Place {
    /// A member that is an object.
    struct Step {
        Kor::KorAttr const* attribute;
        Kor::GenericIf::Key key;
    };

    Box object;
    Kor::KorAttr const* attribute = nullptr;
    Kor::GenericIf::Key key;
    /// What leads here, in one way of writing.
    std::string path;
    /// Within a value that was read out of an object: to write here would be in vain.
    bool isCopy = false;
    /// The object that the way here begins at, its path, and how it goes on to `object`. A null one stands
    /// for `object` itself.
    Box origin{};
    std::string originPath{};
    std::vector<Step> way{};
};

/// The box of an entity.
KOR_EXPORT Box boxOfEntity(Ptr<Entity> const& entity);
/// The entity in a box; null for a box of anything else.
KOR_EXPORT Ptr<Entity> entityIn(Box const& box);

/// Objects and values by name, where paths begin.
class KOR_EXPORT Roots {
public:
    using Map = std::map<std::string, Box, std::less<>>;

    /// Refused for an empty name, and one that is in use. A name that is more than letters, digits and
    /// underscores, with a letter in front, stands in quotes in a path.
    void add(std::string_view name, Box box);
    void del(std::string_view name);
    Map const& all() const { return all_; }
    /// Called with a name that a path begins with and that is none yet; it may add it.
    void missingIs(std::function<void(std::string const& name)> missing) { missing_ = std::move(missing); }

    /// Refused for a path that leads nowhere, NotThere where it goes on from what is not there yet. The
    /// attribute or the member at its very end may be one that is yet to be set.
    Place at(std::string_view path) const;
    /// The type of what may come to be at a path, also where the way there is not yet; null where that
    /// depends on what comes, and for a root. Refused for a path that leads nowhere whatever comes.
    Kor::KorType const* typeAt(std::string_view path) const;
    /// For forms/Values.h: what is at the path.
    Find find() const;

private:
    Place at(std::string_view path, Find const& find) const;

    Map all_;
    std::function<void(std::string const& name)> missing_;
};

/// "name: type", "name[type of the key]: type" or "name(argument: type): type", this without the last type
/// where there is no result. `typeText` says how a type is written.
KOR_EXPORT std::string signatureOf(Kor::KorAttr const& attribute,
                                   std::string (*typeText)(std::string const& fullName));
/// A type by its short name.
KOR_EXPORT std::string shortTypeText(std::string const& fullName);

/// What is at the place, null for an absent or null object. Refused for an attribute with keys and for an
/// operation.
KOR_EXPORT Box valueAt(Place const& place);

/// False for a member that its attribute does not have, which reads as a default.
KOR_EXPORT bool isThere(Place const& place);

/// A value at a path.
struct Item {
    std::string path;
    Box value;
};
/// What is at the place; of an attribute with keys all members, by key. NotThere for a member that is not
/// there.
KOR_EXPORT std::vector<Item> itemsAt(Place const& place);

/// The path of an object, from the root that holds it on; "None" for null. A root that has no name here has
/// its own; what no root holds, and has no name, is called as where it was found, which is `at`.
KOR_EXPORT std::string pathOf(Box const& object, Roots const* roots = nullptr, std::string_view at = "");
/// A value in that form, an object by its path. JSON of an object is a string, and null for none.
KOR_EXPORT std::string valueText(Form form, Box const& value, Roots const* roots = nullptr,
                                 std::string_view at = "");

/// Writes a value; of children makes the one of the key, without a text; of references `None` is a null one.
/// `mayBe` is called with the key and the value before anything changes, and throws for what may not be.
KOR_EXPORT void set(Place const& place, std::string_view text, Roots const& roots,
                    std::function<void(Kor::GenericIf const& value)> const& mayBe = nullptr);

/// Takes out the member under a key, and gives what it was. NotThere if there is none.
KOR_EXPORT Box del(Place const& place);

/// What is below a place: its path, a line for people, and the type of what is there.
struct KOR_EXPORT Listed {
    std::string path, text;
    Kor::KorType const* type;
};

/// The attributes of an object, as `name: type`; the keys of an attribute that has keys.
KOR_EXPORT std::vector<Listed> list(Place const& place);

/// Calls the operation at the place with arguments, and gives the result, null if it has none.
KOR_EXPORT Box call(Place const& place, std::string_view arguments, Roots const& roots);

/// Something at or below a place.
struct Node {
    /// How deep.
    unsigned level;
    std::string path;
    /// The last part of the path, or the whole of it where the walk begins.
    std::string name;
    Box value;
    /// Whether the value is taken apart by the nodes that follow; it is an object, or what was asked for.
    bool isOpened;
    /// Below the depth: it would be taken apart.
    bool isCut;
};
/// Tells of all that is at a place and below it, members by key, objects below the depth not taken apart.
KOR_EXPORT void walk(Place const& place, unsigned depth, std::function<void(Node const&)> const& tell);
/// A node in a line: indented, its name, and its value or type.
KOR_EXPORT std::string nodeLine(Node const& node, Form form, Roots const* roots = nullptr);

/// Hears of each change at a place and of all objects below it, from its construction to its end. It goes by
/// the path: of a child that is deleted and made again it hears both, and then of the new one. So it does of
/// the objects that the path leads through.
class KOR_EXPORT Watch {
public:
    struct Change {
        std::string path;
        /// The new one; null for a null object, and for a member that is gone.
        Box value{};
        bool isGone = false;
        /// What else there is to say.
        std::string note{};
    };
    using Tell = std::function<void(Change const&)>;
    /// How many objects deep it goes.
    static constexpr unsigned deepest = 1000;

    /// Refused for a place in a value, for one that is not there, and for objects that are nested deeper. If
    /// some get there later, the change that brings them says in its note that they are not watched.
    Watch(Place const& place, Tell tell);
    ~Watch();
    Watch(Watch const&) = delete;
    Watch& operator=(Watch const&) = delete;

private:
    class Listener;
    using Way = std::vector<Place::Step>;

    /// Of an object; on the way to the place, of the member that is the next step alone.
    Watch(Box const& object, std::string path, Way const& way, std::size_t step, unsigned depth, Tell tell);

    bool isWatched(Kor::KorAttr const& attribute, Kor::GenericIf::Key const& key) const;
    void changed(Kor::AttributeId id, Kor::GenericIf::Key const& key);
    /// Follows the object that is at the member, if there is one. Refused if it is too deep.
    void childIs(Kor::KorAttr const& attribute, Kor::GenericIf::Key const& key);

    std::string path_;
    Way way_;
    std::size_t step_;
    unsigned depth_;
    Tell tell_;
    Box box_;
    std::map<std::string, std::unique_ptr<Watch>> children_;
};

/// "path = text", or "path deleted", and the note in parentheses.
KOR_EXPORT std::string changeLine(Watch::Change const& change, Form form, Roots const* roots = nullptr);

/// The path of a root, which is its name or, where that is more than a word, its name in quotes. What no line
/// shows of it, such as a control character, stands there by its bytes: ``'a\x1b'``.
KOR_EXPORT std::string rootText(std::string_view name);
/// What is said of a root that no process offers.
KOR_EXPORT std::string noRootText(std::string_view name);
/// The name of the root that a path begins with.
KOR_EXPORT std::string rootOf(std::string_view path);

} // namespace Kor::Forms
