#pragma once

/// The exchanges of docs/attribute-log.md, to be compared with what is sent.

#include "runtime/Types.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <span>
#include <string>

/// The lines of bytes under a heading, each with a line end before it and without its remark.
inline std::string exchangeOfPage(std::string const& heading) {
    std::ifstream page(LOAM_ATTRIBUTE_LOG_PAGE);
    std::string exchange;
    bool isUnderIt = false;
    for (std::string line; std::getline(page, line);) {
        isUnderIt = line.starts_with("## ") ? line == heading : isUnderIt;
        if (isUnderIt && line.starts_with("    ")) {
            exchange += '\n' + line.substr(4, std::min(line.find("    ", 4), line.size()) - 4);
        }
    }
    return exchange;
}

/// Each with a blank before it.
inline std::string hexOf(std::span<Kor::U8 const> bytes) {
    std::string all;
    for (Kor::U8 const byte : bytes) {
        char text[4];
        std::snprintf(text, sizeof text, " %02x", byte);
        all += text;
    }
    return all;
}
