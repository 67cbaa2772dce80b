"""Values and enumerations: what fits, what does not and is told how, and what is equal."""

import json
import pickle
import random

import pytest
from chance import random_value
from loamtunnel import errors, from_wire, plain, records, schema, text, to_wire, values
from loamtunnel import types as model
from loamtunnel.types import (
    AradLifAcMp,
    AradLifEntry,
    AradLifPweToP2p,
    EvecEntry,
    EvecFormat,
    EvecKey,
    LifAppConfig,
    LifType,
    OutAcFormat,
    OutAcKey,
    TcamSharingRequest,
    VtAppId,
)

VALUES = sorted(name for name, each in schema.TYPES.items() if each.kind == "value" and not each.form and each.stored)


@pytest.mark.parametrize(
    "name", ["eth0", "Ethernet", "Ethernet03", "Vlan1/2/3/4", "Vlan1.0", "Vlan1.65536", "Tunnel262143", "0x12"]
)
def test_what_names_no_interface_is_refused(name):
    with pytest.raises(ValueError, match="is no interface"):
        values.Interface(name)


@pytest.mark.parametrize("name", VALUES)
def test_every_value_survives_bytes_text_json_and_pickle(name):
    chance = random.Random(name)
    for _ in range(50):
        value = random_value(name, chance)
        assert from_wire(name, to_wire(value)) == value
        assert text.value(name, text.text(value)) == value
        assert pickle.loads(pickle.dumps(value)) == value
        assert plain.value(name, json.loads(json.dumps(plain.plain(value)))) == value
        assert hash(value.replace()) == hash(value)
        data = to_wire(value)
        for length in range(len(data)):
            with pytest.raises(errors.StreamFault):
                from_wire(name, data[:length])
        with pytest.raises(errors.StreamFault):
            from_wire(name, data + b"\0")


def test_views_are_bits_of_the_stored_words():
    lif = AradLifAcMp(vsi=0xFFFF, vlanEditVid1=20, cosProfile=63, useInLif=True)
    assert (lif.lifType, lif.dword0, lif.dword1) == (LifType.lifAcMp, 20 << 48 | 0xFFFF, 1 << 32 | 63 << 4)
    assert (lif.vsi, lif.vlanEditVid1, lif.vlanEditVid2, lif.useInLif) == (0xFFFF, 20, 0, True)
    assert repr(lif) == "AradLifAcMp(vsi=65535, vlanEditVid1=20, cosProfile=63, useInLif=True)"
    assert eval(repr(lif), vars(model)) == lif
    # Two views of the same bits: the one given last prevails.
    assert AradLifPweToP2p(eeiOrOutLif=0xFFFFFF, outLifValue=0).eeiOrOutLif == 0xFF0000


def test_equal_means_equal_stored_attributes():
    lif = AradLifAcMp(vsi=100)
    entry = AradLifEntry(LifType.lifAcMp, 100, 0)
    assert lif == entry and hash(lif) == hash(entry) and {lif: 1}[entry] == 1
    assert lif != AradLifAcMp(vsi=101) and OutAcFormat(5) != EvecFormat(5) and lif != 100
    assert AradLifEntry(1, 2, 0) < AradLifEntry(1, 10, 0) < AradLifEntry(2, 0, 0)


def test_a_value_does_not_change():
    lif = AradLifAcMp(vsi=100)
    with pytest.raises(AttributeError):
        lif.vsi = 5
    assert lif.replace(vsi=5) == AradLifAcMp(vsi=5) and lif.vsi == 100


@pytest.mark.parametrize(
    ("make", "error", "words"),
    [
        (lambda: AradLifAcMp(vsi=70000), OverflowError, "vsi: 70000 is too large; the field has 16 bits, at most 65535"),
        (lambda: AradLifAcMp(vsi=-1), OverflowError, "vsi: -1 is too small; the least is 0"),
        (lambda: AradLifAcMp(vsi="x"), TypeError, "vsi: 'x' is no number"),
        (lambda: AradLifAcMp(vlanEditVd1=1), TypeError, "no attribute vlanEditVd1 in AradLifAcMp; did you mean vlanEdit"),
        (lambda: AradLifEntry(1, 2, 3, 4), TypeError, "AradLifEntry has 3 stored attributes; 4 were given"),
        (lambda: TcamSharingRequest(0, 2049, 0), OverflowError, "fapId: 2049 is too large; the field has 16 bits, at most 2048"),
        (lambda: VtAppId("vtAppMpl"), ValueError, "no enumerator vtAppMpl; did you mean vtAppMpls?"),
        (lambda: VtAppId(1 << 32), OverflowError, "an enumerator has 32 bits"),
        (lambda: EvecKey("0-128", 1), ValueError, "fapMask: 0-128: a chip is a number from 0 to 127"),
        (lambda: LifAppConfig(), TypeError, "LifAppConfig is made from its app"),
    ],
)
def test_what_does_not_fit_is_told(make, error, words):
    with pytest.raises(error) as caught:
        make()
    assert words in str(caught.value)


