#!/usr/bin/env python3
"""Runs every bench_* program of a build and writes bench/RESULTS.md.

Each program is run once, writing Google Benchmark's JSON to a file beside
it; the ratio lines that bench/ratio_main.hpp prints are read from its
standard output. The report has one row for every benchmark (its best real time
per iteration over the repetitions) and one for every ratio line, each beside
its baseline and, where one was set, its target and whether it is met. New
programs and new ratios are picked up without a change here; only a new target
needs a line in TARGETS.

Usage: scripts/bench_report.py [--saved] [BUILD_DIR] [OUTPUT]
       (defaults: build/release and bench/RESULTS.md; --saved rewrites the
       report from the files the last run left in BUILD_DIR/bench)
"""
import datetime
import glob
import json
import os
import platform
import re
import subprocess
import sys

# Targets, by ratio "ours / baseline" (the smaller the better): the largest
# ratio that meets the target, and where the target comes from in words.
TARGETS = {
    "ProxyLineAsOneWrite / OfstreamToDevNull": (4.0, "proxy output at most 4x a plain ofstream"),
    "ProxyLineAndLineFeed / OfstreamToDevNull": (3.0, "a line then its line feed as two writes at most 3x a plain "
                                                 "ofstream"),
    "CellDisplay / BareCellLoop": (1.5, "1000-by-10 mixed cell display at most 1.5x a bare snprintf loop"),
    "DisplayDouble / BareDouble": (1.0, "1000x1000 double display at most 1.0x a bare snprintf loop"),
    "QueueFlushMillion / AsioPostMillion": (1.0, "event queue throughput at least asio's"),
    "BM_CatRead_ContainerReader / BM_CatRead_PlainReader": (3.0, "CAT member read at most 3x the plain read"),
    "BM_CatRead_ContainerReader / BM_CatRead_LibarchiveZip": (1.0, "CAT member read faster than libarchive"),
    "PrintWrapped / Fold": (1.0, "wrapping 1 MiB at most fold -s's time"),
    "QueueWakeMedian / AsioWakeMedian": (1.0, "event queue wake-up latency, median, at most asio's"),
    "BM_DesktopDisplay1000 / BM_ConsoleDisplay1000": (3.0, "1000x1000 display reaching the page at most 3x "
                                                      "the console's into /dev/null"),
    "KernelsTimesPlus / NumpyTimesPlus": (1.0, "z = x .* y + x on 1e7 doubles at most numpy's time"),
    "LanguageTimesPlus / NumpyTimesPlus": (1.0, "the statement z = x .* y + x on 1e7 doubles at most numpy's time"),
    "KernelsSum / NumpySum": (1.0, "sum(x) on 1e7 doubles at most numpy's time"),
    "KernelsMTimes / DirectDgemm": (1.1, "1000x1000 A * B within 1.1x a direct cblas_dgemm"),
    "ScalarLoop / ScalarLoopCPython": (1.0, "s = s + k over 1:1e6 faster than CPython 3.11's loop"),
    "ElementLoop / ElementLoopCPython": (1.0, "x(k) = k over 1e6 elements at most CPython's list loop"),
    "FunctionCalls / FunctionCallsCPython": (1.0, "1e5 calls of a one-line function in a file at most CPython's time"),
    "BM_LocateCachedArchive / BM_LocateCachedPlain": (
        1.0, "a cached function in a CAT archive found no slower than one in a plain folder"),
}

# Found anywhere in a line: the console table may leave its last row unterminated.
# Why a target is known to be missed, shown beside the figure when it is.
WHY_MISSED = {
}

RATIO_LINE = re.compile(r"ratio (\S+) / (\S+) = ([0-9.]+)")


def run(cmd, timeout=None):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=timeout)


def machine():
    cpu = "unknown"
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    cpu = line.split(":", 1)[1].strip()
                    break
    except OSError:
        pass
    try:
        compiler = run(["c++", "--version"]).stdout.splitlines()[0]
    except (OSError, IndexError):
        compiler = "unknown"
    return {
        "cpu": cpu,
        "cores": os.cpu_count(),
        "kernel": platform.release(),
        "compiler": compiler,
    }


