/// Trace points of one's own beside those of the library: switched on by level, sent to a sink, kept for
/// whoever asks.

#include "runtime/Trace.h"
#include "values/LoamTunnelTypes.h"

#include <cstdio>
#include <ostream>
#include <string>

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

Kor::TraceFacility& driverTrace() {
    static Kor::TraceFacility& facility = Kor::traceFacility("LifDriver");
    return facility;
}

void program(AradLifEntry const& lif, Kor::U32 index) {
    Kor::trace(driverTrace(), 2, {"driver.cpp", __LINE__, "program"},
               [&](std::ostream& out) { out << "index " << index; });
    Kor::U8 row[16] = {};
    lif.writeToChipFormat(jerichoChip8, row);
}

} // namespace

int main() {
    Kor::traceSinkIs([](Kor::TraceRecord const& record) {
        std::printf("%s:%d %.*s\n", std::string(record.facility).c_str(), record.level,
                    static_cast<int>(record.text.size()), record.text.data());
    });
    Kor::traceHistoryIs(100);

    AradLifAcMp lif(lifAcMp);
    lif.vsiIs(100);
    program(lif, 0); // nothing is on

    driverTrace().enabledIs(true);
    driverTrace().levelIs(2, true);
    program(lif, 1);

    Kor::TraceFacility& library = Kor::traceFacility("LoamTunnelTypes");
    library.enabledIs(true);
    library.levelIs(8, true);
    program(lif, 2);

    for (Kor::TraceEntry const& each : Kor::traceHistory()) {
        std::printf("kept %llu: %s\n", static_cast<unsigned long long>(each.number), each.facility.c_str());
    }
    std::printf("the counter of the driver: %u\n", driverTrace().testCounter);
    return 0;
}
