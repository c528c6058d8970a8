#!/usr/bin/env python3
"""The last table of `make bench`: each benchmark beside its peer from the
same run, the ratio, the goal and whether it holds; also written as JSON. The
solver's rows stand alone: moves priced a second, and what a timed solve
found, beside the proven optimum where one is known.

Usage: benchtable.py RESULTS_DIR OUT_JSON, where RESULTS_DIR holds the
--benchmark_out JSON of each bench program. A ratio is the peer's time over
ours, so above 1 we are faster. A row whose benchmarks did not run says so.
"""
import json
import pathlib
import sys

# (ours, peer, what is compared, goal, kind): kind "ratio" wants
# peer time / our time >= goal; "ns" wants our per_point <= goal;
# "memory" wants peak <= goal * (document + points), or only reports it when
# the goal is None; "rate" wants items_per_second >= goal; "objective" reads
# the counters of one solve and wants a roster with no hard breach and an
# objective <= goal, or only reports it (with the bound) when the goal is None;
# "curve" has no goal and reports per_point at each of CURVE_SIZES, as ours
# "/<size>": how a cost a point grows.
ROWS = [
    ("BM_Deflate_Gzip", "BM_Libdeflate_Gzip", "gzip compress, level 6 (Deflate)", 0.8, "ratio"),
    ("BM_ZipAndCode64", "BM_Libdeflate_Gzip", "gzip compress + Base64 (ZipAndCode64)", 0.8, "ratio"),
    ("BM_Inflate_Gzip", "BM_Libdeflate_Gunzip", "gzip inflate (Inflate)", 0.8, "ratio"),
    ("BM_Decode64AndUnzip", "BM_Libdeflate_Gunzip", "Base64 + inflate (Decode64AndUnzip)", 0.6, "ratio"),
    ("BM_Inflate_Gzip", "BM_Zlib_Gunzip", "gzip inflate beside zlib", None, "ratio"),
    ("BM_Deflate_Gzip", "BM_Zlib_Gzip", "gzip compress beside zlib", None, "ratio"),
    # A whole shuffled list merged at once; one Merge a point moves the tail
    # of the vector each time, so its cost a point grows with the size.
    ("BM_MergeAllShuffled/10000", "BM_IclAddShuffled/10000", "MergeAll, 10,000 shuffled intervals", 1.0, "ratio"),
    ("BM_MergeAllShuffled/100000", "BM_IclAddShuffled/100000", "MergeAll, 100,000 shuffled intervals", 1.0, "ratio"),
    ("BM_MergeShuffled", None, "Merge one by one, shuffled", None, "curve"),
    ("BM_AddUniqueShuffled/10000", "BM_IclAddShuffled/10000", "AddUnique, the sorted-vector floor", None, "ratio"),
    ("BM_MergeInOrder", None, "Merge one by one, in order", None, "curve"),
    ("BM_SaveToXML", "BM_PugixmlBuildAndSave", "SaveToXML, 270,000 points", 1.0, "ratio"),
    ("BM_LoadFromXML", "BM_PugixmlParseAndStrtoll", "LoadFromXML, 270,000 points", 0.5, "ratio"),
    ("BM_LoadFromXMLPeakMemory", None, "LoadFromXML peak memory, 6,000,000 points", 1.0, "memory"),
    ("BM_LoadFromXMLPeakMemoryThroughTree", None, "LoadFromXML peak, with a comment (tree)", None, "memory"),
    ("BM_GetPointsDay/100000", "BM_IclEqualRange/100000", "GetPointsDay, 100,000 points", None, "ratio"),
    ("BM_GetFirstPoint/100000", "BM_IclFind/100000", "GetFirstPoint, 100,000 points", None, "ratio"),
    ("BM_CyclesExpand", "BM_LibicalExpand", "cycle expansion beside libical", None, "ratio"),
    ("BM_OperationOneAtATime/real_time", "BM_BareThreadCreateJoin/real_time", "one operation beside a bare thread", None, "ratio"),
    # The solver: moves priced by the evaluator (not applied), goal millions a
    # second; then timed solves, two searches and the exact engine, whose goal
    # is the proven optimum of each published instance.
    ("BM_SolverMoves/30x28x4/change", None, "moves priced, 30x28x4: one assignment", 1e6, "rate"),
    ("BM_SolverMoves/30x28x4/swap", None, "moves priced, 30x28x4: a day swapped", 1e6, "rate"),
    ("BM_SolverMoves/30x28x4/block", None, "moves priced, 30x28x4: a week rewritten", 1e6, "rate"),
    ("BM_SolverMoves/150x364x32/change", None, "moves priced, 150x364x32: one assignment", 1e6, "rate"),
    ("BM_SolverMoves/150x364x32/swap", None, "moves priced, 150x364x32: a day swapped", 1e6, "rate"),
    ("BM_SolverMoves/150x364x32/block", None, "moves priced, 150x364x32: a week rewritten", 1e6, "rate"),
    ("BM_Solve/Instance1/10", None, "solve Instance1, 10 s", 607, "objective"),
    ("BM_Solve/Instance2/10", None, "solve Instance2, 10 s", 828, "objective"),
    ("BM_Solve/Instance3/10", None, "solve Instance3, 10 s", 1001, "objective"),
    ("BM_Solve/30x28x4/10", None, "solve generated 30x28x4, 10 s", None, "objective"),
    ("BM_Solve/50x182x6/10", None, "solve generated 50x182x6, 10 s", None, "objective"),
    ("BM_Solve/150x364x32/10", None, "solve generated 150x364x32, 10 s", None, "objective"),
    ("BM_Solve/Instance1/60", None, "solve Instance1, 60 s", 607, "objective"),
    ("BM_Solve/Instance2/60", None, "solve Instance2, 60 s", 828, "objective"),
    ("BM_Solve/Instance3/60", None, "solve Instance3, 60 s", 1001, "objective"),
    ("BM_Solve/30x28x4/60", None, "solve generated 30x28x4, 60 s", None, "objective"),
    ("BM_Solve/50x182x6/60", None, "solve generated 50x182x6, 60 s", None, "objective"),
    ("BM_Solve/150x364x32/60", None, "solve generated 150x364x32, 60 s", None, "objective"),
]


