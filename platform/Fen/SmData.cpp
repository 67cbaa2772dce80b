#include "platform/Fen/SmData.h"

namespace Fen {

KOR_ENUMERATION_BODY(HwOperationalMode)

void FenPortList::appendTextTo(std::string& text) const {
    char const* separator = "'";
    for (Lumen::IntfId const& port : ports_) {
        // The name of the empty id is empty, which would be no port.
        text.append(separator).append(port.isEmpty() ? "0x0000000000000000" : port.name());
        separator = ",";
    }
    text.append(ports_.empty() ? "''" : "'");
}

std::optional<FenPortList> FenPortList::fromText(std::string_view text) {
    std::vector<Lumen::IntfId> ports;
    while (!text.empty()) {
        auto const comma = text.find(',');
        auto const port = Lumen::IntfId::fromName(text.substr(0, comma));
        if (comma == 0 || !port || comma + 1 == text.size()) {
            return std::nullopt;
        }
        ports.push_back(*port);
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return FenPortList(std::move(ports));
}

} // namespace Fen

namespace FenTypes {

KOR_ENUMERATION_BODY(FenLagType)

} // namespace FenTypes
