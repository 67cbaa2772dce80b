#include "values/OutAcValue.h"

#include "chip/RowWriter.h"
#include "tables/OutAcBank.h"

namespace Hardware::LoamTunnel {

namespace {

/// The names of the row fields of AC 0, and of AC 1.
struct Ac0 {
    using EntryFormat = name::ac0EntryFormat;
    using UseAsDataBit = name::ac0ActionUseAsDataBit;
    using PcpDeiProfile = name::ac0ActionPcpDeiProfile;
    using Vid1 = name::ac0ActionVid1;
    using Vid2 = name::ac0ActionVid2;
    using OamLifSet = name::ac0ActionOamLifSet;
    using VlanEditProfile = name::ac0ActionVlanEditProfile;
    using Drop = name::ac0ActionDrop;
};

struct Ac1 {
    using EntryFormat = name::ac1EntryFormat;
    using UseAsDataBit = name::ac1ActionUseAsDataBit;
    using PcpDeiProfile = name::ac1ActionPcpDeiProfile;
    using Vid1 = name::ac1ActionVid1;
    using Vid2 = name::ac1ActionVid2;
    using OamLifSet = name::ac1ActionOamLifSet;
    using VlanEditProfile = name::ac1ActionVlanEditProfile;
    using Drop = name::ac1ActionDrop;
};

template <class Ac>
void write(auto& row, OutAcFormat const& ac) {
    if (Ac::EntryFormat::isValid(row)) {
        Ac::EntryFormat::set(row, ac.format());
    }
    if (Ac::UseAsDataBit::len(row) != 0) {
        Ac::UseAsDataBit::set(row, U8{0});
    }
    Ac::PcpDeiProfile::set(row, ac.pcpDeiProfile());
    Ac::Vid1::set(row, ac.vid1());
    Ac::Vid2::set(row, ac.vid2());
    Ac::OamLifSet::set(row, ac.oamLifSet());
    Ac::VlanEditProfile::set(row, ac.vlanEditProfile());
    Ac::Drop::set(row, ac.drop());
}

} // namespace

bool OutAcValue::valid() const {
    return acEntryFormat() == 0 && ac0EntryFormat() == 0 && ac1EntryFormat() == 0;
}

OutAcFormat OutAcValue::acFormat(bool isAc0) const {
    return OutAcFormat(isAc0 ? U64{ac0_32_36()} << 32 | ac0_0_31() : U64{ac1_27_36()} << 27 | ac1_0_26());
}

void OutAcValue::acFormatIs(bool isAc0, OutAcFormat const& format) {
    U64 const bits = format.value();
    if (isAc0) {
        ac0_0_31Is(static_cast<U32>(bits));
        ac0_32_36Is(static_cast<U32>(bits >> 32));
    } else {
        ac1_0_26Is(static_cast<U32>(bits));
        ac1_27_36Is(static_cast<U32>(bits >> 27));
    }
}

void OutAcValue::writeToChipFormat(ChipType chipType, Kor::BytePtr dataBuffer) const {
    writeRow<OutAcBank, 1>(chipType, dataBuffer, [this](auto& row) {
        OutAcFormat const ac0 = acFormat(true);
        OutAcFormat const ac1 = acFormat(false);
        row.acEntryFormatIs(0);
        write<Ac0>(row, ac0);
        write<Ac1>(row, ac1);
    });
}

} // namespace Hardware::LoamTunnel
