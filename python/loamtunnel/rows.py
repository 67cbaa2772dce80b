"""Rows of the chip tables: made, read, and encoded from entries.

    >>> from loamtunnel import rows
    >>> from loamtunnel.types import AradLifAcMp
    >>> row = rows.LifTable(chip=8, variant=1)
    >>> row.vsi = 100
    >>> row.words
    (100, 0, 0, 0)
    >>> rows.encode(AradLifAcMp(vsi=100, vlanEditVid1=20), chip=8).vlanEditVid1
    20
    >>> str(rows.LifTable(8, 1, words=[100]))
    'chip=8 table=LifTable variant=1 0x00000064 0x00000000 0x00000000 0x00000000'

There is a class for each table: LifTable, OutAcBank, EvecTable, IngressVECTable, EpniIvecTable, EgqIvecTable, TcamBankTable,
TcamActionTable, EpniIsidTable, IsemMgmtReq and EsemMgmtReq. `help(rows.LifTable)` tells where its fields lie.
"""

from __future__ import annotations

from . import tables, values
from .errors import RangeError
from .row import Address, Field, Row, format_of
from .tables import *  # noqa: F403

__all__ = ["Address", "CHIPS", "Field", "Row", "decode", "encode"]
__all__ += tables.__all__

CHIPS = (3, 4, 5, 7, 8, 9, 10)
ARAD = (3, 4)  # the chips of this family hold a destination in another encoding

# The fields of a LIF row in the order in which they are written, which matters where they share bits. `x?` is written only if
# the row has it, `x=3` is constant, `x<y` comes from y, and `@` stands for the destination in the encoding of the chip.
LIF_ROWS = {
    "lifAcMp": (
        1,
        "type=3 vsi ttLearnEnable vlanEditVid1 vlanEditVid2 vlanEditPcpDeiProfile vlanEditProfile orientationIsHub cosProfile"
        " inLifProfile vsiAssignmentMode useInLif?",
    ),
    "lifAcP2pToAc": (
        0,
        "type=0 destination<@ destinationValid? vlanEditProfile outLif? outLifLsb?<outLif outLifValid useInLif?",
    ),
    "lifAcP2pToPwe": (
        2,
        "destination destinationValid mplsVcLabel mplsPushProfile eeiIsLabel?=1 vlanEditVid1 vlanEditPcpDeiProfile"
        " vlanEditProfile orientationIsHub cosProfile inLifProfile vsiAssignmentMode oamLifSet protectionPath protectionPointer"
        " useInLif? type=1",
    ),
    "lifLabelPweP2p": (
        3,
        "orientationIsHub actionProfileIndex modelIsPipe terminationProfileLsb terminationProfileMsb inLifProfile tpidProfile"
        " cosProfile sysInLif outLifValue outLifValidBit destination<@ destinationValid? eeiOrOutLifType vsiAssignmentMode"
        " oamLifSet protectionPath protectionPointer type=0",
    ),
    "lifLabelProtocolOrLsp": (
        4,
        "orientationIsHub actionProfileIndex modelIsPipe terminationTypeLsb destinationValidOrTerminationTypeMsb inLifProfile"
        " tpidProfile cosProfile vsi vsiMsb? serviceType inRifMsb inRifValid expectBos? inLifValid? forwardingCode destination<@"
        " daNotFoundProfile ttLearnEnable oamLifSet vsiAssignmentMode protectionPath protectionPointer type=2",
    ),
}  # fmt: skip
LIF_VIEWS = {
    "lifAcMp": "AradLifAcMp",
    "lifAcP2pToAc": "AradLifAcP2pToAc",
    "lifAcP2pToPwe": "AradLifAcP2pToPwe",
    "lifLabelPweP2p": "AradLifPweToP2p",
    "lifLabelProtocolOrLsp": "AradLifLabelProtocolOrLsp",
}
LIF_OUT_MOST = 0xFFFF  # what a row holds of an outgoing LIF
AC_FIELDS = ("PcpDeiProfile", "Vid1", "Vid2", "OamLifSet", "VlanEditProfile", "Drop")
EVEC_FIELDS = (
    "nTagsToRemove",
    "innerPcpDeiSrc",
    "outerPcpDeiSrc",
    "innerVidSrc",
    "outerVidSrc",
    "innerTpidIdx",
    "outerTpidIdx",
)
MEMBERSHIP_CHECK = 1 << 18


def encode(value, chip: int) -> Row:
    """The row of an entry on a chip: of an `AradLifEntry` or a view of one, an `OutAcValue`, or an `EvecValue`.

    What the row of this chip has no place for, though the entry says it, is told in `row.dropped`. A number that would damage
    other fields is an `OverflowError`, as an outgoing LIF above 65535 on the chips 5 to 10.
    """
    kind = getattr(type(value), "_family", None)
    encoder = _ENCODERS.get(kind._schema.short if kind is not None else "")
    if encoder is None:
        raise TypeError(f"{value!r} has no row; an AradLifEntry, OutAcValue and EvecValue have one")
    return encoder(value, chip)


