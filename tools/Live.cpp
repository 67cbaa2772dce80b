#include "tools/Live.h"

#include "model/LoamTunnelTypeList.h"
#include "runtime/HandlerExceptions.h"
#include "runtime/Trace.h"
#include "tools/Counters.h"
#include "tools/Listing.h"
#include "tools/Text.h"

#include <algorithm>
#include <cctype>

namespace tool {

using namespace Kor::NboAttrLog;

namespace {

std::string traceState() {
    Json all = Json::array();
    for (Kor::TraceFacility const* const each : Kor::traceFacilities()) {
        Json levels = Json::array();
        for (int level = 0; level < Kor::TraceFacility::levels; ++level) {
            if (each->level[level] != 0) {
                levels.push_back(level);
            }
        }
        all.push_back({{"facility", each->name()},
                       {"enabled", each->enabled != 0},
                       {"levels", levels},
                       {"passed", each->testCounter}});
    }
    return all.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Facilities that are not used yet can be named, but not any number of them: none is ever forgotten.
constexpr std::size_t mostFacilities = 256;

/// `FACILITY on|off|+LEVEL|-LEVEL...`
void setTrace(std::string_view text) {
    std::vector<std::string_view> const given = split(text);
    std::string_view const name = given[0];
    auto const all = Kor::traceFacilities();
    bool const isThere = std::ranges::any_of(all, [&](auto const* each) { return each->name() == name; });
    bool const isName = std::ranges::all_of(
        name, [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == ':'; });
    if (!isThere && (!isName || name.size() > 64 || all.size() >= mostFacilities)) {
        std::vector<std::string> names;
        names.reserve(all.size());
        for (auto const* const each : all) {
            names.emplace_back(each->name());
        }
        Kor::throwRangeException(Kor::String8("there is no facility " + shown(name) + suggest(name, names)));
    }
    for (bool const isTry : {true, false}) {
        for (std::string_view const word : std::span(given).subspan(1)) {
            std::optional<U64> const level = parseNumber(word.substr(1));
            bool const isLevel =
                (word[0] == '+' || word[0] == '-') && level && *level < Kor::TraceFacility::levels;
            if (!isLevel && word != "on" && word != "off") {
                Kor::throwRangeException(
                    Kor::format("'%s' is neither on, off, +LEVEL nor -LEVEL, with a level from 0 to %d",
                                shown(word).c_str(), Kor::TraceFacility::levels - 1)
                        .charPtr());
            }
            if (isTry) {
                continue;
            }
            // One that has not been used yet is made, with its levels ready for when it is.
            Kor::TraceFacility& found = Kor::traceFacility(name);
            if (isLevel) {
                found.levelIs(static_cast<int>(*level), word[0] == '+');
            } else {
                found.enabledIs(word == "on");
            }
        }
    }
}

std::string countersOf(Service const& service) {
    Json peers = Json::array();
    for (Session const* const each : service.sessions()) {
        Json one{{"peer", std::string(each->peerName().view())}, {"entities", each->demuxer().mounted()}};
        Stats const stats = each->stats();
        for (Counter const& counter : counters()) {
            one[std::string(counter.name)] = stats.*counter.member;
        }
        peers.push_back(std::move(one));
    }
    return Json{{"peers", peers}, {"handlerExceptions", Kor::handlerExceptions()}}.dump(
        -1, ' ', false, Json::error_handler_t::replace);
}

} // namespace

std::string rootOf(std::string_view path) {
    return std::string(path.substr(0, path.find_first_of(".[")));
}

Kor::Link::ConnectorConfig connectOnce(std::string_view name) {
    Kor::Link::ConnectorConfig config;
    config.session = sessionConfig(name);
    config.reconnects = false;
    return config;
}

Refused noConnection(std::string const& address, std::string_view reason) {
    return Refused("no connection to " + shown(address) + ": " + std::string(reason));
}

SessionConfig sessionConfig(std::string_view name) {
    SessionConfig config;
    config.name = Kor::Name(Kor::String8(name));
    config.schema = Hardware::LoamTunnel::loamTunnelModule().checksum();
    return config;
}

Kor::Link::Address addressOf(std::string const& text) {
    if (text.empty()) {
        throw WrongUsage("where? Give --socket ADDRESS, such as /run/loam/driver or tcp:7000");
    }
    try {
        return Kor::Link::Address::parse(text);
    } catch (Kor::Exception const& exception) {
        throw WrongUsage(exception.what());
    }
}

Box boxOfEntity(Kor::Ptr<Kor::Entity> const& entity) {
    return Kor::KorType::genericIf(entity.ptr(), false);
}

Kor::Ptr<Kor::Entity> entityIn(Box const& box) {
    bool const isEntity = dynamic_cast<Kor::GenericIfEntity const*>(box.ptr()) != nullptr;
    return isEntity ? static_cast<Kor::Entity*>(box->voidPtrIs(Kor::Entity::_fwkType())) : nullptr;
}

Live::Live(LiveOptions const& options, std::string_view name)
    : options_(options), connector_(loop_, addressOf(options.address), connectOnce(name)) {
    require([this] { return connector_.isEstablished() && session().areOffersKnown(); }, "a connection");
}

Session& Live::session() {
    Kor::Ptr<Session> const session = connector_.session();
    if (!session || !session->isOpen()) {
        throw noConnection(options_.address, connector_.lastReason().view());
    }
    return *session;
}

bool Live::until(std::function<bool()> const& condition) {
    bool const holds = loop_.runUntil([&] { return connector_.isOver() || condition(); }, options_.timeout);
    session(); // throws when it is over
    return holds;
}

void Live::require(std::function<bool()> const& condition, std::string const& what) {
    if (!until(condition)) {
        throw Refused("no " + what + " from " + shown(options_.address) + " within " +
                      std::to_string(options_.timeout.count()) + " ms");
    }
}

std::vector<std::string> Live::offers() {
    std::vector<std::string> names;
    for (auto const& [path, offer] : session().peerOffers()) {
        names.emplace_back(path.view());
    }
    return names;
}

Place Live::at(std::string const& path) {
    std::string const root = rootOf(path);
    if (!roots_.all().contains(root)) {
        Kor::Name const name{Kor::String8(root)};
        if (!session().peerOffers().contains(name)) {
            throw Refused("no root " + shown(root) + suggest(root, offers()));
        }
        // The hooks may be called after this function has given up.
        struct Outcome {
            RootState state{};
            std::string reason;
        };
        auto const outcome = std::make_shared<Outcome>();
        session().want(name, [outcome](RootState now, Kor::Ptr<Kor::Entity> const&, Kor::String8 const& why) {
            *outcome = {now, std::string(why.view())};
        });
        require([&] { return outcome->state >= RootState::synchronized; }, "root " + root);
        Kor::Ptr<Kor::Entity> const entity = session().root(name);
        if (outcome->state == RootState::refused || !entity) {
            throw Refused("root " + root + " is not to be had: " + outcome->reason);
        }
        roots_.add(root, boxOfEntity(entity));
    }
    return roots_.at(path);
}

void Live::mustBeWritable(std::string const& path) {
    auto const& offers = session().peerOffers();
    auto const found = offers.find(Kor::Name(Kor::String8(rootOf(path))));
    if (found != offers.end() && found->second.access == Access::readOnly) {
        throw Refused("root " + shown(rootOf(path)) + " is offered read-only by " +
                      shown(session().peerName().view()));
    }
}

void Live::deliver() {
    require([this] { return !session().demuxer().hasWork(); }, "room");
    call("sync", "");
}

std::string Live::call(std::string_view verb, std::string_view argument) {
    struct Answer {
        bool isThere = false;
        bool isDone = false;
        std::string text;
    };
    auto const answer = std::make_shared<Answer>();
    session().call(Kor::Name(Kor::String8(verb)), Kor::String8(argument),
                   [answer](bool ok, Kor::String8 const& text) {
                       *answer = {true, ok, std::string(text.view())};
                   });
    require([&] { return answer->isThere; }, "answer");
    if (!answer->isDone) {
        throw Refused(shown(answer->text));
    }
    return answer->text;
}

void answerTools(Service& service, bool setsTrace) {
    service.handlerIs(Kor::Name("sync"), [](Session&, Kor::String8 const&) { return Kor::String8(); });
    service.handlerIs(Kor::Name("stats"), [&service](Session&, Kor::String8 const&) {
        return Kor::String8(countersOf(service));
    });
    service.handlerIs(Kor::Name("trace"), [setsTrace](Session&, Kor::String8 const& argument) {
        if (!split(argument.view()).empty()) {
            if (!setsTrace) {
                Kor::throwRangeException("trace levels are not to be set here: it is served read-only");
            }
            setTrace(argument.view());
        }
        return Kor::String8(traceState());
    });
}

} // namespace tool
