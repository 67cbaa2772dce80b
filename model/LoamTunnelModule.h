#pragma once

/// The types of the library as one module: their checksum, which two processes compare, and the list.
///
///     config.session.schema = loamTunnelModule().checksum();
///     for (Kor::KorType* type : loamTunnelModule().defined()) { ... }     // in order, with reflect/type/KorType.h
///
/// Do not include it for the types themselves: they are in model/LoamTunnelModel.h and
/// values/LoamTunnelTypes.h. checksum() walks all types each time, so ask once. Threads are as
/// reflect/type/KorType.h says. Nothing throws.

#include "reflect/type/TypeModule.h"

namespace Hardware::LoamTunnel {

/// Its types are defined while the library is loaded. A program that names nothing else of the model calls
/// it, so that the linker keeps the library.
KOR_EXPORT Kor::TypeModule const& loamTunnelModule();

} // namespace Hardware::LoamTunnel
