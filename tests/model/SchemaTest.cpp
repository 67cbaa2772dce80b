/// The types of the library as they stand in the registry once it is loaded.

#include "model/LoamTunnelModule.h"
#include "reflect/type/KorType.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace Hardware::LoamTunnel; // but for one name, which is in the global namespace too
using Kor::KorType;

/// The section of the library's file.
std::string section(std::string const& name) {
    std::string const copy = testing::TempDir() + "section-" + std::to_string(getpid());
    EXPECT_EQ(std::system(("objcopy -O binary --only-section=" + name + " " LOAM_LIBRARY " " + copy).c_str()),
              0);
    std::ostringstream bytes;
    bytes << std::ifstream(copy, std::ios::binary).rdbuf();
    std::filesystem::remove(copy);
    return bytes.str();
}

// Records of the attribute log are understood by numbers: a change of the schema is to be made on purpose.
TEST(Schema, IsAsItWas) {
    EXPECT_EQ(loamTunnelModule().checksum(), 0xd1267d711b876cc1u)
        << "peers of an older schema will notice; if it is meant, write 0x" << std::hex
        << loamTunnelModule().checksum() << "u here, and the types into " LOAM_REGISTRY;
    for (KorType const* type : loamTunnelModule().defined()) {
        EXPECT_NE(type->size(), 0u) << type->typeName();
        EXPECT_EQ(KorType::named(type->typeName().view()), type);
        for (auto const& attr : type->attributes()) {
            if (!attr->isInherited()) {
                EXPECT_EQ(type->typeAttr()->attr(attr->name()), attr.ptr())
                    << type->typeName() << attr->name();
            }
        }
    }
}

/// The numbers that the letters in registry.txt stand for.
std::string profileLetter(Kor::KorAttr const& attr) {
    struct Profile {
        char letter;
        U32 word0, word1, introspection;
    } static constexpr profiles[] = {
        {'A', 0x220109, 0x40000400, 2},   {'B', 0x22010f, 0x400, 2},      {'C', 0x220007, 0x400, 0},
        {'D', 0x20001, 0x400, 8},         {'E', 0x220001, 0x40000410, 0}, {'F', 0x20001, 0x40200400, 0},
        {'G', 0x200001, 0x400, 0},        {'H', 0x22001, 0x400, 8},       {'I', 0x220143, 0x1000400, 2},
        {'J', 0x222143, 0x1000400, 2},    {'K', 0x1a20143, 0x1000400, 2}, {'L', 0x1a20143, 0x1000400, 34},
        {'M', 0x9a20143, 0x11000400, 34}, {'N', 0x9a20143, 0x1000400, 2}, {'O', 0x1a20143, 0x400, 34},
        {'P', 0x9a20143, 0x10000400, 34}, {'Q', 0x220001, 0x400, 0},      {'R', 0x20001, 0x410, 8},
    };
    for (Profile const& each : profiles) {
        if (each.word0 == attr.flags().word0 && each.word1 == attr.flags().word1 &&
            each.introspection == attr.introspectionFlags().word) {
            return {each.letter};
        }
    }
    return "?";
}

/// A type as registry.txt has it, with the attributes that are its own.
std::vector<std::string> asInTheFile(KorType const& type) {
    auto const text = [](auto const& name) { return std::string(name.view()); };
    std::string line = text(type.typeName());
    line += type.isEnumType() ? ": enumeration"
            : type.isValue()  ? ": value"
            : type.isEntity() ? ": entity"
                              : ": object";
    line += type.base() != nullptr ? " of " + text(type.base()->typeName()) : "";
    line += type.scope() != nullptr ? " in " + text(type.scope()->typeName()) : "";
    std::string arguments;
    auto each = type.constructorArgTypeQQueue().begin();
    for (auto const& name : type.constructorArgNameQQueue()) {
        arguments += (arguments.empty() ? "" : ", ") + text(name.value) + ' ' + text((*each).value);
        ++each;
    }
    line += arguments.empty() ? "" : " (" + arguments + ')';
    // That of an enumeration is none of its enumerators.
    line += type.valAttr() != nullptr ? " value " + text(type.valAttr()->name()) : "";
    std::vector<std::string> lines{line};
    for (auto const& attr : type.attributes()) {
        if (attr->isInherited()) {
            continue;
        }
        line = "  " + std::to_string(attr->attributeId()) + ' ' + text(attr->name());
        line += attr->keyType() != nullptr ? '[' + text(attr->keyType()->typeName()) + ']' : "";
        arguments.clear();
        for (auto const& argument : attr->arguments()) {
            arguments += (arguments.empty() ? "" : ", ") + text(argument.name) + ' ' + text(argument.type);
        }
        bool const isCalled = !arguments.empty() || !attr->hasValue();
        line += isCalled ? '(' + arguments + ')' : "";
        line += ": " + (attr->hasValue() ? text(attr->type()->typeName()) : "none");
        lines.push_back(line + ' ' + profileLetter(*attr));
    }
    return lines;
}

