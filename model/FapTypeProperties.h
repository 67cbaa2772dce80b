#pragma once

/// What the chip families have of each resource, and the arithmetic that turns a LIF index into a place.
///
///     auto properties = fapTypePropertiesFactory();
///     auto arad = properties->properties(Hardware::Loam::fapTypeArad);
///     AradLifIndex index(20000, lifBankManaged);
///     arad->lifBankFromIndex(index);                                          // 3
///     arad->lifOffsetFromIndex(index);                                        // 3616
///     index.hwOffset(Hardware::Loam::fapTypeArad, properties);                // 52768
///
/// A FapTypeProperties is complete when its constructor returns: one set for each family. It reads the
/// environment variables MAX_ARAD_TCAM_ENTRIES and MAX_JERICHO_TCAM_ENTRIES then, and never again. All
/// arithmetic is in unsigned 32 bits and wraps; it allocates nothing.
///
/// What holds for every entity, the operations, the order of a change, cost and thread, stands in
/// reflect/entity/EntityPattern.h.

#include "model/ModelNames.h"
#include "platform/Hardware/Loam/FapType.h"
#include "platform/SmDataNames.h"
#include "values/AradLifIndex.h"

// clang-format off
namespace Hardware::LoamTunnel {

/// The arithmetic of a family. A LIF index must not be null.
class KOR_EXPORT LifArithmetic : public Kor::Entity {
public:
    virtual U8 lifBankFromIndex(AradLifIndex const& lifIndex) const;
    virtual U32 lifOffsetFromIndex(AradLifIndex const& lifIndex) const;
    /// Where a part of a bulk download goes in the buffer of the DMA.
    virtual U32 lifDnldIndexToDmaAddr(U32 dmaAddrBase, U32 dnldIndex, U32 dnldSize, U32 entrySize) const;
    virtual U32 lifDnldIndexToLifBank(U32 dnldIndex, U32 dnldSize) const;
    virtual U32 lifDnldIndexToLifOffset(U32 dnldIndex, U32 dnldSize) const;

protected:
    using Entity::Entity;
};

/// FapTypeProperties::Properties, the sizes of one family: 0 until they are set, and an arithmetic of zeros.
class KOR_EXPORT FapTypePropertySet
    : public Kor::EntityOver<FapTypePropertySet, LifArithmetic,
          Kor::FixedAttribute<name::fapType, Loam::FapType>,
          VirtualSingleton<name::isemHwSize, U32>,
          VirtualSingleton<name::esemHwSize, U32>,
          VirtualSingleton<name::evecProfileSize, U32>,
          VirtualSingleton<name::lifEntriesPerBank, U32>,
          VirtualSingleton<name::tcamEntriesPerBank, U32>,
          Kor::VirtualOperation<name::lifBankFromIndex, U8(Arg<name::lifIndex, AradLifIndex>)>,
          Kor::VirtualOperation<name::lifOffsetFromIndex, U32(Arg<name::lifIndex, AradLifIndex>)>,
          Kor::VirtualOperation<name::lifDnldIndexToDmaAddr, U32(Arg<name::dmaAddrBase, U32>, Arg<name::dnldIndex, U32>, Arg<name::dnldSize, U32>, Arg<name::entrySize, U32>)>,
          Kor::VirtualOperation<name::lifDnldIndexToLifBank, U32(Arg<name::dnldIndex, U32>, Arg<name::dnldSize, U32>)>,
          Kor::VirtualOperation<name::lifDnldIndexToLifOffset, U32(Arg<name::dnldIndex, U32>, Arg<name::dnldSize, U32>)>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The sizes of one chip family, all 0 until they are set, and an arithmetic that answers 0",
        "fapType", "The family",
        "isemHwSize", "The hardware size of the ISEM: 32768 on Arad, 65536 on Jericho",
        "esemHwSize", "The hardware size of the ESEM: 16384 on Arad, 65536 on Jericho",
        "evecProfileSize", "The size of the egress edit-vector profile: 4 on Arad, 5 on Jericho",
        "lifEntriesPerBank", "LIF entries in one bank: 16384 on Arad, 32768 on Jericho",
        "tcamEntriesPerBank", "TCAM entries in one bank: MAX_ARAD_TCAM_ENTRIES or else 1024, MAX_JERICHO_TCAM_ENTRIES or else 2048",
        "lifBankFromIndex", "The bank that a LIF lies in. The null index is not allowed",
        "lifOffsetFromIndex", "The entry of its bank that a LIF lies in. The null index is not allowed",
        "lifDnldIndexToDmaAddr", "Where a part of a bulk download goes in the buffer of the DMA",
        "lifDnldIndexToLifBank", "The bank that a part of a bulk download goes to",
        "lifDnldIndexToLifOffset", "The entry of its bank that a part of a bulk download begins at");

    static constexpr std::string_view korTypeName = "Hardware::LoamTunnel::FapTypeProperties::Properties";
    using EntityOver::EntityOver;
};

