#include "forms/Path.h"

#include "forms/Json.h"
#include "forms/Text.h"
#include "reflect/Text.h"
#include "runtime/BreachGuard.h"
#include "runtime/PlainText.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace Kor::Forms {

namespace {

using Kor::AttributeId;
using Kor::GenericIf;
using Kor::KorAttr;
using Kor::KorType;
using Kor::Shape;
using Op = GenericIf::AttributeOp;
using Key = GenericIf::Key;

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isName(std::string_view text) {
    return !text.empty() && isLetter(text[0]) &&
           std::ranges::all_of(text, [](char c) { return isLetter(c) || isDigit(c); });
}

} // namespace

std::string noRootText(std::string_view name) {
    return "no root " + rootText(name) + " is offered";
}

std::string rootText(std::string_view name) {
    if (isName(name)) {
        return std::string(name);
    }
    std::string const quoted(Kor::valueToStrep(Kor::String8(name)).view());
    if (plainText(quoted) == quoted) {
        return quoted;
    }
    std::string text;
    for (std::string_view rest = quoted; !rest.empty();) {
        std::string_view const piece = rest.substr(0, std::max<std::size_t>(characterLength(rest), 1));
        bool const isPlain = plainText(piece) == piece;
        for (char const c : piece) {
            text += isPlain ? std::string(1, c) : "\\x" + hex(static_cast<U8>(c), 2).substr(2);
        }
        rest.remove_prefix(piece.size());
    }
    return text;
}

namespace {

/// Those attributes that a box answers for, without those that all entities have and the key's second name.
std::vector<KorAttr const*> ownAttributes(KorType const& type) {
    std::vector<KorAttr const*> own;
    for (auto const& each : type.attributes()) {
        bool const isGeneral = each->isOfEveryEntity() || each->shape().role == Kor::Role::fwkKey;
        if (!isGeneral && !type.isEnumType()) {
            own.push_back(each.ptr());
        }
    }
    return own;
}

/// An attribute by name or id.
KorAttr const& attributeNamed(KorType const& type, std::string_view word, std::string const& where) {
    std::optional<U64> const id = parseNumber(word);
    KorAttr const* const found = id ? type.attribute(static_cast<AttributeId>(std::min<U64>(*id, 0x7fffffff)))
                                    : type.typeAttr()->attr(Kor::String8(word));
    if (found != nullptr && !type.isEnumType()) {
        return *found;
    }
    std::vector<std::string> known;
    for (KorAttr const* each : ownAttributes(type)) {
        known.emplace_back(each->name().view());
    }
    throw Refused(where + ", of type " + shortName(type) + ", has no attribute " + shownName(word) +
                  (known.empty() ? "; it has none" : suggest(word, known)));
}

Box op(Place const& at, Op::OpId id, Box const& value = nullptr) {
    return refusing(at.path, [&] {
        return at.object->attributeOp({at.attribute->attributeId(), id}, at.key, value);
    });
}

[[noreturn]] void needsKey(Place const& at) {
    throw Refused(at.path + " has keys; give one, " + at.path + "[" + shortName(*at.attribute->keyType()) +
                  "]");
}

/// Of no attribute that of nothing, which is neither keyed nor an operation.
Shape shapeAt(Place const& at) {
    return at.attribute != nullptr ? at.attribute->shape() : Shape();
}

std::string memberPath(std::string const& path, GenericIf const& key) {
    return path + '[' + keyText(key) + ']';
}

/// Places are passed on, not copied, since a path may be long.
Place attributePlace(Place of, KorAttr const& attribute) {
    of.attribute = &attribute;
    of.key = nullptr;
    of.path.append(".").append(attribute.name().view());
    return of;
}

/// Calls `visit` for each member of an attribute that has keys, with its place.
template <class Visit>
void eachMember(Place const& at, Visit const& visit) {
    refusing(at.path, [&] {
        for (auto walk = at.object->attributeIteratorConst(at.attribute->attributeId()); walk; ++walk) {
            Key const key = walk.key();
            visit(Place{at.object, at.attribute, key, memberPath(at.path, *key), at.isCopy}, walk);
        }
    });
}

/// What stands in quotes, in which `\x9b` is a byte that no line shows.
std::string unquoted(std::string_view quoted) {
    std::string text;
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        if (quoted[i] != '\\') {
            text += quoted[i];
            continue;
        }
        std::string_view const escape = quoted.substr(i + 1, 3); // such as x9b
        std::optional<U64> const byte =
            escape.starts_with('x') ? parseNumber('0' + std::string(escape)) : std::nullopt;
        text += byte && escape.size() == 3 ? static_cast<char>(*byte) : quoted[i + 1];
        i += byte && escape.size() == 3 ? 3 : 1;
    }
    return text;
}