// Peers go by what stands in the file, so that it is not written anew but mended by hand with the model.
TEST(Schema, IsTheListInTheFile) {
    std::ifstream file(LOAM_REGISTRY);
    std::vector<std::string> all;
    for (KorType const* type : loamTunnelModule().defined()) {
        std::vector<std::string> const lines = asInTheFile(*type);
        all.insert(all.end(), lines.begin(), lines.end());
        // What a type has from its base stands in front, under the same numbers, but for what it declares
        // anew.
        std::vector<std::pair<std::string, Kor::AttributeId>> expected;
        std::vector<std::pair<std::string, Kor::AttributeId>> inherited;
        for (auto const& attr : type->base() != nullptr ? type->base()->attributes() : type->attributes()) {
            if (type->base() != nullptr && type->typeAttr()->attr(attr->name())->isInherited()) {
                expected.emplace_back(attr->name().view(), attr->attributeId());
            }
        }
        for (auto const& attr : type->attributes()) {
            if (!attr->isInherited()) {
                break;
            }
            inherited.emplace_back(attr->name().view(), attr->attributeId());
        }
        EXPECT_EQ(inherited, expected) << type->typeName();
    }
    std::size_t number = 0;
    for (std::string line; std::getline(file, line); ++number) {
        ASSERT_LT(number, all.size()) << line;
        EXPECT_EQ(all[number], line) << LOAM_REGISTRY ":" << number + 1
                                     << ", where a new type is written by hand";
    }
    EXPECT_EQ(number, all.size()) << "lines in " LOAM_REGISTRY;
}

TEST(Schema, Derivation) {
    // One object each, found through any class of the type.
    EXPECT_NE(Hardware::LoamTunnel::TapAggNormalFapMask::_fwkType(), ::TapAggNormalFapMask::_fwkType());
    EXPECT_EQ(::TapAggNormalFapMask::_fwkType()->typeName(), "TapAggNormalFapMask");
    Kor::Ptr<Kor::Entity> const properties =
        fapTypePropertiesFactory()->properties(Hardware::Loam::fapTypeArad);
    EXPECT_EQ(properties->fwkType()->typeName(), "Hardware::LoamTunnel::FapTypeProperties::AradProperties");
    EXPECT_EQ(properties->fwkType()->typeAttr()->attr("isemHwSize")->owner(), properties->fwkType());
    EXPECT_TRUE(LoamTunnelCommonSmData::_fwkType()->typeAttr()->attr("portToLag")->isInherited());
}

TEST(Schema, NamesInTheFile) {
    std::vector<std::string> expected;
    std::vector<Kor::TypeSeed> types(loamTunnelModule().types().begin(), loamTunnelModule().types().end());
    std::reverse(types.begin(), types.end());
    for (bool const inner : {false, true}) {
        for (Kor::TypeSeed const& each : types) {
            bool const isInner = KorType::named(each.name)->scope() != nullptr;
            if (isInner == inner) {
                expected.emplace_back(each.name);
            }
        }
    }
    // Between the names are zeros: one, or more where a sanitizer keeps its distance.
    std::vector<std::string> names;
    std::istringstream inFile(section(".kor.type"));
    for (std::string name; std::getline(inFile, name, '\0');) {
        if (!name.empty()) {
            names.push_back(name);
        }
    }
    EXPECT_EQ(names, expected);
}

} // namespace
