/// Feeds the readers of what people and other programs write: JSON, short forms, bytes in hexadecimal, and
/// entries. The first byte of an input chooses the reader, the second one the type, the rest is the text.
///
///     FormsFuzz fuzz/corpus/FormsFuzz -max_total_time=20
///
/// What is read is written in each form and read again, and must then be the same value.

#include "forms/Entries.h"
#include "forms/Json.h"
#include "model/LoamTunnelModel.h"

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

using namespace Kor::Forms;

namespace {

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

std::vector<Kor::KorType const*> const& types() {
    static std::vector<Kor::KorType const*> const all = [] {
        std::vector<Kor::KorType const*> found;
        for (Kor::KorType const* type : Kor::KorType::all()) {
            if (type->isEnumType() || (type->isValue() && type->hasGenericIfSupport() && defaultOf(*type))) {
                found.push_back(type);
            }
        }
        return found;
    }();
    return all;
}

/// What has no such form is passed over: bytes that are no UTF-8 in JSON, a type without a byte form. What
/// came as bytes may be out of its range, which is printed and not read.
void again(Form form, Box const& box, bool isInRange) {
    std::string text;
    try {
        text = written(form, box);
    } catch (Refused const&) {
        return;
    }
    try {
        check(read(form, *box->type(), text)->strRep() == box->strRep());
    } catch (Refused const&) {
        check(!isInRange);
    }
}

void all(Box const& box, bool isInRange = true) {
    again(Form::shortForm, box, isInRange);
    again(Form::json, box, isInRange);
    again(Form::wire, box, false); // which refuses a number that is no enumerator
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    std::string_view const text(reinterpret_cast<char const*>(data) + 2, size - 2);
    Kor::KorType const& type = *types()[data[1] % types().size()];
    try {
        switch (data[0] % 5) {
        case 0: {
            Json const json = parseJson(text);
            std::ostringstream out;
            JsonWriter(out, data[1] % 2 != 0).value(json);
            check(parseJson(out.str()) == json);
            break;
        }
        case 1:
            all(readJson(type, text));
            break;
        case 2:
            all(readWire(type, text), false);
            break;
        case 3:
            all(readValue(type, text));
            break;
        default: {
            Entry const entry = parseEntry(text);
            all(entry.value);
            encodeEntry(entry, supportedChips()[data[1] % supportedChips().size()]);
        }
        }
    } catch (Refused const&) {
        // In a line, for people.
    }
    return 0;
}
