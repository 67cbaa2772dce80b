#pragma once

/// Options that a fuzzer has unless others are given.

#include <initializer_list>
#include <string>
#include <vector>

namespace fuzz {

/// For LLVMFuzzerInitialize(), whose arguments these are.
inline void optionsAre(int& count, char**& arguments, std::initializer_list<char const*> options) {
    static std::vector<std::string> const added(options.begin(), options.end());
    static std::vector<char*> all;
    all.push_back(arguments[0]);
    for (std::string const& each : added) {
        all.push_back(const_cast<char*>(each.c_str()));
    }
    all.insert(all.end(), arguments + 1, arguments + count); // which come later, and count
    count = static_cast<int>(all.size());
    all.push_back(nullptr);
    arguments = all.data();
}

} // namespace fuzz
