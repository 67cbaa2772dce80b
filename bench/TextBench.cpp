// Values as text, written and read, beside nlohmann-json with the same content: from the value to a string,
// and from that string to the value.

#include "Beside.h"
#include "reflect/Text.h"
#include "values/LoamTunnelTypes.h"

#include <nlohmann/json.hpp>
#include <string>

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using nlohmann::json;

namespace {

json toJson(AradLifEntry const& entry) {
    return {{"lifType", stringValue(entry.lifType()).charPtr()},
            {"dword0", entry.dword0()},
            {"dword1", entry.dword1()}};
}

AradLifEntry entryOf(json const& from) {
    return AradLifEntry(LifTypeInstance(from.at("lifType").get_ref<std::string const&>()),
                        from.at("dword0").get<Kor::U64>(), from.at("dword1").get<Kor::U64>());
}

json toJson(TcamSharingPendingRequest const& pending) {
    TcamSharingRequest const& request = pending.entry().request();
    return {{"entry",
             {{"request",
               {{"intfId", request.intfId().name()},
                {"fapId", request.fapId().value()},
                {"l3FloodPortVlanId", request.l3FloodPortVlanId().value()}}},
              {"policyId", pending.entry().policyId().value()}}},
            {"insert", pending.insert()}};
}

TcamSharingPendingRequest pendingOf(json const& from) {
    json const& entry = from.at("entry");
    json const& request = entry.at("request");
    return TcamSharingPendingRequest(
        TcamSharingEntry(
            TcamSharingRequest(Lumen::IntfId::ofName(request.at("intfId").get_ref<std::string const&>()),
                               Loam::FapId(request.at("fapId").get<Kor::U16>()),
                               Bridging::VlanIdOrNone(request.at("l3FloodPortVlanId").get<Kor::U16>())),
            TcamSharingPolicyId(entry.at("policyId").get<Kor::U32>())),
        from.at("insert").get<bool>());
}

template <class T, class FromJson>
void add(std::string const& name, T const& value, FromJson const& fromJson) {
    auto const measure = [](auto const& operation) {
        return [operation](benchmark::State& state) {
            for (auto _ : state) {
                auto result = operation();
                benchmark::DoNotOptimize(result);
            }
        };
    };
    Kor::String8 const text = Kor::valueToStrep(value);
    std::string const dumped = toJson(value).dump();
    if (Kor::strepToValue<T>(text) != value || fromJson(json::parse(dumped)) != value) {
        std::printf("%s does not come back\n", name.c_str());
        std::exit(1);
    }
    Beside::add("write " + name, "text", measure([=] { return Kor::valueToStrep(value); }));
    Beside::add("write " + name, "nlohmann-json", measure([=] { return toJson(value).dump(); }));
    Beside::add("read " + name, "text", measure([=] { return Kor::strepToValue<T>(text); }));
    Beside::add("read " + name, "nlohmann-json", measure([=] { return fromJson(json::parse(dumped)); }));
}

} // namespace

// What a value throws here ends the benchmark. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    add("an AradLifEntry", AradLifEntry(lifAcMp, 0x123456789abcdef0, 42), entryOf);
    add("a TcamSharingPendingRequest",
        TcamSharingPendingRequest(
            TcamSharingEntry(TcamSharingRequest(Lumen::IntfId::ofName("Ethernet3/1"), Loam::FapId(5),
                                                Bridging::VlanIdOrNone(100)),
                             TcamSharingPolicyId(7)),
            true),
        pendingOf);
    return Beside::run(argc, argv);
}
