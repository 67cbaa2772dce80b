/// Single row fields and the LIF encoder, each beside the same fields shifted and masked by hand.

#include "Beside.h"
#include "HandWrittenPairs.h"
#include "tables/LifTable.h"
#include "values/LoamTunnelTypes.h"

#include <array>
#include <random>
#include <string>

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

using Buffer = std::array<Kor::U8, 16>;

/// The compiler must not see chip and variant: in a driver they come from the switch.
template <class T>
T opaque(T value) {
    benchmark::DoNotOptimize(value);
    return value;
}

/// Runs `measure(state, target)` on a buffer that the compiler does not see through: on a row of chip 8, and
/// by hand.
template <class Library, class ByHand>
void field(std::string const& what, U8 variant, Library library, ByHand byHand) {
    Beside::add(what, "library", [=](benchmark::State& state) {
        Buffer buffer{};
        LifTable row(opaque(jerichoChip8), opaque(buffer.data()), 16, false, opaque(variant));
        U32 next = 0;
        for (auto _ : state) {
            library(row, ++next);
            benchmark::ClobberMemory();
        }
    });
    Beside::add(what, "by hand", [=](benchmark::State& state) {
        Buffer buffer{};
        U8* const data = opaque(buffer.data());
        U32 next = 0;
        for (auto _ : state) {
            U64 row[2];
            std::memcpy(row, data, sizeof row);
            if (byHand(row, ++next)) {
                std::memcpy(data, row, sizeof row);
            }
            benchmark::ClobberMemory();
        }
    });
}

/// `byHand` tells whether it has written the row.
void fields() {
    field(
        "get vsi, variant 1", 1, [](LifTable& row, U32) { benchmark::DoNotOptimize(row.vsi()); },
        [](U64* row, U32) {
            benchmark::DoNotOptimize(row[0] & 0xffff);
            return false;
        });
    field(
        "set vsi, variant 1", 1, [](LifTable& row, U32 next) { row.vsiIs(static_cast<U16>(next)); },
        [](U64* row, U32 next) {
            HandWritten::put(row, 0, 16, next);
            return true;
        });
    field(
        "get destination, variant 3", 3,
        [](LifTable& row, U32) { benchmark::DoNotOptimize(row.destination()); },
        [](U64* row, U32) {
            benchmark::DoNotOptimize(HandWritten::bits(row[0], 57, 7) | HandWritten::bits(row[1], 0, 12)
                                                                            << 7);
            return false;
        });
    field(
        "set destination, variant 3", 3, [](LifTable& row, U32 next) { row.destinationIs(next & 0x7ffff); },
        [](U64* row, U32 next) {
            HandWritten::put(row, 57, 19, next);
            return true;
        });
}

/// One encoder beside the hand-written one, over values that `make(random)` gives.
template <class Value, class Make>
void encoder(std::string const& what, Make make) {
    for (ChipType const chip : {aradChip3, jerichoChip8}) {
        std::string const name = "encode " + what + ", chip " + std::to_string(U32{chip});
        auto const values = [make] {
            std::mt19937_64 random(7);
            std::array<Value, 256> all;
            for (Value& value : all) {
                value = make(random);
            }
            return all;
        };
        Beside::add(name, "library", [=](benchmark::State& state) {
            auto const all = values();
            ChipType const at = opaque(chip);
            Buffer buffer{};
            U8* const data = opaque(buffer.data());
            U8 next = 0;
            for (auto _ : state) {
                all[next++].writeToChipFormat(at, data);
                benchmark::ClobberMemory();
            }
        });
        Beside::add(name, "by hand", [=](benchmark::State& state) {
            auto const all = values();
            ChipType const at = opaque(chip);
            Buffer buffer{};
            U8* const data = opaque(buffer.data());
            U8 next = 0;
            for (auto _ : state) {
                HandWritten::encode(all[next++], at, data);
                benchmark::ClobberMemory();
            }
        });
    }
}

} // namespace

int main(int argc, char** argv) {
    fields();
    for (LifType const type : {lifAcMp, lifAcP2pToAc, lifAcP2pToPwe, lifLabelPweP2p, lifLabelProtocolOrLsp}) {
        encoder<AradLifEntry>(Kor::enumeratorText(type, "LifType"), [type](auto& random) {
            return AradLifEntry(type, random() & ~(U64{0x3ff} << 36), random());
        });
    }
    encoder<OutAcValue>("out-AC pair", [](auto& random) {
        return OutAcValue(static_cast<U32>(random()), static_cast<U32>(random()), static_cast<U32>(random()));
    });
    encoder<EvecValue>("egress edit pair",
                       [](auto& random) { return EvecValue(random() & EvecValue::limit); });
    return Beside::run(argc, argv);
}
