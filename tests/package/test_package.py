# SPDX-License-Identifier: GPL-2.0-or-later
"""The packages: what is in them, and their life on a system."""
from __future__ import annotations

import hashlib
import os
import platform
import re
import shutil
import stat
import subprocess
from datetime import datetime, timezone
from email.utils import parsedate_to_datetime
from pathlib import Path

import pytest

from tests.package.conftest import build_packages, by_architecture
from tests.package.throwaway import PROJECT, Debian, changed, needed, pack, programs, tree

ARCHITECTURES = pytest.mark.parametrize("architecture", ["amd64", "arm64"])
TRIPLETS = {"amd64": "x86_64-linux-gnu", "arm64": "aarch64-linux-gnu"}
MACHINES = {"amd64": "X86-64", "arm64": "AArch64"}
LIBC = ("ld-linux", "libc.so", "libm.so")  # one package's
PRIVATE = {"libcli_helper.so", "libconfig_db.so", "libfrr.so.0", "libzone_catalogue.so"}
NO_NETWORK = ("unshare", "--net")
# This machine's: the packages are for it.
RELEASE = f"~deb{platform.freedesktop_os_release()['VERSION_ID']}u1"
NEEDED_LIBC = (2, 34) if RELEASE == "~deb12u1" else (2, 38)
INSTALL = "dpkg --install /packages/horad.deb"
CONFIGURATION = "/etc/frr/horad.conf"
OPTIONS = {"/etc/default/horad", "/etc/logrotate.d/horad"}
DATABASE = "/var/lib/horad/config.db"


def field(package: Path, name: str) -> str:
    return subprocess.run(["dpkg-deb", "--field", str(package), name], check=True, capture_output=True,
                          text=True).stdout.strip()


# --- what is in them


@ARCHITECTURES
def test_contents(packages: dict[str, Path], architecture: str, tmp_path: Path) -> None:
    unpacked = tree(packages[architecture], tmp_path / "tree")
    private = f"usr/lib/{TRIPLETS[architecture]}/horad"
    assert {str(path.relative_to(unpacked)) for path in programs(unpacked)} == {
        "usr/bin/horadctl",
        "usr/sbin/horad",
        *(f"{private}/{name}" for name in PRIVATE),
        f"{private}/modules/horad_status.so",
    }
    for name in (
        "lib/systemd/system/horad-wait.service",
        "lib/systemd/system/horad.service",
        "usr/libexec/horad/restore-configuration",
        "usr/include/horad/timezone.h",
        "usr/share/doc/horad/copyright.libfrr",
        "usr/share/doc/horad/docs/guide.md",
        "usr/share/doc/horad/examples/zone_report.c",
        "usr/share/bash-completion/completions/horadctl",
        "usr/share/man/man1/horadctl.1.gz",
        "usr/share/man/man8/horad.8.gz",
    ):
        assert (unpacked / name).is_file()
    for name in OPTIONS:
        status = (unpacked / name.lstrip("/")).stat()
        assert stat.S_IMODE(status.st_mode) == 0o644
        assert (status.st_uid, status.st_gid) == (0, 0)
    assert set((unpacked / "DEBIAN" / "conffiles").read_text().split()) == OPTIONS
    assert not (unpacked / CONFIGURATION.lstrip("/")).exists()
    sample = unpacked / "usr" / "share" / "doc" / "horad" / "examples" / "horad.conf"
    assert sample.is_symlink() and sample.read_bytes() == (PROJECT / "packaging" / "horad.conf").read_bytes()


@ARCHITECTURES
def test_programs(packages: dict[str, Path], architecture: str, tmp_path: Path) -> None:
    unpacked = tree(packages[architecture], tmp_path / "tree")
    for path in programs(unpacked):
        header = subprocess.run(["readelf", "--file-header", "--dynamic", "--wide", str(path)], check=True, capture_output=True,
                                text=True).stdout
        assert MACHINES[architecture] in header
        # They find their libraries wherever the whole is put, and nothing of the
        # builder's folders is left in them.
        assert all(text.startswith("$ORIGIN") for text in re.findall(r"RUNPATH.*\[(.*)\]", header))
        assert str(PROJECT).encode() not in path.read_bytes()
        # docs/porting.md promises no less.
        symbols = subprocess.run(["objdump", "--dynamic-syms", str(path)], check=True, capture_output=True, text=True)
        wanted = re.findall(r"GLIBC_(\d+)\.(\d+)", header + symbols.stdout)
        assert max((int(major), int(minor)) for major, minor in wanted) <= NEEDED_LIBC