CURVE_SIZES = (1000, 10000, 100000)


def per_point(run):
    """Nanoseconds a point; the counter comes in seconds."""
    return run["per_point"] * 1e9 if run["per_point"] < 1 else run["per_point"]


def curve(runs, name):
    """per_point of `name` at each of CURVE_SIZES, None where it did not run."""
    points = {}
    for size in CURVE_SIZES:
        run = runs.get("%s/%d" % (name, size))
        points[size] = None if run is None else per_point(run)
    return points


def load(results):
    runs = {}
    for path in sorted(pathlib.Path(results).glob("*.json")):
        for run in json.loads(path.read_text()).get("benchmarks", []):
            if run.get("run_type", "iteration") == "iteration" and "error_occurred" not in run:
                runs[run["name"]] = run
    return runs


def find(runs, name):
    if name in runs:
        return runs[name]
    # Benchmarks with a fixed iteration count carry it in their name.
    for key, run in runs.items():
        if key.split("/iterations:")[0] == name.split("/real_time")[0] or key.startswith(name + "/"):
            return run
    return None


def nanoseconds(run):
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run.get("time_unit", "ns")]
    return run["real_time"] * scale


def solved(run):
    """What one timed solve found, from its counters (bound and gap are -1
    when the exact engine gave no bound)."""
    objective, violation = int(run["objective"]), int(run["violation"])
    bound = None if run["bound"] < 0 else int(run["bound"])
    gap = None if run["gap"] < 0 else run["gap"]
    note = "objective %d" % objective
    if violation:
        note += " (violation %d)" % violation
    note += "; no bound" if bound is None else "; bound %d" % bound
    if gap is not None:
        note += ", gap %.1f%%" % gap
    note += "; best at %.1f s, %.1fM moves" % (run["seconds_to_best"], run["moves"] / 1e6)
    return {"ours_value": objective, "violation": violation, "bound": bound, "gap": gap,
            "seconds_to_best": run["seconds_to_best"], "moves": int(run["moves"]), "note": note}


