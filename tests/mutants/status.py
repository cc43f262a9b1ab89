# SPDX-License-Identifier: GPL-2.0-or-later
"""Faults in modules/status."""
from __future__ import annotations

from .fault import faults_in

STATUS = "tests/system/test_status.py::test_"

FAULTS = [
    *faults_in(
        "modules/status/journal.cpp", "status_test Journal.*",
        ("quiet_seconds = 60;", "quiet_seconds = 61;"),
        ('"recoveries", LOG_WARNING}', '"recoveries", LOG_NOTICE}'),
        ("kind.left_out == 1 ?", "kind.left_out != 1 ?"),
        ("if (journal_.seen.state != HORAD_CLIENT_DEAD)\n                put", "put"),
        ("kind.left_out = 0;", ""),
        ("kind.last_line + quiet_seconds - now_", "kind.last_line + quiet_seconds"),
        ("next == 0 ? left : std::min(next, left)", "left"),
        ("now_ - journal_.kinds[kind].last_line < quiet_seconds", "now_ - journal_.kinds[kind].last_line <= quiet_seconds"),
        ("left_out += count - 1;", "left_out += count;"),
        ("journal_.kinds[kind].left_out += count;\n            return;", "return;"),
        ("journal_.told = 0;", ""),
        ("journal_.told |= bit;", ""),
        ("status_.offset / 1e6", "status_.offset / 1e3"),
        ("journal_.is_in_trouble = false;", ""),
        ("journal_.seen.requests + journal_.seen.failures != 0 &&", ""),
        ('status_.server == 1 ? "primary" : "secondary"', 'status_.server == 2 ? "primary" : "secondary"'),
        ("journal->seen = *status;", ""),
        ("status_.state == HORAD_CLIENT_DEAD ? LOG_ERR :", "false ? LOG_ERR :"),
    ),
    *faults_in(
        "modules/status/show.cpp", "status_test Status*.*",
        ("- (microseconds % million < 0)", ""),
        ("while (unit->size > 1 && seconds < unit->size)", "while (unit->size > 1 && seconds <= unit->size)"),
        ("seconds % unit->size / unit[1].size", "seconds % unit->size"),
        ("&& status.state != HORAD_CLIENT_DEAD", ""),
        ("std::max<std::int64_t>(0, status.next_request - monotonic)", "status.next_request - monotonic"),
        ("if (then <= now)", "if (then < now)"),
        ('in_seconds(status.round_trip, "%.6f s")', 'in_seconds(status.offset, "%.6f s")'),
        ("    if (text[static_cast<std::size_t>(length) - 1] == '.')\n        --length;\n", ""),
        ("text[static_cast<std::size_t>(length)] = '\\0';", ""),
        ('"wrongLength", "Wrong length", status.wrong_length',
         '"wrongLength", "Wrong length", status.foreign_address'),
        ("is_dead ? status->reason", "!is_dead ? status->reason"),
        ('write(session, "\\n");', ""),
        ("if (status.answers_used == 0)\n        return nullptr;", ""),
        ("    json_object_put(json);\n", ""),
        ("microseconds_left(*status, monotonic)) / 1e6", "microseconds_left(*status, monotonic)) / 1e3"),
    ),
    *faults_in(
        "modules/status/utf8.h", "status_test Utf8.*",
        ("first < 0x80)", "first <= 0x80)"),
        ("first < 0xC2", "first < 0xC0"),
        ("first > 0xF4", "first > 0xF5"),
        ("first == 0xE0 ? 0xA0", "first == 0xE0 ? 0x80"),
        ("first == 0xF0 ? 0x90", "first == 0xF0 ? 0x80"),
        ("first == 0xED ? 0x9F", "first == 0xED ? 0xBF"),
        ("first == 0xF4 ? 0x8F", "first == 0xF4 ? 0xBF"),
        ("byte(1) > highest", "byte(1) > 0xC3"),
        ("byte(i) < 0x80 || ", ""),
        (" || byte(i) > 0xBF", ""),
        ("i < size; ++i", "i + 1 < size; ++i"),
    ),
    *faults_in(
        "modules/status/module.c", STATUS + "log_of_a_failure_and_its_end",
        ("install_element(VIEW_NODE, &show_ntp_status_cmd);", "", STATUS + "commands_with_and_without"),
        ("if (use_json(argc, argv))", "if (!use_json(argc, argv))", STATUS + "off"),
        ("    event_add_read(loop, look_at_news, NULL, wake_up, &news);\n    /* In", "    /* In"),
        ("        atomic_store(&is_woken, false);\n    look();", "        ;\n    look();"),
        ("if (left != 0)\n        event_add_timer", "if (left == 0)\n        event_add_timer", STATUS + "log_of_what_was_left_out"),
        ("horad_client_watch(wake);", ""),
    ),
]