/// The name of the root in front; `rest` then begins behind it.
std::string takeRoot(std::string_view& rest) {
    std::string name;
    if (rest.starts_with('\'') || rest.starts_with('"')) {
        Kor::TextScanner scanner(rest);
        std::string storage;
        refusing("'" + shown(rest) + "'", [&] { return scanner.quoted(storage); });
        name = unquoted(rest.substr(0, scanner.position()));
        rest.remove_prefix(scanner.position());
    } else {
        std::size_t const end = std::min(rest.find_first_of(".["), rest.size());
        name = trimmed(rest.substr(0, end));
        rest.remove_prefix(end);
    }
    return name;
}

/// The name of an attribute in front; `rest` then begins behind it.
std::string_view takeName(std::string_view& rest) {
    std::size_t const end = std::min(rest.find_first_of(".["), rest.size());
    std::string_view const taken = trimmed(rest.substr(0, end));
    rest.remove_prefix(end);
    return taken;
}

/// The key's text from behind its bracket on; `rest` then begins behind the closing one.
std::string_view takeKey(std::string_view& rest) {
    Nesting nesting;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (nesting.step(rest[i]) && i > 0) {
            std::string_view const key = rest.substr(1, i - 1);
            rest.remove_prefix(i + 1);
            nesting.end();
            return key;
        }
    }
    nesting.end();
    throw Refused("a ] is missing");
}

/// Goes on from a place to what is there, for a longer path. A place that cannot be entered stays as it is.
void enter(Place& at) {
    Shape const shape = shapeAt(at);
    if (shape.isOperation()) {
        throw Refused(at.path + " is an operation, and a path ends there");
    }
    if (shape.keyed && !at.key) {
        needsKey(at);
    }
    Box box = valueAt(at);
    if (!box) {
        throw NotThere(at.path + " is not there");
    }
    if (at.attribute == nullptr) {
        return;
    }
    if (shape.holdsObjects()) {
        if (!at.origin) {
            at.origin = at.object;
            at.originPath = at.path.substr(0, at.path.size() - at.attribute->name().length() - 1 -
                                                  memberPath("", *at.key).size());
        }
        at.way.push_back({at.attribute, at.key});
    } else {
        at.origin = nullptr;
        at.way.clear();
    }
    at.isCopy = at.isCopy || at.attribute->type()->isValue();
    at.object = std::move(box);
    at.attribute = nullptr;
    at.key = nullptr;
}
Place entered(Place at) {
    enter(at);
    return at;
}

} // namespace

Box boxOfEntity(Ptr<Entity> const& entity) {
    return KorType::genericIf(entity.ptr(), false);
}

Ptr<Entity> entityIn(Box const& box) {
    bool const isEntity = dynamic_cast<GenericIfEntity const*>(box.ptr()) != nullptr;
    return isEntity ? static_cast<Entity*>(box->voidPtrIs(Entity::_fwkType())) : nullptr;
}

void Roots::add(std::string_view name, Box box) {
    if (name.empty()) {
        throw Refused("a root has a name, which is not empty");
    }
    if (!all_.emplace(name, std::move(box)).second) {
        throw Refused(std::string(name) + " is there already");
    }
}

