#pragma once

/// The commands of the program, each a function over its options. They print results to `Context::out`,
/// report what they could not do to `Context::err`, and throw a Refused where nothing can be done.

#include "forms/Entries.h"
#include "forms/Rows.h"
#include "forms/Text.h"
#include "tools/Failure.h"
#include "tools/Listing.h"

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace tool {

class Live;

struct Context {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool colourOut = false;
    bool colourErr = false;
    int status = 0;
    /// What `err` writes to; -1 for none of the system's.
    int errDescriptor = -1;
    /// The same of `in` and `out`.
    int inDescriptor = -1, outDescriptor = -1;
    /// The connection of a shell, over which its commands go; null for one of each command's own.
    Live* live = nullptr;
    /// Called before a message is written: what stands in the last line of a terminal gives way.
    std::function<void()> giveWay{};
    /// Stands before each message: the line of a script.
    std::string where{};

    /// Reports a failure and goes on; the exit status will be 1.
    void report(std::string const& message);
    /// Says something that is no failure.
    void note(std::string const& message);
    /// A message with what stands before it.
    std::string prefixed(std::string const& message) const;
};

/// Options that name a row; what is not given is empty.
struct RowOptions {
    std::string table = "LifTable";
    std::string chip;
    std::optional<U32> variant;

    RowForm form() const { return rowForm(table, chipNumber(chip), variant); }
};

struct PlaceOptions {
    std::optional<U32> entry;
    U32 array = 0;
    U32 identifier = 0;
};

struct EncodeOptions {
    std::vector<std::string> words;
    std::string file;
    std::vector<std::string> chips;
    bool allChips = false;
    PlaceOptions place;
    bool rows = false;
    bool nonzero = false;
    Output output;
};
void encode(Context& context, EncodeOptions const& options);

struct KindsOptions {
    std::string kind;
    Output output;
};
void kinds(Context& context, KindsOptions const& options);

struct ValueOptions {
    std::string type;
    std::vector<std::string> words;
    std::string file;
    /// text, json or wire; `to` also row, with the chips.
    std::string from = "text";
    std::string to = "text";
    std::vector<std::string> chips;
};
void value(Context& context, ValueOptions const& options);

struct DecodeOptions {
    RowOptions row;
    std::vector<std::string> words;
    std::string file;
    bool check = false;
    bool nonzero = false;
    Output output;
};
void decode(Context& context, DecodeOptions const& options);

struct LayoutOptions {
    RowOptions row;
    std::vector<std::string> diff;
    bool svg = false;
    bool wavedrom = false;
    bool html = false;
    /// Of all tables and chips, as far as `row` names none.
    bool all = false;
    Output output;
};
void layout(Context& context, LayoutOptions const& options);

struct AddressOptions {
    RowOptions row;
    std::vector<U32> entries;
    U32 array = 0;
    U32 identifier = 0;
    Output output;
};
void address(Context& context, AddressOptions const& options);

struct TablesOptions {
    std::vector<std::string> chips;
    Output output;
};
void tables(Context& context, TablesOptions const& options);

struct SchemaOptions {
    std::vector<std::string> types;
    std::string diff;
    bool all = false;
    bool checksum = false;
    bool cpp = false;
    bool jsonSchema = false;
    Output output;
};
void schema(Context& context, SchemaOptions const& options);

/// The recordings of attribute logs, forms/Recording.h.
struct LogOptions {
    std::vector<std::string> files;
    /// The side whose bytes are looked at: "accepting" or "connecting"; empty for both.
    std::string side;
    /// Microseconds of the recording; what comes before the first is told as the state that it leads to.
    std::optional<U64> from, until;
    int more = 0;
    Output output;
};
/// Seconds, with at most six digits behind a point, in microseconds; WrongUsage for any other text.
U64 parseTime(std::string const& option, std::string_view text);
void logShow(Context& context, LogOptions const& options);
void logCheck(Context& context, LogOptions const& options);
void logReplay(Context& context, LogOptions const& options);
void logDiff(Context& context, LogOptions const& options);

struct RowLine {
    RowForm form;
    Words words;
};

/// Reads a line that `decode --file` takes: `chip=8 table=LifTable variant=1`, as far as the options do not
/// say it, and the words of the row. A Refused on anything else; safe on any text.
RowLine parseRowLine(std::string_view text, RowOptions options);

/// Calls `visit(text, where)` for each line of a file ("-": the input stream) that is not blank, comments
/// from # on cut off, or where the text may have a # only those that fill a line; `where` is "file:line".
/// What `visit` throws as a Refused is reported with it, and the next line follows. Refused when the file
/// cannot be read.
void eachLine(Context& context, std::string const& file,
              std::function<void(std::string const& text, std::string const& where)> const& visit,
              bool onlyWholeLineComments = false);

/// Opens a file for reading ("-": the input stream) and calls `read(stream, name)`. Refused when it cannot be
/// read.
void withInput(Context& context, std::string const& file,
               std::function<void(std::istream& stream, std::string const& name)> const& read);

// What encode and decode tell of a row alike, within an object of JSON and as lines.
void writeRow(JsonWriter& json, RowForm const& form, Words const& words);
void writeFields(JsonWriter& json, DecodedRow const& row, bool nonzero);
std::string fieldsText(DecodedRow const& row, bool nonzero);

/// The whole program: reads the arguments, runs a command, and returns the exit status.
int run(std::vector<std::string> const& arguments, Context context);

} // namespace tool
