#include "runtime/ClassName.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <typeinfo>

namespace Kor {

std::string className(PtrInterface const& object) {
    return className(typeid(object));
}

std::string className(std::type_info const& type) {
    char const* const mangled = type.name();
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                      &std::free);
    return status == 0 ? name.get() : mangled;
}

} // namespace Kor
