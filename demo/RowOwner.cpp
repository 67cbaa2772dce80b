#include "demo/RowOwner.h"

#include "console/Failure.h"
#include "forms/Values.h"
#include "owner/IndexAllocator.h"
#include "reflect/Text.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;

namespace {

/// Each application has its own part of the indexes, so that none can take them all, and what one does moves
/// nobody else's.
constexpr U32 ranges = 16;

void writeTime(JsonWriter& json, std::string_view key, std::chrono::system_clock::time_point time) {
    auto const micros =
        std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%lld.%06lld", static_cast<long long>(micros / 1'000'000),
                  static_cast<long long>(micros % 1'000'000));
    json.key(key).raw(text.data());
}

template <class Value>
std::string shortOf(Value const& value) {
    return shortText(*Kor::boxOf(value));
}

template <class Key>
std::string requestText(App app, Key const& key) {
    return appText(app) + ", " + shortOf(key);
}

template <class Family>
class Owner final : public RowOwner {
public:
    using Config = typename Family::Config;
    using Key = typename Family::Key;
    using Item = typename Family::Item;

    Owner(ChipType chip, U32 fap, Ground& ground)
        : chip_(chip), family_(chip, fap), ground_(ground), configs_(Family::configs()),
          statuses_(Family::statuses()), share_(family_.capacity() / ranges / 2 * 2) {
        for (U32 i = 0; i < ranges; ++i) {
            apps_.emplace(static_cast<App>(i),
                          Application{Family::handsOut ? IndexAllocator(family_.first() + i * share_, share_)
                                                       : IndexAllocator(0, family_.capacity())});
        }
    }
    ~Owner() override {
        for (auto& [app, of] : apps_) {
            if (of.hears) {
                of.hears->notifierIs(nullptr);
            }
        }
    }
    Owner(Owner const&) = delete;
    Owner& operator=(Owner const&) = delete;

    char const* name() const override { return Family::name; }
    bool isPathOf(std::string const& text) const override {
        return text.starts_with(std::string(Family::configRoot) + '.') ||
               text.starts_with(std::string(Family::statusRoot) + '.');
    }
    Kor::KorType const& keyType() const override { return *Kor::boxOf(Key())->type(); }
    ChipTable table() const override { return Family::table; }

    void takeUp(PlaceStep const& kept) override {
        Item const& item = std::get<Item>(kept.after);
        auto const refuse = [&](std::string const& why) {
            throw Refused("the database has a place that cannot be: index " + std::to_string(kept.index) +
                          " of application " + std::to_string(kept.app) + ": " + why);
        };
        auto const found = apps_.find(kept.app);
        if (found == apps_.end()) {
            refuse("applications go up to " + std::to_string(ranges - 1));
        }
        Application& of = found->second;
        U32 const first = of.indexes.first();
        U32 const last = first + of.indexes.capacity() - 1;
        if (kept.index < first || kept.index > last) {
            refuse("its indexes are " + std::to_string(first) + " to " + std::to_string(last));
        }
        if constexpr (!Family::handsOut) {
            if (Family::slot(item.key()) != kept.index) {
                refuse("its entry is for slot " + std::to_string(Family::slot(item.key())));
            }
        }
        Key const key = Family::keyOf(item);
        if (!of.places.emplace(key, kept.index).second) {
            refuse("its entry has index " + std::to_string(of.places.at(key)) + " already");
        }
        try {
            family_.must(item);
        } catch (Refused const& failure) {
            refuse(failure.what());
        }
        of.indexes.take(kept.index);
        held_.emplace(kept.index, Held{kept.app, item});
        of.isStale = true;
    }

    void offerTo(Service& service) override {
        service.offer(Family::configRoot, configs_, Access::readOnly);
        service.offer(Family::statusRoot, statuses_, Access::readOnly);
        for (char const* const root : Family::pushRoots) {
            service.acceptIs(
                root,
                [this](Session&, Kor::Name const&, Kor::Ptr<Kor::Entity> const& made) {
                    auto const config = Kor::ptrCast<Config>(made);
                    return config ? Kor::Ptr<Kor::Entity>(configFor(config->app())) : Kor::Ptr<Kor::Entity>();
                },
                [this](Session& peer, Kor::Name const&, Kor::Ptr<Kor::Entity> const& pushed, RootState state,
                       Kor::String8 const&) {
                    App const app = Kor::ptrCast<Config>(pushed)->app();
                    Application& of = apps_.at(app);
                    of.isComplete = state == RootState::synchronized;
                    of.peer = state == RootState::absent ? nullptr : &peer;
                    if (state == RootState::absent) {
                        forget(app);
                    }
                });
        }
    }

