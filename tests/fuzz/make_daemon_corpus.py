# SPDX-License-Identifier: GPL-2.0-or-later
"""Writes the seeds of the daemon's fuzz targets.

make_daemon_corpus.py FOLDER    writes FOLDER/datagram, FOLDER/command_line, ...
"""

import pathlib
import struct
import sys

# --- events of the client's loop: see datagram_fuzzer.cpp

(RAN_OUT, INTERRUPTED, SELECT_FAILED, RESTART, STOP, OTHER, PRIMARY, SECONDARY, STRANGER,
 RECEIVE_FAILED) = range(10)

ALONE, WITH_SECONDARY, TRACED = 0, 1, 6


def reply(seconds=3900000000, fraction=1 << 31, first=0x1C, delay=0, receive=3900000000):
    return struct.pack(">BBBbiiI", first, 2, 6, -20, delay, 1000, 0x0A000001) + struct.pack(
        ">8I", 3899999000, 0, 3899999999, 7, receive, 1, seconds, fraction)


def datagram(sender, data):
    return bytes([sender]) + struct.pack("<H", len(data)) + data


DATAGRAMS = {
    "good": bytes([ALONE, RAN_OUT]) + datagram(PRIMARY, reply()),
    "good_traced": bytes([ALONE | TRACED, RAN_OUT]) + datagram(PRIMARY, reply()) * 2,
    "stranger": bytes([ALONE, RAN_OUT]) + datagram(STRANGER, reply()),
    "silent_primary": bytes([WITH_SECONDARY] + [RAN_OUT] * 6) + datagram(SECONDARY, reply()),
    "no_time": bytes([WITH_SECONDARY, RAN_OUT]) + datagram(PRIMARY, reply(seconds=0)),
    "no_time_either": bytes([WITH_SECONDARY, RAN_OUT]) + datagram(PRIMARY, reply(seconds=0xFFFFFFFF)),
    "before_1970": bytes([ALONE, RAN_OUT]) + datagram(PRIMARY, reply(seconds=1)),
    "after_2036": bytes([ALONE, RAN_OUT]) + datagram(PRIMARY, reply(seconds=0x7FFFFFFF, fraction=0xFFFFFFFF)),
    "negative_delay": bytes([WITH_SECONDARY, RAN_OUT]) + datagram(PRIMARY, reply(receive=0)),
    "short": bytes([ALONE, RAN_OUT]) + datagram(PRIMARY, reply()[:47]),
    "empty": bytes([ALONE, RAN_OUT]) + datagram(PRIMARY, b""),
    "longest": bytes([ALONE, RAN_OUT]) + datagram(PRIMARY, reply() + bytes(1299 - 48)),
    "too_long": bytes([ALONE, RAN_OUT]) + datagram(PRIMARY, reply() + bytes(1300 - 48)),
    "stopped": bytes([ALONE | TRACED, RAN_OUT, STOP, PRIMARY, PRIMARY, INTERRUPTED, RESTART]) +
               datagram(PRIMARY, reply()),
    "trouble": bytes([WITH_SECONDARY | TRACED, SELECT_FAILED, RAN_OUT, RECEIVE_FAILED, OTHER, 7, RAN_OUT]),
}

# --- command lines

CONFIGURATION = b"""ntp terminal
 ntp server ntp1.example.net 192.0.2.1
 ntp enable
 timezone continent Europe location Paris
"""

COMMAND_LINES = {
    "configuration": CONFIGURATION,
    "all": b"""debug ntp on
ntp
ntp server a b
ntp enable
second ntp server2 c
no second ntp server2
no ntp server
show ntp
show ntp json
show timezone
timezone continent Indian_Ocean location Mauritius
dst continent Asia location Tokyo
no timezone
ntp disable
exit
""",
    "one_server": b"ntp\nntp server only\nntp enable\n",
    "abbreviated": b"ntp t\nntp s a b\nntp e\ntimez c Eu l London\nsh n j\n",
    "long_name": b"ntp\nntp server " + b"x" * 128 + b" " + b"y" * 127 + b"\nntp enable\n",
    "long_location": b"ntp\nntp enable\ntimezone continent Asia location " + b"z" * 300 + b"\n",
    "odd_bytes": b"ntp\nntp server \xff\x80 %s%n\nntp server ! #\nntp enable\n\t \x00show\n",
    "questions": b"ntp ?\nntp\nntp server ?\ntimezone continent ?\ntimezone continent Africa location ?\n",
    "crlf": CONFIGURATION.replace(b"\n", b"\r\n"),
}

