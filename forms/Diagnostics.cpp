#include "forms/Diagnostics.h"

#include "attrlog/session/Session.h"
#include "forms/Counters.h"
#include "forms/Json.h"
#include "forms/SchemaJson.h"
#include "forms/Text.h"
#include "runtime/Exception.h"
#include "runtime/HandlerExceptions.h"
#include "runtime/Trace.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <span>
#include <sstream>
#include <vector>

namespace Kor::Forms {

using NboAttrLog::Service;
using NboAttrLog::Session;

namespace {

/// Facilities that are not used yet can be named, but not any number of them: none is ever forgotten.
constexpr std::size_t mostFacilities = 256;
constexpr std::size_t longestFacility = 64;

bool isFacilityName(std::string_view name) {
    return !name.empty() && name.size() <= longestFacility && std::ranges::all_of(name, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
               c == ':';
    });
}

/// One word of a setting.
struct TraceSetting {
    std::optional<int> level;
    bool on;

    static TraceSetting of(std::string_view word) {
        if (word == "on" || word == "off") {
            return {std::nullopt, word == "on"};
        }
        if (word.size() == 2 && (word[0] == '+' || word[0] == '-') && word[1] >= '0' &&
            word[1] < '0' + TraceFacility::levels) {
            return {word[1] - '0', word[0] == '+'};
        }
        throw Refused("'" + shown(word) + "' is neither on, off, +LEVEL nor -LEVEL, with a level from 0 to " +
                      std::to_string(TraceFacility::levels - 1));
    }
};

/// `FACILITY on|off|+LEVEL|-LEVEL...`: all of it, or nothing.
void setTrace(std::span<std::string_view const> words) {
    auto const all = traceFacilities();
    std::string_view const name = words[0];
    bool const isThere = std::ranges::any_of(all, [&](auto const* each) { return each->name() == name; });
    if (!isThere && (!isFacilityName(name) || all.size() >= mostFacilities)) {
        std::string known;
        for (auto const* const each : all) {
            known += (known.empty() ? "" : ", ") + each->name();
        }
        throw Refused("there is no facility " + shown(name) + "; there are " +
                      (known.empty() ? "none" : known));
    }
    std::vector<TraceSetting> settings;
    for (std::string_view const word : words.subspan(1)) {
        settings.push_back(TraceSetting::of(word));
    }
    // One that has not been used yet is made, with its levels ready for when it is.
    TraceFacility& facility = traceFacility(name);
    for (TraceSetting const& each : settings) {
        if (each.level) {
            facility.levelIs(*each.level, each.on);
        } else {
            facility.enabledIs(each.on);
        }
    }
}

/// Pieces, each a document of its own, as many as one answer has room for.
class Pieces {
public:
    /// Whether there was room for what `write` writes.
    template <class Write>
    bool add(Write const& write) {
        TextStream piece;
        JsonWriter json(piece);
        write(json);
        std::string text = std::move(piece).str();
        constexpr std::size_t framing = 1024; // what stands around the list
        if (size_ + text.size() + 1 + framing > NboAttrLog::maxCallText) {
            return false;
        }
        size_ += text.size() + 1;
        texts_.push_back(std::move(text));
        return true;
    }
    void writeTo(JsonWriter& json) const {
        json.beginArray();
        for (std::string const& each : texts_) {
            json.raw(each);
        }
        json.end();
    }

private:
    std::vector<std::string> texts_;
    std::size_t size_ = 0;
};

template <class Write>
String8 answer(Write const& write) {
    TextStream text;
    JsonWriter json(text);
    write(json);
    return String8(std::move(text).str());
}

void writeTrace(JsonWriter& json) {
    json.beginArray();
    for (TraceFacility const* const each : traceFacilities()) {
        json.beginObject().string("facility", each->name()).boolean("enabled", each->enabled != 0);
        json.key("levels").beginArray();
        for (int level = 0; level < TraceFacility::levels; ++level) {
            if (each->level[level] != 0) {
                json.number(static_cast<U64>(level));
            }
        }
        json.end().number("passed", each->testCounter).end();
    }
    json.end();
}

void writeCounters(JsonWriter& json, Service const& service) {
    Pieces peers;
    U64 leftOut = 0;
    for (Session const* const each : service.sessions()) {
        bool const fits = peers.add([&](JsonWriter& peer) {
            peer.beginObject().string("peer", each->peerName().view());
            if (!each->peerDetail().empty()) {
                peer.string("detail", each->peerDetail().view());
            }
            peer.number("entities", each->demuxer().mounted());
            peer.number("openFences", each->openFences());
            NboAttrLog::Stats const stats = each->stats();
            for (NboAttrLog::Counter const& counter : NboAttrLog::counters()) {
                peer.number(counter.name, stats.*counter.member);
            }
            peer.end();
        });
        leftOut += fits ? 0 : 1;
    }
    json.beginObject().key("peers");
    peers.writeTo(json);
    if (leftOut != 0) {
        json.number("peersLeftOut", leftOut);
    }
    json.number("handlerExceptions", handlerExceptions());
    for (auto const& [what, count] : service.counts()) {
        json.number(what.view(), count);
    }
    json.end();
}

void writeRecord(JsonWriter& json, TraceEntry const& entry) {
    using namespace std::chrono;
    auto const time = duration_cast<microseconds>(entry.time.time_since_epoch()).count();
    std::array<char, 32> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%lld.%06lld", static_cast<long long>(time / 1'000'000),
                  static_cast<long long>(time % 1'000'000));
    json.beginObject().number("number", entry.number).key("time").raw(seconds.data());
    json.string("facility", entry.facility).number("level", static_cast<U64>(entry.level));
    json.string("unit", entry.unit).number("line", static_cast<U64>(entry.line));
    json.string("function", entry.function).string("context", entry.context);
    json.string("text", entry.text).end();
}

