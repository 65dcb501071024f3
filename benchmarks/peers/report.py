#!/usr/bin/python3
# SPDX-License-Identifier: AGPL-3.0-only
"""Writes what varnel-peers measured into docs/performance.md, between its markers, and draws docs/images/performance.svg.

With --print it prints the text instead and writes nothing.
"""

import argparse
import html
import json
import math
import pathlib
import platform
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
DOCUMENT = ROOT / "docs" / "performance.md"
CHART = ROOT / "docs" / "images" / "performance.svg"

BEGIN = "<!-- From here on written by scripts/compare-peers.sh -->"
END = "<!-- Up to here written by scripts/compare-peers.sh -->"

OURS = "Varnel Reverb"
NOTABLE_SLOWDOWN = 1.3  # less is not told from a busy machine
STRETCH = 5  # turns, 1.7 s: a lone disturbance does not count
LONGEST_TAIL = 29.9  # seconds; varnel-peers listens for 30


# ======================================================================================================
# Figures from the time of every turn

def spread(times):
    lower, median, upper = statistics.quantiles(times, n=4)
    return {"lowerQuartile": lower, "median": median, "upperQuartile": upper}


def slowest(values):
    return max(statistics.median(values[i:i + STRETCH]) for i in range(len(values) - STRETCH + 1))


def worst_block(times):
    """The 99.9th percentile over the median."""
    times = sorted(times)
    return times[min(len(times) - 1, math.ceil(0.999 * len(times)) - 1)] / statistics.median(times)


