#pragma once

/// Places in objects by dotted paths, and what can be done at a place, over the generic interface alone.
///
///     tool::Roots roots;
///     roots.add("lif", Kor::boxOf(lifAppConfigDirFactory("lif")));
///     auto const place = roots.at("lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]");
///     tool::set(place, "3", roots);
///     tool::get(place);                                      // {"3"}
///     tool::set(roots.at("lif.appConfig[vtAppArad]"), "", roots); // makes a child
///
/// A path begins with the name of a root. `.name` or `.id` is an attribute, `[key]` a member of an attribute
/// that has keys. What stands in the brackets, and what is set, is read as tools/ValueText.h says.
///
/// Whatever fails is a Refused (tools/Failure.h) of one line that says what is wrong and what would be right.
/// All of it runs on the thread of the objects.

#include "tools/ValueText.h"

#include <map>
#include <memory>
#include <optional>

namespace tool {

/// A place in an object: the object as a whole, one of its attributes, or a member of one under a key.
struct Place {
    Box object;
    Kor::KorAttr const* attribute = nullptr;
    Kor::GenericIf::Key key;
    /// What leads here, in one way of writing.
    std::string path;
    /// Within a value that was read out of an object: to write here would be in vain.
    bool isCopy = false;
};

/// Objects and values by name, where paths begin.
class Roots {
public:
    using Map = std::map<std::string, Box, std::less<>>;

    /// A name starts with a letter and has letters, digits and underscores. Refused if it is none or is in
    /// use.
    void add(std::string_view name, Box box);
    void del(std::string_view name);
    Map const& all() const { return all_; }

    /// Refused for a path that leads nowhere. The attribute or the member at its very end may be one that is
    /// yet to be set.
    Place at(std::string_view path) const;
    /// For tools/ValueText.h: what is at the path.
    Find find() const;

private:
    Map all_;
};

/// The kinds of attributes, by what can be done with them.
enum class AttributeShape {
    scalar,
    operation,
    valueMap,  ///< the key stands apart
    keyedMap,  ///< the key is in the value
    children,  ///< objects that the owner makes, from their key
    references ///< objects that are given
};
AttributeShape shapeOf(Kor::KorAttr const& attribute);

/// What is at the place, null for an absent or null object. Refused for an attribute with keys and for an
/// operation.
Box valueAt(Place const& place);

/// The text of what is at the place; of an attribute with keys a line a member, `path[key] = text`.
std::vector<std::string> get(Place const& place);

/// Writes a value; of children makes the one of the key, without a text; of references `None` is a null one.
void set(Place const& place, std::string_view text, Roots const& roots);

/// Takes out the member under a key, and gives the text of what it was.
std::string del(Place const& place);

/// The attributes of an object, as `name: type`; the keys of an attribute that has keys.
std::vector<std::string> list(Place const& place);

/// Calls the operation at the place with arguments, and gives the text of the result, if it has one.
std::optional<std::string> call(Place const& place, std::string_view arguments, Roots const& roots);

/// All that is below the place, indented, an attribute or member a line. Objects below the depth are shown
/// without what is in them.
std::vector<std::string> tree(Place const& place, unsigned depth = 16);

/// Hears of each change at a place and of all objects below it, from its construction to its end.
class Watch {
public:
    struct Change {
        std::string path;
        /// The new value's text; nothing for a member that is gone.
        std::optional<std::string> text;
    };
    using Tell = std::function<void(Change const&)>;

    /// Refused for a place in a value.
    Watch(Place const& place, Tell tell);
    ~Watch();
    Watch(Watch const&) = delete;
    Watch& operator=(Watch const&) = delete;

private:
    class Listener;

    void changed(Kor::AttributeId id, Kor::GenericIf::Key const& key);
    /// Follows the objects of the attribute that are there.
    void childIs(Kor::KorAttr const& attribute, Kor::GenericIf::Key const& key);

    std::string path_;
    Kor::KorAttr const* only_;
    std::string onlyKey_;
    Tell tell_;
    Box box_;
    std::map<std::string, std::unique_ptr<Watch>> children_;
};

/// "path = text", or "path deleted".
std::string textOf(Watch::Change const& change);

} // namespace tool