    void show(PlaceStep const& step, Told told) override {
        RowAt const at = family_.at(step.index);
        auto const found = shown_.find(at.row);
        std::array<Item const*, 2> halves =
            found == shown_.end() ? std::array<Item const*, 2>{} : itemsOf(found->second);
        Item const* const after = std::get_if<Item>(&step.after);
        Item const* const before = std::get_if<Item>(&step.before);
        halves.at(at.half) = after;
        ground_.image().write(Family::table, at.row, family_.row(halves));
        if (before != nullptr && (after == nullptr || Family::keyOf(*after) != Family::keyOf(*before))) {
            Family::takeBack(*statuses_, step.app, *before);
        }
        placed_ += after != nullptr ? 1u : 0u;
        placed_ -= before != nullptr ? 1u : 0u;
        Row& row = shown_[at.row];
        row.at(at.half).reset();
        if (after != nullptr) {
            row.at(at.half) = Shown{step.app, step.index, *after, told, std::chrono::system_clock::now()};
            Family::answer(*statuses_, step.app, *after, step.index);
        } else if (!row[0] && !row[1]) {
            shown_.erase(at.row);
        }
    }

    void undo(PlaceStep const& step) override {
        Application& of = apps_.at(step.app);
        Item const* const before = std::get_if<Item>(&step.before);
        Item const& any = before != nullptr ? *before : std::get<Item>(step.after);
        Key const key = Family::keyOf(any);
        if (before == nullptr) {
            of.places.erase(key);
            of.indexes.release(step.index);
            held_.erase(step.index);
        } else {
            of.places.insert_or_assign(key, step.index);
            of.indexes.take(step.index);
            held_.insert_or_assign(step.index, Held{step.app, *before});
        }
        failed_[step.app].insert(key);
    }

    std::size_t failed() const override {
        std::size_t all = 0;
        for (auto const& [app, keys] : failed_) {
            all += keys.size();
        }
        return all;
    }

    void retry() override {
        for (auto const& [app, keys] : std::exchange(failed_, {})) {
            for (Key const& key : keys) {
                requested(app, key);
            }
        }
    }

    void settle() override {
        for (auto& [app, of] : apps_) {
            auto const config = configOf(app);
            if (!of.isStale || !of.isComplete || !config) {
                continue;
            }
            of.isStale = false;
            std::vector<Key> all;
            for (auto const& [key, index] : of.places) {
                if (Family::count(*config, key) == 0) {
                    all.push_back(key);
                }
            }
            for (Key const& key : all) {
                release(app, key);
            }
        }
    }

    void countRefused(Session const& peer, std::size_t& count, std::string& why) const override {
        for (auto const& [app, of] : apps_) {
            if (of.peer == &peer && !of.refused.empty()) {
                count += of.refused.size();
                auto const& [key, reason] = *of.refused.begin();
                why = requestText(app, key) + ": " + reason;
            }
        }
    }

    U64 placed() const override { return placed_; }
    U64 refused() const override { return refused_; }
    U64 withoutPlace() const override {
        U64 count = 0;
        for (auto const& [app, of] : apps_) {
            count += of.refused.size();
        }
        return count;
    }

    void explain(JsonWriter& json, std::string const& text, std::optional<App> only) const override {
        Key const key = Kor::strepToValue<Key>(Kor::String8(text));
        json.string("key", shortOf(key));
        std::size_t count = 0;
        json.key("applications").beginArray();
        for (auto const& [app, of] : apps_) {
            auto const config = configOf(app);
            U32 const asks = config ? Family::count(*config, key) : 0;
            if ((only && *only != app) || (asks == 0 && !of.places.contains(key))) {
                continue;
            }
            json.beginObject();
            explainOf(json, app, of, key, asks);
            json.end();
            ++count;
        }
        json.end();
        if (count == 0) {
            json.string("missing",
                        only ? appText(*only) + " does not ask for it" : "no application asks for it");
        }
    }

    std::optional<U32> nextRow(U32 from) const override {
        auto const found = shown_.lower_bound(from);
        return found == shown_.end() ? std::nullopt : std::optional<U32>(found->first);
    }

