#include "demo/ChipDriver.h"

#include "console/Failure.h"
#include "forms/Values.h"
#include "reflect/Text.h"

#include <algorithm>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;

namespace {

/// An older driver kept the places in a journal. They are not to be lost without a word.
std::string databaseOf(std::string const& image) {
    std::string path = image + ".db";
    std::string const journal = image + ".journal";
    if (::access(path.c_str(), F_OK) != 0 && ::access(journal.c_str(), F_OK) == 0) {
        throw Refused(shown(journal) +
                      " has the places of an older driver, which this one does not read; without it "
                      "the chip begins empty");
    }
    return path;
}

/// How long a disk that has taken nothing is left alone: to try costs as much as there is to be written.
constexpr std::chrono::seconds betweenTries{1};
/// How many rows of the image one answer looks at, so that a request takes a bounded time.
constexpr U32 rowsLookedAt = 1024;
/// How much an answer holds, with room for one row more.
constexpr std::size_t answerBytes = maxCallText - 4'096;

/// The key and the application that a path or a key names.
struct Question {
    RowOwner const* owner;
    std::string key;
    std::optional<App> app{};
};

/// What stands in the brackets behind that word, or nothing.
std::optional<std::string> bracketed(std::string const& path, std::string const& before) {
    std::size_t const at = path.find(before + '[');
    if (at == path.npos) {
        return std::nullopt;
    }
    std::size_t const start = at + before.size() + 1;
    Nesting nesting;
    for (std::size_t i = at + before.size(); i < path.size(); ++i) {
        if (nesting.step(path[i]) && i >= start) {
            return path.substr(start, i - start);
        }
    }
    throw Refused("there is no ] that ends the key of " + shown(path));
}

} // namespace

ChipDriver::ChipDriver(How const& how, Hooks hooks)
    : how_(how), hooks_(std::move(hooks)), image_(how.image, how.chip, ChipImage::create),
      store_(databaseOf(how.image), how.chip, how.sync), owners_{
                                                             tool::ownerOf<Lifs>(how.chip, how.fap, *this),
                                                             tool::ownerOf<OutAcs>(how.chip, how.fap, *this),
                                                             tool::ownerOf<Evecs>(how.chip, how.fap, *this)} {
    takeUp();
}

/// Nothing is written before all of it is known to be sound.
void ChipDriver::takeUp() {
    std::vector<PlaceStep> const places = store_.all();
    for (PlaceStep const& step : places) {
        ownerOf(step).takeUp(step);
    }
    image_.make();
    for (PlaceStep const& step : places) {
        ownerOf(step).show(step, RowOwner::Told::before);
    }
    image_.publish();
}

void ChipDriver::offerTo(Service& service) {
    for (auto const& owner : owners_) {
        owner->offerTo(service);
    }
    service.fenceHookIs([this](Session& peer, Kor::Ptr<Fence> const& fence) {
        if (fence->level() == FenceLevel::done) {
            fences_.push_back({fence, &peer});
            if (pending_.empty()) {
                hooks_.later();
            }
        }
    });
    service.handlerIs("explain", [this](Session&, Kor::String8 const& argument) {
        return explain(std::string(argument.view()));
    });
    service.handlerIs("rows", [this](Session&, Kor::String8 const& argument) {
        return rows(std::string(argument.view()));
    });
}

template <class Number>
Number ChipDriver::sum(Number (RowOwner::*of)() const) const {
    Number all{};
    for (auto const& owner : owners_) {
        all += (owner.get()->*of)();
    }
    return all;
}

U64 ChipDriver::placed() const {
    return sum(&RowOwner::placed);
}

U64 ChipDriver::refused() const {
    return sum(&RowOwner::refused);
}

std::size_t ChipDriver::failed() const {
    return sum(&RowOwner::failed);
}

std::size_t ChipDriver::fences(Session const& peer) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(fences_, [&](Waits const& each) { return each.peer == &peer; }));
}

void ChipDriver::hasLeft(Session const& peer) {
    std::erase_if(fences_, [&](Waits const& each) { return each.peer == &peer; });
}

void ChipDriver::settle() {
    if (!failure_.empty() && std::chrono::steady_clock::now() >= nextTry_) {
        for (auto const& owner : owners_) {
            owner->retry();
        }
        commit();
        nextTry_ = std::chrono::steady_clock::now() + betweenTries;
    }
    releaseStale();
}

void ChipDriver::releaseStale() {
    for (auto const& owner : owners_) {
        owner->settle();
    }
}

void ChipDriver::add(PlaceStep const& step) {
    if (pending_.empty()) {
        hooks_.later();
    }
    pending_.push_back(step);
}

void ChipDriver::commit() {
    releaseStale(); // since a fence says that this is done, too
    if (!pending_.empty()) {
        std::size_t const count = pending_.size();
        if (succeeds([this] { store_.write(pending_); },
                     std::to_string(count) + (count == 1 ? " request waits" : " requests wait"))) {
            kept_.insert(kept_.end(), pending_.begin(), pending_.end());
        } else {
            undo();
        }
        pending_.clear();
    }
    answer();
    answerFences();
    if (!failure_.empty() && failed() == 0 && kept_.empty()) {
        failure_.clear();
        hooks_.report("it can be written again, and nothing waits any more");
    }
}

