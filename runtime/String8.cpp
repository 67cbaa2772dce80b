#include "runtime/String8.h"

#include "runtime/OneAtATime.h"

#include <cstdio>
#include <new>
#include <ostream>
#include <vector>

namespace Kor {

String8::Data* String8::Data::make(std::string_view text) {
    void* const storage = ::operator new(sizeof(Data) + text.size() + 1);
    auto* const data = ::new (storage) Data(static_cast<U32>(text.size()));
    char* const characters = const_cast<char*>(data->characters());
    std::memcpy(characters, text.data(), text.size());
    characters[text.size()] = '\0';
    return data;
}

String8::Data* const String8::nullStringData_ = String8::Data::make({"", 0});

void String8::init(char const* text, U32 start, U32 length) {
    if (length == 0) {
        // Also before this unit's statics are there: a null string reads as empty.
        data_ = nullStringData_;
        hold();
        return;
    }
    data_ = Data::make({text + start, length});
}

String8 String8::joined(std::string_view a, std::string_view b) {
    std::string both;
    both.reserve(a.size() + b.size());
    both.append(a).append(b);
    return String8(std::string_view(both));
}

U32 String8::hash() const noexcept {
    return OneAtATime().addBytes(reinterpret_cast<U8 const*>(charPtr()), length()).finish();
}

std::ostream& operator<<(std::ostream& stream, String8 const& text) {
    return stream << text.view();
}

String8 format(char const* form, ...) {
    std::va_list arguments;
    va_start(arguments, form);
    std::va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(nullptr, 0, form, arguments);
    va_end(arguments);
    std::vector<char> text(length < 0 ? 1 : static_cast<std::size_t>(length) + 1);
    if (length > 0) {
        std::vsnprintf(text.data(), text.size(), form, again);
    }
    va_end(again);
    return String8(std::string_view(text.data(), text.size() - 1));
}

} // namespace Kor
