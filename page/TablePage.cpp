#include "page/TablePage.h"

#include "forms/Json.h"
#include "forms/Text.h"
#include "page/Embedded.h"
#include "tables/TableInfos.h"

#include <ostream>

namespace page {

namespace {

using Hardware::FieldInfo;
using Hardware::FieldPlace;
using Hardware::TableInfo;
using Kor::Forms::hex;
using Kor::Forms::JsonWriter;

/// Of a row on one chip: a field is [number, lowest bit, width].
void writeForm(JsonWriter& json, TableInfo const& table, U32 chip, U32 variant, LanesOf const& lanesOf) {
    json.beginObject().key("lanes").beginArray();
    for (auto const& lane : lanesOf(table, chip, variant)) {
        json.beginArray();
        for (FieldPlace const& place : lane) {
            auto const number = static_cast<U32>(place.field - table.fields.data());
            json.beginArray().number(number).number(place.lo()).number(place.at.width).end();
        }
        json.end();
    }
    auto const& geometry = *table.geometry(chip, variant);
    json.end().number("entries", geometry.entries).number("array", geometry.arrayElements);
    json.string("base", hex(geometry.base, 8)).string("block", hex(geometry.blockBase, 2));
    json.number("blocks", U32{geometry.maxIdentifier} + 1).end();
}

void writeTable(JsonWriter& json, TableInfo const& table, LanesOf const& lanesOf) {
    json.beginObject().string("name", table.name).number("words", table.words);
    json.boolean("anyVariant", table.ignoresVariant).key("variants").beginArray();
    for (U32 variant = 0; variant < table.variantBound; ++variant) {
        json.string(table.variantName(variant));
    }
    json.end().key("fields").beginArray();
    for (FieldInfo const& field : table.fields) {
        json.beginArray()
            .string(field.name)
            .number(field.id)
            .string(field.type)
            .number(field.typeBytes)
            .end();
    }
    json.end().key("chips").beginObject();
    for (U32 chip = 0; chip < Hardware::layout::chipBound; ++chip) {
        if (table.variants(chip) != 0) {
            json.key(std::to_string(chip)).beginArray();
            for (U32 variant = 0; variant < table.variants(chip); ++variant) {
                writeForm(json, table, chip, variant, lanesOf);
            }
            json.end();
        }
    }
    json.end().end();
}

} // namespace

void printTablePage(std::ostream& out, LanesOf const& lanesOf) {
    out << embedded::beforeData;
    JsonWriter json(out);
    json.beginArray();
    for (TableInfo const& table : Hardware::tableInfos()) {
        writeTable(json, table, lanesOf);
    }
    json.end();
    out << embedded::afterData;
}

} // namespace page