def test_both_need_the_same(packages: dict[str, Path], tmp_path: Path) -> None:
    """What is said of one architecture's dependencies is true for the other."""
    wanted = {}
    for architecture, package in packages.items():
        unpacked = tree(package, tmp_path / architecture)
        wanted[architecture] = {(path.name, name) for path in programs(unpacked) for name in needed(path)
                                if not name.startswith(LIBC)}
    assert wanted["amd64"] == wanted["arm64"]
    assert field(packages["amd64"], "Depends") == field(packages["arm64"], "Depends")


def test_lintian(packages: dict[str, Path], tmp_path: Path) -> None:
    """Exceptions are listed, with reasons, in packaging/debian/horad.lintian-overrides."""
    done = subprocess.run(["lintian", "--display-info", "--fail-on", "info", "--allow-root",
                           *map(str, packages.values())], capture_output=True, text=True,
                          # It leaves files there.
                          env={**os.environ, "TMPDIR": str(tmp_path)})
    assert (done.stdout, done.returncode) == ("", 0)


def test_reproducible(packages: dict[str, Path], tmp_path: Path) -> None:
    """All compiled once more, in another clone, without a network, over what an interrupted run left:
    the same bytes as with the programs that the tests run."""
    clone = tmp_path / "another" / "clone"
    listed = subprocess.run([PROJECT / "tools" / "files"], check=True, capture_output=True, text=True).stdout
    for name in listed.splitlines():
        (clone / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(PROJECT / name, clone / name)
    deps = clone / "build" / "deps"
    deps.mkdir(parents=True)
    for name in ("frr", "peers", "arm64"):
        shutil.copytree(PROJECT / "build" / "deps" / name, deps / name, symlinks=True)
    shutil.copy(PROJECT / "build" / "deps" / "arm64" / "root.made", deps / "arm64")

    folder = tmp_path / "elsewhere" / "second"
    (folder / "tree" / "arm64").mkdir(parents=True)
    for architecture in packages:
        (folder / f"horad_0.0.1_{architecture}.deb").write_text("an old one")
    build_packages(folder, *NO_NETWORK, clone=clone)
    made = PROJECT / "build" / "packages"
    assert digests(folder) == digests(made)
    assert len(digests(made)) == 2 * len(packages)
    assert not (folder / "tree").exists()


def digests(folder: Path) -> dict[str, str]:
    return {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in folder.glob("*.deb")}


@ARCHITECTURES
def test_debug_information(packages: dict[str, Path], architecture: str, tmp_path: Path) -> None:
    """Of all that is in the package, and with no folder of the builder's."""
    debug = by_architecture(packages[architecture].parent, "horad-dbgsym")[architecture]
    unpacked = tree(debug, tmp_path / "debug")
    found = {path.parent.name + path.stem: path for path in unpacked.rglob("*.debug")}
    for path in programs(tree(packages[architecture], tmp_path / "tree")):
        notes = subprocess.run(["readelf", "--notes", str(path)], check=True, capture_output=True, text=True).stdout
        build_id = re.search(r"Build ID: (\w+)", notes)
        assert build_id is not None
        sections = subprocess.run(["readelf", "--debug-dump=info,line", "--wide", str(found.pop(build_id[1]))], check=True,
                                  capture_output=True, text=True, errors="replace").stdout
        assert "DW_AT_name" in sections
        assert str(PROJECT) not in sections and "/packages/tree" not in sections
    assert found == {}


def test_version(packages: dict[str, Path]) -> None:
    """The same everywhere but for the release at its end, with a dated entry in both lists of changes."""
    version = re.search(r"project\(horad VERSION (\S+)", (PROJECT / "CMakeLists.txt").read_text())
    assert version is not None
    assert {field(package, "Version") for package in packages.values()} == {version[1] + RELEASE}
    dated = re.search(r"^ -- .*>  (.*)$", (PROJECT / "packaging/debian/changelog").read_text(), re.MULTILINE)
    assert dated is not None
    day = parsedate_to_datetime(dated[1])
    assert day <= datetime.now(timezone.utc)
    newest = re.search(r"^## (.*)$", (PROJECT / "CHANGELOG.md").read_text(), re.MULTILINE)
    assert newest is not None and newest[1] == f"{version[1]} - {day:%Y-%m-%d}"


@pytest.mark.parametrize("arguments", [["--output"], ["riscv64"], ["arm64", "amd64"], ["--nonsense"]])
def test_wrong_arguments(arguments: list[str]) -> None:
    done = subprocess.run([str(PROJECT / "tools" / "package"), *arguments], capture_output=True, text=True)
    assert done.returncode == 2
    assert "tools/package [--as-built] [--output FOLDER] [ARCHITECTURE]" in done.stderr


def test_set_up_is_done_once() -> None:
    """The second time it only looks, and needs no network."""
    done = subprocess.run([*NO_NETWORK, str(PROJECT / "tools" / "setup"), "--tests"], check=True, capture_output=True,
                          text=True)
    assert "installing" not in done.stdout + done.stderr


def test_arm64_package_runs(packages: dict[str, Path], tmp_path: Path) -> None:
    unpacked = tree(packages["arm64"], tmp_path / "tree")
    sysroot = PROJECT / "build" / "deps" / "arm64" / "root"
    done = subprocess.run(["qemu-aarch64", "-L", str(sysroot), str(unpacked / "usr/sbin/horad"), "--version"],
                          check=True, capture_output=True, text=True)
    assert f"horad version {field(packages['arm64'], 'Version').removesuffix(RELEASE)}\n" in done.stdout
    assert "built for aarch64 by " in done.stdout


@pytest.mark.parametrize("prefix", ["plain", "with blank"])
def test_installed_without_a_package(tmp_path: Path, prefix: str) -> None:
    """cmake --install below any folder, named from anywhere: the daemon runs from there."""
    subprocess.run(["cmake", "--install", str(PROJECT / "build" / "release"), "--prefix", prefix], check=True,
                   stdout=subprocess.DEVNULL, cwd=tmp_path)
    folder = tmp_path / prefix
    done = subprocess.run([str(folder / "sbin" / "horad"), "--version"], check=True, capture_output=True, text=True)
    assert done.stdout.startswith("horad version ")
    listed = subprocess.run(["ldd", str(folder / "sbin" / "horad")], check=True, capture_output=True, text=True)
    (private,) = folder.glob("lib/*/horad")
    assert {path.name for path in private.iterdir()} == PRIVATE | {"modules"}
    assert [path.name for path in (private / "modules").iterdir()] == ["horad_status.so"]
    for name in PRIVATE:
        assert str(private / name) in {str(Path(path).resolve()) for path in re.findall(r"=> (.*) \(", listed.stdout)}
    assert {path.name for path in (folder / "include" / "horad").iterdir()} >= {"timezone.h", "tz.h"}
    unit = (folder / "lib" / "systemd" / "system" / "horad.service").read_text()
    assert f"ExecStart={folder}/sbin/horad " in unit
    waiting = (folder / "lib" / "systemd" / "system" / "horad-wait.service").read_text()
    assert f"ExecStart={folder}/bin/horadctl wait " in waiting
    assert subprocess.run([str(folder / "bin" / "horadctl"), "--version"], stdout=subprocess.DEVNULL).returncode == 0
    helper = folder / "libexec" / "horad" / "restore-configuration"
    assert os.access(helper, os.X_OK)
    assert f"ExecStartPre=-{helper} " in unit


def links(page: Path) -> set[Path]:
    """The files that a page leads to."""
    targets = re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", page.read_text())
    return {page.parent / target for target in targets if "://" not in target}


def test_documents_lead_to_each_other(packages: dict[str, Path], native: str, tmp_path: Path) -> None:
    """In the project and where they are installed."""
    installed = tree(packages[native], tmp_path / "tree") / "usr" / "share" / "doc" / "horad"
    for folder in (PROJECT, installed):
        pages = [folder / "README.md", *folder.glob("docs/*.md"), *folder.glob("examples/*.md")]
        assert len(pages) > 8
        assert {str(link) for page in pages for link in links(page) if not link.exists()} == set()


# --- their life


def test_install(debian: Debian) -> None:
    debian.run(INSTALL)
    assert debian.run("dpkg --audit").stdout == ""
    assert "horad version " in debian.run("horad --version").stdout
    assert "horadctl version " in debian.run("horadctl --version").stdout
    assert "not found" not in debian.run("ldd /usr/sbin/horad /usr/bin/horadctl /usr/lib/*/horad/*.so*").stdout
    # Started at boot; waiting for it is for those who ask for it.
    wanted = debian.path("/etc/systemd/system/multi-user.target.wants")
    assert {path.name for path in wanted.iterdir()} == {"horad.service"}
    # The sample is a configuration that the daemon accepts as it is.
    accepted = debian.run(f"horad --dryrun -f {CONFIGURATION}")
    assert accepted.stdout == ""


def configuration(debian: Debian) -> str:
    """Its mode and owner, and all of it."""
    return debian.run(f"stat -c '%a %U:%G' {CONFIGURATION}; cat {CONFIGURATION}").stdout


SAMPLE = "640 root:root\n" + (PROJECT / "packaging" / "horad.conf").read_text()


def test_the_sample_becomes_the_configuration(debian: Debian) -> None:
    # Also on a machine that keeps no documents.
    debian.run("echo 'path-exclude=/usr/share/doc/*' >/etc/dpkg/dpkg.cfg.d/no-documents")
    debian.run(INSTALL)
    assert configuration(debian) == SAMPLE
    # It is the operator's, though: nobody misses it in the package.
    assert debian.run("dpkg --verify horad | grep -v /usr/share/doc/; true").stdout == ""
    assert CONFIGURATION not in debian.run("dpkg-query -W -f '${Conffiles}' horad").stdout


def test_a_configuration_that_was_there(debian: Debian) -> None:
    debian.run(f"mkdir -p /etc/frr; echo 'hostname mine' >{CONFIGURATION}; chmod 600 {CONFIGURATION}")
    debian.run(INSTALL)
    assert configuration(debian) == "600 root:root\nhostname mine\n"


@pytest.fixture
def older(debian: Debian, packages: dict[str, Path], native: str, tmp_path: Path) -> str:
    """Installs what 0.1.0 was: the configuration was a file of the package's, with an older sample."""
    folder = tree(packages[native], tmp_path / "older")
    for name in ("control", "conffiles"):
        path = folder / "DEBIAN" / name
        path.write_text(path.read_text().replace(f"Version: {field(packages[native], 'Version')}", "Version: 0.1.0"))
    with (folder / "DEBIAN" / "conffiles").open("a") as conffiles:
        conffiles.write(f"{CONFIGURATION}\n")
    (folder / "DEBIAN" / "postinst").unlink()
    (folder / "etc" / "frr").mkdir()
    (folder / "etc" / "frr" / "horad.conf").write_text("! An older sample\n")
    (folder / "etc" / "frr" / "horad.conf").chmod(0o640)
    pack(folder, tmp_path / "packages" / "older.deb")
    debian.run("dpkg --install /packages/older.deb")
    assert CONFIGURATION in debian.run("dpkg-query -W -f '${Conffiles}' horad").stdout
    return "640 root:root\n! An older sample\n"


UPGRADES = pytest.mark.parametrize("upgrade", [INSTALL, "apt-get --yes install /packages/horad.deb"], ids=["dpkg", "apt"])


@UPGRADES
@pytest.mark.parametrize("mine", ["", "hostname mine\n"], ids=["as it came", "changed"])
def test_upgrade_from_a_configuration_of_the_packages(debian: Debian, older: str, upgrade: str, mine: str) -> None:
    """It stays what it was, and nobody is asked (there is nobody: standard input is empty)."""
    debian.run(f"printf '{mine}' >>{CONFIGURATION}")
    debian.run(upgrade)
    assert debian.run("dpkg --audit").stdout == ""
    assert configuration(debian) == older + mine
    assert debian.run("ls /etc/frr").stdout == "horad.conf\n"
    # And once more, now that dpkg knows the file as a former one.
    debian.run(f"echo 'hostname later' >>{CONFIGURATION}")
    debian.run(INSTALL)
    assert configuration(debian) == older + mine + "hostname later\n"
    # It is kept by a removal, and gone after a purge.
    debian.run("dpkg --remove horad")
    assert configuration(debian) == older + mine + "hostname later\n"
    debian.run("dpkg --purge horad")
    assert debian.run("ls /etc/frr", check=False).returncode != 0


def test_upgrade_after_the_operator_has_deleted_the_configuration(debian: Debian, older: str) -> None:
    """There is one again: without it nobody could log in."""
    debian.run(f"rm {CONFIGURATION}")
    debian.run(INSTALL)
    assert configuration(debian) == SAMPLE


def test_back_to_a_configuration_of_the_packages(debian: Debian, older: str) -> None:
    debian.run(f"echo 'hostname mine' >>{CONFIGURATION}")
    debian.run(INSTALL)
    debian.run("dpkg --install /packages/older.deb")
    assert configuration(debian) == older + "hostname mine\n"


def test_a_changed_sample_asks_nothing(debian: Debian, packages: dict[str, Path], native: str, tmp_path: Path) -> None:
    debian.run(INSTALL)
    debian.run(f"echo 'hostname mine' >>{CONFIGURATION}")
    newer = changed(packages[native], tmp_path, {"Version": "9.0"}, {"usr/share/horad/horad.conf": "! Another sample\n"})
    newer.rename(tmp_path / "packages" / "newer.deb")
    debian.run("apt-get --yes install /packages/newer.deb")
    assert configuration(debian) == SAMPLE + "hostname mine\n"


def test_what_it_needs_is_named(debian: Debian, packages: dict[str, Path], native: str) -> None:
    """On a system without one of the libraries it stays unconfigured, with the name."""
    (library,) = re.findall(r"\blibyang\w*", field(packages[native], "Depends"))
    debian.run(f"dpkg --force-depends --remove {library}")
    refused = debian.run(INSTALL, check=False)
    assert refused.returncode != 0
    assert f"horad depends on {library}" in refused.stdout


def test_releases_follow_each_other(packages: dict[str, Path], native: str) -> None:
    """The package of the next release is an upgrade, and a later version of this one is newer than both."""
    version = field(packages[native], "Version")
    plain = version.removesuffix(RELEASE)
    in_order = [f"{plain}~deb12u1", f"{plain}~deb13u1", plain, f"{plain}.1~deb12u1"]
    assert version in in_order
    for one, next_one in zip(in_order, in_order[1:]):
        subprocess.run(["dpkg", "--compare-versions", one, "lt", next_one], check=True)


def test_upgrade(debian: Debian, packages: dict[str, Path], native: str, tmp_path: Path) -> None:
    debian.run(INSTALL)
    debian.run(f"echo 'hostname mine' >>{CONFIGURATION}; mkdir -p /var/lib/horad; echo steps >{DATABASE}")
    newer = changed(packages[native], tmp_path, {"Version": "9.0"})
    newer.rename(tmp_path / "packages" / "newer.deb")
    debian.run("dpkg --install /packages/newer.deb")
    assert debian.run("dpkg-query -W -f '${Version} ${db:Status-Status}' horad").stdout == "9.0 installed"
    assert debian.run(f"tail -n 1 {CONFIGURATION}; stat -c %a {CONFIGURATION}").stdout == "hostname mine\n640\n"
    assert debian.run(f"cat {DATABASE}").stdout == "steps\n"
    # And back.
    debian.run(INSTALL)
    assert debian.run(f"tail -n 1 {CONFIGURATION}").stdout == "hostname mine\n"


def test_remove_keeps_what_is_the_operators(debian: Debian) -> None:
    debian.run(INSTALL)
    debian.run(f"echo 'hostname mine' >>{CONFIGURATION}; mkdir -p /var/lib/horad; echo steps >{DATABASE}")
    debian.run("dpkg --remove horad")
    assert debian.run("ls /usr/sbin/horad /usr/lib/*/horad /lib/systemd/system/horad.service",
                      check=False).stdout.count("No such file") == 3
    assert debian.run(f"tail -n 1 {CONFIGURATION}; cat {DATABASE}").stdout == "hostname mine\nsteps\n"
    # Installed anew, it goes on with them.
    debian.run(INSTALL)
    assert debian.run(f"tail -n 1 {CONFIGURATION}; cat {DATABASE}").stdout == "hostname mine\nsteps\n"


def test_purge_leaves_nothing(debian: Debian) -> None:
    before = debian.files()
    debian.run(INSTALL)
    debian.run(f"cp {CONFIGURATION} {CONFIGURATION}.sav; echo 'hostname mine' >>{CONFIGURATION}; mkdir -p /var/lib/horad /var/log/horad; touch {DATABASE}")
    debian.run("ln -sf /usr/share/zoneinfo/Europe/Paris /etc/localtime")
    debian.run("dpkg --purge horad")
    assert debian.files() - before == set()
    assert before - debian.files() == set()
    # The zone is the system's.
    assert debian.run("readlink /etc/localtime").stdout == "/usr/share/zoneinfo/Europe/Paris\n"
    assert debian.run("ls -d /var/lib/horad /var/log/horad", check=False).returncode != 0


def test_purge_leaves_other_daemons_configurations(debian: Debian) -> None:
    debian.run(INSTALL)
    debian.run("touch /etc/frr/zebra.conf")
    debian.run("dpkg --purge horad")
    assert debian.run("ls /etc/frr").stdout == "zebra.conf\n"


def test_takes_another_time_daemons_place(debian: Debian, tmp_path: Path) -> None:
    """There is one time daemon on a system."""
    control = tmp_path / "other" / "DEBIAN" / "control"
    control.parent.mkdir(parents=True)
    control.write_text("Package: other-time\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@example.org>\n"
                       "Provides: time-daemon\nDescription: another time daemon\n")
    pack(tmp_path / "other", tmp_path / "packages" / "other.deb")
    debian.run("dpkg --install /packages/other.deb")
    debian.run("apt-get --yes install /packages/horad.deb")
    assert debian.run("dpkg-query -W -f '${db:Status-Status}' horad").stdout == "installed"
    assert debian.run("dpkg-query -W -f '${db:Status-Status}' other-time", check=False).stdout != "installed"
