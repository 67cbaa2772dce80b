#pragma once

/// A schema that is a version newer than the library's: an application may weigh each LIF, and there are more
/// applications. Its types have names of the same length as those that they stand for, so that the bytes of a
/// connection can be turned from the one into the other (Crossing).

#include "attrlog/adapter/AttrLogTypes.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

KOR_NAME(weight, Weight, entity)

namespace Hardware::LoamTunnel {

enum NewAppId : Kor::U32 {
    newAppNone = 0,
    newAppBridging = 1,
    newAppRouting = 2,
    newAppSubinterface = 3,
    newAppVlanTranslation = 4,
    newAppDot1qTunnel = 5,
    newAppVxlan = 6,
    newAppMpls = 7,
    newAppPseudowire = 8,
    newAppEvpn = 9,
    newAppMulticast = 10,
    newAppMirroring = 11,
    newAppTapAggregation = 12,
    newAppSegmentRouting = 13,
    newAppGeneve = 14,
    newAppGre = 15,
    newAppIpInIp = 16,
};
KOR_ENUMERATION(NewAppId)
/// How many of them the older schema has.
inline constexpr Kor::U32 olderApps = 12;
inline constexpr Kor::U32 newerApps = 4;

class NewAppConfig final : public Kor::EntityOf<NewAppConfig, Kor::KeyAttribute<Kor::name::app, NewAppId>,
                                                Kor::CountedMap<Kor::name::reqCount, AradLifEntry, Kor::U32>,
                                                Kor::ValueMap<Kor::name::weight, AradLifEntry, Kor::U32>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(newAppConfigFactory, NewAppConfig, NewAppId)

class NewAppConfigDir final
    : public Kor::EntityOf<NewAppConfigDir, Kor::EntityMap<Kor::name::appConfig, NewAppConfig>> {
public:
    using EntityOver::EntityOver;
};
KOR_FACTORY(newAppConfigDirFactory, NewAppConfigDir, Kor::Name)

} // namespace Hardware::LoamTunnel

/// One direction of a connection between two schemas. Records go through it whole.
class Crossing {
public:
    /// Takes what has been sent, unless much waits; how much that is.
    std::size_t take(std::span<Kor::U8 const> bytes) {
        constexpr std::size_t much = 8192;
        std::size_t const taken = waiting_.size() < much ? bytes.size() : 0;
        waiting_.insert(waiting_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
        while (std::size_t const size = next()) {
            rename({waiting_.data() + whole_, size});
            whole_ += size;
            isPreamblePassed_ = true;
        }
        return taken;
    }
    std::span<Kor::U8 const> whole() const { return {waiting_.data(), whole_}; }
    void pass(std::size_t bytes) {
        waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(bytes));
        whole_ -= bytes;
    }
    void preambleIsPassed() { isPreamblePassed_ = true; }

private:
    /// How long the next record is; 0 if it is not all there.
    std::size_t next() const {
        constexpr std::size_t preamble = 12;
        std::size_t const left = waiting_.size() - whole_;
        if (isPreamblePassed_ && left < 2) {
            return 0;
        }
        std::size_t const size =
            isPreamblePassed_ ? std::size_t{2} + waiting_[whole_] * 256u + waiting_[whole_ + 1] : preamble;
        return size <= left ? size : 0;
    }
    static void rename(std::span<Kor::U8> record) {
        static constexpr std::string_view older = "LoamTunnel::LifAppConfig",
                                          newer = "LoamTunnel::NewAppConfig";
        for (auto const& [from, to] : {std::pair{older, newer}, std::pair{newer, older}}) {
            auto const found = std::search(record.begin(), record.end(), from.begin(), from.end());
            if (found != record.end()) {
                std::copy(to.begin(), to.end(), found);
                return;
            }
        }
    }

    std::vector<Kor::U8> waiting_;
    std::size_t whole_ = 0;
    bool isPreamblePassed_ = false;
};
