#pragma once

/// What the build makes of tables.html, its style and its script (embed.cmake): the text before the data, and
/// that behind.

#include <string_view>

namespace page::embedded {

extern std::string_view const beforeData;
extern std::string_view const afterData;

} // namespace page::embedded
