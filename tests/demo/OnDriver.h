#pragma once

/// Drivers of a chip as processes, in a folder of their own.

#include "tests/tools/InFolder.h"
#include "values/LoamTunnelTypes.h"

#include <fstream>
#include <string>
#include <vector>

namespace support {

inline Hardware::LoamTunnel::AradLifEntry lif(Kor::U32 number) {
    Hardware::LoamTunnel::AradLifAcMp entry(Hardware::LoamTunnel::lifAcMp);
    entry.vsiIs(static_cast<Kor::U16>(number));
    return entry;
}

class OnDriver : public InFolder {
protected:
    std::vector<std::string> words(std::string const& image, std::string const& chip = "8",
                                   std::string const& at = "socket") const {
        return {"driver", "--socket", file(at), "--chip", chip, "--image", image};
    }
    tool::Child serving(std::vector<std::string> const& command) const {
        return InFolder::serving(command, "driver.log");
    }
    bool isServing(std::string const& log = "driver.log") const {
        return content(log).find("serving at") != std::string::npos;
    }
    void ask(std::string const& entries) const {
        std::ofstream(file("entries")) << entries;
        EXPECT_EQ(on("application", {"--app", "vtAppMpls", "--file", file("entries")}).err, "");
    }
};

} // namespace support
