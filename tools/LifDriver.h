#pragma once

/// The owner of a chip's LIF table: it answers what applications ask for with places, and writes the rows.
///
///     auto const driver = Kor::makePtr<tool::LifDriver>(Hardware::jerichoChip8, "chip.img");
///     driver->offerTo(*service);         // "lifStatus" to be read, "lifConfig" too; "request" takes what applications push
///     ... a loop ...; driver->settle(); // from time to time
///
/// An application pushes its LifAppConfig. An entry whose count is not 0 gets the lowest free index in the
/// application's range, a row in the image, and an answer in the LifAppStatus; one whose count falls to 0, or
/// that is deleted, loses all three. An entry that has no row on this chip, and one beyond the range, gets no
/// answer, and is reported.
///
/// Each step is written to a journal beside the image before it is done. A driver that starts again takes up
/// what is in the journal; what the applications, when they are back, do not ask for any more is released by
/// settle(). So an application that goes and comes back, or a driver that does, changes no place. One thread.

#include "attrlog/Session.h"
#include "model/LoamTunnelModel.h"
#include "tools/ChipImage.h"

#include <functional>
#include <map>
#include <string>

namespace tool {

class LifDriver final : public Kor::PtrInterface {
public:
    using Config = Hardware::LoamTunnel::LifAppConfig;
    using Lif = Hardware::LoamTunnel::AradLifEntry;
    using App = Hardware::Loam::VtAppId;
    using Report = std::function<void(std::string const&)>;

    LifDriver(Hardware::ChipType chip, std::string const& image, Report report);
    ~LifDriver() override;

    void offerTo(Kor::NboAttrLog::Service& service);
    /// Releases what applications whose requests are completely there do not ask for.
    void settle();

    /// The LIFs that have a place.
    U64 placed() const { return placed_; }
    U64 refused() const { return refused_; }

private:
    class Requests;
    struct Range;

    Kor::Ptr<Config> configFor(App app, Kor::NboAttrLog::Session& peer);
    Range& range(App app);
    void requested(App app, Lif const& lif, U32 count);
    void place(App app, Lif const& lif);
    void release(App app, Lif const& lif);
    void journal(std::string const& line);
    void takeUp(std::string const& path);
    void writeRow(Hardware::LoamTunnel::AradLifIndex const& index, Lif const* lif);

    Hardware::ChipType chip_;
    Report report_;
    Kor::Ptr<Hardware::LoamTunnel::FapTypeProperties> properties_;
    Kor::Ptr<Hardware::LoamTunnel::LifAppConfigDir> configs_;
    Kor::Ptr<Hardware::LoamTunnel::LifAppStatusDir> statuses_;
    ChipImage image_;
    std::map<App, Range> ranges_;
    std::string journalPath_;
    int journal_ = -1;
    U64 placed_ = 0;
    U64 refused_ = 0;
};

/// The rows of an entry on a chip; Refused if it has none there.
Words rowOfLif(Hardware::LoamTunnel::AradLifEntry const& lif, Hardware::ChipType chip);

} // namespace tool
