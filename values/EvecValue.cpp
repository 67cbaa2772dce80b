#include "values/EvecValue.h"

#include "chip/RowWriter.h"
#include "reflect/Text.h"
#include "tables/EvecTable.h"
#include "values/Tracing.h"

#include <ostream>

namespace Hardware::LoamTunnel {

namespace {

/// The names of the row fields of entry 0, and of entry 1.
struct Entry0 {
    using NTagsToRemove = name::entry0NTagsToRemove;
    using InnerPcpDeiSrc = name::entry0InnerPcpDeiSrc;
    using OuterPcpDeiSrc = name::entry0OuterPcpDeiSrc;
    using InnerVidSrc = name::entry0InnerVidSrc;
    using OuterVidSrc = name::entry0OuterVidSrc;
    using InnerTpidIdx = name::entry0InnerTpidIdx;
    using OuterTpidIdx = name::entry0OuterTpidIdx;
    using MembershipCheckType = name::entry0MembershipCheckType;
};

struct Entry1 {
    using NTagsToRemove = name::entry1NTagsToRemove;
    using InnerPcpDeiSrc = name::entry1InnerPcpDeiSrc;
    using OuterPcpDeiSrc = name::entry1OuterPcpDeiSrc;
    using InnerVidSrc = name::entry1InnerVidSrc;
    using OuterVidSrc = name::entry1OuterVidSrc;
    using InnerTpidIdx = name::entry1InnerTpidIdx;
    using OuterTpidIdx = name::entry1OuterTpidIdx;
    using MembershipCheckType = name::entry1MembershipCheckType;
};

/// The trace points of the encoder while they compose nothing: counted, and told to the facility at the end.
class QuietLines {
public:
    explicit QuietLines(Kor::TraceFacility& facility) : facility_(facility) {}
    ~QuietLines() { Kor::traceCount(facility_, points_); }
    QuietLines(QuietLines const&) = delete;
    QuietLines& operator=(QuietLines const&) = delete;

    template <class... T>
    void operator()(T const&...) {
        ++points_;
    }

private:
    Kor::TraceFacility& facility_;
    U32 points_ = 0;
};

/// The same, composed and emitted one by one.
class TracedLines {
public:
    explicit TracedLines(Kor::TraceFacility& facility) : facility_(facility) {}

    template <class... T>
    void operator()(T const&... parts) {
        Kor::trace(facility_, 8, {"LoamTunnelTypes", __LINE__, "writeToChipFormat"},
                   [&](std::ostream& text) { (text << ... << parts); });
    }

private:
    Kor::TraceFacility& facility_;
};

/// A field value goes into the trace as one raw byte.
char raw(U8 value) {
    return static_cast<char>(value);
}

template <class Entry>
void writeEntry(auto& row, auto& line, EvecFormat const& f, U8 tpidMask) {
    line("tag:", raw(f.nTagsToRemove()));
    Entry::NTagsToRemove::set(row, f.nTagsToRemove());
    line("innerpcp:", raw(f.innerPcpDeiSrc()));
    Entry::InnerPcpDeiSrc::set(row, f.innerPcpDeiSrc());
    line("outerpcp:", raw(f.outerPcpDeiSrc()));
    Entry::OuterPcpDeiSrc::set(row, f.outerPcpDeiSrc());
    line("innervid:", raw(f.innerVidSrc()));
    Entry::InnerVidSrc::set(row, f.innerVidSrc());
    line("outervid:", raw(f.outerVidSrc()));
    Entry::OuterVidSrc::set(row, f.outerVidSrc());
    U32 const innerTpid = U32{f.innerTpidIdx()} & tpidMask;
    line("innertpid:", raw(f.innerTpidIdx()));
    line("innertpid trunc:", innerTpid);
    Entry::InnerTpidIdx::set(row, static_cast<U8>(innerTpid));
    U32 const outerTpid = U32{f.outerTpidIdx()} & tpidMask;
    line("outertpid:", raw(f.outerTpidIdx()));
    line("outertpid trunc:", outerTpid);
    Entry::OuterTpidIdx::set(row, static_cast<U8>(outerTpid));
    if (Entry::MembershipCheckType::isValid(row)) {
        line("membershipcheck:", raw(f.membershipCheckType()));
        Entry::MembershipCheckType::set(row, f.membershipCheckType());
    }
}

void write(auto& row, auto& line, EvecValue const& value) {
    auto const tpidMask = static_cast<U8>((1u << row.entry0InnerTpidIdxLen()) - 1);
    line("writeToChipFormat", ": data : ", value.word0());
    EvecFormat const evec0 = value.evecFormat(true);
    line("writeToChipFormat", ": evec0 : ", evec0);
    writeEntry<Entry0>(row, line, evec0, tpidMask);
    EvecFormat const evec1 = value.evecFormat(false);
    line("writeToChipFormat", ": evec1 : ", evec1);
    writeEntry<Entry1>(row, line, evec1, tpidMask);
}

[[gnu::cold, gnu::noinline]] void writeTraced(Kor::TraceFacility& facility, ChipType chipType,
                                              Kor::BytePtr dataBuffer, EvecValue const& value) {
    TracedLines line(facility);
    line("writeToChipFormat", ": chipType: ", chipType);
    U16 const bytes = static_cast<U16>(EvecTable::tableWidth(chipType, 0) * 4);
    EvecTable row(chipType, dataBuffer, bytes, false, 0);
    write(row, line, value);
}

} // namespace

void EvecValue::writeToChipFormat(ChipType chipType, Kor::BytePtr dataBuffer) const {
    Kor::TraceFacility& facility = typesTraceHandle().facility();
    if (!Kor::traceIsQuiet(facility, 8)) [[unlikely]] {
        return writeTraced(facility, chipType, dataBuffer, *this);
    }
    writeRow<EvecTable, 0>(chipType, dataBuffer, [this, &facility](auto& row) {
        QuietLines line(facility);
        line("writeToChipFormat", ": chipType: ");
        write(row, line, *this);
    });
}

} // namespace Hardware::LoamTunnel
