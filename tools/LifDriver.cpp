#include "tools/LifDriver.h"

#include "reflect/Text.h"
#include "tools/Failure.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

/// Each application has its own part of the indexes, so that none can take them all, and what one does moves
/// nobody else's.
constexpr U32 ranges = 16;

std::string lifText(AradLifEntry const& lif) {
    return std::string(Kor::valueToStrep(lif).view());
}

std::string line(char sign, Loam::VtAppId app, U32 index, AradLifEntry const& lif) {
    return std::string(1, sign) + ' ' + std::to_string(app) + ' ' + std::to_string(index) + ' ' +
           lifText(lif) + '\n';
}

} // namespace

Words rowOfLif(AradLifEntry const& lif, ChipType chip) {
    U64 outLif = 0;
    switch (lif.lifType()) {
    case lifAcP2pToAc:
        outLif = AradLifAcP2pToAc(lif).outLif();
        break;
    case lifAcMp:
    case lifAcP2pToPwe:
    case lifLabelPweP2p:
    case lifLabelProtocolOrLsp:
        break;
    default:
        throw Refused("an entry of that type has no row");
    }
    if (outLif > 0xffff && chip >= jerichoChip5) {
        throw Refused("its outLif " + std::to_string(outLif) + " does not fit the row of chip " +
                      std::to_string(chip));
    }
    Words words(rowForm("LifTable", chip, lif.variant()).table->words);
    lif.writeToChipFormat(chip, reinterpret_cast<U8*>(words.data()));
    return words;
}

/// What one application asks for.
class LifDriver::Requests final : public LifAppConfig::Notifiee {
public:
    explicit Requests(LifDriver& driver) : driver_(driver) { isRegisteredNotifieeIs(true); }

    void onReqCount(AradLifEntry const& lif) override {
        driver_.requested(notifier()->app(), lif, notifier()->reqCount(lif));
    }

private:
    LifDriver& driver_;
};

struct LifDriver::Range {
    std::set<U32> used{};
    Kor::Ptr<Requests> requests{};
    /// Of the peer that has pushed the requests last.
    Kor::Ptr<Kor::NboAttrLog::Out> stream{};
    /// Taken up from the journal, and not yet compared with what the application asks for.
    bool isStale = false;
};

LifDriver::LifDriver(ChipType chip, std::string const& image, Report report)
    : chip_(chip), report_(std::move(report)), properties_(fapTypePropertiesFactory()),
      configs_(lifAppConfigDirFactory("lifConfig")), statuses_(lifAppStatusDirFactory("lifStatus")),
      image_(image, chip, ChipImage::create), journalPath_(image + ".journal") {
    takeUp(journalPath_);
}

LifDriver::~LifDriver() {
    for (auto& [app, range] : ranges_) {
        if (range.requests) {
            range.requests->notifierIs(nullptr);
        }
    }
    if (journal_ >= 0) {
        ::close(journal_);
    }
}

void LifDriver::offerTo(Kor::NboAttrLog::Service& service) {
    using Kor::NboAttrLog::Access;
    service.offer("lifConfig", configs_, Access::readOnly);
    service.offer("lifStatus", statuses_, Access::readOnly);
    service.acceptIs("request", [this](Kor::NboAttrLog::Session& peer, Kor::Name const&,
                                       Kor::Ptr<Kor::Entity> const& made) {
        auto const config = Kor::ptrCast<LifAppConfig>(made);
        return config ? Kor::Ptr<Kor::Entity>(configFor(config->app(), peer)) : Kor::Ptr<Kor::Entity>();
    });
}

Kor::Ptr<LifDriver::Config> LifDriver::configFor(App app, Kor::NboAttrLog::Session& peer) {
    Kor::Ptr<Config> config = configs_->appConfigIs(app);
    Range& of = range(app);
    of.stream = peer.out();
    if (!of.requests) {
        of.requests = Kor::makePtr<Requests>(*this);
        of.requests->notifierIs(config);
    }
    return config;
}

LifDriver::Range& LifDriver::range(App app) {
    return ranges_[app];
}