# --- lines of a dump: the process's zone, the year, then the file

LOWEST = b"Z  -9223372036854775808 = NULL\nZ  -9223372036854689408 = NULL\n"
HIGHEST = b"Z  9223372036854689407 = NULL\nZ  9223372036854775807 = NULL\n"


def line(utc, local, abbreviation=b"BST", dst=1, offset=3600, name=b"Z"):
    return b"%s  Sun %s UT = Sun %s %s isdst=%d gmtoff=%d\n" % (name, utc, local, abbreviation, dst, offset)


NORTH = [line(b"Mar 29 00:59:59 2020", b"Mar 29 00:59:59 2020", b"GMT", 0, 0),
         line(b"Mar 29 01:00:00 2020", b"Mar 29 02:00:00 2020"),
         line(b"Oct 25 00:59:59 2020", b"Oct 25 01:59:59 2020"),
         line(b"Oct 25 01:00:00 2020", b"Oct 25 01:00:00 2020", b"GMT", 0, 0)]
SOUTH = [line(b"Apr  4 15:59:59 2020", b"Apr  5 02:59:59 2020", b"AEDT", 1, 39600),
         line(b"Apr  4 16:00:00 2020", b"Apr  5 02:00:00 2020", b"AEST", 0, 36000),
         line(b"Oct  3 15:59:59 2020", b"Oct  4 01:59:59 2020", b"AEST", 0, 36000),
         line(b"Oct  3 16:00:00 2020", b"Oct  4 03:00:00 2020", b"AEDT", 1, 39600)]


def dump(zone, lines, low=LOWEST, high=HIGHEST, year=2020):
    return struct.pack("<BH", zone, year) + low + b"".join(lines) + high


DUMPS = {
    "north": dump(0, NORTH),
    "north_in_paris": dump(1, NORTH),
    "south": dump(0, SOUTH),
    "south_in_sydney": dump(2, SOUTH),
    "one_change": dump(0, NORTH[:2]),
    "half_a_change": dump(3, NORTH[:1], high=b""),
    "four_changes": dump(0, NORTH + SOUTH),
    "no_changes": dump(0, []),
    "two_lines": dump(0, [], high=b""),
    "year_too_early": dump(0, NORTH, low=NORTH[0] + LOWEST),
    "long_lines": dump(0, [line(b"Mar 29 00:59:59 2020", b"Mar 29 00:59:59 2020", name=b"x" * 250)] * 3),
    "odd_numbers": dump(0, [line(b"Foo -29 99999999999:-1:+5 2020", b"Dec 0 0:0:0 -99999999999")] * 4),
    "no_line_end": dump(0, NORTH)[:-1],
}

OFFSETS = [b"8", b"-5:30", b"8:0-2", b"12", b"13", b"-13", b"5:60", b"5:-1", b"", b"--5", b"-+99", b"abc", b"+08:30",
           b"1234567", b"+0800", b"-0530", b"+1260", b"+1261", b"+1300", b"08000", b"+080", b"+0800x3", b"+08-1",
           b"+`;00", b"+ 8 0", b"UTC-8:30", b"CET-1CEST,M3.5.0,M10.5.0/3", b"<+03>-3", b"UTC`reboot`", b"$(x)",
           b"A" * 59, b"A" * 60, b"A" * 300, b"UTC\n8", b"UTC\xc3\xa9", b"/etc", b"a&b|c", b"'\"\\"]

SEEDS = {
    "datagram": DATAGRAMS,
    "command_line": COMMAND_LINES,
    "dump_lines": DUMPS,
    "input_check": {f"{i:02}": text for i, text in enumerate(OFFSETS)},
    "offset_text": {f"{i:02}_{form}": bytes([form]) + text
                    for i, text in enumerate(OFFSETS) for form in range(3)},
}


def main():
    folder = pathlib.Path(sys.argv[1])
    for target, inputs in SEEDS.items():
        (folder / target).mkdir(parents=True, exist_ok=True)
        for name, data in inputs.items():
            (folder / target / name).write_bytes(data)


if __name__ == "__main__":
    main()
