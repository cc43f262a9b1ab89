# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-or-later
#
# What Debian's releases call differently.  Read after common.sh; a release that is
# newer than those named here is taken for the newest of them.
#
# A name that only got an ending (libssl3, libssl3t64) is none of these: the newer
# package is found by the older name.
# shellcheck disable=SC2034 # their users are the scripts that read this one
# shellcheck source=/dev/null
read -r codename release < <(. /etc/os-release && echo "$VERSION_CODENAME" "${VERSION_ID-}")
# shellcheck disable=SC2034
case $release in
12)
    libyang_dev=libyang2-dev
    libfrr_libraries=(libyang2)
    libfrr_packages=()
    old_zones=() # tzdata has them
    ;;
*)
    libyang_dev=libyang-dev
    libfrr_libraries=(libprotobuf-c1 libyang3)
    libfrr_packages=(libprotobuf-c-dev protobuf-c-compiler)
    old_zones=(tzdata-legacy)
    ;;
esac

# Whether a package is installed, by this name or by that with the ending.
is_installed() { # PACKAGE [ADMINISTRATION-FOLDER]
    grep -qx installed < <(
        dpkg-query ${2:+--admindir="$2"} -W -f '${db:Status-Status}\n' "$1" "$1t64" 2>/dev/null
    )
}
