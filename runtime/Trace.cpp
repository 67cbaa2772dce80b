#include "runtime/Trace.h"

#include <cctype>
#include <cstdio>
#include <map>
#include <memory>
#include <ostream>
#include <utility>

namespace Kor {

std::ostream* coverageStream_ = nullptr;

namespace {

using Facilities = std::map<std::string, std::unique_ptr<TraceFacility>, std::less<>>;

/// Never freed: a trace point may be passed by the last destructor of the process.
Facilities& facilities() {
    static auto* const all = new Facilities;
    return *all;
}

TraceSink& sink() {
    static auto* const current = new TraceSink;
    return *current;
}

U64 sinkFailures = 0;

void writeLine(TraceRecord const& record) {
    std::string const line = traceLine(record) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

TraceFacility& facilityOf(std::string_view name, bool enabled) {
    auto found = facilities().find(name);
    if (found == facilities().end()) {
        auto made = std::make_unique<TraceFacility>(name);
        made->enabledIs(enabled);
        found = facilities().emplace(std::string(name), std::move(made)).first;
    }
    return *found->second;
}

} // namespace

bool TraceFacility::levelIs(int number, bool on) {
    if (number < 0 || number >= levels) {
        return false;
    }
    level[number] = on;
    return true;
}

TraceFacility& traceFacility(std::string_view name) {
    return facilityOf(name, false);
}

std::vector<TraceFacility*> traceFacilities() {
    std::vector<TraceFacility*> all;
    for (auto const& [name, facility] : facilities()) {
        all.push_back(facility.get());
    }
    return all;
}

TraceSink traceSinkIs(TraceSink next) {
    return std::exchange(sink(), std::move(next));
}

U64 traceSinkFailures() {
    return sinkFailures;
}

std::string traceLine(TraceRecord const& record) {
    static constexpr char hex[] = "0123456789abcdef";
    std::string line = std::string(record.facility) + ':' + std::to_string(record.level) + ' ' +
                       std::string(record.unit) + ':' + std::to_string(record.line) + ' ' +
                       std::string(record.function) + ' ' + std::string(record.context) + ' ';
    for (char const c : record.text) {
        auto const byte = static_cast<unsigned char>(c);
        if (std::isprint(byte)) {
            line += c;
        } else {
            line += "\\x";
            line += hex[byte >> 4];
            line += hex[byte & 15];
        }
    }
    return line;
}

TraceHandle::TraceHandle(String8 name, bool enabled) : facility_(&facilityOf(name.charPtr(), enabled)) {}

TraceHandle::~TraceHandle() = default;

String8 const& unknownTraceContext() {
    static auto const* const label = new String8("<unknown>");
    return *label;
}

void traceHelper(TraceFacility* facility, String8 const& context, std::stringstream& stream, int level,
                 bool on, char const* unit, int line, char const* function) {
    std::string const text = stream.str();
    TraceRecord const record{facility->name(), context.charPtr(), text, level, on, unit, line, function};
    if (!on) {
        if (coverageStream_) {
            *coverageStream_ << traceLine(record) << '\n';
        }
        return;
    }
    if (!sink()) {
        writeLine(record);
        return;
    }
    try {
        sink()(record);
    } catch (...) {
        ++sinkFailures;
    }
}

} // namespace Kor
