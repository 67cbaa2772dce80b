#pragma once

/// The name of an object's class, for people.

#include "runtime/PtrInterface.h"

#include <string>
#include <typeinfo>

namespace Kor {

/// As it is written in the source, `Hardware::LoamTunnel::LifAppConfig`.
KOR_EXPORT std::string className(PtrInterface const& object);
KOR_EXPORT std::string className(std::type_info const& type);

} // namespace Kor