    void describeRow(JsonWriter& json, U32 row) const override {
        auto const found = shown_.find(row);
        Row const nobody{};
        Row const& here = found == shown_.end() ? nobody : found->second;
        RowForm form = chipTableForm(Family::table, chip_);
        json.key("who").beginArray();
        for (auto const& half : here) {
            if (half) {
                form = family_.form(half->item);
                json.beginObject().string("app", appText(half->app)).number("index", half->index);
                json.string("entry", shortOf(half->item)).end();
            }
        }
        json.end();
        writeRowPlace(json, form, row);
        json.string("wanted", wordsText(family_.row(itemsOf(here))));
        json.string("actual", wordsText(ground_.image().read(Family::table, row)));
    }

private:
    struct Application {
        IndexAllocator indexes;
        std::map<Key, U32> places{};
        Kor::Ptr<typename Family::Hears> hears{};
        /// Who pushes the requests.
        Session* peer = nullptr;
        /// All of them are there.
        bool isComplete = false;
        /// What is asked for and can have no place, and why.
        std::map<Key, std::string> refused{};
        /// Taken up from the database, and not yet compared with what the application asks for.
        bool isStale = false;
    };
    struct Held {
        App app;
        Item item;
    };
    struct Shown {
        App app;
        U32 index;
        Item item;
        Told told;
        std::chrono::system_clock::time_point at;
    };
    using Row = std::array<std::optional<Shown>, 2>;

    static std::array<Item const*, 2> itemsOf(Row const& row) {
        return {row[0] ? &row[0]->item : nullptr, row[1] ? &row[1]->item : nullptr};
    }

    Kor::Ptr<Config const> configOf(App app) const { return std::as_const(*configs_).appConfig(app); }

    Kor::Ptr<Config> configFor(App app) {
        auto const found = apps_.find(app);
        if (found == apps_.end()) {
            Kor::throwRangeException("there are indexes for applications 0 to 15 alone");
        }
        Family::greet(*statuses_, app); // an application's own would go with a pass that has none
        Kor::Ptr<Config> config = configs_->appConfigIs(app);
        Application& of = found->second;
        if (!of.hears) {
            of.hears = Kor::observe<typename Family::Hears>(
                config, [this, app](Key const& key) { requested(app, key); });
        }
        return config;
    }

    void requested(App app, Key const& key) {
        Application& of = apps_.at(app);
        auto const config = configOf(app);
        std::optional<Item> const item = config ? Family::asked(*config, key) : std::nullopt;
        try {
            if (item) {
                place(app, key, *item);
            } else if (of.places.contains(key)) {
                release(app, key);
            }
            of.refused.erase(key);
        } catch (Refused const& failure) {
            refuse(app, key, failure.what());
        }
    }

    void refuse(App app, Key const& key, std::string const& why) {
        ++refused_;
        ground_.report(requestText(app, key) + ": " + why);
        Application& of = apps_.at(app);
        of.refused[key] = why;
        if (of.refused.size() > mostRefused && of.peer != nullptr) {
            of.peer->close(
                Kor::format("more than %zu requests can have no place", mostRefused)); // see forget()
        }
    }

    /// Its peer is gone: what it has asked for in vain is kept no longer.
    void forget(App app) {
        for (auto const& [key, why] : std::exchange(apps_.at(app).refused, {})) {
            Family::forget(*configs_->appConfigIs(app), key);
        }
    }

    void place(App app, Key const& key, Item const& item) {
        Application& of = apps_.at(app);
        auto const at = of.places.find(key);
        if (at != of.places.end() && held_.at(at->second).item == item) {
            return;
        }
        family_.must(item); // before anything is done
        PlaceStep step{app, 0, {}, item};
        if (at != of.places.end()) {
            step.index = at->second;
            step.before = held_.at(step.index).item;
        } else {
            step.index = take(of, key);
            of.places.emplace(key, step.index);
        }
        held_.insert_or_assign(step.index, Held{app, item});
        ground_.add(step);
    }

    U32 take(Application& of, Key const& key) {
        if constexpr (Family::handsOut) {
            std::optional<U32> const index = of.indexes.take();
            if (!index) {
                throw Refused("its " + std::to_string(share_) + " indexes are all in use");
            }
            return *index;
        } else {
            U32 const slot = Family::slot(key);
            if (auto const holder = held_.find(slot); holder != held_.end()) {
                throw Refused("slot " + std::to_string(slot) + " belongs to " + appText(holder->second.app));
            }
            of.indexes.take(slot);
            return slot;
        }
    }