void LifDriver::settle() {
    for (auto& [app, range] : ranges_) {
        auto const config = std::as_const(*configs_).appConfig(app);
        auto const adapter =
            config ? Kor::ptrCast<Kor::StreamAdapter const>(config->korNboAttrLogSa(range.stream)) : nullptr;
        if (!range.isStale || !adapter || adapter->syncMode() != Kor::StreamAdapter::SyncMode::synchronized) {
            continue;
        }
        range.isStale = false;
        auto const status = statuses_->appStatusIs(app);
        std::vector<Lif> gone;
        for (auto const& member : status->lifEntryMap()) {
            if (config->reqCount(member.fwkKey()) == 0) {
                gone.push_back(member.fwkKey());
            }
        }
        for (Lif const& lif : gone) {
            release(app, lif);
        }
    }
}

void LifDriver::requested(App app, Lif const& lif, U32 count) {
    bool const has = !!statuses_->appStatusIs(app)->lifEntry(lif);
    try {
        if (count != 0 && !has) {
            place(app, lif);
        } else if (count == 0 && has) {
            release(app, lif);
        }
    } catch (Failure const& failure) {
        ++refused_;
        report_("application " + std::to_string(app) + ", " + lifText(lif) + ": " + failure.what());
    }
}

void LifDriver::place(App app, Lif const& lif) {
    Words const words = rowOfLif(lif, chip_);
    U32 const share = managedLifs(chip_, *properties_) / ranges;
    if (app >= ranges) {
        throw Refused("there is no range of indexes for it");
    }
    std::set<U32>& used = range(app).used;
    U32 index = app * share;
    for (auto at = used.begin(); at != used.end() && *at == index; ++at) {
        ++index;
    }
    if (index == (app + 1) * share) {
        throw Refused("its " + std::to_string(share) + " indexes are all in use");
    }
    journal(line('+', app, index, lif));
    used.insert(index);
    ++placed_;
    AradLifIndex const at(index, lifBankManaged);
    image_.write(placeOf(chip_, *properties_, at), words);
    statuses_->appStatusIs(app)->lifEntryIs(lif, at);
}

void LifDriver::release(App app, Lif const& lif) {
    auto const status = statuses_->appStatusIs(app);
    AradLifIndex const at = status->lifEntry(lif);
    journal(line('-', app, at.index(), lif));
    image_.write(placeOf(chip_, *properties_, at), Words(rowForm("LifTable", chip_, 0).table->words));
    range(app).used.erase(at.index());
    --placed_;
    status->lifEntryDel(lif);
}

void LifDriver::journal(std::string const& line) {
    if (::write(journal_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw Refused("cannot write to " + shown(journalPath_) + ": " +
                      std::generic_category().message(errno));
    }
}

/// The journal is a line a step; the last one may be unfinished, and was then not done. It is written anew
/// with what holds now.
void LifDriver::takeUp(std::string const& path) {
    std::map<std::pair<U32, U32>, std::string> places;
    std::ifstream old(path);
    std::string text;
    for (U64 number = 1; std::getline(old, text) && !old.eof(); ++number) {
        int end = 0;
        char sign = 0;
        unsigned app = 0;
        unsigned index = 0;
        if (std::sscanf(text.c_str(), "%c %u %u %n", &sign, &app, &index, &end) != 3 ||
            (sign != '+' && sign != '-') || app >= ranges) {
            throw Refused(shown(path) + ':' + std::to_string(number) +
                          " is no line of a journal; without the file the chip begins empty");
        }
        if (sign == '+') {
            places[{app, index}] = text.substr(static_cast<std::size_t>(end));
        } else {
            places.erase({app, index});
        }
    }
    std::string const fresh = path + ".new";
    std::string all;
    for (auto const& [at, lifAsText] : places) {
        auto const app = static_cast<App>(at.first);
        Lif lif;
        try {
            lif = Kor::strepToValue<Lif>(Kor::String8(lifAsText));
        } catch (Kor::Exception const& exception) {
            throw Refused(shown(path) + " has an entry that is none: " + exception.what());
        }
        AradLifIndex const index(at.second, lifBankManaged);
        all += line('+', app, at.second, lif);
        image_.write(placeOf(chip_, *properties_, index), rowOfLif(lif, chip_));
        range(app).used.insert(at.second);
        range(app).isStale = true;
        ++placed_;
        statuses_->appStatusIs(app)->lifEntryIs(lif, index);
    }
    journal_ = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
    if (journal_ < 0) {
        throw Refused("cannot write " + shown(fresh) + ": " + std::generic_category().message(errno));
    }
    journal(all);
    if (std::rename(fresh.c_str(), path.c_str()) != 0) {
        throw Refused("cannot write " + shown(path) + ": " + std::generic_category().message(errno));
    }
}

} // namespace tool
