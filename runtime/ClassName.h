#pragma once

/// The name of an object's class, for people. Where the type is known, Kor::typeName() (runtime/TypeName.h)
/// has its name at no cost; the name that peers and tools know is that of the type object.
///
///     std::string const text = Kor::className(*config);      // "Hardware::LoamTunnel::LifAppConfig"
///
/// Each call makes the text anew, and allocates. Any thread.

#include "runtime/PtrInterface.h"

#include <string>
#include <typeinfo>

namespace Kor {

/// As it is written in the source, `Hardware::LoamTunnel::LifAppConfig`.
KOR_EXPORT std::string className(PtrInterface const& object);
KOR_EXPORT std::string className(std::type_info const& type);

} // namespace Kor
