#!/usr/bin/env python3
"""One table of the benchmark results against anchors measured in the same run.

usage: report.py [--markdown] [--markdown-out FILE] RESULTS_DIR

RESULTS_DIR holds one Google Benchmark JSON file per program, named <program>.json
(what bench/run-all writes). Each row is a measured time beside the time of an anchor
(memcpy of the same bytes, a direct C call, unzip, bsdtar, /bin/true, or another row)
from the same run; ratio = time / anchor time, so below 1 is faster than the anchor.
Where a benchmark was repeated, its median is used. A row whose benchmark or anchor is
missing (a program failed, or a filter left it out) shows n/a.
"""

import argparse
import json
import os
import re
import statistics
import sys

UNIT_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}

# Parts of a run name that say how it was run, not what it measures.
RUN_OPTION = re.compile(r"^(iterations|repeats|min_time|threads|min_warmup_time):|^(real_time|manual_time|process_time)$")


def key_of(run_name):
    return "/".join(p for p in run_name.split("/") if not RUN_OPTION.match(p))


class Result:
    def __init__(self, seconds, bytes_per_second, goal=None):
        self.seconds = seconds
        self.bytes_per_second = bytes_per_second
        self.goal = goal  # the most ratio the benchmark sets for its row, if any


def load(directory):
    """{program: {benchmark key: Result}}, {program: JSON context} and
    {(program, benchmark key): error message} of the benchmarks that failed."""
    results, contexts, failures = {}, {}, {}
    for name in sorted(os.listdir(directory)):
        if not name.endswith(".json"):
            continue
        program = name[: -len(".json")]
        try:
            with open(os.path.join(directory, name)) as f:
                data = json.load(f)
        except (OSError, ValueError) as error:
            print(f"report: cannot read {name}: {error}", file=sys.stderr)
            continue
        contexts[program] = data.get("context", {})
        medians, iterations = {}, {}
        for run in data.get("benchmarks", []):
            key = key_of(run.get("run_name", run["name"]))
            if run.get("error_occurred"):
                failures[(program, key)] = run.get("error_message", "failed")
                continue
            # The complexity fits (BigO, RMS), which carry no time.
            if "real_time" not in run:
                continue
            seconds = run["real_time"] * UNIT_SECONDS[run.get("time_unit", "ns")]
            rate = run.get("bytes_per_second")
            # Google Benchmark divides by processor time unless the benchmark uses real
            # time; the table's throughput is per wall-clock second, like its times.
            uses_real_time = "real_time" in run.get("run_name", run["name"]).split("/")
            if rate and not uses_real_time and run["real_time"] > 0:
                rate *= run["cpu_time"] / run["real_time"]
            result = Result(seconds, rate, run.get("goal"))
            if run.get("run_type") == "aggregate":
                if run.get("aggregate_name") == "median":
                    medians[key] = result
            else:
                iterations.setdefault(key, []).append(result)
        table = {}
        for key, runs in iterations.items():
            # Repetitions reported one by one: their median.
            runs.sort(key=lambda r: r.seconds)
            table[key] = runs[(len(runs) - 1) // 2] if len(runs) % 2 else Result(
                statistics.median(r.seconds for r in runs),
                statistics.median(r.bytes_per_second for r in runs) if runs[0].bytes_per_second else None,
                runs[0].goal)
        table.update(medians)
        results[program] = table
    return results, contexts, failures


