#pragma once

#include "runtime/Entity.h"

#include <utility>

namespace Kor::NboAttrLog {

/// What a map has for a key; null for nothing.
template <class Map>
auto* lookUp(Map& map, typename Map::key_type const& key) {
    auto const found = map.find(key);
    return found != map.end() ? &found->second : nullptr;
}

/// Whether an entity is that one, or below it.
inline bool isWithin(Ptr<Entity const> inner, Entity const& outer) {
    while (inner && inner.ptr() != &outer) {
        inner = inner->parent();
    }
    return static_cast<bool>(inner);
}

/// Calls a hook, if there is one, as it was: it may be replaced meanwhile. One that is moved here needs no
/// memory.
template <class Hook, class... A>
void tell(Hook const hook, A&&... arguments) { // NOLINT(performance-unnecessary-value-param)
    if (hook) {
        hook(std::forward<A>(arguments)...);
    }
}

} // namespace Kor::NboAttrLog
