"""Rows: fields, addresses and encoders, each also as the program has them."""

import json
import random

import pytest
from conftest import ran
from loamtunnel import collect, row, rows, text, types
from loamtunnel.types import AradLifAcMp, AradLifAcP2pToAc, AradLifEntry, AradLifPweToP2p, EvecValue, OutAcValue

FORMATS = [
    (table, chip, 0 if variant == "any" else int(variant))
    for table, chips in row.ALL.items()
    for chip, variants in chips.items()
    for variant in variants
]


def test_a_field_has_the_bits_of_its_chip():
    lif = rows.LifTable(chip=8, variant=3)
    lif.destination = 0x5A5A5
    assert lif.words == (0, 0x4A000000, 0xB4B, 0)
    lif.destination = 0
    assert lif.words == (0, 0, 0, 0)
    whole = rows.LifTable(chip=8, variant=1, words=[0xFFFFFFFF] * 4)
    whole.vsi = 0
    assert whole.words == (0xFFFF0000, *[0xFFFFFFFF] * 3) and whole.unowned and whole.get("vsi") == 0
    assert rows.LifTable(3, 1, [0, 0, 0, 5 << 29]).unowned == ((29 + 32 * 3, 29 + 32 * 3), (31 + 32 * 3, 31 + 32 * 3))


def test_what_a_row_does_not_have_is_told():
    lif = rows.LifTable(chip=8, variant=1)
    assert "useInLif" not in lif and not hasattr(lif, "useInLif") and lif.get("useInLif") is None
    with pytest.raises(
        AttributeError, match="LifTable variant 1 on chip 8 has no field useInLif; others of the table have it"
    ):
        lif.useInLif = 1
    with pytest.raises(AttributeError, match="did you mean vsi?"):
        lif.vsy = 1
    with pytest.raises(OverflowError, match="learnInfo: 65536 is too large; the field has 16 bits, at most 65535"):
        rows.LifTable(chip=3, variant=1).learnInfo = 65536
    rows.LifTable(chip=5, variant=1).learnInfo = 65536
    with pytest.raises(ValueError, match="there is none on chip 6"):
        rows.LifTable(chip=6)
    with pytest.raises(ValueError, match="LifTable on chip 8 has no variant 5; 0 to 4 are there"):
        rows.LifTable(chip=8, variant=5)
    with pytest.raises(ValueError, match="index: 32768 is not there; there are 0 to 32767"):
        lif.address(32768)
    with pytest.raises(ValueError, match="rows of 4 words; 5 were given"):
        lif.words = [0] * 5


def test_all_formats_are_the_program_s(program):
    """Random rows: each field, the bits without an owner, and the addresses of the last row of the last element."""
    chance = random.Random(1)
    made = []
    for table, chip, variant in FORMATS:
        words = row.format_of(table, chip, variant).words
        made += [getattr(rows, table)(chip, variant, [chance.getrandbits(32) for _ in range(words)]) for _ in range(5)]
    told = ran(program, "decode", "--file", "-", "--json", given="".join(f"{each}\n" for each in made))
    for ours, theirs in zip(made, json.loads(told), strict=True):
        fields = {each["name"]: int(str(each["value"]), 0) for each in theirs["fields"]}
        assert ours.fields == fields, str(ours)
        assert [{"hi": a, "lo": b} for a, b in ours.unowned] == theirs.get("unowned", [])
        assert rows.decode(str(ours)) == ours


@pytest.mark.parametrize("chip", rows.CHIPS)
def test_addresses_are_the_program_s(program, chip):
    for table, _, variant in (each for each in FORMATS if each[1] == chip):
        one, form = getattr(rows, table)(chip, variant), row.format_of(table, chip, variant)
        last = form.entries - 1, form.elements - 1, form.blocks - 1
        asked = f"--chip {chip} -t {table} -v {variant} --array {last[1]} --identifier {last[2]}".split()
        told = json.loads(ran(program, "addr", *asked, "--json", str(last[0])))[0]
        assert one.address(*last) == tuple(int(told[each], 16) for each in ("block", "address", "aux"))
        for place in range(3):
            with pytest.raises(ValueError, match="is not there"):
                one.address(*(each + (i == place) for i, each in enumerate(last)))


def test_the_tables_that_are_shipped_are_the_program_s(program):
    told = collect.printed(program, "tables", "--chip", "10")
    for each in told:
        for variant in collect.variants(each["variants"]) or ["any"]:
            form = row.ALL[each["table"]][10][str(variant)]
            assert (form["words"], form["entries"], form["array"], form["blocks"]) == tuple(
                each[name] for name in ("words", "entries", "array", "blocks")
            )


def random_entry(chance: random.Random):
    word = chance.getrandbits(128) & (chance.getrandbits(128) if chance.getrandbits(1) else -1)
    kind = chance.choice([*rows.LIF_VIEWS, "EvecValue", "OutAcValue"])
    if kind == "EvecValue":
        return EvecValue(word & (1 << 38) - 1)
    if kind == "OutAcValue":
        made = OutAcValue(word & 0xFFFFFFFF, word >> 32 & 0xFFFFFFFF, word >> 64 & 0xFFFFFFFF)
        return made.replace(word1=made.word1 & ~(1 << 4), word2=made.word2 & ~(1 << 9))  # formats that all chips have
    if kind == "lifAcP2pToAc":
        word &= ~(0x3FF << 36)  # an outgoing LIF that all chips have
    return AradLifEntry(kind, word & (1 << 64) - 1, word >> 64)


def test_the_encoders_make_the_rows_that_the_program_makes(program):
    chance = random.Random(2)
    entries = [random_entry(chance) for _ in range(700)]
    # The text of an EvecValue is a number alone, which does not say its kind.
    given = "".join(
        f"EvecValue word0={e.word0}\n" if isinstance(e, EvecValue) else f"{text.text(e)}\n" for e in entries
    )
    told = ran(program, "encode", "-a", "--rows", "-f", "-", given=given).splitlines()
    ours = [str(rows.encode(each, chip)) for each in entries for chip in rows.CHIPS]
    assert ours == told and len(told) == 4900


def test_what_an_encoder_cannot_place_is_told():
    wide = AradLifAcP2pToAc(outLif=0x12345)
    assert rows.encode(wide, 3).dropped == ("outLif: of 74565 the row of chip 3 keeps 9029",)
    with pytest.raises(OverflowError, match="outLif: 74565 is too large; the row of chip 8 has at most 65535"):
        rows.encode(wide, 8)
    half = OutAcValue(acEntryFormat=1, ac0EntryFormat=5)
    assert rows.encode(half, 3).dropped == ("acEntryFormat: 1 is not kept",)
    with pytest.raises(OverflowError, match="ac0EntryFormat: 5 is too large; the row of chip 5 has at most 3"):
        rows.encode(half, 5)
    assert len(rows.encode(half, 8).dropped) == 2
    assert rows.encode(EvecValue(7 << 12), 3).dropped == ("evec0.innerTpidIdx: of 7 the row of chip 3 keeps 3",)
    assert rows.encode(AradLifAcMp(vsi=1), 3).dropped == ()
    # The row's type does not come from the value's bits, and a view is encoded by its type.
    assert rows.encode(AradLifAcMp(type=1), 8).type == 3
    assert rows.encode(AradLifEntry(*AradLifPweToP2p(sysInLif=9)._stored()), 8).sysInLif == 9
    with pytest.raises(ValueError, match="an entry of type lifGeneral has no row"):
        rows.encode(AradLifEntry(), 8)
    with pytest.raises(TypeError, match="has no row"):
        rows.encode(types.OutAcFormat(1), 8)
