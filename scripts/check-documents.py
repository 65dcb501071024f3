#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Runs every command that the documents give, follows every link within the project, and reads every picture.

Commands are the lines of indented blocks that begin with a program, of blocks fenced as sh, and whatever stands in
backticks and begins with a program and a blank. They run in a folder of their own, with the files that they name and
with a home of their own. What is not run is named in NOT_RUN with the reason. A script that is named has to exist.

Prints a line for each fault and exits with 1 if there is any. --pictures FILE... only reads pictures, --list only says
what would be run. Needs a built varnel-render, and Debian's python3-pil.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

from PIL import Image

ROOT = pathlib.Path(__file__).resolve().parent.parent
RENDERER = ROOT / "build/source/render/varnel-render"
PROGRAMS = ("varnel-render", "varnel-reverb", "cmake", "ctest", "ninja", "apt-get", "sudo", "dnf", "pacman", "git", "ffmpeg", "sox", "jalv", "python3", "mkdir", "ln")

# What is not run here, by how it begins, and why.
NOT_RUN = {
    r"(sudo )?(apt-get|dnf|pacman) ": "changes the system",
    r"scripts/(demo|test|package|setup)\.sh": "installs packages and builds; scripts/test.sh and CI are these",
    r"(VARNEL_JUCE_DIR=\S+ )?scripts/test\.sh": "needs another JUCE",
    r"scripts/(benchmark|compare-peers|compare-sound|long-run|fuzz)\.sh": "takes minutes to days",
    r"scripts/(measure-(presets|sound|controls)|check-documents)\.py": "takes minutes, or is this",
    r"scripts/(screenshot|check-(package|reproducible|everywhere))\.sh": "takes minutes and, some of them, root",
    r"(sudo )?cmake --(preset|build|install) ": "scripts/test.sh does all of it",
    r"ctest ": "scripts/test.sh does it",
    r"jalv ": "needs a JACK server",
    r"scripts/(check-library\.sh|benchmark-python\.py)": "scripts/test.sh runs the one; the other takes minutes",
    r"ffmpeg ": "needs ffmpeg, which nothing else here does, and a film",
}


def documents():
    listed = subprocess.run(["git", "ls-files", "*.md"], cwd=ROOT, stdout=subprocess.PIPE, text=True, check=True).stdout
    return [ROOT / name for name in listed.splitlines()]


def is_command(line):
    return line.startswith("scripts/") or line.split(" ")[0] in PROGRAMS or re.match(r"[A-Z_]+=\S+ (scripts/|cmake |varnel-)", line) is not None


def commands(text):
    """Line number, command, and whether it is one, or only the name of a script."""
    lines = text.split("\n")
    fence, previous = None, ""

    for number, line in enumerate(lines, 1):
        if line.startswith("```"):
            fence = None if fence is not None else line[3:].strip()
        elif fence is not None:
            if fence in ("sh", "bash", "console") and line.strip() and not line.lstrip().startswith("#"):
                yield number, line.strip(), True
        elif line.startswith("    ") and is_command(line.strip()):
            if not lines[number - 2].endswith("\\"):  # or else it is the end of another program's command
                yield number, line.strip(), True
        else:
            # A command in backticks may go on in the next line.
            joined = previous + line
            for match in re.finditer(r"`([^`]+)`", joined):
                if match.end() > len(previous) and is_command(match[1]) and (" " in match[1] or match[1].endswith((".sh", ".py"))):
                    yield number, match[1], " " in match[1]
        odd = fence is None and (previous + line).count("`") % 2 == 1
        previous = (previous + line)[(previous + line).rindex("`"):] + " " if odd and line.strip() else ""


def without_comment(command):
    return re.sub(r"\s+# .*$", "", command)


def faults_of_links(path, text):
    text = re.sub(r"```.*?```", "", text, flags=re.S)
    for target in re.findall(r"\]\(([^)\s]+)\)", text):
        if re.match(r"[a-z]+:", target):
            continue
        file, _, anchor = target.partition("#")
        file = path.parent / file if file else path
        if not file.exists():
            yield f"leads to {target}, which is not there"
        elif anchor and anchor not in anchors(file.read_text(encoding="utf-8")):
            yield f"leads to {target}, where there is no such heading"


def anchors(text):
    """The names that GitHub and GitLab give to headings."""
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in re.findall(r"^#+ (.*)$", text, re.M)}


