#!/usr/bin/env python3
"""Fails when the folders of src/app include each other in a cycle, or when common/ includes any
other folder of app/. Each folder's edges are read from its `#include "app/<folder>/` lines."""
import pathlib
import re
import sys

app = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parents[2] / "src/app")
edges = {}  # folder -> {included folder: a file that includes it}
for source in sorted(app.glob("*/*.[ch]*")):
    folder = source.parent.name
    edges.setdefault(folder, {})
    for target in re.findall(r'^#include "app/([^/"]+)/', source.read_text(), re.M):
        if target != folder:
            edges[folder].setdefault(target, source.relative_to(app))

problems = [f"common/ includes {target}/ ({where})" for target, where in edges.get("common", {}).items()]
state = {}  # folder -> "open" while its includes are followed, "done" after


def follow(folder, path):
    state[folder] = "open"
    for target, where in edges.get(folder, {}).items():
        step = path + [f"{folder}/ -> {target}/ ({where})"]
        if state.get(target) == "open":
            problems.append("include cycle: " + ", ".join(step[[s.split("/")[0] for s in step].index(target):]))
        elif target not in state:
            follow(target, step)
    state[folder] = "done"


for folder in edges:
    if folder not in state:
        follow(folder, [])
if len(edges) < 3 or not any(edges.values()):
    problems.append(f"no folders or includes found under {app}")
for problem in problems:
    print(problem)
print(f"{len(edges)} folders of {app}: {'FAILED' if problems else 'no include cycle'}")
sys.exit(1 if problems else 0)
