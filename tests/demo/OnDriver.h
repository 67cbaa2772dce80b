#pragma once

/// Drivers of a chip as processes, in a folder of their own.

#include "support/Values.h"
#include "tests/tools/InFolder.h"

#include <fstream>
#include <string>
#include <vector>

namespace support {

class OnDriver : public InFolder {
protected:
    explicit OnDriver(std::string const& image = "chip.img") : image_(file(image)) {}
    std::vector<std::string> words() const { return words(image_); }
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
    /// What starts an application that asks for what is in the files.
    std::vector<std::string> asking(std::string const& files, std::vector<std::string> more = {},
                                    std::string const& app = "vtAppMpls") const {
        more.insert(more.begin(), {"application", "--socket", socket(), "--app", app, "--file", files});
        return more;
    }
    Outcome asks(std::string const& app, std::string const& entries,
                 std::vector<std::string> more = {}) const {
        std::ofstream(file("entries")) << entries;
        more.insert(more.end(), {"--app", app, "--file", file("entries")});
        return on("application", more);
    }
    void ask(std::string const& entries) const { EXPECT_EQ(asks("vtAppMpls", entries).err, ""); }
    static std::string lifs(int count) {
        std::string entries;
        for (int i = 0; i < count; ++i) {
            entries += "AradLifAcMp vsi=" + std::to_string(i) + '\n';
        }
        return entries;
    }

    std::string const image_;
};

} // namespace support
