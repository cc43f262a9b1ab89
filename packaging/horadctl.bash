# SPDX-License-Identifier: GPL-2.0-or-later
# shellcheck shell=bash
#
# bash's completion of horadctl's command line.  The daemon's commands are listed here,
# not asked for: the tabulator is not to wait for a busy daemon.

# The words that can follow the daemon's words in $1.
_horadctl_after() {
    case $1 in
    "") echo "debug do dst no ntp second show timezone" ;;
    "debug") echo "ntp" ;;
    "debug ntp") echo "off on" ;;
    "do") echo "write" ;;
    "do write") echo "file" ;;
    "no") echo "second timezone" ;;
    "no second" | "second") echo "ntp" ;;
    "no second ntp" | "second ntp") echo "server2" ;;
    "ntp") echo "disable enable server" ;;
    "show") echo "ntp running-config timezone" ;;
    "show ntp") echo "json status" ;;
    "show ntp status") echo "json" ;;
    "dst" | "timezone") echo "continent" ;;
    "dst continent" | "timezone continent")
        echo "Africa America Asia Atlantic Australia Europe Indian_Ocean Pacific"
        ;;
    "dst continent "* | "timezone continent "*)
        case ${1#* continent } in *" "*) ;; *) echo "location" ;; esac
        ;;
    esac
}

_horadctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local common="--help --socket --version" own="" options words="" i

    COMPREPLY=()
    # bash has the sign between an option and its value as a word.
    if [[ $current == "=" ]]; then
        current=""
    elif [[ $previous == "=" ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case $previous in
    --socket | --database | --svg)
        # A blank after a name, a slash after a folder's; not known outside of a completion.
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    -c | --last | --since | --timeout) return ;;
    esac

    # The words before this one, without options and their values.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        --socket | --database | --svg | --last | --since | --timeout | -c)
            [[ ${COMP_WORDS[i + 1]} != "=" ]] || ((++i))
            ((++i))
            ;;
        -*) ;;
        *) words+="${words:+ }${COMP_WORDS[i]}" ;;
        esac
    done
    case $words in
    "") own="status steps wait" options="$common -c" ;;
    status) options="$common --database --json" ;;
    steps) options="$common --csv --database --json --last --since --svg" ;;
    wait) options="$common --database --timeout" ;;
    *) options="" ;;
    esac

    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -W "$own $(_horadctl_after "$words")" -- "$current")
    fi
}

complete -F _horadctl horadctl