def load():
    return "%.2f %.2f %.2f" % os.getloadavg()


def ratio_lines(text):
    """The ratio lines that bench/ratio_main.hpp prints."""
    ratios = []
    for line in text.splitlines():
        m = RATIO_LINE.search(line)
        if m:
            ratios.append((m.group(1), m.group(2), float(m.group(3))))
    return ratios


def best_times(doc):
    """Best real time per iteration of each benchmark, in its own time unit."""
    best = {}
    for b in doc.get("benchmarks", []):
        if b.get("run_type", "iteration") != "iteration" or b.get("error_occurred"):
            continue
        name = b.get("run_name", b["name"]).split("/")[0]
        t, unit = b["real_time"], b.get("time_unit", "ns")
        counters = {k: v for k, v in b.items() if k not in NON_COUNTERS and isinstance(v, (int, float))}
        if name not in best or t < best[name][0]:
            best[name] = (t, unit, counters)
    return best


NON_COUNTERS = {"real_time", "cpu_time", "iterations", "repetitions", "repetition_index", "threads",
                "family_index", "per_family_instance_index"}


def fmt_counters(counters):
    parts = []
    for k, v in sorted(counters.items()):
        if k == "bytes_per_second":
            parts.append("%.1f MB/s" % (v / 1e6))
        elif k == "items_per_second":
            parts.append("%.3g items/s" % v)
        else:
            parts.append("%s %.4g" % (k, v))
    return ", ".join(parts)


