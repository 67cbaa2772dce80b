#pragma once

/// JSON, read and written as other programs do. Not for big documents: what is read is held as a whole,
/// within bounds.
///
///     Kor::Forms::Json const json = Kor::Forms::parseJson(R"({"vsi": 100})");
///     json.find("vsi")->text;                                       // "100"
///
///     Kor::Forms::JsonWriter writer(std::cout);
///     writer.beginObject().key("vsi").number(100).end();
///
/// The writer holds nothing: what is written is in the stream. A text that is no JSON is a Refused
/// (forms/Refused.h). Both run on any thread, on their own objects.

#include "forms/Refused.h"
#include "runtime/Types.h"

#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kor::Forms {

/// One value that was read.
struct KOR_EXPORT Json {
    enum class Kind { null, boolean, number, string, array, object };

    Kind kind = Kind::null;
    /// A string's content, a number as it was written, true or false.
    std::string text{};
    /// Of an object by name, in the order of the document; of an array without names.
    std::vector<std::pair<std::string, Json>> members{};

    bool isObject() const noexcept { return kind == Kind::object; }
    bool isArray() const noexcept { return kind == Kind::array; }
    /// The member of that name, or null. Linear.
    Json const* find(std::string_view name) const noexcept;
    /// The same, Refused where it is missing.
    Json const& at(std::string_view name) const;
    /// "the object", "the array", or a number, string, bool or null as in JSON, cut when long.
    std::string shown() const;

    friend bool operator==(Json const&, Json const&) = default;
};

/// How deep objects and arrays may lie in one another.
inline constexpr std::size_t jsonDepth = 64;

/// Refused for anything but one JSON document, for a name that an object has twice, for a number that no
/// double holds, and for what is nested deeper than `jsonDepth`. Linear in the text.
KOR_EXPORT Json parseJson(std::string_view text);

/// Whether the bytes are UTF-8, as a JSON string must be.
KOR_EXPORT bool isUtf8(std::string_view text) noexcept;

/// Writes one document piece by piece: in one line, or indented.
class KOR_EXPORT JsonWriter {
public:
    explicit JsonWriter(std::ostream& out, bool isIndented = false) : out_(out), isIndented_(isIndented) {}

    JsonWriter& beginObject() { return begin('{'); }
    JsonWriter& beginArray() { return begin('['); }
    /// Ends what was begun last.
    JsonWriter& end();
    JsonWriter& key(std::string_view name);
    /// Bytes that are no UTF-8 become U+FFFD.
    JsonWriter& string(std::string_view text);
    JsonWriter& number(U64 number);
    /// A number, true, false or null, or a document of its own, as it is written.
    JsonWriter& raw(std::string_view text);
    JsonWriter& boolean(bool is) { return raw(is ? "true" : "false"); }
    JsonWriter& null() { return raw("null"); }
    /// All of it.
    JsonWriter& value(Json const& json);

    // A member of an object at once.
    JsonWriter& string(std::string_view name, std::string_view text) { return key(name).string(text); }
    JsonWriter& number(std::string_view name, U64 of) { return key(name).number(of); }
    JsonWriter& boolean(std::string_view name, bool is) { return key(name).boolean(is); }

private:
    JsonWriter& begin(char bracket);
    void before();
    void line();

    std::ostream& out_;
    bool isIndented_;
    bool isBehindKey_ = false;
    struct Open {
        char bracket;
        bool isEmpty;
    };
    std::vector<Open> open_{};
};

} // namespace Kor::Forms