/// The arithmetic of a family, over the sizes.
template <class Family>
class KOR_EXPORT FapTypePropertySetOf
    : public Kor::EntityOver<Family, FapTypePropertySet,
          Kor::Override<name::lifBankFromIndex>,
          Kor::Override<name::lifOffsetFromIndex>,
          Kor::Override<name::lifDnldIndexToDmaAddr>,
          Kor::Override<name::lifDnldIndexToLifBank>,
          Kor::Override<name::lifDnldIndexToLifOffset>> {
public:
    using FapTypePropertySetOf::EntityOver::EntityOver;

    U8 lifBankFromIndex(AradLifIndex const& lifIndex) const override;
    U32 lifOffsetFromIndex(AradLifIndex const& lifIndex) const override;
    U32 lifDnldIndexToDmaAddr(U32 dmaAddrBase, U32 dnldIndex, U32 dnldSize, U32 entrySize) const override;
    U32 lifDnldIndexToLifBank(U32 dnldIndex, U32 dnldSize) const override;
    U32 lifDnldIndexToLifOffset(U32 dnldIndex, U32 dnldSize) const override;
};

/// FapTypeProperties::AradProperties: a bank is filled in order.
class KOR_EXPORT AradFapTypeProperties final
    : public FapTypePropertySetOf<AradFapTypeProperties> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The sizes and the arithmetic of the Arad family, which fills a bank in order",
        "lifBankFromIndex", "startingBank + index / lifEntriesPerBank. The null index is not allowed",
        "lifOffsetFromIndex", "index % lifEntriesPerBank. The null index is not allowed",
        "lifDnldIndexToDmaAddr", "dnldIndex x dnldSize x entrySize + dmaAddrBase",
        "lifDnldIndexToLifBank", "dnldIndex x dnldSize / lifEntriesPerBank + 2",
        "lifDnldIndexToLifOffset", "dnldIndex x dnldSize % lifEntriesPerBank");

    static constexpr std::string_view korTypeName = "Hardware::LoamTunnel::FapTypeProperties::AradProperties";
    using FapTypePropertySetOf::FapTypePropertySetOf;
};

/// FapTypeProperties::JerichoProperties: neighbouring indexes alternate between the two banks of a pair.
class KOR_EXPORT JerichoFapTypeProperties final
    : public FapTypePropertySetOf<JerichoFapTypeProperties> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The sizes and the arithmetic of the Jericho family, which spreads neighbouring indexes over the two banks of a pair",
        "lifBankFromIndex", "(startingBank + index / lifEntriesPerBank) x 2, and 1 more for an odd index. The null index is not allowed",
        "lifOffsetFromIndex", "index % lifEntriesPerBank / 2. The null index is not allowed",
        "lifDnldIndexToDmaAddr", "((dnldIndex % 2 + 2) x 16384 + dnldIndex / 2 x dnldSize) x entrySize + dmaAddrBase",
        "lifDnldIndexToLifBank", "dnldIndex x dnldSize / lifEntriesPerBank x 2 + dnldIndex % 2 + 4",
        "lifDnldIndexToLifOffset", "dnldIndex / 2 x dnldSize % (lifEntriesPerBank / 2)");

    static constexpr std::string_view korTypeName =
        "Hardware::LoamTunnel::FapTypeProperties::JerichoProperties";
    using FapTypePropertySetOf::FapTypePropertySetOf;
};

class KOR_EXPORT FapTypeProperties final
    : public Kor::EntityOf<FapTypeProperties,
          ReferenceMap<name::properties, Loam::FapType, FapTypePropertySet>,
          Singleton<name::initialized, bool>,
          Kor::Operation<name::handleInitialized, void()>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "What each chip family has of each resource. It is complete when its constructor returns",
        "properties", "The sizes and the arithmetic of this family; the Arad and the Jericho family have one",
        "initialized", "Whether both families are there; handleInitialized sets it at its end",
        "handleInitialized", "Makes the sets of both families anew, from the environment as it is. The constructor calls it");

    using Properties = FapTypePropertySet;
    using AradProperties = AradFapTypeProperties;
    using JerichoProperties = JerichoFapTypeProperties;

    FapTypeProperties();

    /// Makes the sets of both families anew, from the environment as it is, and then sets `initialized`. The constructor
    /// calls it.
    void handleInitialized();

    static Kor::Ptr<Properties> propertiesFactory(Loam::FapType fapType);
    static Kor::Ptr<AradProperties> aradPropertiesFactory(Loam::FapType fapType);
    static Kor::Ptr<JerichoProperties> jerichoPropertiesFactory(Loam::FapType fapType);
};
KOR_FACTORY(fapTypePropertiesFactory, FapTypeProperties)

} // namespace Hardware::LoamTunnel
// clang-format on
