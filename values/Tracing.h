#pragma once

#include "runtime/Trace.h"

namespace Hardware::LoamTunnel {

/// The handle of the values' trace facility, named "LoamTunnelTypes".
KOR_EXPORT inline Kor::TraceHandle& typesTraceHandle() {
    static Kor::TraceHandle _defaultTraceHandle("LoamTunnelTypes", false);
    return _defaultTraceHandle;
}

} // namespace Hardware::LoamTunnel
