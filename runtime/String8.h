#pragma once

#include <string>
#include <string_view>

namespace Kor {

class String8 {
public:
    String8() = default;
    String8(char const* text) : text_(text ? text : "") {}
    char const* charPtr() const { return text_.c_str(); }

private:
    std::string text_;
};

} // namespace Kor