/// As it was before what is pending.
void ChipDriver::undo() {
    for (std::size_t i = pending_.size(); i-- > 0;) { // the latest first
        ownerOf(pending_[i]).undo(pending_[i]);
    }
}

void ChipDriver::answer() {
    while (!kept_.empty() && succeeds([this] { ownerOf(kept_.front()).show(kept_.front()); },
                                      "answers wait until it can be written")) {
        kept_.pop_front();
    }
}

/// A fence is done when what its peer has asked for is kept and in the image, and fails where it can have no
/// place.
void ChipDriver::answerFences() {
    if (!kept_.empty() || failed() != 0) {
        return; // tried again, and told then
    }
    for (auto const& [fence, peer] : std::exchange(fences_, {})) {
        std::size_t count = 0;
        std::string why;
        for (auto const& owner : owners_) {
            owner->countRefused(*peer, count, why);
        }
        if (count == 0) {
            fence->doneIs();
        } else {
            fence->failedIs(Kor::format("%zu request%s no place; %s", count, count == 1 ? " has" : "s have",
                                        why.c_str()));
        }
    }
}

/// Reports the first failure of several; commit() tells when they are over.
bool ChipDriver::succeeds(std::function<void()> const& attempt, std::string const& consequence) {
    try {
        attempt();
    } catch (Refused const& refused) {
        if (failure_.empty()) {
            hooks_.report(std::string(refused.what()) + "; " + consequence);
        }
        failure_ = refused.what();
        return false;
    }
    return true;
}

Kor::String8 ChipDriver::explain(std::string const& argument) const {
    Question asked{};
    for (auto const& owner : owners_) {
        if (owner->isPathOf(argument)) {
            asked.owner = owner.get();
        }
    }
    if (asked.owner != nullptr) {
        for (char const* const map : {"appConfig", "appStatus"}) {
            if (auto const app = bracketed(argument, map)) {
                asked.app = appNamed<Refused>(*app);
            }
        }
        for (char const* const map : {"reqCount", "lifEntry", "acEntry", "entry", "owner"}) {
            if (auto const key = bracketed(argument, std::string(".") + map)) {
                asked.key = textOf(readValue(asked.owner->keyType(), *key));
            }
        }
        if (asked.key.empty()) {
            throw Refused(shown(argument) + " names no request; right would be a path down to one, such as "
                                            "lifConfig.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]");
        }
    } else {
        Box const key = readNamed(argument);
        for (auto const& owner : owners_) {
            Kor::KorType const& type = owner->keyType();
            if (key->type() == &type || key->type()->isA(&type)) {
                asked = {owner.get(), textOf(asType(key, type)), std::nullopt};
            }
        }
        if (asked.owner == nullptr) {
            throw Refused(shown(argument) + " is nothing that is asked for here; there are AradLifEntry, "
                                            "OutAcKey and EvecKey");
        }
    }
    TextStream text;
    JsonWriter json(text);
    json.beginObject().number("chip", how_.chip).number("fap", how_.fap);
    json.string("family", asked.owner->name());
    asked.owner->explain(json, asked.key, asked.app);
    json.end();
    return Kor::String8(std::move(text).str());
}

/// Rows that somebody has or that are not zero, from one on.
Kor::String8 ChipDriver::rows(std::string const& argument) const {
    auto const given = split(argument);
    std::size_t table = 0;
    std::optional<U64> from = 0;
    if (!given.empty()) {
        std::optional<U64> const number = parseNumber(given[0]);
        from = given.size() == 2 ? parseNumber(given[1]) : std::nullopt;
        if (!number || *number >= chipTables || !from || *from > 0xffffffff) {
            throw Refused("rows takes nothing, or what the answer before has as next");
        }
        table = static_cast<std::size_t>(*number);
    }
    TextStream text;
    JsonWriter json(text);
    json.beginObject().number("chip", how_.chip).number("waiting", pending_.size() + kept_.size() + failed());
    json.number("refused", sum(&RowOwner::withoutPlace));
    json.key("rows").beginArray();
    RowOwner const& owner = *owners_.at(table);
    U32 const rows = image_.rows(owner.table());
    U32 next = static_cast<U32>(std::min<U64>(*from, rows));
    U32 const end = next + std::min(rowsLookedAt, rows - next);
    while (next < end && text.tellp() < static_cast<std::streamoff>(answerBytes)) {
        U32 const held = owner.nextRow(next).value_or(end);
        U32 const used = image_.nextUsed(owner.table(), next, std::min(held, end) - next).value_or(end);
        U32 const row = std::min({held, used, end});
        if (row < end) {
            json.beginObject();
            owner.describeRow(json, row);
            json.end();
        }
        next = std::min(row, end - 1) + 1;
    }
    json.end();
    bool const isOver = next >= rows;
    if (!isOver || table + 1 < chipTables) {
        json.string("next", isOver ? std::to_string(table + 1) + " 0"
                                   : std::to_string(table) + ' ' + std::to_string(next));
    }
    json.end();
    return Kor::String8(std::move(text).str());
}

} // namespace tool