# (section title, [(what, (program, benchmark), anchor label, (program, benchmark), scale)])
# A benchmark may be given as (program, benchmark, divisor): its time per item.
# scale multiplies the anchor's time (sixteen single starts against sixteen at once).
ROWS = [
    ("Native arrays, 10^7 doubles (80 MB)", [
        ("kxDuplicateArray", ("bench_kx", "BM_Duplicate"),
         "memcpy, same bytes", ("bench_kx", "BM_Memcpy"), 1),
        ("memcpy into a new buffer", ("bench_kx", "BM_MemcpyIntoNewBuffer"),
         "memcpy, same bytes", ("bench_kx", "BM_Memcpy"), 1),
        ("kxSerialize", ("bench_kx", "BM_Serialize"),
         "memcpy, same bytes", ("bench_kx", "BM_Memcpy"), 1),
        ("kxDeserialize", ("bench_kx", "BM_Deserialize"),
         "memcpy, same bytes", ("bench_kx", "BM_Memcpy"), 1),
        ("convert double to double", ("bench_kx", "BM_Convert/DoubleToDouble"),
         "memcpy, same bytes", ("bench_kx", "BM_Memcpy"), 1),
        ("convert double to int32", ("bench_kx", "BM_Convert/DoubleToInt32"),
         "memcpy, same bytes", ("bench_kx", "BM_Memcpy"), 1),
    ]),
    ("Array API, 10^7 doubles (80 MB)", [
        ("bulk get (array_ref_get_numeric)", ("bench_array_api", "BM_GetNumericDouble"),
         "memcpy, same bytes", ("bench_array_api", "BM_Memcpy"), 1),
        ("bulk set (array_ref_set_numeric)", ("bench_array_api", "BM_SetNumericDouble"),
         "memcpy, same bytes", ("bench_array_api", "BM_Memcpy"), 1),
    ]),
    ("Calls", [
        ("kclFeval, native function", ("bench_calls", "BM_Feval"),
         "direct C call", ("bench_calls", "BM_DirectCall"), 1),
        ("kclKlfFeval, native function", ("bench_calls", "BM_KlfFeval"),
         "direct C call", ("bench_calls", "BM_DirectCall"), 1),
        ("kclFeval, Korel function (.k)", ("bench_calls", "BM_FevalKorelFunction"),
         "direct C call", ("bench_calls", "BM_DirectCall"), 1),
        ("engine call by name", ("bench_engine", "BM_CallByName"),
         "direct C call", ("bench_engine", "BM_DirectCall"), 1),
        ("evaluator, one `s = s + 1` loop step", ("bench_engine", "BM_ScalarAdditionLoop", 1e6),
         "direct C call", ("bench_engine", "BM_DirectCall"), 1),
    ]),
    ("Korel interpreter against CPython 3.11 (/usr/bin/python3), kernel time only", [
        ("s = s + k^2, 10^6 steps", ("bench_interpreter", "Korel/sum_of_squares/1000000"),
         "CPython, same loop", ("bench_interpreter", "CPython/sum_of_squares/1000000"), 1),
        ("while, if/elseif chain, 10^6 steps", ("bench_interpreter", "Korel/branch_chain/1000000"),
         "CPython, same loop", ("bench_interpreter", "CPython/branch_chain/1000000"), 1),
        ("recursive fib(25)", ("bench_interpreter", "Korel/fib/25"),
         "CPython, same function", ("bench_interpreter", "CPython/fib/25"), 1),
        ("a(i) = a(i-1) + b(i), 10^6", ("bench_interpreter", "Korel/running_sum/1000000"),
         "CPython, lists", ("bench_interpreter", "CPython/running_sum/1000000"), 1),
        ("A(i,j) = i*j, 500x500 loops", ("bench_interpreter", "Korel/fill_matrix/500"),
         "CPython, list of lists", ("bench_interpreter", "CPython/fill_matrix/500"), 1),
        ("s.x(i) = i, 10^5 steps", ("bench_interpreter", "Korel/struct_field/100000"),
         "CPython, d['x'][i] = i", ("bench_interpreter", "CPython/struct_field/100000"), 1),
        ("s.x(i) = i, 2*10^5 steps", ("bench_interpreter", "Korel/struct_field/200000"),
         "Korel, 10^5 steps", ("bench_interpreter", "Korel/struct_field/100000"), 1),
        ("c{end+1} = i, 10^5 steps", ("bench_interpreter", "Korel/cell_append/100000"),
         "CPython, append", ("bench_interpreter", "CPython/cell_append/100000"), 1),
        ("c{end+1} = i, 2*10^5 steps", ("bench_interpreter", "Korel/cell_append/200000"),
         "Korel, 10^5 steps", ("bench_interpreter", "Korel/cell_append/100000"), 1),
        ("v(end+1) = i, 10^5 steps", ("bench_interpreter", "Korel/vector_append/100000"),
         "CPython, append", ("bench_interpreter", "CPython/vector_append/100000"), 1),
        ("v(end+1) = i, 2*10^5 steps", ("bench_interpreter", "Korel/vector_append/200000"),
         "Korel, 10^5 steps", ("bench_interpreter", "Korel/vector_append/100000"), 1),
        ("t = [t sprintf('%d,', i)], 10^4", ("bench_interpreter", "Korel/string_building/10000"),
         "CPython, t = t + '%d,' % i", ("bench_interpreter", "CPython/string_building/10000"), 1),
    ]),
    ("KAR extraction (about 2,000 files, 100 MB)", [
        ("in process", ("bench_kar", "BM_KarExtract_InProcess"),
         "unzip -q", ("bench_kar", "BM_Unzip"), 1),
        ("in process", ("bench_kar", "BM_KarExtract_InProcess"),
         "bsdtar -xf", ("bench_kar", "BM_Bsdtar"), 1),
        ("extractKAR tool", ("bench_kar", "BM_KarExtract_Tool"),
         "unzip -q", ("bench_kar", "BM_Unzip"), 1),
        ("extractKAR tool", ("bench_kar", "BM_KarExtract_Tool"),
         "bsdtar -xf", ("bench_kar", "BM_Bsdtar"), 1),
    ]),
    ("Component cache, warm get", [
        ("in use in this process, 1,000 in cache", ("bench_cache", "LiveEntry/1000"),
         "bare C call", ("kclkrt_bench", "BM_DirectCall"), 1),
        ("from disk, 10 in cache", ("bench_cache", "FromDisk/10"),
         "read the index file", ("bench_cache", "IndexFileRead/10"), 1),
        ("from disk, 1,000 in cache", ("bench_cache", "FromDisk/1000"),
         "read the index file", ("bench_cache", "IndexFileRead/1000"), 1),
    ]),
    ("Component start and end, in a running process", [
        ("local, up to date (warm)", ("bench_component", "LocalUpToDate"),
         "/bin/true process", ("bench_concurrent_start", "BM_True_1"), 1),
        ("cached, warm", ("bench_component", "CacheWarm"),
         "/bin/true process", ("bench_concurrent_start", "BM_True_1"), 1),
        ("local, cold (extracts)", ("bench_component", "ColdLocal"),
         "local, warm", ("bench_component", "LocalUpToDate"), 1),
        ("cached, cold (extracts)", ("bench_component", "ColdCache"),
         "cached, warm", ("bench_component", "CacheWarm"), 1),
    ]),
    ("Cached component program: start, one call, end", [
        ("1 process, warm cache", ("bench_concurrent_start", "BM_WarmStart_1"),
         "/bin/true process", ("bench_concurrent_start", "BM_True_1"), 1),
        ("1 process, cold cache", ("bench_concurrent_start", "BM_ColdStart_1"),
         "1 process, warm", ("bench_concurrent_start", "BM_WarmStart_1"), 1),
        ("16 at once, warm cache", ("bench_concurrent_start", "BM_WarmStart_16"),
         "16 /bin/true at once", ("bench_concurrent_start", "BM_True_16"), 1),
        ("16 at once, warm cache", ("bench_concurrent_start", "BM_WarmStart_16"),
         "16 x 1 warm process", ("bench_concurrent_start", "BM_WarmStart_1"), 16),
        ("16 at once, cold cache", ("bench_concurrent_start", "BM_ColdStart_16"),
         "16 at once, warm", ("bench_concurrent_start", "BM_WarmStart_16"), 1),
        ("16 at once, cold cache", ("bench_concurrent_start", "BM_ColdStart_16"),
         "16 /bin/true at once", ("bench_concurrent_start", "BM_True_16"), 1),
    ]),
]