def main():
    args = [a for a in sys.argv[1:] if a != "--saved"]
    # --saved rewrites the report from the last run's files without running anything.
    saved = "--saved" in sys.argv[1:]
    build = args[0] if len(args) > 0 else "build/release"
    output = args[1] if len(args) > 1 else "bench/RESULTS.md"
    programs = sorted(p for p in glob.glob(os.path.join(build, "bench", "bench_*"))
                      if os.path.isfile(p) and os.access(p, os.X_OK))
    if not programs:
        sys.exit("no bench_* programs under %s/bench: build with -DQZ_BUILD_BENCH=ON" % build)

    started = datetime.datetime.now(datetime.timezone.utc)
    load_before = load()
    times, ratios, failures, notes, run_dates, run_loads = [], [], [], [], [], []
    for prog in programs:
        name = os.path.basename(prog)
        print("== %s" % name, flush=True)
        # The programs report to the console through their own reporter; the
        # JSON goes to a file beside it.
        out_json = os.path.join(build, "bench", name + ".json")
        out_txt = os.path.join(build, "bench", name + ".txt")
        if saved:
            with open(out_txt) as f:
                r = subprocess.CompletedProcess(prog, 0, f.read(), "")
        else:
            try:
                r = run([prog, "--benchmark_color=false", "--benchmark_out=" + out_json,
                         "--benchmark_out_format=json"], timeout=1800)
            except subprocess.TimeoutExpired:
                failures.append("%s: did not finish in 30 minutes" % name)
                continue
            with open(out_txt, "w") as f:
                f.write(r.stdout)
        if r.returncode != 0:
            failures.append("%s: exit status %d: %s" % (name, r.returncode, r.stderr.strip()[-300:]))
            continue
        try:
            with open(out_json) as f:
                doc = json.load(f)
            found = ratio_lines(r.stdout)
        except (OSError, ValueError) as e:
            failures.append("%s: unreadable output (%s)" % (name, e))
            continue
        ctx = doc.get("context", {})
        if ctx.get("date"):
            run_dates.append(ctx["date"])
        if ctx.get("load_avg"):
            run_loads.append("%s: %s" % (name, " ".join("%.2f" % x for x in ctx["load_avg"])))
        for bench, (t, unit, counters) in sorted(best_times(doc).items()):
            times.append((name, bench, t, unit, fmt_counters(counters)))
        for ours, base, value in found:
            ratios.append((name, ours, base, value))
        # Lines a program prints itself, before the console table begins
        # (peak memory, for one), are figures too.
        own = []
        for line in r.stdout.splitlines():
            if line.startswith("---") or line.startswith("Benchmark"):
                break
            if line.strip():
                own.append(line.strip())
        for line in own:
            notes.append((name, line))
    load_after = load()
    m = machine()

    lines = []
    lines.append("# Benchmark results")
    lines.append("")
    lines.append("Written by `make bench` (scripts/bench_report.py); every figure below comes from one run.")
    lines.append("")
    lines.append("| Machine | |")
    lines.append("|---|---|")
    lines.append("| CPU | %s |" % m["cpu"])
    lines.append("| Cores | %s |" % m["cores"])
    if saved:
        lines.append("| Load average (1, 5, 15 min) | %s |" % ("; ".join(run_loads) or "not recorded"))
    else:
        lines.append("| Load average (1, 5, 15 min) | %s before, %s after |" % (load_before, load_after))
    lines.append("| Kernel | %s |" % m["kernel"])
    lines.append("| Compiler | %s |" % m["compiler"])
    if saved and run_dates:
        lines.append("| Date | %s to %s (local time of the run) |" % (min(run_dates), max(run_dates)))
    else:
        lines.append("| Date | %s UTC |" % started.strftime("%Y-%m-%d %H:%M"))
    lines.append("")
    one_minute = [float(x.split(": ")[1].split()[0]) for x in run_loads]
    if not saved:
        one_minute.append(float(load_before.split()[0]))
    if one_minute and max(one_minute) > (m["cores"] or 1):
        lines.append("The machine was loaded beyond its core count during the run (other builds): absolute times "
                     "are inflated and noisy. The ratios compare our code with its baseline in the same program "
                     "and the best of five repetitions, and are the figures to trust.")
        lines.append("")
    lines.append("## Ratios (ours / baseline, best real time of the repetitions)")
    lines.append("")
    lines.append("| Program | Ours | Baseline | Ratio | Target | Met |")
    lines.append("|---|---|---|---|---|---|")
    for prog, ours, base, value in ratios:
        key = "%s / %s" % (ours, base)
        if key in TARGETS:
            limit, why = TARGETS[key]
            target = "at most %.1fx (%s)" % (limit, why)
            met = "yes" if value <= limit else "**no**" + (": " + WHY_MISSED[key] if key in WHY_MISSED else "")
        else:
            target, met = "none set", "-"
        lines.append("| %s | %s | %s | %.2fx | %s | %s |" % (prog, ours, base, value, target, met))
    seen = {"%s / %s" % (o, b) for _, o, b, _ in ratios}
    for key, (limit, why) in sorted(TARGETS.items()):
        if key not in seen:
            lines.append("| - | %s | %s | not measured | at most %.1fx (%s) | no figure: its benchmark is not "
                         "in this build |" % (key.split(" / ")[0], key.split(" / ")[1], limit, why))
    lines.append("")
    lines.append("## Every benchmark (best real time per iteration)")
    lines.append("")
    lines.append("| Program | Benchmark | Time | Counters |")
    lines.append("|---|---|---|---|")
    for prog, bench, t, unit, counters in times:
        shown = "%.4g %s" % (t, unit)
        lines.append("| %s | %s | %s | %s |" % (prog, bench, shown, counters.replace("|", "/")))
    if notes:
        lines.append("")
        lines.append("## Figures the programs print themselves")
        lines.append("")
        for prog, line in notes:
            lines.append("- %s: %s" % (prog, line))
    if failures:
        lines.append("")
        lines.append("## Programs that gave no figures")
        lines.append("")
        for f in failures:
            lines.append("- " + f.replace("\n", " "))
    lines.append("")
    with open(output, "w") as f:
        f.write("\n".join(lines))
    print("wrote %s" % output)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