def evaluate(reverb):
    """Puts figures in the place of times."""
    for conditions in ("smallBlocks", "largeBlocks"):
        reverb[conditions + "Worst"] = worst_block(reverb.pop(conditions + "Each"))

    flushed, unflushed = reverb["silence"], reverb["silenceWithoutFlush"]

    # Round by round, in which the machine was as busy for one as for the other
    reverb["slowdown"] = slowest([without / flushing for without, flushing in zip(unflushed, flushed)])

    for conditions in ("silence", "silenceWithoutFlush"):
        reverb[conditions] = reverb[conditions][len(flushed) * 3 // 4:]  # what it settles to

    for conditions in ("noise", "smallBlocks", "largeBlocks", "highRate", "silence", "silenceWithoutFlush"):
        reverb[conditions] = spread(reverb[conditions])


# ======================================================================================================
# Words

def name_of(reverb):
    return f"{reverb['name']} {reverb['format']}" if reverb["name"] == OURS else reverb["name"]


def listed(words):
    words = list(words)
    return " and ".join(filter(None, [", ".join(words[:-1]), *words[-1:]]))


def number(nanoseconds):
    return f"{nanoseconds:.1f}" if nanoseconds < 100 else f"{nanoseconds:.0f}"


def version_of(package):
    query = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", package], capture_output=True, text=True, check=False)
    return query.stdout if query.returncode == 0 else "not installed"


def release():
    system = platform.freedesktop_os_release()
    point = pathlib.Path("/etc/debian_version")
    if system.get("ID") == "debian" and point.is_file():
        return f"Debian {point.read_text(encoding='utf-8').strip()}"
    return system["PRETTY_NAME"]


def remarks_on(reverb):
    if reverb["remark"]:
        yield reverb["remark"]
    if reverb["inputs"] == 1:
        yield "mono input"
    if reverb["latency"]:
        yield f"{reverb['latency']} frames of latency"


def table(heads, rows):
    """Numbers are set to the right, names and remarks to the left."""
    rules = ["---" if head in ("Reverb", "Remarks") else "---:" for head in heads]
    return "\n".join(f"| {' | '.join(row)} |" for row in [heads, rules, *rows])


# ======================================================================================================
# The text

def standing(ours, others):
    """Who is faster, by quartiles: medians closer than that are not told apart."""
    low = min(reverb["noise"]["lowerQuartile"] for reverb in ours)
    high = max(reverb["noise"]["upperQuartile"] for reverb in ours)
    faster = [reverb for reverb in others if reverb["noise"]["upperQuartile"] < low]
    slower = [reverb for reverb in others if reverb["noise"]["lowerQuartile"] > high]
    same = [reverb for reverb in others if reverb not in faster and reverb not in slower]

    costs = listed(f"{number(reverb['noise']['median'])} ns per frame as {reverb['format']}" for reverb in ours)
    share = max(reverb["noise"]["median"] for reverb in ours) * 48000 / 1e9
    yield f"{OURS} takes {costs}. At 48 kHz that is {100 * share:.2f} % of one core."

    for those, are in ((faster, "faster"), (same, "not told apart from it"), (slower, "slower")):
        if those:
            yield f"{len(those)} of the {len(others)} others {'is' if len(those) == 1 else 'are'} {are}: {listed(map(name_of, those))}."


def in_blocks(ours):
    def growth(reverb):
        return 100 * (reverb["smallBlocks"]["median"] / reverb["largeBlocks"]["median"] - 1)

    changes = listed(f"{growth(reverb):+.0f} % as {reverb['format']}" for reverb in ours)
    yield f"Blocks of 32 frames instead of 1024 change the time of {OURS} by {changes}, format and host included."


def in_the_worst_block(ours):
    worst = max(reverb[conditions + "Worst"] for reverb in ours for conditions in ("smallBlocks", "largeBlocks"))
    yield f"The slowest of a thousand blocks takes at most {worst:.2f} times as long as the median one in {OURS}, in blocks of 32 and of 1024."


def in_silence(ours, others):
    def after_noise(reverb):
        return reverb["silence"]["median"] / reverb["noise"]["median"]

    def unflushed(reverb):
        return reverb["slowdown"]

    for factor, told in ((after_noise, "Silence takes {:.2f} times what noise takes in {}"),
                         (unflushed, "When the host does not flush denormal numbers, the slowest stretch of a dying tail "
                                     "takes {:.2f} times as long in {}")):
        slow = sorted((reverb for reverb in others if factor(reverb) > NOTABLE_SLOWDOWN), key=factor, reverse=True)
        what = listed(f"{factor(reverb):.1f} times in {name_of(reverb)}" for reverb in slow)
        yield told.format(max(map(factor, ours)), OURS) + (f", and {what}." if slow else f"; in no other does it take more than {NOTABLE_SLOWDOWN} times.")


def report(results):
    reverbs = sorted(results["reverbs"], key=lambda reverb: reverb["noise"]["median"])
    ours = [reverb for reverb in reverbs if reverb["name"] == OURS]
    others = [reverb for reverb in reverbs if reverb["name"] != OURS]

    yield (f"Measured on {results['date']}: {results['processor'].strip()}, {results['cores']} cores, {release()}; "
           f"{OURS} and `juce::Reverb` built with {results['compiler']}, the others as Debian has built them.")

    if ours:
        yield "\n".join([*standing(ours, others), *in_blocks(ours), *in_the_worst_block(ours), *in_silence(ours, others)])

    yield f"![Bars: nanoseconds per frame of each reverb](images/{CHART.name})"

    yield table(
        ["Reverb", "ns per frame", "quartiles", "of a core", "tail", "Remarks"],
        [[f"**{name_of(reverb)}**" if reverb in ours else name_of(reverb),
          number(reverb["noise"]["median"]),
          f"{number(reverb['noise']['lowerQuartile'])} to {number(reverb['noise']['upperQuartile'])}",
          f"{reverb['noise']['median'] * 48000 / 1e7:.2f} %",
          f"{reverb['tail']:.1f} s" if reverb["tail"] < LONGEST_TAIL else "over 30 s",
          "; ".join(remarks_on(reverb))] for reverb in reverbs])

    yield "The same in other conditions, in nanoseconds per frame:"
    columns = ("smallBlocks", "largeBlocks", "highRate", "silence", "silenceWithoutFlush")
    yield table(
        ["Reverb", "blocks of 32", "blocks of 1024", "96 kHz", "silence", "silence, not flushed", "slowdown", "worst of 32", "worst of 1024"],
        [[name_of(reverb), *(number(reverb[conditions]["median"]) for conditions in columns),
          *(f"{reverb[figure]:.1f}" for figure in ("slowdown", "smallBlocksWorst", "largeBlocksWorst"))]
         for reverb in reverbs])

    packages = sorted({reverb["package"] for reverb in others if reverb["package"]})
    if packages:
        yield "From the packages " + listed(f"{package} {version_of(package)}" for package in packages) + "."

    if results["failures"]:
        yield "Not measured:\n\n" + "\n".join(
            f"- {name_of(failure)}" + (f" (package {failure['package']}, {version_of(failure['package'])})" if failure["package"] else "")
            + f": {failure['reason']}" for failure in results["failures"])
    else:
        yield "None was left out."


# ======================================================================================================
# The chart

STYLE = """
    .paper { fill: #ffffff; stroke: #d0d7de; }
    text { font: 13px "DejaVu Sans", Verdana, sans-serif; fill: #24292f; }
    .number { fill: #57606a; }
    .ours { fill: #b5482f; }
    .other { fill: #8c9bab; }
    .spread { stroke: #24292f; stroke-width: 1.5; }
    text.ours { fill: #b5482f; font-weight: bold; }
    @media (prefers-color-scheme: dark) {
      .paper { fill: #0d1117; stroke: #30363d; }
      text { fill: #e6edf3; }
      .number { fill: #9198a1; }
      .ours, text.ours { fill: #f0795b; }
      .other { fill: #57677a; }
      .spread { stroke: #e6edf3; }
    }
"""


def chart(results):
    reverbs = sorted(results["reverbs"], key=lambda reverb: reverb["noise"]["median"])
    width, row, left, right, top = 720, 26, 172, 60, 50
    height = top + row * len(reverbs) + 16
    scale = (width - left - right) / max(reverb["noise"]["upperQuartile"] for reverb in reverbs)

    yield f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" role="img">'
    yield "  <!-- SPDX-License-Identifier: AGPL-3.0-only. Drawn by benchmarks/peers/report.py -->"
    yield "  <title>Nanoseconds per stereo frame of each reverb; shorter is faster</title>"
    yield f"  <style>{STYLE}  </style>"
    yield f'  <rect class="paper" x="0.5" y="0.5" width="{width - 1}" height="{height - 1}" rx="6"/>'
    yield '  <text x="16" y="30">Nanoseconds per stereo frame; shorter is faster</text>'

    for i, reverb in enumerate(reverbs):
        time = reverb["noise"]
        y = top + row * i
        kind = "ours" if reverb["name"] == OURS else "other"
        end = left + scale * time["median"]
        low, high = (left + scale * time[key] for key in ("lowerQuartile", "upperQuartile"))
        yield (f'  <text class="{kind if kind == "ours" else "name"}" x="{left - 10}" y="{y + 17}" text-anchor="end">'
               f"{html.escape(name_of(reverb))}</text>")
        yield f'  <rect class="{kind}" x="{left}" y="{y + 4}" width="{end - left:.1f}" height="{row - 8}" rx="2"/>'
        yield f'  <path class="spread" d="M{low:.1f} {y + row / 2:g}H{high:.1f}"/>'
        yield f'  <text class="number" x="{max(end, high) + 8:.1f}" y="{y + 17}">{number(time["median"])}</text>'

    yield "</svg>"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--print", action="store_true", help="print the text; write nothing")
    parser.add_argument("results", type=pathlib.Path, help="what varnel-peers wrote")
    options = parser.parse_args()

    results = json.loads(options.results.read_text(encoding="utf-8"))
    for reverb in results["reverbs"]:
        evaluate(reverb)
    text = "\n\n".join(report(results))

    if options.print:
        print(text)
        return

    document = DOCUMENT.read_text(encoding="utf-8")
    before, found_begin, rest = document.partition(BEGIN)
    _, found_end, after = rest.partition(END)
    if not found_begin or not found_end:
        sys.exit(f"report: {DOCUMENT.relative_to(ROOT)} lacks its markers")

    DOCUMENT.write_text(f"{before}{BEGIN}\n\n{text}\n\n{END}{after}", encoding="utf-8", newline="\n")
    CHART.write_text("\n".join(chart(results)) + "\n", encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
