/// Single row fields and the LIF encoder, each beside the same fields shifted and masked by hand.

#include "Beside.h"
#include "HandWrittenPairs.h"
#include "tables/LifTable.h"
#include "values/LoamTunnelTypes.h"

#include <array>
#include <random>

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

U32 handGet(U8 const* buffer) {
    U64 row[2];
    std::memcpy(row, buffer, sizeof row);
    return static_cast<U32>(HandWritten::bits(row[0], 57, 7) | HandWritten::bits(row[1], 0, 12) << 7);
}

void handSet(U8* buffer, U32 value) {
    U64 row[2];
    std::memcpy(row, buffer, sizeof row);
    HandWritten::put(row, 57, 19, value);
    std::memcpy(buffer, row, sizeof row);
}

void fields() {
    Beside::add("get vsi, variant 1", "library", [](benchmark::State& state) {
        Buffer buffer{};
        LifTable row(opaque(jerichoChip8), opaque(buffer.data()), 16, false, opaque(U8{1}));
        for (auto _ : state) {
            benchmark::DoNotOptimize(row.vsi());
            benchmark::ClobberMemory();
        }
    });
    Beside::add("get vsi, variant 1", "by hand", [](benchmark::State& state) {
        Buffer buffer{};
        U8* data = opaque(buffer.data());
        for (auto _ : state) {
            U64 word;
            std::memcpy(&word, data, sizeof word);
            benchmark::DoNotOptimize(word & 0xffff);
            benchmark::ClobberMemory();
        }
    });
    Beside::add("set vsi, variant 1", "library", [](benchmark::State& state) {
        Buffer buffer{};
        LifTable row(opaque(jerichoChip8), opaque(buffer.data()), 16, false, opaque(U8{1}));
        U16 value = 0;
        for (auto _ : state) {
            row.vsiIs(++value);
            benchmark::ClobberMemory();
        }
    });
    Beside::add("set vsi, variant 1", "by hand", [](benchmark::State& state) {
        Buffer buffer{};
        U8* data = opaque(buffer.data());
        U16 value = 0;
        for (auto _ : state) {
            U64 word;
            std::memcpy(&word, data, sizeof word);
            word = (word & ~U64{0xffff}) | ++value;
            std::memcpy(data, &word, sizeof word);
            benchmark::ClobberMemory();
        }
    });
    Beside::add("get destination, variant 3", "library", [](benchmark::State& state) {
        Buffer buffer{};
        LifTable row(opaque(jerichoChip8), opaque(buffer.data()), 16, false, opaque(U8{3}));
        for (auto _ : state) {
            benchmark::DoNotOptimize(row.destination());
            benchmark::ClobberMemory();
        }
    });
    Beside::add("get destination, variant 3", "by hand", [](benchmark::State& state) {
        Buffer buffer{};
        U8* data = opaque(buffer.data());
        for (auto _ : state) {
            benchmark::DoNotOptimize(handGet(data));
            benchmark::ClobberMemory();
        }
    });
    Beside::add("set destination, variant 3", "library", [](benchmark::State& state) {
        Buffer buffer{};
        LifTable row(opaque(jerichoChip8), opaque(buffer.data()), 16, false, opaque(U8{3}));
        U32 value = 0;
        for (auto _ : state) {
            row.destinationIs(++value & 0x7ffff);
            benchmark::ClobberMemory();
        }
    });
    Beside::add("set destination, variant 3", "by hand", [](benchmark::State& state) {
        Buffer buffer{};
        U8* data = opaque(buffer.data());
        U32 value = 0;
        for (auto _ : state) {
            handSet(data, ++value & 0x7ffff);
            benchmark::ClobberMemory();
        }
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
