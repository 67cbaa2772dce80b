#pragma once

/// The counters of a connection by name, for `stats`.

#include "attrlog/Demuxer.h"

#include <span>
#include <string_view>

namespace tool {

struct Counter {
    std::string_view name;
    Kor::U64 Kor::NboAttrLog::Stats::*member;
};

inline std::span<Counter const> counters() {
    using Kor::NboAttrLog::Stats;
    static constexpr Counter all[] = {
        {"recordsIn", &Stats::recordsIn},
        {"bytesIn", &Stats::bytesIn},
        {"recordsOut", &Stats::recordsOut},
        {"bytesOut", &Stats::bytesOut},
        {"coalescedChanges", &Stats::coalescedChanges},
        {"dirtyKeys", &Stats::dirtyKeys},
        {"dirtyKeysHighWater", &Stats::dirtyKeysHighWater},
        {"streamFull", &Stats::streamFull},
        {"passesIn", &Stats::passesIn},
        {"unknownEnums", &Stats::unknownEnums},
        {"unknownAttributes", &Stats::unknownAttributes},
        {"unknownEntities", &Stats::unknownEntities},
        {"refusedRecords", &Stats::refusedRecords},
    };
    return all;
}

} // namespace tool