def test_unknown_enumerators_are_kept_where_they_may_be():
    assert VtAppId(99) == 99 and not VtAppId(99).is_known and str(VtAppId(99)) == "VtAppId(99)"
    assert VtAppId("VtAppId(99)") == text.value("VtAppId", "'VtAppId(99)'") == text.short_value("VtAppId", "VtAppId(99)") == 99
    for wrong in ("VtAppId(4294967296)", "LifType(3)", "VtAppId(-1)", "VtAppId(\u0663)", "99"):
        with pytest.raises(errors.RangeError, match="VtAppId has no enumerator"):
            text.value("VtAppId", f"'{wrong}'")
    assert pickle.loads(pickle.dumps(VtAppId(99))) == 99 and pickle.loads(pickle.dumps(VtAppId.vtAppMpls)) is VtAppId.vtAppMpls
    assert 99 not in list(VtAppId) and VtAppId(7) is VtAppId.vtAppMpls
    with pytest.raises(errors.RangeError, match="no enumerator with the number 12"):
        from_wire("AradLifEntry", (12).to_bytes(4, "big") + bytes(16))


def test_a_command_of_an_entry_is_completed_and_checked_on_its_way_in():
    key = to_wire(EvecKey("0", 1))
    assert from_wire("EvecEntry", key + (0).to_bytes(4, "big")) == EvecEntry(EvecKey("0", 1), EvecFormat(0x40000))
    assert from_wire("EvecFormat", bytes(4)).value == 0
    with pytest.raises(errors.RangeError, match="EvecFormat::value < 0 or > 0x7ffff not allowed"):
        from_wire("EvecEntry", key + (0x80000).to_bytes(4, "big"))


@pytest.mark.parametrize(
    ("given", "words"),
    [
        ("Value('Hardware::LoamTunnel::OutAcKey', ** {'fapMask': '0-3'", "premature end of value type OutAcKey"),
        ("Value('Hardware::LoamTunnel::OutAcKey', ** {'x': 5})", "OutAcKey has no such attribute: x"),
        ("Value('Hardware::LoamTunnel::OutAcKey', ** {'acFormat': 5,})", "expected a quoted string"),
        ("Value('Hardware::LoamTunnel::OutAcKey', ** {}) x", "junk at column 47"),
        ("5", 'expected "Value" at column 0'),
    ],
)
def test_faults_of_a_text(given, words):
    with pytest.raises(errors.RangeError) as caught:
        text.value("OutAcKey", given)
    assert words in str(caught.value)


@pytest.mark.parametrize(
    ("type_", "given", "number"),
    [
        ("U16", "0xffff", 0xFFFF),
        ("U32", " 0X1f ", 0x1F),
        ("U16", "010", 10),  # decimal all the same
        ("int", "-5", -5),
        ("FapId", "0x10", 16),
        ("EvecFormat", "0x40012", EvecFormat(0x12)),
        ("U16", "65536", "U16: 65536 is too large; the field has 16 bits, at most 65535"),
        ("U8", "-1", "U8: -1 is too small"),
        ("int", "2147483648", "int: 2147483648 is too large; the field holds -2147483648 to 2147483647"),
        ("OutAcFormat", "18446744073709551616", "is too large; the field has 64 bits"),
        ("U64", "9" * 5000, "is no number such as 20 or 0x14"),
        ("U16", "\u0663", "expected a number at column 0"),
    ],
)
def test_numbers_are_decimal_or_hexadecimal_and_never_cut(type_, given, number):
    for read in (text.value, text.short_value):
        if isinstance(number, str):
            with pytest.raises(errors.RangeError, match=number):
                read(type_, given)
        else:
            assert read(type_, given) == number


@pytest.mark.parametrize("data", ["", "80", "80 00", "ff ff ff ff ff ff ff ff ff 02", "80 " * 10 + "01"])
def test_unsound_number_is_a_fault(data):
    with pytest.raises(errors.StreamFault):
        records.read_number(bytes.fromhex(data), 0, len(bytes.fromhex(data)))


def test_a_small_number_that_is_larger_on_the_wire_is_refused():
    assert from_wire("U8", b"\0\xff") == 255
    with pytest.raises(errors.RangeError, match="U8 > 255 not allowed"):
        from_wire("U8", b"\1\0")
    with pytest.raises(errors.RangeError, match="parts that it does not have: 0x0105"):
        from_wire("Fapmask", bytes.fromhex("0105 8001 0002"))


def test_text_is_read_with_blanks_and_in_any_order():
    given = " Value ( 'Hardware::LoamTunnel::OutAcKey' ,** { 'acFormat':5 , 'fapMask' : '0-3' } ) "
    assert text.value("OutAcKey", given) == OutAcKey("0-3", OutAcFormat(5))


def test_types_are_found_by_name():
    assert model.TapAggNormalFapMask._schema.name == "Hardware::LoamTunnel::TapAggNormalFapMask"
    found: dict[str, object] = {}
    exec("from loamtunnel.types import *", found)
    assert found["LifAppConfig"] is LifAppConfig
    with pytest.raises(ImportError, match="LifAppConfi"):
        exec("from loamtunnel.types import LifAppConfi")
