# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-or-later
#
# What the scripts share.  They begin with
#
#     set -euo pipefail
#     . "$(dirname "$(realpath "$0")")/common.sh"
#
# and may be called by any link and from any folder.  $top is the project's folder.
top=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
name=$(basename "$(realpath "$0")")

# The comment that the script begins with.
usage() { sed -n '4,${/^#/!q; s/^# \{0,1\}//; p}' "$0"; }

die() {
    echo "$name: $*" >&2
    exit 1
}

# libfrr's own build takes a folder with blanks in its name for two.
refuse_blanks() {
    case $top in *[[:space:]]*) die "libfrr cannot be built in a folder with blanks in its name: $top" ;; esac
}

# --- one at a time

# Waits until nobody else is at work in build/.  What the script starts goes through.
lock_build() {
    [ "${HORAD_LOCKED-}" != "$top" ] || return 0
    { mkdir -p "$top/build" && exec {lock}>>"$top/build/lock"; } 2>/dev/null ||
        die "cannot write to $top/build: it is somebody else's"
    if ! flock --nonblock "$lock"; then
        echo "$name: waiting for process $(cat "$top/build/lock"), which is at work in this folder"
        flock "$lock"
    fi
    echo "$$ ($name${*:+ $*})" >"$top/build/lock"
    export HORAD_LOCKED=$top
}

unlock_build() {
    [ -z "${lock-}" ] || exec {lock}>&-
    unset HORAD_LOCKED
}

# --- long work

shown=1 # where it is told how far it is
step=starting

# log_to FILE TITLE STEPS: from here on what is printed goes to FILE, whose end is shown
# when the script fails.  `step` tells how far it is.
log_to() {
    log=$1 title=$2 steps=$3 at_step=0
    mkdir -p "$(dirname "$log")"
    exec {shown}>&1 {complaints}>&2 >"$log" 2>&1
    trap end_of_log EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
}

step() { # TEXT
    stop_ticker
    step=$1
    at_step=$((at_step + 1))
    echo "== $step"
    echo "$title: $at_step/$steps $step" >&"$shown"
    start_ticker last_line
}

last_line() { tail -n 1 "$log" | tr -d '[:cntrl:]'; }

end_of_log() {
    local status=$? what=failed
    stop_ticker
    exec >&"$shown"
    exec 2>&"$complaints"
    shown=1
    trap - EXIT INT TERM
    if [ "$status" -eq 130 ] || [ "$status" -eq 143 ]; then
        what=interrupted
    elif [ "$status" -ne 0 ]; then
        tail -n 40 "$log" >&2
    fi
    [ "$status" -eq 0 ] || echo "$title: $what while $step, status $status (log: $log)" >&2
}

# start_ticker COMMAND: shows what COMMAND prints, on a terminal in one line that changes
# every second, else in a line of its own every minute.
start_ticker() {
    tick "$1" &
    ticker=$!
}

stop_ticker() {
    [ -n "${ticker-}" ] || return 0
    kill "$ticker" 2>/dev/null || true
    wait "$ticker" 2>/dev/null || true
    ticker=
    [ ! -t "$shown" ] || printf '\r\033[K' >&"$shown"
}

tick() { # COMMAND
    local pause=60 line columns nothing
    [ ! -t "$shown" ] || pause=1
    # Nothing comes from it: a pause without another process, which would outlive this one.
    exec {nothing}<> <(:)
    while ! read -rt "$pause" -u "$nothing" && kill -0 $$ 2>/dev/null; do
        line=$("$1")
        if [ -t "$shown" ]; then
            columns=$(stty size <&"$shown")
            printf '\r\033[K%.*s' $((${columns#* } - 1)) "  $line" >&"$shown"
        else
            printf '  (%d min) %s\n' $((SECONDS / 60)) "$line" >&"$shown"
        fi
    done
}