void Roots::del(std::string_view name) {
    auto const at = all_.find(name);
    if (at == all_.end()) {
        throw Refused("there is no " + shown(name));
    }
    all_.erase(at);
}

Find Roots::find() const {
    return Find([this](std::string_view path, Find const& inner) { return valueAt(at(path, inner)); });
}

Place Roots::at(std::string_view path) const {
    return at(path, find());
}

namespace {

/// A key behind the path of its attribute, which a refusal names. The path is lent for that and not copied,
/// since it may be long.
Box readKey(KorAttr const& of, std::string_view text, Find const& find, std::string& path) {
    std::size_t const end = path.size();
    path.append("[...]");
    Box key = readValue(*of.keyType(), text, find, path);
    path.resize(end);
    return key;
}

/// Where the rest of a path leads that goes on from an object which is not there yet: refused if that is
/// nowhere, null if it depends on which object comes.
KorAttr const* attributeBehind(KorAttr const& way, std::string path, std::string_view rest,
                               Find const& find) {
    KorAttr const* at = &way;
    for (rest = trimmed(rest); !rest.empty(); rest = trimmed(rest)) {
        if (rest[0] == '.') {
            if (!at->type()->derivedTypeQQueue().empty()) {
                return nullptr;
            }
            rest.remove_prefix(1);
            at = &attributeNamed(*at->type(), takeName(rest), path);
            path.append(".").append(at->name().view());
        } else if (rest[0] == '[' && at->shape().keyed) {
            readKey(*at, takeKey(rest), find, path);
        } else {
            throw Refused(path + " takes no " + shown(rest));
        }
    }
    return at;
}

} // namespace

KorType const* Roots::typeAt(std::string_view path) const {
    std::string_view rest = trimmed(path);
    auto const root = all_.find(takeRoot(rest));
    if (root == all_.end() || !rest.starts_with('.')) {
        return nullptr;
    }
    rest.remove_prefix(1);
    std::string const name = rootText(root->first);
    KorAttr const& first = attributeNamed(*root->second->type(), takeName(rest), name);
    KorAttr const* const last =
        attributeBehind(first, name + '.' + std::string(first.name().view()), rest, find());
    return last == nullptr ? nullptr : last->type();
}

Place Roots::at(std::string_view path, Find const& find) const {
    std::string_view rest = trimmed(path);
    std::string const name = takeRoot(rest);
    auto root = all_.find(name);
    if (root == all_.end() && missing_) {
        missing_(name);
        root = all_.find(name);
    }
    if (root == all_.end()) {
        std::vector<std::string> known;
        for (auto const& each : all_) {
            known.push_back(rootText(each.first));
        }
        throw Refused("'" + shown(name) + "' is the name of nothing" +
                      (known.empty() ? "; nothing has been made" : suggest(name, known)));
    }
    Place at{root->second, nullptr, nullptr, rootText(name), false};
    while (!rest.empty()) {
        if (rest[0] == '.') {
            KorAttr const* const way = at.attribute;
            try {
                enter(at);
            } catch (NotThere const&) {
                attributeBehind(*way, at.path, rest, find);
                throw;
            }
            rest.remove_prefix(1);
            KorAttr const& next = attributeNamed(*at.object->type(), takeName(rest), at.path);
            at = attributePlace(std::move(at), next);
        } else if (rest[0] == '[') {
            if (at.key || !shapeAt(at).keyed) {
                throw Refused(at.path + " takes no key");
            }
            at.key = readKey(*at.attribute, takeKey(rest), find, at.path);
            at.path.append(memberPath("", *at.key));
        } else {
            throw Refused("'" + shown(rest) + "' stands behind " + at.path +
                          " where only . or [ can; a path is such as lif.appConfig[vtAppMpls].app");
        }
        rest = trimmed(rest);
    }
    return at;
}