def fault_of_picture(path):
    """None, or why a strict reader would refuse a picture."""
    if path.suffix == ".svg":
        return None
    try:
        with Image.open(path) as image:
            image.verify()
        with Image.open(path) as image:
            image.load()
            if image.mode == "P":
                highest, colours = image.getextrema()[1], len(image.palette.palette) // len(image.palette.mode)
                if highest >= colours:
                    return f"has pixels of colour {highest}, and {colours} colours"
    except Exception as error:  # whatever the library finds wrong with it
        return f"cannot be read: {error}"
    return None


class Sandbox:
    """A folder with what the documents' commands read."""

    def __init__(self, folder):
        self.folder = folder
        self.environment = {"HOME": str(folder / "home"), "LC_ALL": "C.UTF-8", "PATH": f"{RENDERER.parent}:/usr/bin:/bin"}
        for bundle in ("vst3/Varnel Reverb.vst3", "lv2/Varnel Reverb.lv2"):
            (folder / "home/.local/lib" / bundle).mkdir(parents=True)
        (folder / "DIR").mkdir()
        shutil.copy("/usr/share/sounds/alsa/Front_Center.wav", folder / "voice.wav")
        shutil.copy(ROOT / "tests/processor/data/unusual-1.1.1.chunk", folder / "session.chunk")
        shutil.copy(ROOT / "tests/processor/data/old-record.chunk", folder / "old.qvz")
        shutil.copy(folder / "session.chunk", folder / "FILE")
        for name in ("drums.flac", "drums.wav", "strings.flac", "in.aiff", "in.ogg"):
            fault = self.run(f"varnel-render --quiet --set Effect=off voice.wav {name}")
            assert fault is None, fault
        for name in ("recordings", "dry"):
            (folder / name).mkdir()
            shutil.copy(folder / "voice.wav", folder / name / f"{name}.wav")

    def run(self, command):
        """None, or what went wrong."""
        place = ROOT if command.startswith("scripts/") else self.folder
        try:
            done = subprocess.run(["bash", "-euo", "pipefail", "-c", command], cwd=place, env=self.environment, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        except subprocess.TimeoutExpired:
            return "takes more than two minutes"
        said = done.stdout.decode("utf-8", "replace").strip().split("\n")[-1]
        return None if done.returncode == 0 else f"exit status {done.returncode}: {said}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--list", action="store_true", help="say what would be run, and run nothing")
    parser.add_argument("--pictures", nargs="+", type=pathlib.Path, metavar="FILE", help="read these pictures, and do nothing else")
    options = parser.parse_args()

    pictures = options.pictures or sorted((ROOT / "docs/images").iterdir())
    faults = [f"{path}: {fault}" for path in pictures if (fault := fault_of_picture(path))]
    run, left, used = 0, 0, set()

    if not options.pictures:
        if not options.list and not RENDERER.is_file():
            sys.exit(f"check-documents: {RENDERER}: not built yet")

        with tempfile.TemporaryDirectory() as folder:
            sandbox = None if options.list else Sandbox(pathlib.Path(folder))
            seen = set()
            for path in documents():
                text, name = path.read_text(encoding="utf-8"), path.relative_to(ROOT)
                faults += [f"{name}: {fault}" for fault in faults_of_links(path, text)]

                for number, line, is_whole in commands(text):
                    command = without_comment(line)
                    if command in seen:
                        continue
                    seen.add(command)
                    reason = next((pattern for pattern in NOT_RUN if re.match(pattern, command)), None)
                    for script in re.findall(r"\b((?:scripts|tests|benchmarks)/[\w./-]+)", command):
                        if not (ROOT / script).exists():
                            faults.append(f"{name}:{number}: {command}: {script} is not there")
                    if options.list and is_whole:
                        print(f"{name}:{number}: {command}" + (f"   (not run: {NOT_RUN[reason]})" if reason else ""))
                    used.add(reason)
                    if options.list or not is_whole:
                        continue
                    if reason is not None:
                        left += 1
                    else:
                        run += 1
                        fault = sandbox.run(command)
                        faults += [f"{name}:{number}: {command}: {fault}"] if fault else []

        faults += [f"scripts/check-documents.py: nothing begins with {pattern}" for pattern in NOT_RUN if pattern not in used]

    for fault in faults:
        print(fault)
    if not options.list and not options.pictures:
        print(f"{run} commands run, {left} not run, {len(pictures)} pictures read, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    os.umask(0o077)
    sys.exit(main())
