#include "reflect/Text.h"
#include "reflect/box/GenericIf.h"
#include "reflect/type/Dir.h"
#include "runtime/ClassName.h"

#include <algorithm>
#include <string>

namespace Kor {

namespace {

Ptr<Entity>& rootOfThread() {
    static thread_local Ptr<Entity> root;
    return root;
}

/// The member of a map of children that `attribute[key]` names; null if there is none.
Ptr<Entity> childAt(Entity& parent, std::string_view attribute, std::string_view key) {
    KorAttr const* const attr = parent.fwkType()->typeAttr()->attr(String8(attribute));
    if (attr == nullptr || attr->keyType() == nullptr) {
        return nullptr;
    }
    Ptr<GenericIf> const at = attr->keyType()->genericIf(String8(key), true);
    Ptr<GenericIf> const box = KorType::genericIf(&parent, true);
    if (!at || !box) {
        return nullptr;
    }
    Ptr<GenericIf> const child =
        box->attributeOp({attr->attributeId(), GenericIf::AttributeOp::get}, at, nullptr);
    return child ? ptrCast<Entity>(unbox<Ptr<PtrInterface>>(*child)) : nullptr;
}

/// Where the ] behind a key is, or the end: within quotes a key may have brackets, slashes and quotes.
std::size_t endOfKey(std::string_view path, std::size_t at) {
    for (char quote = 0; at < path.size() && (quote != 0 || path[at] != ']'); ++at) {
        if (path[at] == '\\') {
            ++at;
        } else if (quote == 0 ? path[at] == '\'' || path[at] == '"' : path[at] == quote) {
            quote = quote == 0 ? path[at] : '\0';
        }
    }
    return at;
}

/// What a path below an entity leads to.
Ptr<Entity> below(Ptr<Entity> here, std::string_view path) {
    while (here && !path.empty()) {
        auto const slash = path.find('/');
        auto const bracket = path.substr(0, slash).find('[');
        std::size_t length = std::min(slash, path.size());
        if (bracket != std::string_view::npos) {
            length = endOfKey(path, bracket + 1) + 1;
            if (length > path.size() || (length < path.size() && path[length] != '/')) {
                return nullptr;
            }
            here = childAt(*here, path.substr(0, bracket), path.substr(bracket + 1, length - bracket - 2));
        } else {
            Ptr<Dir> const dir = ptrCast<Dir>(here);
            here = dir ? dir->entry(String8(path.substr(0, length))) : nullptr;
        }
        path.remove_prefix(std::min(length + 1, path.size()));
    }
    return here;
}

} // namespace

void textRootIs(Ptr<Entity> const& root) {
    rootOfThread() = root;
}

String8 valueToStrepOfRawPtr(Entity const* object, std::type_info const&) {
    return object != nullptr ? valueToStrep(object->fullName()) : "None";
}

String8 valueToStrepOfRawPtr(PtrInterface const* object, std::type_info const& type) {
    if (auto const* const entity = dynamic_cast<Entity const*>(object);
        entity != nullptr || object == nullptr) {
        return valueToStrepOfRawPtr(entity, type);
    }
    return format("<%s>", object->fwkType()->typeName().charPtr());
}

Ptr<PtrInterface> sequenceToValueOfPtr(String8::IteratorConst& it, String8::IteratorConst const& end,
                                       PtrInterface*) {
    detail::Follow follow(it, end);
    return detail::readObject(follow.scanner);
}

Ptr<Entity> sequenceToValueOfPtr(String8::IteratorConst& it, String8::IteratorConst const& end, Entity*) {
    detail::Follow follow(it, end);
    return detail::readText<Ptr<Entity>>(follow.scanner);
}

void cannotConvert(String8::IteratorConst const&, String8::IteratorConst const&, std::type_info const& type) {
    detail::refuse({"the reference is not to a ", className(type)});
}

namespace detail {

Ptr<PtrInterface> readObject(TextScanner& scanner) {
    scanner.skipBlanks();
    if (scanner.current() == 'N') {
        scanner.needString("None ");
        return nullptr;
    }
    std::string storage;
    std::string_view const path = scanner.quoted(storage);
    Ptr<Entity> found;
    if (Ptr<Entity> const root = rootOfThread()) {
        String8 const name = root->fullName();
        if (path == name.view()) {
            found = root;
        } else if (path.starts_with(name.view()) && path.substr(name.length()).starts_with('/')) {
            found = below(root, path.substr(name.length() + 1));
        }
    }
    if (!found) {
        refuse({"there is no object ", path});
    }
    return found;
}

} // namespace detail

} // namespace Kor