Box valueAt(Place const& place) {
    if (place.attribute == nullptr) {
        return place.object;
    }
    Shape const shape = shapeAt(place);
    if (shape.isOperation()) {
        throw Refused(place.path + " is an operation; it is not read but called");
    }
    if (shape.keyed && !place.key) {
        needsKey(place);
    }
    return op(place, Op::get);
}

bool isThere(Place const& place) {
    return place.attribute == nullptr || !place.key || Kor::unbox<bool>(*op(place, Op::contains));
}

namespace {

/// By the text of keys, but numbers in it by what they are: vsi=9 before vsi=10.
bool isBefore(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (isDigit(a[0]) && isDigit(b[0])) {
            auto const take = [](std::string_view& text) {
                std::size_t const end = std::min(text.find_first_not_of("0123456789"), text.size());
                std::string_view digits = text.substr(0, end);
                text.remove_prefix(end);
                digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
                return digits;
            };
            std::string_view const left = take(a);
            std::string_view const right = take(b);
            if (left.size() != right.size() || left != right) {
                return left.size() != right.size() ? left.size() < right.size() : left < right;
            }
        } else if (a[0] != b[0]) {
            return static_cast<unsigned char>(a[0]) < static_cast<unsigned char>(b[0]);
        } else {
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return a.size() < b.size();
}

/// The members of an attribute that has keys, by key.
std::vector<Place> membersOf(Place const& at) {
    std::vector<Place> members;
    eachMember(at, [&](Place const& member, auto const&) { members.push_back(member); });
    if (at.attribute->shape().role != Kor::Role::queue) {
        std::ranges::stable_sort(members,
                                 [](Place const& a, Place const& b) { return isBefore(a.path, b.path); });
    }
    return members;
}

} // namespace

std::vector<Item> itemsAt(Place const& place) {
    if (!shapeAt(place).keyed || place.key) {
        if (!isThere(place)) {
            throw NotThere(place.path + " is not there");
        }
        return {{place.path, valueAt(place)}};
    }
    std::vector<Item> items;
    for (Place const& member : membersOf(place)) {
        items.push_back({member.path, valueAt(member)});
    }
    return items;
}

std::string pathOf(Box const& object, Roots const* roots, std::string_view at) {
    if (!object) {
        return "None";
    }
    std::string tail;
    Kor::Ptr<Kor::Entity> entity = entityIn(object);
    if (!entity) {
        return textOf(object);
    }
    while (Kor::Ptr<Kor::Entity> const parent = entity->parent()) {
        std::string part(".");
        part.append(entity->parentAttr().view());
        KorAttr const* const attribute = parent->fwkType()->attribute(entity->parentAttrId());
        Kor::String8 const key = entity->korKeyText();
        if (attribute != nullptr && attribute->keyType() != nullptr && !key.empty()) {
            part.append(memberPath("", *readValue(*attribute->keyType(), key.view())));
        }
        tail.insert(0, part);
        entity = parent;
    }
    std::string name(entity->name().view());
    for (auto const& [each, box] : roots != nullptr ? roots->all() : Roots::Map()) {
        if (entityIn(box) == entity) {
            name = each;
        }
    }
    return name.empty() && !at.empty() ? std::string(at) : rootText(name) + tail;
}

std::string valueText(Form form, Box const& value, Roots const* roots, std::string_view at) {
    if (value && (value->type()->isValue() || value->type()->isEnumType())) {
        return written(form, value);
    }
    if (form == Form::json) {
        TextStream text;
        JsonWriter writer(text);
        value ? writer.string(pathOf(value, roots, at)) : writer.null();
        return text.str();
    }
    return pathOf(value, roots, at);
}

void set(Place const& place, std::string_view text, Roots const& roots,
         std::function<void(GenericIf const& value)> const& mayBe) {
    text = trimmed(text);
    if (place.attribute == nullptr) {
        throw Refused(place.path + " is not an attribute; set one of its attributes");
    }
    if (place.isCopy) {
        throw Refused(place.path + " is in a value that is set as a whole; set what holds the value");
    }
    Shape const shape = shapeAt(place);
    if (shape.isOperation()) {
        throw Refused(place.path + " is an operation; it is not set but called");
    }
    if (shape.keyed && (!shape.keyInside || shape.child) && !place.key) {
        needsKey(place);
    }
    auto const check = [&](Key const& value) {
        if (mayBe && value) {
            mayBe(*value);
        }
    };
    if (shape.child) {
        if (!text.empty() && text != place.path) { // as which it is printed
            throw Refused(place.path + " is made from its key alone; '" + shown(text) + "' is too much");
        }
        check(place.key->type()->isEnumType() ? nullptr : place.key); // peers keep the number of such a one
        auto const arguments = Kor::makePtr<GenericIf::List_>();
        arguments->list().enq(const_cast<GenericIf*>(place.key.ptr()));
        Place const whole{place.object, place.attribute, nullptr, place.path, false};
        op(whole, Op::set, arguments);
        return;
    }
    if (text.empty()) {
        throw Refused(place.path + ": a value is missing; give a " + shortName(*place.attribute->type()));
    }
    // A field of a value keeps what it has room for.
    bool const isField =
        !shape.keyed && place.object->type()->isValue() && isNumberType(*place.attribute->type());
    Box const value =
        readValue(*place.attribute->type(), text, roots.find(), place.path,
                  isField && shape.settable
                      ? std::optional(fieldNamed(*place.object->type(), place.attribute->name().view()).most)
                      : std::nullopt);
    check(place.key);
    check(value);
    if (shape.keyInside) { // no children, see above
        Place const whole{place.object, place.attribute, nullptr, place.path, false};
        if (place.key) {
            Box const inside = value->attributeOp(
                {value->attributeId(place.attribute->keyAttributeName()), Op::get}, nullptr, nullptr);
            if (inside->strRep() != place.key->strRep()) {
                throw Refused(place.path + " cannot take a value whose key is " + shortText(*inside));
            }
        }
        op(whole, Op::set, value);
        return;
    }
    op(place, Op::set, value);
}

Box del(Place const& place) {
    if (place.attribute == nullptr || !shapeAt(place).keyed) {
        throw Refused(place.path + " cannot be deleted: it is not under a key");
    }
    if (!place.key) {
        needsKey(place);
    }
    if (!isThere(place)) {
        throw NotThere(place.path + " is not there");
    }
    Box was = op(place, Op::get);
    op(place, Op::del);
    return was;
}

std::string signatureOf(KorAttr const& attribute, std::string (*typeText)(std::string const& fullName)) {
    std::string text(attribute.name().view());
    Shape const& shape = attribute.shape();
    auto const textOfType = [&](Kor::Name const& name) { return typeText(std::string(name.view())); };
    if (shape.keyed) {
        text.append("[").append(textOfType(attribute.keyType()->typeName())).append("]");
    } else if (shape.isOperation()) {
        std::vector<std::string> arguments;
        for (auto const& each : attribute.arguments()) {
            arguments.emplace_back(each.name.view());
            arguments.back().append(": ").append(textOfType(each.type));
        }
        text.append("(").append(join(arguments, ", ")).append(")");
        if (!attribute.hasValue()) {
            return text;
        }
    }
    return text.append(": ").append(textOfType(attribute.type()->typeName()));
}

std::string shortTypeText(std::string const& fullName) {
    KorType const* const type = KorType::named(fullName);
    return type != nullptr ? shortName(*type) : fullName;
}

std::vector<Listed> list(Place const& place) {
    std::vector<Listed> all;
    if (shapeAt(place).keyed && !place.key) {
        for (Place const& member : membersOf(place)) {
            all.push_back({member.path, keyText(*member.key), place.attribute->type()});
        }
        return all;
    }
    for (KorAttr const* each : ownAttributes(*entered(place).object->type())) {
        all.push_back({place.path + '.' + std::string(each->name().view()), signatureOf(*each, shortTypeText),
                       each->type()});
    }
    return all;
}

Box call(Place const& place, std::string_view arguments, Roots const& roots) {
    if (!shapeAt(place).isOperation()) {
        throw Refused(place.path + " is not an operation, so it cannot be called");
    }
    Box const given = readArguments(*place.attribute, arguments, roots.find());
    Place const whole{place.object, place.attribute, given, place.path, place.isCopy};
    Kor::BreachGuard const guard; // what a user gives may be what the operation excludes
    Box const result = op(whole, Op::get);
    return place.attribute->hasValue() ? result : nullptr;
}

namespace {

/// Walks all that is below a place.
struct Walk {
    std::function<void(Node const&)> const& tell;
    unsigned depth;

