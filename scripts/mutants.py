#!/usr/bin/env python3
"""Plants one fault at a time in a copy of this tree and tells which of them no test catches.

    mutants.py [--list | --check] [WORD...]

Only the faults whose title or file has one of the words, otherwise all. tests/mutants/faults.toml tells how one is
written. The exit status is 1 when a fault survives, can no longer be planted or does not build, or
when its tests fail without it; --check only looks whether each can be planted. The tree itself is left alone; the copy is build/mutants.
"""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import sys
import tomllib
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
TREE, BUILD = ROOT / "build/mutants/tree", ROOT / "build/mutants/build"
PATIENCE = 120
"""Seconds after which a test that stands still has caught its fault."""


def run(command: list[object], **options: object) -> subprocess.CompletedProcess[str]:
    try:
        return subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, errors="replace", timeout=PATIENCE * 5,
                              **options)  # type: ignore[call-overload]
    except subprocess.TimeoutExpired as late:
        return subprocess.CompletedProcess(late.cmd, -1, "no end\n")


def copy_tree() -> None:
    listed = run(["git", "-C", ROOT, "ls-files", "-co", "--exclude-standard"]).stdout.split("\n")
    names = {name for name in listed if (ROOT / name).is_file()}
    for name in names:
        old, new = ROOT / name, TREE / name
        if not new.exists() or old.read_bytes() != new.read_bytes():
            new.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(old, new, follow_symlinks=False)
    for path in TREE.rglob("*"):
        if path.is_file() and str(path.relative_to(TREE)) not in names:
            path.unlink()


def build(*targets: str) -> str:
    """What the compiler says; nothing when it is content."""
    built = run(["ninja", "-C", BUILD, *targets])
    return built.stdout if built.returncode else ""


def is_unit(test: str) -> bool:
    return ":" in test


def programs_of(test: str) -> set[str]:
    return {"tests/" + test.split(":")[0]} if is_unit(test) else {"fieldrelaybox", "stream", "fieldrelaybox-panel"}


def run_test(test: str) -> subprocess.CompletedProcess[str]:
    if is_unit(test):
        return run(["timeout", PATIENCE, *(BUILD / program for program in programs_of(test)),
                    "--gtest_filter=" + test.split(":")[1], "--gtest_fail_fast"])
    return run(["timeout", PATIENCE, TREE / "tools/sandbox.sh", "python3", "-B", "-m", "unittest",
                "--failfast", "test_" + test], cwd=TREE / "tests/system",
               env=dict(os.environ, FIELDRELAYBOX_DAEMON=str(BUILD / "fieldrelaybox"),
                        FIELDRELAYBOX_PROGRAMS=str(BUILD)))


def pattern(text: str) -> re.Pattern[str]:
    """Wherever the formatter broke the lines."""
    return re.compile(r"\s+".join(re.escape(word) for word in text.split()))


def plant(fault: dict, path: Path) -> str:
    """The text of the file with the fault."""
    text = path.read_text() if path.exists() else ""
    planted, places = pattern(fault["old"]).subn(lambda _: fault["new"], text)
    if places != 1:
        raise ValueError(f"cannot be planted: the text is there {places} times")
    return planted


def check(faults: list[dict]) -> int:
    status = 0
    for fault in faults:
        try:
            plant(fault, ROOT / fault["file"])
        except ValueError as why:
            print(f"{fault['title']}: {why}")
            status = 1
    return status


def verdict(fault: dict) -> str:
    """Empty when a test catches it."""
    path = TREE / fault["file"]
    try:
        planted = plant(fault, path)
    except ValueError as why:
        return str(why)
    text = path.read_text()
    path.write_text(planted)
    try:
        if told := build(*set().union(*map(programs_of, fault["tests"]))):
            return "does not build:\n" + told[-2000:]
        if all(run_test(test).returncode == 0 for test in fault["tests"]):
            return "survives " + ", ".join(fault["tests"])
        return ""
    finally:
        path.write_text(text)


def broken_tests(faults: list[dict]) -> list[str]:
    """Those that fail, or are not there, without any fault."""
    broken = []
    for test in sorted({test for fault in faults for test in fault["tests"]}):
        ended = run_test(test)
        if ended.returncode or "Ran 0 tests" in ended.stdout or "PASSED  ] 0 tests" in ended.stdout:
            broken.append(f"{test} fails without a fault:\n{ended.stdout[-2000:]}")
    return broken


def main(arguments: list[str]) -> int:
    words = [word for word in arguments if word not in ("--list", "--check")]
    faults = tomllib.loads((ROOT / "tests/mutants/faults.toml").read_text())["fault"]
    faults = [fault for fault in faults
              if not words or any(word in fault["title"] + fault["file"] for word in words)]
    if "--list" in arguments:
        print(*(fault["title"] for fault in faults), sep="\n")
        return 0
    if "--check" in arguments:
        return check(faults)
    copy_tree()
    configured = run(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                      "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_DEBUG=-O0"])
    told = configured.stdout if configured.returncode else build(
        "fieldrelaybox", "stream", "fieldrelaybox-panel", "tests/unit_tests", "tests/shell_tests")
    if told:
        print(told[-4000:])
        return 1
    left = broken_tests(faults)
    print(*left, sep="\n", end="\n" if left else "", flush=True)
    for number, fault in enumerate(faults, 1):
        told = verdict(fault)
        left += [told] if told else []
        print(f"{number:2}/{len(faults)} {fault['title']}: {told or 'caught'}", flush=True)
    print(f"{len(faults)} faults, {len(left)} complaints")
    return 1 if left or not faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
