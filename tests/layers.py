#!/usr/bin/env python3
"""Checks that the library's includes follow the layer table of the README.

    tests/layers.py [ROOT]      check the tree at ROOT (default: this repository)
    tests/layers.py --self-test check that the checker catches what it must

The table under "Layout" in README.md lists the folders of cuadrante/ in
dependency order, each with the outside headers that only it may include. A
unit of a folder may include units of its own folder and of folders above it,
never below. `internal/` headers count in the layer of what they include;
`testing/` is for tests only, and tests may include the system's headers
(they fork, chmod and cap file sizes to stage faults). Every folder of
cuadrante/ must have its row, so that a new one cannot slip past the map.
Exit status 1 with one line a wrong include.
"""
import os
import re
import sys
import tempfile

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
UMBRELLA = "."  # cuadrante.h and library.cpp sit above every layer


def read_table(readme):
    """[(folder, [header prefixes])] in the README's order."""
    rows, inside = [], False
    for line in open(readme, encoding="utf-8"):
        if line.startswith("| Folder |"):
            inside = True
            continue
        if inside:
            if not line.startswith("|"):
                break
            cells = [c.strip() for c in line.strip().strip("|").split("|")]
            if set(cells[0]) <= {"-"}:
                continue
            folder = cells[0].strip("`").rstrip("/")
            rows.append((folder, re.findall(r"`([^`]+)`", cells[-1])))
    return rows


def units(root):
    for folder, _, files in os.walk(os.path.join(root, "cuadrante")):
        for name in sorted(files):
            if name.endswith((".h", ".cpp")):
                path = os.path.join(folder, name)
                yield os.path.relpath(path, root), open(path, encoding="utf-8").read()


def folder_of(relative):
    parts = relative.split(os.sep)
    return parts[1] if len(parts) > 2 else UMBRELLA


def check(root):
    rows = read_table(os.path.join(root, "README.md"))
    if not rows:
        return ["README.md: no layer table (a line starting '| Folder |')"]
    layer = {folder: n for n, (folder, _) in enumerate(rows)}
    owner = {prefix: folder for folder, prefixes in rows for prefix in prefixes}
    problems = []
    present = {d for d in os.listdir(os.path.join(root, "cuadrante"))
               if os.path.isdir(os.path.join(root, "cuadrante", d))}
    problems += [f"cuadrante/{d}/: no row in the README's layer table" for d in sorted(present - set(layer))]
    problems += [f"README.md: the row `{d}/` names no folder" for d in sorted(set(layer) - present)]

    sources = dict(units(root))
    local = {rel: [(kind, name) for kind, name in INCLUDE.findall(text)] for rel, text in sources.items()}

    def internal_layer(header, seen=()):
        """The highest layer an internal header reaches through its includes."""
        top = -1
        for kind, name in local.get(header, []):
            if kind == '"' and name.startswith("cuadrante/"):
                target = folder_of(name)
                if target == "internal" and name not in seen:
                    top = max(top, internal_layer(name, seen + (name,)))
                elif target in layer:
                    top = max(top, layer[target])
        return top

    for rel, includes in sorted(local.items()):
        folder = folder_of(rel)
        test = rel.endswith("_test.cpp") or folder == "testing"
        mine = len(rows) if folder in (UMBRELLA, "testing") else layer.get(folder)
        if mine is None:
            continue
        if folder == "internal":
            mine = internal_layer(rel)
        for kind, name in includes:
            if kind == '"' and name.startswith("cuadrante/"):
                target = folder_of(name)
                if target == "testing" and not test:
                    problems.append(f"{rel}: includes {name}, which only tests may include")
                elif target == "internal":
                    if internal_layer(name) > mine:
                        problems.append(f"{rel}: includes {name}, which stands on a layer below {folder}/")
                elif target in layer and target != "testing" and layer[target] > mine:
                    problems.append(f"{rel}: includes {name}, a layer below {folder}/")
            elif kind == "<":
                for prefix, allowed in owner.items():
                    if name.startswith(prefix) and folder != allowed:
                        if test and allowed == "port":
                            continue
                        problems.append(f"{rel}: includes <{name}>, which only {allowed}/ may include")
    return problems


def self_test():
    """A small tree with one wrong include of each kind must give one line each."""
    with tempfile.TemporaryDirectory() as root:
        def write(path, text):
            os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
            open(os.path.join(root, path), "w").write(text)
        write("README.md", "| Folder | What | Headers only it includes |\n|---|---|---|\n"
                           "| `port/` | x | `unistd.h` |\n| `high/` | y | |\n| `internal/` | z | |\n"
                           "| `testing/` | t | |\n\n")
        write("cuadrante/port/a.h", '#include "cuadrante/high/b.h"\n#include <vector>\n')
        write("cuadrante/high/b.h", '#include "cuadrante/port/a.h"\n#include <unistd.h>\n')
        write("cuadrante/high/b_test.cpp", '#include <unistd.h>\n#include "cuadrante/testing/t.h"\n')
        write("cuadrante/high/c.cpp", '#include "cuadrante/testing/t.h"\n')
        write("cuadrante/internal/i.h", '#include "cuadrante/high/b.h"\n')
        write("cuadrante/port/d.cpp", '#include "cuadrante/internal/i.h"\n')
        write("cuadrante/testing/t.h", '#include "cuadrante/high/b.h"\n')
        write("cuadrante/stray/e.h", "\n")
        found = check(root)
        expected = [
            "cuadrante/stray/: no row in the README's layer table",
            "cuadrante/high/b.h: includes <unistd.h>, which only port/ may include",
            "cuadrante/high/c.cpp: includes cuadrante/testing/t.h, which only tests may include",
            "cuadrante/port/a.h: includes cuadrante/high/b.h, a layer below port/",
            "cuadrante/port/d.cpp: includes cuadrante/internal/i.h, which stands on a layer below port/",
        ]
        if sorted(found) != sorted(expected):
            print("the checker's own test failed; it found:", *found, sep="\n  ")
            return 1
    print("layers: the checker finds every wrong include of its own test tree")
    return 0


def main():
    if sys.argv[1:] == ["--self-test"]:
        return self_test()
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    problems = check(root)
    for line in problems:
        print(line)
    if problems:
        return 1
    print("layers: every include of cuadrante/ follows the README's table")
    return 0


if __name__ == "__main__":
    sys.exit(main())
