#pragma once

/// Where the encoders trace, at level 8; runtime/Trace.h tells how that is switched on and what it costs.
///
///     Kor::traceFacility("LoamTunnelTypes").enabledIs(true);
///     Kor::traceFacility("LoamTunnelTypes").levelIs(8, true);

#include "runtime/Trace.h"

namespace Hardware::LoamTunnel {

/// The handle of the values' trace facility, named "LoamTunnelTypes".
KOR_EXPORT inline Kor::TraceHandle& typesTraceHandle() {
    static Kor::TraceHandle _defaultTraceHandle("LoamTunnelTypes", false);
    return _defaultTraceHandle;
}

} // namespace Hardware::LoamTunnel