    void all(Place const& place) const {
        if (shapeAt(place).keyed && !place.key) {
            attribute(place, place.path, 0);
            return;
        }
        if (!isThere(place)) {
            throw NotThere(place.path + " is not there");
        }
        Box const box = valueAt(place);
        bool const isOpened = box && box->type()->isValue() && !ownAttributes(*box->type()).empty();
        isOpened ? object(place.path, place.path, box, 0) // asked for by name, so taken apart
                 : value(place.path, place.path, box, 0);
    }
    void object(std::string const& path, std::string const& name, Box const& box, unsigned level) const {
        tell({level, path, name, box, true, level == depth});
        if (level == depth) {
            return;
        }
        Place const whole{box, nullptr, nullptr, path, false};
        for (KorAttr const* each : ownAttributes(*box->type())) {
            Place const at = attributePlace(whole, *each);
            attribute(at, at.path, level + 1);
        }
    }
    void attribute(Place const& at, std::string const& path, unsigned level) const {
        std::string const name(at.attribute->name().view());
        Shape const shape = shapeAt(at);
        if (shape.isOperation()) {
            return;
        }
        if (!shape.keyed) {
            value(path, level == 0 ? path : name, valueAt(at), level);
            return;
        }
        for (Place const& member : membersOf(at)) {
            value(member.path, level == 0 ? member.path : memberPath(name, *member.key), valueAt(member),
                  level);
        }
    }
    void value(std::string const& path, std::string const& name, Box const& box, unsigned level) const {
        if (box && !box->type()->isValue() && !box->type()->isEnumType()) {
            object(path, name, box, level);
        } else {
            tell({level, path, name, box, false, false});
        }
    }
};

} // namespace

void walk(Place const& place, unsigned depth, std::function<void(Node const&)> const& tell) {
    Walk{tell, depth}.all(place);
}

std::string nodeLine(Node const& node, Form form, Roots const* roots) {
    std::string line(std::size_t{2} * node.level, ' ');
    line.append(node.name).append(node.isOpened ? ": " : " = ");
    return line
        .append(node.isOpened ? shortName(*node.value->type())
                              : valueText(form, node.value, roots, node.path))
        .append(node.isCut ? " ..." : "");
}

std::string rootOf(std::string_view path) {
    path = trimmed(path);
    return takeRoot(path);
}

// Watches

class Watch::Listener final : public GenericIf::Listener {
public:
    explicit Listener(Watch* watch) : watch_(watch) {}
    void onAttribute(GenericIf&, AttributeId attribute, Key const& key) override {
        watch_->changed(attribute, key);
    }

private:
    Watch* watch_; // takes the listener off when it ends
};

namespace {

/// From where the way to a place begins, all steps to it.
std::vector<Place::Step> stepsTo(Place const& place) {
    std::vector<Place::Step> steps = place.way;
    if (place.attribute != nullptr) {
        steps.push_back({place.attribute, place.key});
    }
    return steps;
}

/// Where it begins; refuses what cannot be watched.
Place const& watched(Place const& place) {
    bool const isMember = place.attribute != nullptr && place.key && shapeAt(place).holdsObjects();
    Place const at = place.attribute == nullptr || isMember ? entered(place) : place;
    if (at.isCopy || at.object->type()->isValue()) {
        throw Refused(at.path + " is in a value, which tells nobody of changes; watch an object");
    }
    return place;
}

std::string pathOfOrigin(Place const& place) {
    if (place.origin) {
        return place.originPath;
    }
    std::size_t tail = place.attribute != nullptr ? place.attribute->name().length() + 1 : 0;
    tail += place.key ? memberPath("", *place.key).size() : 0;
    return place.path.substr(0, place.path.size() - tail);
}

} // namespace

Watch::Watch(Place const& place, Tell tell)
    : Watch(watched(place).origin ? place.origin : place.object, pathOfOrigin(place), stepsTo(place), 0, 0,
            std::move(tell)) {}

Watch::Watch(Box const& object, std::string path, Way const& way, std::size_t step, unsigned depth, Tell tell)
    : path_(std::move(path)), way_(way), step_(step), depth_(depth), tell_(std::move(tell)),
      box_(object->clone()) {
    box_->listenerIs(Kor::makePtr<Listener>(this));
    for (KorAttr const* each : ownAttributes(*box_->type())) {
        if (each->shape().holdsObjects() && isWatched(*each, nullptr)) {
            eachMember({box_, each, nullptr, path_, false}, [&](Place const& member, auto const&) {
                if (isWatched(*each, member.key)) {
                    childIs(*each, member.key);
                }
            });
        }
    }
}

Watch::~Watch() {
    if (box_) {
        box_->listenerIs(nullptr);
        box_->notifierIs(nullptr);
    }
}

/// A null key stands for any.
bool Watch::isWatched(KorAttr const& attribute, Key const& key) const {
    if (step_ == way_.size()) {
        return true;
    }
    Place::Step const& next = way_[step_];
    return next.attribute == &attribute && (!key || !next.key || keyText(*key) == keyText(*next.key));
}

void Watch::childIs(KorAttr const& attribute, Key const& key) {
    Place at = attributePlace({box_, nullptr, nullptr, path_, false}, attribute);
    at.key = key;
    at.path = memberPath(at.path, *key);
    children_.erase(at.path);
    Box const child = valueAt(at);
    if (!child) {
        return;
    }
    if (depth_ == deepest) {
        throw Refused(shown(path_) + " is nested too deeply: more than " + std::to_string(deepest) +
                      " objects in one another are not watched");
    }
    std::size_t const step = std::min(step_ + 1, way_.size());
    children_.emplace(at.path,
                      std::unique_ptr<Watch>(new Watch(child, at.path, way_, step, depth_ + 1, tell_)));
}

void Watch::changed(AttributeId id, Key const& key) {
    KorAttr const* const attribute = box_->type()->attribute(id);
    if (attribute == nullptr || !isWatched(*attribute, key)) {
        return;
    }
    Place at = attributePlace({box_, nullptr, nullptr, path_, false}, *attribute);
    Change change;
    bool isPresent = true;
    if (key) {
        at.key = key;
        at.path = memberPath(at.path, *key);
        isPresent = isThere(at);
        if (shapeAt(at).holdsObjects()) {
            try {
                childIs(*attribute, key);
            } catch (Refused const& refused) {
                change.note = refused.what(); // whoever made the change is not at fault
            }
        }
    }
    change.path = at.path;
    change.isGone = !isPresent;
    change.value = isPresent ? valueAt(at) : nullptr;
    tell_(change);
}

std::string changeLine(Watch::Change const& change, Form form, Roots const* roots) {
    std::string text = change.path;
    change.isGone ? text.append(" deleted")
                  : text.append(" = ").append(valueText(form, change.value, roots, change.path));
    return change.note.empty() ? text : text.append(" (").append(change.note).append(")");
}

} // namespace Kor::Forms
