#!/usr/bin/env python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Plants faults in source/, one line each, and tells which of them the tests notice.

usage: plant-faults.py [--list FILE] [--only TEXT] [--copy FOLDER] [--near] [--again]

Each fault of the list (faults.json, beside this script) is an exact text of a file and what is put in its place. It is
planted in a copy of the working tree, in build-faults or where --copy says, which is built and tested; the tree itself is
never touched.
Near tests come first: those of the fault's own folder. What they let pass is planted together and meets all tests of the
release build and the check of the C library; where that fails, the group is halved, until each fault is told from the
others. --near leaves the second round out.

A fault may leave something behind over which all later tests fail, and would then make every verdict "caught". So the
near tests have to pass without any fault at the beginning, and again at the end, or the verdicts are not to be believed.

Results go to results.json in the copy as they come; what stands there is not done again unless --again is given.
Needs what scripts/setup.sh installs. Takes some seconds to half a minute for a fault that is caught near.
"""

import argparse
import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build-faults"
SECONDS = 600  # for a fault's build, or for all tests: who takes longer hangs
NEAR_SECONDS = 120  # for the tests of its own folder
BYTES = 8 << 30  # of memory: who wants more never has enough

# What is built and run for a fault in a folder. Tests with a capital are ctest's names, the others are programs.
NEAR = {
    "engine": (["varnel-engine-tests"], ["varnel-engine-tests"]),
    "tail": (["varnel-engine-tests"], ["varnel-engine-tests"]),
    "library": (["varnel-library-tests"], ["varnel-library-tests"]),
    "lv2": (["varnel-plain-lv2-tests"], ["varnel-plain-lv2-tests"]),
    "python": (["varnel-python", "varnel-render"], ["Python"]),
    "processor": (["varnel-plugin-tests"], ["varnel-plugin-tests"]),
    "presets": (["varnel-plugin-tests", "varnel-editor-tests"], ["varnel-plugin-tests", "varnel-editor-tests"]),
    "render": (["varnel-render-tests"], ["varnel-render-tests"]),
    "editor": (["varnel-editor-tests"], ["varnel-editor-tests"]),
    "standalone": (["varnel-editor-tests"], ["varnel-editor-tests"]),
    "clap": (["varnel-host-tests"], ["Hosts.smallClapHost", "Hosts.CLAP"]),
}


def fail(message):
    sys.exit(f"plant-faults: {message}")


def run(command, home, seconds=SECONDS):
    """Whether a command succeeds, and in time. Its output goes to the log of the copy."""
    environment = dict(os.environ, HOME=home, XDG_CONFIG_HOME=home, XDG_DATA_HOME=home, XDG_CACHE_HOME=home)

    if (ROOT / ".juce").exists():
        environment.setdefault("VARNEL_JUCE_DIR", str(ROOT / ".juce"))

    with open(COPY / "build-faults.log", "a", encoding="utf-8") as log:
        print(f"\n$ {' '.join(command)}", file=log, flush=True)
        with subprocess.Popen(["prlimit", f"--as={BYTES}", *command], cwd=COPY, env=environment, stdout=log, stderr=log, start_new_session=True) as process:
            try:
                return process.wait(seconds) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(process.pid, signal.SIGKILL)


def copy_tree():
    """Takes what has changed since the last time; what is the same keeps its date, so that little is built."""
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True, stdout=subprocess.PIPE).stdout.decode().split("\0")
    wanted = [name for name in names if name and (ROOT / name).is_file()]

    for name in wanted:
        source, target = ROOT / name, COPY / name
        if not target.exists() or source.read_bytes() != target.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)

    for folder in ("source", "tests"):
        for path in (COPY / folder).rglob("*"):
            if path.is_file() and str(path.relative_to(COPY)) not in wanted:
                path.unlink()


def plant(faults):
    for fault in faults:
        path = COPY / fault["file"]
        path.write_text(path.read_text(encoding="utf-8").replace(fault["old"], fault["new"]), encoding="utf-8")


def revert(faults):
    for name in {fault["file"] for fault in faults}:
        shutil.copy(ROOT / name, COPY / name)


def folder_of(fault):
    return fault["file"].split("/")[1]


def failing_folders(faults, home):
    """The folders of faults whose near tests fail without any."""
    return [folder for folder in sorted({folder_of(fault) for fault in faults}) if near_verdict(folder, home) != "passed near"]


def near_verdict(folder, home):
    """What the near tests say of the copy as it is."""
    targets, tests = NEAR[folder]

    if not run(["cmake", "--build", "build", "--target", *targets], home):
        return "does not build"

    for test in tests:
        command = ["ctest", "--preset", "release", "-R", f"^{test}"] if test[0].isupper() else [f"build/tests/{test}", "--gtest_brief=1", "--gtest_fail_fast"]
        if not run(command, home, NEAR_SECONDS):
            return "caught"

    return "passed near"


def passes_whole(faults, home):
    """Whether the quick suite has nothing to say of some faults at once."""
    plant(faults)
    try:
        return (run(["cmake", "--build", "build"], home)
                and run(["ctest", "--preset", "release", "--stop-on-failure"], home)
                and run(["scripts/check-library.sh"], home))
    finally:
        revert(faults)


def settle(faults, home, note):
    """Halves a group until it is known which of its faults the whole suite catches."""
    if not faults:
        return
    if passes_whole(faults, home):
        for fault in faults:
            note(fault, "missed")
    elif len(faults) == 1:
        note(faults[0], "caught")
    else:
        half = len(faults) // 2
        settle(faults[:half], home, note)
        settle(faults[half:], home, note)


def main():
    global COPY
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("plant-faults: ended"))  # and what is planted is taken back
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--list", type=pathlib.Path, default=ROOT / "scripts/faults.json", help="another list")
    parser.add_argument("--only", default="", metavar="TEXT", help="faults whose file or description has this text")
    parser.add_argument("--copy", type=pathlib.Path, default=COPY, metavar="FOLDER", help="where the copy is made, and its results are kept")
    parser.add_argument("--near", action="store_true", help="only the tests of each fault's own folder")
    parser.add_argument("--again", action="store_true", help="forget earlier results")
    options = parser.parse_args()

    COPY = options.copy.resolve()
    results_file = COPY / "results.json"
    faults = [fault for fault in json.loads(options.list.read_text(encoding="utf-8")) if options.only in fault["file"] + " " + fault["why"]]

    for fault in faults:
        if (number := (ROOT / fault["file"]).read_text(encoding="utf-8").count(fault["old"])) != 1:
            fail(f"{fault['file']}: stands there {number} times: {fault['old']!r}")

    COPY.mkdir(exist_ok=True)
    copy_tree()
    results = {} if options.again or not results_file.exists() else json.loads(results_file.read_text(encoding="utf-8"))
    key = lambda fault: f"{fault['file']}: {fault['why']}"  # noqa: E731

    def save():
        results_file.write_text(json.dumps(results, indent=1, ensure_ascii=False) + "\n", encoding="utf-8")

    def note(fault, verdict):
        results[key(fault)] = verdict
        save()
        print(f"{verdict:12}  {key(fault)}", flush=True)

    with tempfile.TemporaryDirectory() as home:
        print("building the tree as it is", flush=True)
        if not run(["cmake", "--preset", "release", "-DVARNEL_BENCHMARKS=OFF"], home, None) or not run(["cmake", "--build", "build"], home, None):
            fail(f"the tree does not build; see {COPY / 'build-faults.log'}")

        undone = [fault for fault in faults if key(fault) not in results]

        if failing := failing_folders(undone, home):
            fail(f"the tests fail without any fault: {', '.join(failing)}; see {COPY / 'build-faults.log'}")

        for fault in undone:
            plant([fault])
            try:
                verdict = near_verdict(folder_of(fault), home)
            finally:
                revert([fault])
            note(fault, verdict)

        if failing := failing_folders(undone, home):
            for fault in undone:
                if folder_of(fault) in failing:
                    del results[key(fault)]
            save()
            fail(f"the tests fail by now without any fault: {', '.join(failing)}; what was said of faults there is forgotten")

        undecided = [fault for fault in faults if results[key(fault)] == "passed near"]

        if not options.near:
            settle(undecided, home, note)

    verdicts = [results[key(fault)] for fault in faults]
    missed = [key(fault) for fault in faults if results[key(fault)] in ("missed", "passed near")]
    counted = len(verdicts) - verdicts.count("does not build")
    print(f"\n{verdicts.count('caught')} of {counted} faults are caught ({100 * verdicts.count('caught') / max(1, counted):.0f} %). Not caught:")
    print("\n".join("  " + name for name in missed))


if __name__ == "__main__":
    main()
