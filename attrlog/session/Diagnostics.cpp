#include "attrlog/session/Diagnostics.h"

#include "attrlog/Counters.h"
#include "attrlog/session/Session.h"
#include "runtime/Exception.h"
#include "runtime/HandlerExceptions.h"
#include "runtime/PlainText.h"
#include "runtime/Trace.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <span>
#include <vector>

namespace Kor::NboAttrLog {

namespace {

std::vector<std::string_view> wordsOf(std::string_view text) {
    std::vector<std::string_view> words;
    while (!text.empty()) {
        auto const end = std::min(text.find(' '), text.size());
        if (end != 0) {
            words.push_back(text.substr(0, end));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

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
        throwRangeException(format("'%s' is neither on, off, +LEVEL nor -LEVEL, with a level from 0 to %d",
                                   peerText(word, longestFacility).charPtr(), TraceFacility::levels - 1));
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
        throwRangeException(format("there is no facility %s; there are %s",
                                   peerText(name, longestFacility).charPtr(),
                                   known.empty() ? "none" : known.c_str()));
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

/// What is built of parts with commas between them.
class List {
public:
    explicit List(char const* opening) : text_(opening) {}
    void add(std::string_view part) {
        text_ += isFirst_ ? "" : ", ";
        text_ += part;
        isFirst_ = false;
    }
    void add(std::string_view name, std::string_view value) {
        add(jsonText(name));
        text_ += ": ";
        text_ += value;
    }
    void add(std::string_view name, U64 value) { add(name, std::string_view(std::to_string(value))); }
    std::size_t size() const { return text_.size(); }
    std::string ended(char const* closing) { return std::move(text_) + closing; }

private:
    std::string text_;
    bool isFirst_ = true;
};

/// What stands around the list of an answer.
constexpr std::size_t framing = 1024;

std::string traceState() {
    List all("[");
    for (TraceFacility const* const each : traceFacilities()) {
        List levels("[");
        for (int level = 0; level < TraceFacility::levels; ++level) {
            if (each->level[level] != 0) {
                levels.add(std::to_string(level));
            }
        }
        List one("{");
        one.add("facility", jsonText(each->name()));
        one.add("enabled", each->enabled != 0 ? "true" : "false");
        one.add("levels", levels.ended("]"));
        one.add("passed", U64{each->testCounter});
        all.add(one.ended("}"));
    }
    return all.ended("]");
}

std::string countersOf(Service const& service) {
    List peers("[");
    U64 leftOut = 0;
    for (Session const* const each : service.sessions()) {
        List one("{");
        one.add("peer", jsonText(each->peerName().view()));
        one.add("entities", U64{each->demuxer().mounted()});
        Stats const stats = each->stats();
        for (Counter const& counter : counters()) {
            one.add(counter.name, stats.*counter.member);
        }
        std::string const peer = one.ended("}");
        if (peers.size() + peer.size() + framing > maxCallText) {
            ++leftOut;
        } else {
            peers.add(peer);
        }
    }
    List all("{");
    all.add("peers", peers.ended("]"));
    if (leftOut != 0) {
        all.add("peersLeftOut", leftOut);
    }
    all.add("handlerExceptions", U64{handlerExceptions()});
    for (auto const& [what, count] : service.counts()) {
        all.add(what.view(), count);
    }
    return all.ended("}");
}

std::string recordText(TraceEntry const& entry) {
    using namespace std::chrono;
    auto const time = duration_cast<microseconds>(entry.time.time_since_epoch()).count();
    std::array<char, 32> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%lld.%06lld", static_cast<long long>(time / 1'000'000),
                  static_cast<long long>(time % 1'000'000));
    List one("{");
    one.add("number", entry.number);
    one.add("time", seconds.data());
    one.add("facility", jsonText(entry.facility));
    one.add("level", std::to_string(entry.level));
    one.add("unit", jsonText(entry.unit));
    one.add("line", std::to_string(entry.line));
    one.add("function", jsonText(entry.function));
    one.add("context", jsonText(entry.context));
    one.add("text", jsonText(entry.text));
    return one.ended("}");
}

std::string recordsAfter(std::string_view argument) {
    U64 after = 0;
    auto const [end, error] = std::from_chars(argument.data(), argument.data() + argument.size(), after);
    if (error != std::errc() || end != argument.data() + argument.size()) {
        throwRangeException("traceRecords takes the number of the last record that is known");
    }
    // An answer holds some hundreds; what is left out is asked for with the next number.
    constexpr std::size_t most = 256;
    List records("[");
    U64 last = after;
    for (TraceEntry const& each : traceHistory(after, most)) {
        std::string const text = recordText(each);
        if (records.size() + text.size() + framing > maxCallText) {
            break;
        }
        last = each.number;
        records.add(text);
    }
    List all("{");
    all.add("last", last);
    all.add("records", records.ended("]"));
    return all.ended("}");
}

} // namespace

std::string jsonText(std::string_view text) {
    std::string json = "\"";
    while (!text.empty()) {
        std::size_t const length = characterLength(text);
        auto const c = static_cast<U8>(text[0]);
        if (length == 0) {
            json += "\xef\xbf\xbd";
        } else if (c < 0x20) {
            std::array<char, 8> escaped{};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", unsigned{c});
            json += escaped.data();
        } else {
            if (c == '"' || c == '\\') {
                json += '\\';
            }
            json += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    json += '"';
    return json;
}

void diagnosticsAre(Service& service, DiagnosticsConfig config) {
    if (config.traceRecords != 0) {
        traceHistoryIs(config.traceRecords);
    }
    service.handlerIs(Name("sync"), [](Session&, String8 const&) { return String8(); });
    service.handlerIs(Name("stats"),
                      [&service](Session&, String8 const&) { return String8(countersOf(service)); });
    service.handlerIs(Name("trace"), [setsTrace = config.setsTrace](Session&, String8 const& argument) {
        if (auto const words = wordsOf(argument.view()); !words.empty()) {
            if (!setsTrace) {
                throwRangeException("trace levels are not to be set here: it is served read-only");
            }
            setTrace(words);
        }
        return String8(traceState());
    });
    service.handlerIs(Name("traceRecords"), [](Session&, String8 const& argument) {
        return String8(recordsAfter(argument.view()));
    });
}

} // namespace Kor::NboAttrLog
