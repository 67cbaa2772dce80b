#pragma once

/// What a process tells of itself to whoever is connected: the counters of its connections, its trace levels,
/// the last trace records, and its types. `loamtunnel stats` and `loamtunnel trace` ask for it, and for
/// nothing else.
///
///     auto service = Kor::makePtr<Kor::NboAttrLog::Service>();
///     Kor::Forms::diagnosticsAre(*service, {.setsTrace = true, .traceRecords = 1000});
///
/// These are requests of the service (attrlog/session/Service.h), with texts for answers, so that a peer in
/// any language can make them:
///
///     verb           argument                            answer
///     sync           -                                   empty: what was sent before is applied
///     schema         - or NAME                           {"version": 1, "checksum": ..., "types": [...],
///                                                         "after": ...}
///     stats          -                                   {"peers": [{"peer": "mpls", "entities": 3, "recordsIn": 7, ...}],
///                                                         "handlerExceptions": 0, "connectionsRefused": 2, ...}
///     trace          - or FACILITY on|off|+LEVEL|-LEVEL  [{"facility": "LoamTunnelTypes", "enabled": true, "levels": [8],
///                                                          "passed": 12}]
///     traceRecords   NUMBER                              {"last": 9, "records": [{"number": 8, "time": 1790000000.123456,
///                                                          "facility": ..., "level": 8, "unit": ..., "line": 71,
///                                                          "function": ..., "context": ..., "text": ...}]}
///
/// Answers are JSON, with bytes that are no UTF-8 replaced; the peers that an answer has no room for are
/// counted in "peersLeftOut". Behind handlerExceptions stand the service's own counts. traceRecords gives
/// those after that number, as many as an answer holds, and the number of the last one that there is. schema
/// gives the types as `loamtunnel schema --json` does (forms/SchemaJson.h), those behind the one of that
/// name, as many as an answer holds; "after" is the name to ask with next, and is not there with the last
/// types.

#include "attrlog/session/Service.h"

#include <cstddef>

namespace Kor::Forms {

struct DiagnosticsConfig {
    /// Whether peers may set trace levels.
    bool setsTrace = false;
    /// How many trace records the process keeps (runtime/Trace.h); 0 leaves that as it is.
    std::size_t traceRecords = 1000;
};

/// Answers these requests from now on. The service's thread; the trace levels are those of the process.
KOR_EXPORT void diagnosticsAre(NboAttrLog::Service& service, DiagnosticsConfig config = {});

} // namespace Kor::Forms
