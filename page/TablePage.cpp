#include "page/TablePage.h"

#include "page/Embedded.h"
#include "tables/TableInfos.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace page {

namespace {

using Hardware::FieldInfo;
using Hardware::FieldPlace;
using Hardware::TableInfo;
using Json = nlohmann::ordered_json;

std::string hex(U32 number, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, number);
    return text;
}

/// Of a row on one chip: a field is [number, lowest bit, width].
Json formJson(TableInfo const& table, U32 chip, U32 variant, LanesOf const& lanesOf) {
    Json lanes = Json::array();
    for (auto const& lane : lanesOf(table, chip, variant)) {
        Json& fields = lanes.emplace_back(Json::array());
        for (FieldPlace const& place : lane) {
            fields.push_back({place.field - table.fields.data(), place.lo(), U32{place.at.width}});
        }
    }
    auto const& geometry = *table.geometry(chip, variant);
    return {{"lanes", std::move(lanes)},           {"entries", geometry.entries},
            {"array", geometry.arrayElements},     {"base", hex(geometry.base, 8)},
            {"block", hex(geometry.blockBase, 2)}, {"blocks", U32{geometry.maxIdentifier} + 1}};
}

Json tableJson(TableInfo const& table, LanesOf const& lanesOf) {
    Json fields = Json::array();
    for (FieldInfo const& field : table.fields) {
        fields.push_back({field.name, field.id, field.type, field.typeBytes});
    }
    Json names = Json::array();
    for (U32 variant = 0; variant < table.variantBound; ++variant) {
        names.push_back(table.variantName(variant));
    }
    Json chips = Json::object();
    for (U32 chip = 0; chip < Hardware::layout::chipBound; ++chip) {
        Json forms = Json::array();
        for (U32 variant = 0; variant < table.variants(chip); ++variant) {
            forms.push_back(formJson(table, chip, variant, lanesOf));
        }
        if (!forms.empty()) {
            chips[std::to_string(chip)] = std::move(forms);
        }
    }
    return {
        {"name", table.name},           {"words", table.words},        {"anyVariant", table.ignoresVariant},
        {"variants", std::move(names)}, {"fields", std::move(fields)}, {"chips", std::move(chips)}};
}

} // namespace

std::string tablePage(LanesOf const& lanesOf) {
    Json data = Json::array();
    for (TableInfo const& table : Hardware::tableInfos()) {
        data.push_back(tableJson(table, lanesOf));
    }
    std::string text(embedded::beforeData);
    text += data.dump();
    text += embedded::afterData;
    return text;
}

} // namespace page
