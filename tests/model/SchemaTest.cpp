/// The types of the library as they stand in the registry once it is loaded.

#include "model/LoamTunnelTypeList.h"
#include "reflect/KorType.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace {

using namespace Hardware::LoamTunnel; // but for one name, which is in the global namespace too
using Kor::KorType;

std::vector<std::string> names(auto const& types) {
    std::vector<std::string> all;
    for (auto const& each : types) {
        all.emplace_back(each->typeName().view());
    }
    return all;
}

/// The section of an ELF file, or nothing.
std::string section(std::string const& file, std::string const& name) {
    std::ifstream stream(file, std::ios::binary);
    std::string bytes(std::filesystem::file_size(file), '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    auto const at = [&]<class T>(T, std::size_t offset) {
        T value;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    };
    auto const header = at(Elf64_Ehdr(), 0);
    auto const sectionAt = [&](unsigned i) {
        return at(Elf64_Shdr(), header.e_shoff + i * sizeof(Elf64_Shdr));
    };
    std::size_t const words = sectionAt(header.e_shstrndx).sh_offset;
    for (unsigned i = 0; i < header.e_shnum; ++i) {
        if (bytes.data() + words + sectionAt(i).sh_name == name) {
            return bytes.substr(sectionAt(i).sh_offset, sectionAt(i).sh_size);
        }
    }
    return {};
}

// Records of the attribute log are understood by numbers: a change of the schema is to be made on purpose.
TEST(Schema, IsAsItWas) {
    EXPECT_EQ(loamTunnelModule().checksum(), 0xd1267d711b876cc1u);
    auto const defined = loamTunnelModule().defined();
    EXPECT_EQ(defined.size(), 84u);
    EXPECT_EQ(names(defined)[50], "Hardware::LoamTunnel::AradIvecFormat::TagsToRemoveOption");
    EXPECT_EQ(names(defined).back(), "TapAggNormalFapMask");
    U32 descriptors = 0;
    U32 entities = 0;
    U32 values = 0;
    U32 enumerations = 0;
    for (KorType const* type : defined) {
        ++(type->isEnumType() ? enumerations : type->isValue() ? values : entities);
        EXPECT_NE(type->size(), 0u) << type->typeName();
        EXPECT_EQ(KorType::named(type->typeName().view()), type);
        for (auto const& attr : type->attributes()) {
            descriptors += type->korDescriptor(attr->attributeId()) != nullptr;
            if (type->isEntity() && !attr->isInherited()) {
                EXPECT_EQ(type->korDescriptor(attr->attributeId()), attr.ptr())
                    << type->typeName() << attr->name();
            }
        }
    }
    EXPECT_EQ(descriptors, 159u);
    EXPECT_EQ(enumerations, 11u);
    EXPECT_EQ(values, 32u);
    EXPECT_EQ(entities, 41u);
}

TEST(Schema, Derivation) {
    auto const derived = [](KorType const* type) {
        std::vector<std::string> all;
        for (auto const& each : type->derivedTypeQQueue()) {
            all.emplace_back(each.value->name().view());
        }
        std::sort(all.begin(), all.end());
        return all;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(derived(EedbValue::_fwkType()), Names{"OutAcValue"});
    EXPECT_EQ(derived(AradLifEntry::_fwkType()),
              (Names{"AradLifAcMp", "AradLifAcP2pToAc", "AradLifAcP2pToPwe", "AradLifLabelProtocolOrLsp",
                     "AradLifPweToP2p"}));
    EXPECT_EQ(derived(FapTypeProperties::Properties::_fwkType()),
              (Names{"AradProperties", "JerichoProperties"}));
    EXPECT_EQ(FapTypeProperties::AradProperties::_fwkType()->scope(), FapTypeProperties::_fwkType());

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
    std::istringstream inFile(section(LOAM_LIBRARY, ".kor.type"));
    for (std::string name; std::getline(inFile, name, '\0');) {
        if (!name.empty()) {
            names.push_back(name);
        }
    }
    EXPECT_EQ(names, expected);
}

} // namespace