def main():
    runs = load(sys.argv[1])
    table = []
    for ours, peer, what, goal, kind in ROWS:
        a = find(runs, ours) if kind != "curve" else None
        b = find(runs, peer) if peer else None
        shown = {"ratio": None if goal is None else ">= %gx" % goal,
                 "ns": "<= %g ns a point" % (goal or 0),
                 "memory": None if goal is None else "peak <= document + points",
                 "rate": None if goal is None else ">= {:,.0f} a second".format(goal),
                 "objective": None if goal is None else "<= %g, proven optimum" % goal,
                 "curve": None}
        row = {"work": what, "ours": ours, "peer": peer, "goal": shown[kind], "kind": kind}
        if kind == "curve":
            points = curve(runs, ours)
            row.update(ratio=None, holds=None, curve={str(k): v for k, v in points.items()})
            if all(v is None for v in points.values()):
                row["note"] = "not run"
            else:
                row["note"] = ", ".join(
                    "%dk: %s" % (size // 1000, "-" if ns is None else "%.0f ns" % ns)
                    for size, ns in points.items()) + " a point"
        elif a is None or (peer and b is None):
            row.update(ratio=None, holds=None, note="not run")
        elif kind == "memory":
            peak, limit = a["peak"], a["document"] + a["points"]
            row.update(ratio=peak / limit, ours_value=peak, peer_value=limit,
                       holds=None if goal is None else peak <= goal * limit,
                       note="peak %.0f MB; document %.0f MB + points %.0f MB = %.0f MB"
                       % (peak / 1e6, a["document"] / 1e6, a["points"] / 1e6, limit / 1e6))
        elif kind == "rate":
            rate = a["items_per_second"]
            row.update(ratio=None, ours_value=rate, holds=None if goal is None else rate >= goal,
                       note="%.2f million a second" % (rate / 1e6))
        elif kind == "objective":
            row.update(solved(a), ratio=None)
            row["holds"] = None if goal is None else (row["violation"] == 0
                                                      and row["ours_value"] <= goal)
        elif kind == "ns":
            per = per_point(a)
            row.update(ratio=nanoseconds(b) / nanoseconds(a), ours_value=per,
                       holds=per <= goal,
                       note="%.1f ns a point" % per)
        else:
            ratio = nanoseconds(b) / nanoseconds(a)
            row.update(ratio=ratio, ours_value=nanoseconds(a), peer_value=nanoseconds(b),
                       holds=None if goal is None else ratio >= goal,
                       note="%.3g / %.3g ms" % (nanoseconds(a) / 1e6, nanoseconds(b) / 1e6))
        table.append(row)

    print("\nOne table (ratio = peer time / our time, same run; memory: peak / (document + points);"
          " rate and objective: see the detail)")
    print("%-44s %8s  %-28s %-6s %s" % ("work", "ratio", "goal", "holds", "detail"))
    for row in table:
        ratio = "-" if row["ratio"] is None else "%.2f" % row["ratio"]
        holds = {True: "yes", False: "NO", None: "-"}[row["holds"]]
        print("%-44s %8s  %-28s %-6s %s" % (row["work"], ratio, row["goal"] or "-", holds,
                                            row.get("note", "")))
    pathlib.Path(sys.argv[2]).write_text(json.dumps(table, indent=2) + "\n")
    print("written to %s" % sys.argv[2])


if __name__ == "__main__":
    main()
