# SPDX-License-Identifier: GPL-2.0-or-later
"""Writes the seeds of the fuzz targets: what zone libraries have stumbled over,
and a few good inputs to start from.

make_corpus.py FOLDER    writes FOLDER/zone_file, FOLDER/tz_string, ...
"""

import pathlib
import struct
import sys

MIN64, MAX64 = -(1 << 63), (1 << 63) - 1


def block(width, types=((0, 0, 0),), times=(), kinds=(), names=b"UTC\0", leaps=(), std=b"", ut=b"",
          counts=None, version=b"2"):
    counts = counts or (len(ut), len(std), len(leaps), len(times), len(types), len(names))
    form = ">q" if width == 8 else ">i"
    data = b"TZif" + version + bytes(15) + struct.pack(">6I", *counts)
    data += b"".join(struct.pack(form, when) for when in times) + bytes(kinds)
    data += b"".join(struct.pack(">iBB", *one) for one in types) + names
    data += b"".join(struct.pack(form, when) + struct.pack(">i", all_of) for when, all_of in leaps)
    return data + std + ut


def file(footer=b"", **wide):
    return block(4, types=(), names=b"") + block(8, **wide) + b"\n" + footer + b"\n"


STD_DST = {"types": ((3600, 0, 0), (7200, 1, 4)), "names": b"STD\0DST\0"}
RULE = b"STD-1DST,M3.5.0,M10.5.0/3"

ZONE_FILES = {
    "plain": file(),
    "version_0": block(4, version=b"\0", times=(-(1 << 31), -1, (1 << 31) - 1), kinds=(1, 0, 1),
                       **STD_DST),
    "rule": file(RULE, times=(0, 10**9), kinds=(1, 0), **STD_DST),
    "rule_only": file(RULE, **STD_DST),
    "rule_all_transitions_before_1970": file(RULE, times=(-3 * 10**9, -2 * 10**9), kinds=(1, 0),
                                             **STD_DST),
    "rule_out_of_order": file(b"AAA0BBB,M1.1.0/-167,M12.5.0/167"),
    "rule_perpetual": file(b"AAA4BBB3,0/0,J365/167"),
    "rule_without_types": file(b"AAA3", types=(), names=b""),
    "rule_without_place": file(b"ABC-1DEF,M3.5.0,M10.5.0", names=b"A" * 45 + b"\0"),
    "rule_from_elsewhere": file(b"AAA5BBB"),
    "leap_seconds": file(RULE, times=(0,), kinds=(0,), leaps=((78796800, 1), (94694401, 2)),
                         **STD_DST),
    "leap_seconds_left_out": file(leaps=((2419199, -1), (2 * 2419199, -2))),
    "leap_seconds_at_the_end": file(leaps=((MAX64 - 2419199, 1), (MAX64, 2))),
    "leap_seconds_close": file(leaps=((78796800, 1), (78796801, 2))),
    "leap_seconds_early": file(leaps=((-1, 1),)),
    "indicators": file(std=b"\1\0", ut=b"\0\1", **STD_DST),
    "indicators_bad": file(std=b"\1\2", **STD_DST),
    "times_at_the_ends": file(RULE, times=(MIN64, MIN64 + 1, MAX64 - 1, MAX64), kinds=(1, 0, 1, 0),
                              **STD_DST),
    "times_equal": file(times=(5, 5, 5, 6), kinds=(0, 77, 1, 0), **STD_DST),
    "times_back": file(times=(6, 5), kinds=(0, 1), **STD_DST),
    "repeating": file(times=(10**9, 11 * 10**8, 10**9 + 12622780800), kinds=(1, 0, 1), **STD_DST),
    "repeating_late": file(times=(9000, 9001, 9000 + 12622780800), kinds=(1, 0, 1), **STD_DST),
    "types_255": file(types=tuple((i, i % 2, 0) for i in range(255))),
    "types_254_and_rule": file(RULE, types=tuple((i, i % 2, 0) for i in range(254))),
    "types_256": file(types=tuple((i, i % 2, 0) for i in range(256))),
    "types_none": file(types=(), names=b""),
    "types_all_daylight": file(types=((0, 1, 0), (1, 1, 0)), times=(0, 1), kinds=(0, 1)),
    "offsets_at_the_ends": file(types=((-(1 << 31), 0, 0), ((1 << 31) - 1, 1, 0)), times=(0,),
                                kinds=(1,)),
    "transitions_1999": file(RULE, times=tuple(range(1999)),
                             kinds=tuple(i % 2 for i in range(1999)), **STD_DST),
    "names_49": file(names=b"A" * 49),
    "names_50": file(names=b"A" * 50),
    "names_above_127": file(types=((0, 0, 0), (60, 0, 4)), names=b"\xff\xfe\x80\0\xc3\xa9*\0"),
    "names_long": file(names=b"ABCDEFGHIJKLMNOPQRS\0"),
    "names_index_beyond": file(types=((0, 0, 4),)),
    "footer_open": file()[:-1] + b"STD-1",
    "footer_with_nul": file(b"STD-1\0\n"),
    "footer_long_number": file(b"STD-" + b"0" * 3000 + b"1"),
    "truncated": file(RULE, times=(0,), kinds=(0,), **STD_DST)[:120],
    "header_only": block(4, types=(), names=b""),
    "short": b"TZif2",
    "empty": b"",
    "text": b"not a zone file, but a text that is long enough to be taken for a header",
    "counts_huge": block(4, counts=(0x7fffffff,) * 6) + bytes(200),
    "counts_negative": block(4, counts=(0xffffffff,) * 6) + bytes(200),
    "counts_wrapping": block(4, counts=(0, 0, 0, 0x33333334, 0, 0)) + bytes(200),
    "counts_negative_later": block(4, types=(), names=b"") +
                             block(8, counts=(0xffffffff, 0xffffffff, 0, 0, 0xffffffff, 4)),
}

