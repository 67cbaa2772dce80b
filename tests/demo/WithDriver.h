#pragma once

#include "tests/tools/InFolder.h"

namespace support {

/// A test that starts drivers in a folder of its own.
class WithDriver : public InFolder {
protected:
    std::vector<std::string> words(std::string const& image, std::string const& chip = "8",
                                   std::string const& at = "socket") const {
        return {"driver", "--socket", file(at), "--chip", chip, "--image", image};
    }
    tool::Child serving(std::vector<std::string> const& command) const {
        std::filesystem::remove(file("driver.log"));
        tool::Child child = start(command, "driver.log");
        EXPECT_TRUE(eventually([&] { return isServing() || child.status().has_value(); }));
        return child;
    }
    bool isServing() const { return content("driver.log").find("serving at") != std::string::npos; }
};

} // namespace support
