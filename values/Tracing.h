#pragma once

#include "runtime/Trace.h"

namespace Hardware::LoamTunnel {

/// The handle of the values' trace facility, named "LoamTunnelTypes".
[[gnu::visibility("default")]] Kor::TraceHandle& typesTraceHandle();

} // namespace Hardware::LoamTunnel
