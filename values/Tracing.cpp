#include "values/Tracing.h"

namespace Hardware::LoamTunnel {

Kor::TraceHandle& typesTraceHandle() {
    static Kor::TraceHandle _defaultTraceHandle("LoamTunnelTypes", false);
    return _defaultTraceHandle;
}

} // namespace Hardware::LoamTunnel