void writeRecordsAfter(JsonWriter& json, std::string_view argument) {
    std::optional<U64> const after = parseNumber(argument);
    if (!after) {
        throw Refused("traceRecords takes the number of the last record that is known");
    }
    // An answer holds some hundreds; what is left out is asked for with the next number.
    constexpr std::size_t most = 256;
    Pieces records;
    U64 last = *after;
    for (TraceEntry const& each : traceHistory(*after, most)) {
        if (!records.add([&](JsonWriter& record) { writeRecord(record, each); })) {
            break;
        }
        last = each.number;
    }
    json.beginObject().number("last", last).key("records");
    records.writeTo(json);
    json.end();
}

/// The types behind the one of that name, as many as an answer holds.
void writeTypesAfter(JsonWriter& json, std::string_view name) {
    std::vector<SchemaType> const all = schemaTypes();
    auto next = all.begin();
    if (!name.empty()) {
        next =
            std::ranges::find(all, name, [](SchemaType const& each) { return each.type->typeName().view(); });
        if (next == all.end()) {
            throw Refused("there is no type " + shown(name) +
                          "; schema takes nothing, or the name of the last type that is known");
        }
        ++next;
    }
    Pieces types;
    while (next != all.end() && types.add([&](JsonWriter& type) { writeType(type, *next); })) {
        ++next;
    }
    json.beginObject();
    writeSchemaHead(json);
    json.key("types");
    types.writeTo(json);
    if (next != all.end()) {
        json.string("after", std::prev(next)->type->typeName().view());
    }
    json.end();
}

} // namespace

void diagnosticsAre(Service& service, DiagnosticsConfig config) {
    if (config.traceRecords != 0) {
        traceHistoryIs(config.traceRecords);
    }
    service.handlerIs(Name("sync"), [](Session&, String8 const&) { return String8(); });
    service.handlerIs(Name("stats"), [&service](Session&, String8 const&) {
        return answer([&](JsonWriter& json) { writeCounters(json, service); });
    });
    service.handlerIs(Name("trace"), [setsTrace = config.setsTrace](Session&, String8 const& argument) {
        if (auto const words = split(argument.view()); !words.empty()) {
            if (!setsTrace) {
                throw Refused("trace levels are not to be set here: it is served read-only");
            }
            setTrace(words);
        }
        return answer(writeTrace);
    });
    service.handlerIs(Name("traceRecords"), [](Session&, String8 const& argument) {
        return answer([&](JsonWriter& json) { writeRecordsAfter(json, argument.view()); });
    });
    service.handlerIs(Name("schema"), [](Session&, String8 const& argument) {
        return answer([&](JsonWriter& json) { writeTypesAfter(json, argument.view()); });
    });
}

} // namespace Kor::Forms