    void release(App app, Key const& key) {
        Application& of = apps_.at(app);
        auto const at = of.places.find(key);
        U32 const index = at->second;
        ground_.add({app, index, held_.at(index).item, {}});
        held_.erase(index);
        of.indexes.release(index);
        of.places.erase(at);
        if constexpr (!Family::handsOut) {
            offerSlot(index);
        }
    }

    /// Whoever else has asked for a slot gets it once it is free.
    void offerSlot(U32 slot) {
        std::vector<std::pair<App, Key>> waiting;
        for (auto const& [app, of] : apps_) {
            for (auto const& [key, why] : of.refused) {
                if (Family::slot(key) == slot) {
                    waiting.emplace_back(app, key);
                }
            }
        }
        for (auto const& [app, key] : waiting) {
            requested(app, key);
        }
    }

    void writeRowPlace(JsonWriter& json, RowForm const& form, U32 row) const {
        U32 const entries = ground_.image().entries(Family::table);
        json.string("table", form.table->name).number("variant", form.variant);
        json.number("array", row / entries).number("entry", row % entries);
        json.string("address", hex(addressOf(form, row % entries, row / entries, 0).address, 0));
    }

    void explainOf(JsonWriter& json, App app, Application const& of, Key const& key, U32 asks) const {
        json.string("app", appText(app)).number("count", asks);
        json.key("connection");
        if (of.peer != nullptr) {
            json.beginObject().string("peer", of.peer->peerName().view());
            json.boolean("pass", !of.isComplete);
            json.number("marks", of.peer->stats().dirtyKeys);
            json.number("fences", ground_.fences(*of.peer)).end();
        } else {
            json.null();
        }
        std::string missing;
        auto const refused = of.refused.find(key);
        auto const at = of.places.find(key);
        if (at != of.places.end()) {
            json.number("index", at->second);
            missing = explainRow(json, at->second);
            if (missing.empty() && asks == 0) {
                missing = of.isStale
                              ? "it is from before the driver's start, and the application has not been back"
                              : "the application does not ask for it any more";
            }
        } else {
            missing = ground_.failure().empty() ? "it is not placed yet" : "it waits: " + ground_.failure();
        }
        if (refused != of.refused.end()) {
            missing = "refused: " + refused->second;
        }
        if (!missing.empty()) {
            json.string("missing", missing);
        }
    }

    /// What of it is missing.
    std::string explainRow(JsonWriter& json, U32 index) const {
        RowAt const at = family_.at(index);
        auto const found = shown_.find(at.row);
        if (found == shown_.end() || !found->second.at(at.half) ||
            !(found->second.at(at.half)->item == held_.at(index).item)) {
            return "its row is not written yet" + (ground_.failure().empty() ? "" : ": " + ground_.failure());
        }
        Shown const& shown = *found->second.at(at.half);
        writeTime(json, shown.told == Told::now ? "answered" : "answeredBefore", shown.at);
        json.key("row").beginObject();
        describeRow(json, at.row);
        json.number("half", at.half).end();
        return ground_.image().read(Family::table, at.row) == family_.row(itemsOf(found->second))
                   ? ""
                   : "the chip holds another row";
    }

    ChipType chip_;
    Family family_;
    Ground& ground_;
    Kor::Ptr<typename Family::ConfigDir> configs_;
    Kor::Ptr<typename Family::Status> statuses_;
    /// How many indexes each application has.
    U32 share_;
    std::map<App, Application> apps_;
    /// What has a place, whether kept yet or not.
    std::map<U32, Held> held_;
    /// What is in the image, by row.
    std::map<U32, Row> shown_;
    /// What could not be kept.
    std::map<App, std::set<Key>> failed_;
    U64 placed_ = 0;
    U64 refused_ = 0;
};

} // namespace

template <class Family>
std::unique_ptr<RowOwner> ownerOf(ChipType chip, U32 fap, RowOwner::Ground& ground) {
    return std::make_unique<Owner<Family>>(chip, fap, ground);
}
template std::unique_ptr<RowOwner> ownerOf<Lifs>(ChipType, U32, RowOwner::Ground&);
template std::unique_ptr<RowOwner> ownerOf<OutAcs>(ChipType, U32, RowOwner::Ground&);
template std::unique_ptr<RowOwner> ownerOf<Evecs>(ChipType, U32, RowOwner::Ground&);

std::string appText(App app) {
    return Kor::enumeratorText(app, "VtAppId");
}

} // namespace tool
