#include "reflect/Text.h"
#include "reflect/box/GenericIf.h"
#include "reflect/type/Dir.h"

#include <algorithm>

namespace Kor {

namespace {

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

[[maybe_unused]] bool const atLoad = (textDescentIs(&below), true);

} // namespace

} // namespace Kor