def decode(text: str) -> Row:
    """The row that `str(row)` gives, or `loamtunnel encode --rows` prints."""
    given, words = {"table": "LifTable", "variant": "0"}, []
    for part in text.split():
        name, is_pair, what = part.partition("=")
        if is_pair:
            given[name] = what
        else:
            words.append(int(part, 16))
    try:
        return getattr(tables, given["table"])(int(given["chip"]), int(given["variant"]), words)
    except KeyError:
        raise RangeError(f"{text!r} does not say its chip; chip=8 does") from None
    except AttributeError:
        raise RangeError(f"no table {given['table']}; there are {', '.join(tables.__all__)}") from None


def destination(encoded: int, chip: int) -> int:
    """A destination, held as the chips 5 to 10 have it, as the chip has it: on 3 and 4 the type is below the id, inverted."""
    return (encoded & 0xFFFF) << 3 | (7 - (encoded >> 16)) if chip in ARAD else encoded


def _lif(entry, chip: int) -> Row:
    found = LIF_ROWS.get(str(entry.lifType))
    if found is None:
        raise RangeError(f"an entry of type {entry.lifType} has no row; {', '.join(LIF_ROWS)} have one")
    view = values.python_type("Hardware::LoamTunnel::" + LIF_VIEWS[str(entry.lifType)]).made(*entry._stored())
    row = tables.LifTable(chip, found[0])
    out = getattr(view, "outLif", 0)
    if out > LIF_OUT_MOST and "outLif" in row:
        row.dropped = (f"outLif: of {out} the row of chip {chip} keeps {out & LIF_OUT_MOST}",)
    for part in found[1].split():
        target, _, constant = part.partition("=")
        target, _, source = target.partition("<")
        if target.endswith("?"):
            target = target[:-1]
            if target not in row:
                continue
        if constant:
            value = int(constant)
        elif source == "@":
            value = destination(_destination(view), chip)
        else:
            value = int(getattr(view, source or target))
            if source == "outLif" and value > LIF_OUT_MOST:
                raise OverflowError(f"outLif: {value} is too large; the row of chip {chip} has at most {LIF_OUT_MOST}")
            if target == "outLif":
                value &= LIF_OUT_MOST
        setattr(row, target, value)
    return row


def _destination(view) -> int:
    whole = getattr(view, "destination", None)  # two views hold it in halves
    return view.destinationHi << 7 | view.destinationLo if whole is None else whole


def _out_ac(value, chip: int) -> Row:
    value = values.python_type("Hardware::LoamTunnel::OutAcValue").made(*value._stored())
    row = tables.OutAcBank(chip, 1)
    dropped = [f"acEntryFormat: {value.acEntryFormat} is not kept"] if value.acEntryFormat else []
    image = value.word0 | value.word1 << 32 | value.word2 << 64
    row.acEntryFormat = 0
    kind = values.python_type("Hardware::LoamTunnel::OutAcFormat")
    for half, ac in enumerate(("ac0", "ac1")):
        edit = kind.made(image >> 37 * half & (1 << 37) - 1)
        target = f"{ac}EntryFormat"
        if target in row:
            if edit.format > (most := row.layout()[target].most):
                raise OverflowError(f"{target}: {edit.format} is too large; the row of chip {chip} has at most {most}")
            setattr(row, target, edit.format)
        elif edit.format:
            dropped.append(f"{target}: chip {chip} has no place for {edit.format}")
        if f"{ac}ActionUseAsDataBit" in row:
            setattr(row, f"{ac}ActionUseAsDataBit", 0)
        for each in AC_FIELDS:
            setattr(row, f"{ac}Action{each}", int(getattr(edit, each[0].lower() + each[1:])))
    row.dropped = tuple(dropped)
    return row


def _evec(value, chip: int) -> Row:
    row = tables.EvecTable(chip, 0)
    dropped = []
    kind = values.python_type("Hardware::LoamTunnel::EvecFormat")
    mask = row.layout()["entry0InnerTpidIdx"].most
    for half in (0, 1):
        edit = kind.made(value.word0 >> 19 * half & 0x7FFFF | MEMBERSHIP_CHECK)
        for each in EVEC_FIELDS:
            held = getattr(edit, each)
            if "Tpid" in each and held > mask:
                dropped.append(f"evec{half}.{each}: of {held} the row of chip {chip} keeps {held & mask}")
                held &= mask
            setattr(row, f"entry{half}{each[0].upper()}{each[1:]}", held)
        if f"entry{half}MembershipCheckType" in row:
            setattr(row, f"entry{half}MembershipCheckType", edit.membershipCheckType)
    row.dropped = tuple(dropped)
    return row


_ENCODERS = {"AradLifEntry": _lif, "EedbValue": _out_ac, "EvecValue": _evec}
