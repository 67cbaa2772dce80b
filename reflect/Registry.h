#pragma once

/// All type objects of a process, and the types that its modules list. For the sources of reflect/ alone.

#include "reflect/KorType.h"
#include "reflect/TypeModule.h"

#include <map>
#include <string_view>
#include <unordered_map>

namespace Kor::detail {

/// Never ends, since type objects do not.
struct Registry {
    struct Listed {
        TypeModule* module;
        TypeSeed const* seed;
    };
    std::map<std::string_view, KorType*> types; // the names are those of the type objects
    std::unordered_map<std::string_view, Listed> listed;

    KorType* find(std::string_view name) const {
        auto const at = types.find(name);
        return at != types.end() ? at->second : nullptr;
    }
    static Registry& global();
};

} // namespace Kor::detail