def lookup(results, ref):
    program, key = ref[0], ref[1]
    result = results.get(program, {}).get(key)
    if result is None or len(ref) < 3:
        return result
    return Result(result.seconds / ref[2], None)


def format_time(seconds):
    for unit, size in (("s", 1.0), ("ms", 1e-3), ("us", 1e-6), ("ns", 1e-9)):
        if seconds >= size or unit == "ns":
            value = seconds / size
            digits = 2 if value < 10 else 1 if value < 100 else 0
            return f"{value:.{digits}f} {unit}"


def format_rate(bytes_per_second):
    if bytes_per_second >= 1e9:
        return f"{bytes_per_second / 1e9:.2f} GB/s"
    return f"{bytes_per_second / 1e6:.0f} MB/s"


def format_ratio(ratio):
    if ratio < 0.1:
        return f"{ratio:.3f}x"
    if ratio < 10:
        return f"{ratio:.2f}x"
    return f"{ratio:.1f}x" if ratio < 100 else f"{ratio:.0f}x"


def goal_text(row, anchor_seconds, failure):
    """Whether a row meets the goal its benchmark set for its ratio; a failed benchmark's message."""
    if failure:
        return failure
    if not row or row.goal is None:
        return ""
    if not anchor_seconds:
        return f"<= {row.goal:g}x: n/a"
    return f"<= {row.goal:g}x: " + ("met" if row.seconds / anchor_seconds <= row.goal else "not met")


