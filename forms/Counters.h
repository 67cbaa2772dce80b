#pragma once

/// The counters of a connection by name, for who lists them.
///
///     Kor::NboAttrLog::Stats const stats = demuxer->stats();
///     for (Kor::NboAttrLog::Counter const& counter : Kor::NboAttrLog::counters()) {
///         std::cout << counter.name << ' ' << stats.*counter.member << '\n';
///     }
///
/// A constant table, for any thread. What a counter counts stands in attrlog/adapter/Demuxer.h.

#include "attrlog/adapter/Demuxer.h"

#include <span>
#include <string_view>

namespace Kor::NboAttrLog {

struct Counter {
    std::string_view name;
    U64 Stats::*member;
};

/// All of them, in the order in which they are listed.
inline std::span<Counter const> counters() {
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

} // namespace Kor::NboAttrLog
