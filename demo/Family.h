#pragma once

/// The families of rows that a driver owns, each a declaration: what applications push and what they are
/// told, where an index lies in the chip, and what the row of it is.
///
///     tool::OutAcs const family(Hardware::jerichoChip8, 0);
///     tool::RowAt const at = family.at(8193);            // row 4096 of the bank's table, second half
///     Words const row = family.row({&first, &second});   // either may be null
///
/// A family that hands out indexes gives each application a part of them. The slots of the VLAN edits are the
/// applications' own choice, and each belongs to who asked first. The rules of the places:
///
///     lif     owner/LifPlace.h
///     outAc   index i is half i % 2 of row i / 2 over all banks, from the family's first out-AC index on
///             (values/EedbValue.h). A table too small for that row begins with it: so on chip 7.
///     evec    slot i is entry i % 2 of row i / 2
///
/// All are immutable. What has no row on the chip is Refused by must(), before anything else is done with it.

#include "demo/ChipImage.h"
#include "demo/PlaceStore.h"
#include "forms/Entries.h"
#include "forms/Text.h"
#include "model/LoamTunnelModel.h"
#include "owner/LifPlace.h"

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace tool {

using App = Hardware::Loam::VtAppId;

/// The application of that name; a Fault that suggests one if there is none.
template <class Fault>
App appNamed(std::string const& name) {
    std::vector<std::string> known;
    for (Kor::Enumerator const& each : Kor::enumerators<App>) {
        if (each.name == name) {
            return static_cast<App>(each.number);
        }
        known.emplace_back(each.name);
    }
    throw Fault("no application " + Kor::Forms::shown(name) + Kor::Forms::suggest(name, known));
}

struct RowAt {
    /// Of its table in the image.
    U32 row;
    U32 half;
};

/// What is asked for by counts, and answered for each application with an index.
template <class Config_, class ConfigDir_, class Status_, class Item_>
struct CountedFamily {
    using Config = Config_;
    using ConfigDir = ConfigDir_;
    using Status = Status_;
    using Item = Item_;
    using Key = Item_;
    static constexpr bool handsOut = true;

    class Hears : public Config::Notifiee {
    public:
        explicit Hears(std::function<void(Key const&)> heard) : heard_(std::move(heard)) {}
        void onReqCount(Key const& key) override { heard_(key); }

    private:
        std::function<void(Key const&)> heard_;
    };

    static Key const& keyOf(Item const& item) { return item; }
    static U32 count(Config const& config, Key const& key) { return config.reqCount(key); }
    static std::optional<Item> asked(Config const& config, Key const& key) {
        return config.reqCount(key) != 0 ? std::optional<Item>(key) : std::nullopt;
    }
    static void ask(Config& config, Item const& item, U32 count) { config.reqCountIs(item, count); }
    static void more(Config& config, Item const& item) { config.reqCountInc(item, 1); }
    /// True if nothing is left of what was asked for.
    static bool less(Config& config, Item const& item) {
        config.reqCountIs(item, config.reqCount(item) - 1);
        return config.reqCount(item) == 0;
    }
    static U64 asks(Config const& config) { return config.reqCountMap().count(); }
    static void forget(Config& config, Key const& key) { config.reqCountDel(key); }
    static void greet(Status& status, App app) { static_cast<void>(status.appStatusIs(app)); }
};

struct Lifs : CountedFamily<Hardware::LoamTunnel::LifAppConfig, Hardware::LoamTunnel::LifAppConfigDir,
                            Hardware::LoamTunnel::LifAppStatusDir, Hardware::LoamTunnel::AradLifEntry> {
    static constexpr char const* name = "lif";
    static constexpr char const* plural = "LIFs";
    static constexpr char const* configRoot = "lifConfig";
    /// Where requests are pushed; the second by applications of protocol 2.
    static constexpr std::array pushRoots{configRoot, "request"};
    static constexpr char const* statusRoot = "lifStatus";
    static constexpr ChipTable table = lifTable;

    Lifs(Hardware::ChipType chip, U32 fap) : chip_(chip), places_(chip) { static_cast<void>(fap); }
    static Kor::Ptr<Config> config(App app) { return Hardware::LoamTunnel::lifAppConfigFactory(app); }
    static Kor::Ptr<ConfigDir> configs() { return Hardware::LoamTunnel::lifAppConfigDirFactory(configRoot); }
    static Kor::Ptr<Status> statuses() { return Hardware::LoamTunnel::lifAppStatusDirFactory(statusRoot); }

    U32 first() const { return 0; }
    U32 capacity() const { return places_.capacity(); }
    void must(Item const& item) const;
    RowAt at(U32 index) const;
    RowForm form(Item const& item) const { return rowForm("LifTable", chip_, item.variant()); }
    Words row(std::array<Item const*, 2> const& halves) const;
    static void answer(Status& status, App app, Item const& item, U32 index);
    static void takeBack(Status& status, App app, Item const& item);
    /// The index that the application has been told for it.
    static std::optional<U32> index(Status const& status, App app, Item const& item);

private:
    Hardware::ChipType chip_;
    Hardware::LoamTunnel::LifPlaces places_;
};

/// What two families of halves share: a row of their table has two.
class Halves {
protected:
    Halves(Hardware::ChipType chip, ChipTable table, U32 fap);

    /// The same for any of them.
    template <class Item>
    RowForm form(Item const&) const {
        return form_;
    }

    void mustBeHere(Sideband::Fapmask const& chips) const;
    Words empty() const { return Words(form_.table->words); }

    Hardware::ChipType chip_;
    RowForm form_;
    U32 fap_;
    U32 rows_;
};

struct OutAcs : CountedFamily<Hardware::LoamTunnel::OutAcAppConfig, Hardware::LoamTunnel::OutAcAppConfigDir,
                              Hardware::LoamTunnel::OutAcAppStatusDir, Hardware::LoamTunnel::OutAcKey>,
                private Halves {
    static constexpr char const* name = "outAc";
    static constexpr char const* plural = "out-ACs";
    static constexpr char const* configRoot = "outAcConfig";
    static constexpr std::array pushRoots{configRoot};
    static constexpr char const* statusRoot = "outAcStatus";
    static constexpr ChipTable table = outAcTable;

    OutAcs(Hardware::ChipType chip, U32 fap);
    static Kor::Ptr<Config> config(App app) { return Hardware::LoamTunnel::outAcAppConfigFactory(app); }
    static Kor::Ptr<ConfigDir> configs() {
        return Hardware::LoamTunnel::outAcAppConfigDirFactory(configRoot);
    }
    static Kor::Ptr<Status> statuses() { return Hardware::LoamTunnel::outAcAppStatusDirFactory(statusRoot); }

    U32 first() const { return first_; }
    U32 capacity() const { return capacity_; }
    void must(Item const& item) const;
    RowAt at(U32 index) const { return {index / 2 - skipped_, index % 2}; }
    using Halves::form;
    Words row(std::array<Item const*, 2> const& halves) const;
    static void answer(Status& status, App app, Item const& item, U32 index);
    static void takeBack(Status& status, App app, Item const& item);
    /// The index that the application has been told for it.
    static std::optional<U32> index(Status const& status, App app, Item const& item);

private:
    U32 first_;
    /// How many rows before the first out-AC the table does not have.
    U32 skipped_;
    U32 capacity_;
};

struct Evecs : private Halves {
    using Config = Hardware::LoamTunnel::EvecAppConfig;
    using ConfigDir = Hardware::LoamTunnel::EvecAppConfigDir;
    using Status = Hardware::LoamTunnel::EvecStatus;
    using Item = Hardware::LoamTunnel::EvecEntry;
    using Key = Hardware::LoamTunnel::EvecKey;
    static constexpr bool handsOut = false;
    static constexpr char const* name = "evec";
    static constexpr char const* plural = "VLAN edits";
    static constexpr char const* configRoot = "evecConfig";
    static constexpr std::array pushRoots{configRoot};
    static constexpr char const* statusRoot = "evecStatus";
    static constexpr ChipTable table = evecTable;

    class Hears : public Config::Notifiee {
    public:
        explicit Hears(std::function<void(Key const&)> heard) : heard_(std::move(heard)) {}
        void onEntry(Key const& key) override { heard_(key); }

    private:
        std::function<void(Key const&)> heard_;
    };

    Evecs(Hardware::ChipType chip, U32 fap) : Halves(chip, table, fap) {}
    static Kor::Ptr<Config> config(App app) { return Hardware::LoamTunnel::evecAppConfigFactory(app); }
    static Kor::Ptr<ConfigDir> configs() { return Hardware::LoamTunnel::evecAppConfigDirFactory(configRoot); }
    static Kor::Ptr<Status> statuses() { return Hardware::LoamTunnel::evecStatusFactory(statusRoot); }

    U32 first() const { return 0; }
    U32 capacity() const { return 2 * rows_; }
    static Key keyOf(Item const& item) { return item.key(); }
    static U32 slot(Key const& key) { return key.index().value(); }
    static U32 count(Config const& config, Key const& key) { return asked(config, key) ? 1 : 0; }
    static std::optional<Item> asked(Config const& config, Key const& key) {
        Item const entry = config.entry(key);
        return !entry ? std::nullopt : std::optional<Item>(entry);
    }
    static void ask(Config& config, Item const& item, U32 count) {
        static_cast<void>(count);
        config.entryIs(item);
    }
    static void more(Config& config, Item const& item) { config.entryIs(item); }
    static bool less(Config& config, Item const& item) {
        config.entryDel(item.key());
        return true;
    }
    static U64 asks(Config const& config) { return config.entryMap().count(); }
    static void forget(Config& config, Key const& key) { config.entryDel(key); }
    static void greet(Status& status, App app) {
        static_cast<void>(status);
        static_cast<void>(app);
    }
    void must(Item const& item) const;
    RowAt at(U32 index) const { return {index / 2, index % 2}; }
    using Halves::form;
    Words row(std::array<Item const*, 2> const& halves) const;
    static void answer(Status& status, App app, Item const& item, U32 index);
    static void takeBack(Status& status, App app, Item const& item);
    /// The index that the application has been told for it.
    static std::optional<U32> index(Status const& status, App app, Item const& item);
};

template <class Item>
struct FamilyOfItem;
template <>
struct FamilyOfItem<Lifs::Item> {
    using type = Lifs;
};
template <>
struct FamilyOfItem<OutAcs::Item> {
    using type = OutAcs;
};
template <>
struct FamilyOfItem<Evecs::Item> {
    using type = Evecs;
};
/// Whose an alternative of Placed is.
template <class Item>
using FamilyOf = typename FamilyOfItem<std::remove_cvref_t<Item>>::type;

/// Calls `visit` with what is in there, of a Placed that is not empty.
template <class Visit>
void visitPlaced(Placed const& placed, Visit const& visit) {
    std::visit(
        [&](auto const& item) {
            if constexpr (!std::is_same_v<decltype(item), std::monostate const&>) {
                visit(item);
            }
        },
        placed);
}

/// What an entry of a file asks for on one of the switch's chips: a LIF is one request. Of a pair each half
/// is one, the second behind the first; VLAN edits take the slots from `slots` on, which goes on with them.
std::vector<Placed> requestsOf(Entry const& entry, U32 fap, U32& slots);

/// The row of a LIF on a chip; Refused if it has none there.
Words rowOfLif(Hardware::LoamTunnel::AradLifEntry const& lif, Hardware::ChipType chip);

} // namespace tool