def table_rows(results, failures):
    """[(section, [[what, time, anchor, anchor time, ratio, throughput, goal]])]"""
    out = []
    for title, rows in ROWS:
        lines = []
        for what, ref, anchor_label, anchor_ref, scale in rows:
            row, anchor = lookup(results, ref), lookup(results, anchor_ref)
            anchor_seconds = anchor.seconds * scale if anchor else None
            ratio = format_ratio(row.seconds / anchor_seconds) if row and anchor_seconds else "n/a"
            rate = ""
            if row and row.bytes_per_second:
                rate = format_rate(row.bytes_per_second)
                if anchor and anchor.bytes_per_second and scale == 1:
                    rate += f" vs {format_rate(anchor.bytes_per_second)}"
            lines.append([what, format_time(row.seconds) if row else "n/a", anchor_label,
                          format_time(anchor_seconds) if anchor_seconds else "n/a", ratio, rate,
                          goal_text(row, anchor_seconds, failures.get(ref[:2]))])
        out.append((title, lines))
    return out


HEADER = ["measured", "time", "anchor", "anchor time", "ratio", "throughput", "goal"]
RIGHT = {1, 3, 4}


def text_table(sections):
    # Rows are indented under their section's title.
    sections = [(title, [["  " + line[0]] + line[1:] for line in lines]) for title, lines in sections]
    widths = [len(h) for h in HEADER]
    for _, lines in sections:
        for line in lines:
            widths = [max(w, len(cell)) for w, cell in zip(widths, line)]

    def render(cells):
        parts = [c.rjust(w) if i in RIGHT else c.ljust(w) for i, (c, w) in enumerate(zip(cells, widths))]
        return "  ".join(parts).rstrip()

    out = [render(HEADER), render(["-" * w for w in widths])]
    for title, lines in sections:
        out.append(title)
        out.extend(render(line) for line in lines)
    return "\n".join(out)


def markdown_table(sections):
    align = ["---:" if i in RIGHT else "---" for i in range(len(HEADER))]
    out = ["| " + " | ".join(HEADER) + " |", "| " + " | ".join(align) + " |"]
    for title, lines in sections:
        out.append(f"| **{title}** |" + " |" * (len(HEADER) - 1))
        for line in lines:
            out.append("| " + " | ".join(cell.replace("|", "\\|") for cell in line) + " |")
    return "\n".join(out)


def conditions(contexts):
    """A line on where and under what load the programs ran, from their JSON contexts."""
    if not contexts:
        return ""
    any_context = next(iter(contexts.values()))
    loads = [c["load_avg"][0] for c in contexts.values() if c.get("load_avg")]
    text = f"{any_context.get('num_cpus', '?')} CPUs at {any_context.get('mhz_per_cpu', '?')} MHz"
    if loads:
        text += f"; 1-minute load average when each program started: {min(loads):.2f} to {max(loads):.2f}"
    builds = {c.get("library_build_type") for c in contexts.values()}
    if "debug" in builds:
        text += "; the Google Benchmark library reports a debug build of itself"
    return text


def main():
    parser = argparse.ArgumentParser(description="One table of benchmark ratios against their anchors.")
    parser.add_argument("results", help="directory of <program>.json files")
    parser.add_argument("--markdown", action="store_true", help="print a Markdown table")
    parser.add_argument("--markdown-out", metavar="FILE", help="also write the Markdown table to FILE")
    args = parser.parse_args()

    results, contexts, failures = load(args.results)
    if not results:
        print(f"report: no benchmark results in {args.results}", file=sys.stderr)
        return 1
    sections = table_rows(results, failures)
    note = "ratio = time / anchor time (below 1: faster than the anchor); medians where repeated."
    where = conditions(contexts)
    if args.markdown:
        print(markdown_table(sections))
    else:
        print(text_table(sections))
        print(note)
        if where:
            print(where)
    if args.markdown_out:
        with open(args.markdown_out, "w") as f:
            f.write(markdown_table(sections) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