TZ_STRINGS = [
    b"", b"X0", b"<+03>-3", b"AAA5BBB", b"AAA5BBB,M3.2.0,M11.1.0", b"AAA-10BBB,M10.1.0,M4.1.0/3",
    b"AAA3BBB,M3.5.0/-1,M10.5.0/25", b"AAA3BBB4,0/0,J365/23", b"AAA5BBB,0/0,J365/25",
    b"AAA3BBB,J1/0,J1/1", b"AAA3BBB3,59,J60", b"AAA0BBB,M1.1.0/-167,M12.5.0/167",
    b"AAA167:59:60BBB-167:59:60,J365/167:59:60,0/-167:59:60", b"AAA3<BBB>;J1,J2", b"AAA3BBB;J1,J2",
    b"AAA3BBB2;J60,J300", b"GMT", b"GMTBST,J1,J100", b"GMT0BST", b"UTC0", b"EST5EDT",
    b"A" * 255 + b"3" + b"B" * 255 + b",J1,J2", b"A" * 511 + b"3", b"A" * 600 + b"3",
    b"<" + b"\xff\x80\xfe" * 30 + b">3", b"\xc3\xa93", b"<>3", b"<AAA", b"AAA", b"AAA3BBB,", b"3",
    b"AAA3BBB,J1", b"AAA3BBB,M,M", b"AAA3BBB,J1/,J2", b"AAA99999999999999999999", b"AAA3:60",
    b"AAA3BBB,J366,M13.6.7", b":Europe/Zurich", b"Europe/Zurich", b"right/Europe/Zurich",
    b"America", b":", b"..", b"../zoneinfo/UTC", b"../../../etc/hostname", b"Europe/../UTC",
    b"a..b", b"/usr/share/zoneinfo/UTC", b"/", b"x" * 5000, b"../" * 3000,
    b"Local time zone must be set--see zic manual page", b"<Local time zone must be set--see zic>0",
]

LOW, HIGH = -(1 << 31), (1 << 31) - 1

# Zone, then year since 1900, month, day, hour, minute, second, flag, offset.
BROKEN_DOWN = {
    "noon": (1, 121, 6, 1, 12, 0, 0, -1, 0),
    "gap": (1, 121, 2, 14, 2, 30, 0, 0, 0),
    "gap_unknown": (1, 121, 2, 14, 2, 30, 0, -1, 0),
    "overlap": (1, 121, 10, 7, 1, 30, 0, 1, 0),
    "overlap_of_standard_times": (3, 114, 9, 26, 1, 30, 0, -1, 14400),
    "wrong_flag": (2, 121, 6, 1, 12, 0, 0, 1, 0),
    "leap_second": (3, 72, 6, 1, 2, 59, 60, -1, 0),
    "many_seconds_before_1970": (1, 60, 0, 1, 0, 0, 100000, -1, 0),
    "last_second": (0, HIGH, 11, 31, 23, 59, 59, -1, 0),
    "after_the_last_second": (0, HIGH, 11, 31, 23, 59, 60, -1, 0),
    "first_second": (0, LOW, 0, 1, 0, 0, 0, -1, 0),
    "before_the_first_second": (1, LOW, 0, 1, 0, 0, -1, 1, 0),
    "all_lowest": (1, LOW, LOW, LOW, LOW, LOW, LOW, LOW, -(1 << 63)),
    "all_highest": (1, HIGH, HIGH, HIGH, HIGH, HIGH, HIGH, HIGH, (1 << 63) - 1),
    "lowest_seconds": (3, 69, 0, 1, 0, 0, LOW, 0, 0),
    "lowest_day": (2, 70, 0, LOW, 0, 0, 0, 1, 0),
    "highest_month": (2, 70, HIGH, 1, 0, 0, 0, 1, 0),
    "mixed_signs": (3, HIGH, LOW, LOW, HIGH, LOW, HIGH, 2, -86400),
}


def main():
    folder = pathlib.Path(sys.argv[1])
    seeds = {"zone_file": ZONE_FILES,
             "tz_string": {f"{i:02}": text for i, text in enumerate(TZ_STRINGS)},
             "broken_down": {name: struct.pack("=B7iq", *fields)
                             for name, fields in BROKEN_DOWN.items()}}
    for target, inputs in seeds.items():
        (folder / target).mkdir(parents=True, exist_ok=True)
        for name, data in inputs.items():
            (folder / target / name).write_bytes(data)


if __name__ == "__main__":
    main()
