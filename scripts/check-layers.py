#!/usr/bin/env python3
"""Every #include of another target's header must be backed by a link the build declares.

A target may include the headers of the targets it links, directly (PUBLIC, PRIVATE or INTERFACE)
or through a PUBLIC or INTERFACE link of one of them. A header is some target's when that target
lists it among its sources; a library's generated <name>_export.h is that library's (and that of a
target compiling some of the library's sources itself, as a fuzzer may). CMake says
both: its file API gives each target's sources, --graphviz its links with their visibility.

A header under a folder named internal/ is its library's own: no other target includes it, link or
not.

Usage: check-layers.py [--source DIR] [BUILD_DIR]
  DIR defaults to this tree, BUILD_DIR to its build folder (configured if it is not yet).
Exits 1 and names each offending line when an include has no link behind it.
"""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
from collections import defaultdict

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')
# graphviz comments each edge with the two targets' names; the style tells the visibility.
EDGE = re.compile(r'^\s*"node\d+" -> "node\d+"\s*(\[ style = (\w+) \])?\s*// (.+?) -> (.+)$')


def configure(build):
    query = os.path.join(build, ".cmake", "api", "v1", "query")
    os.makedirs(query, exist_ok=True)
    open(os.path.join(query, "codemodel-v2"), "w").close()
    dot_dir = tempfile.mkdtemp(prefix="check-layers-")
    dot = os.path.join(dot_dir, "links.dot")
    args = ["cmake", "-S", ROOT, "-B", build, "--graphviz=" + dot]
    if not os.path.exists(os.path.join(build, "CMakeCache.txt")):
        args += ["-G", "Ninja"]
    subprocess.run(args, check=True, stdout=subprocess.DEVNULL)
    with open(dot, encoding="utf-8") as f:
        text = f.read()
    for name in os.listdir(dot_dir):
        os.remove(os.path.join(dot_dir, name))
    os.rmdir(dot_dir)
    return text


def read_links(dot_text):
    """Returns {target: [(dependency, public)]}; solid is PUBLIC, dashed INTERFACE, dotted PRIVATE."""
    links = defaultdict(list)
    for line in dot_text.splitlines():
        match = EDGE.match(line)
        if match:
            style, source, target = match.group(2), match.group(3), match.group(4)
            links[source.strip()].append((target.strip(), style != "dotted"))
    return links


def read_sources(build):
    """Returns {target: [source path relative to the tree]} for the targets built from the tree."""
    reply = os.path.join(build, ".cmake", "api", "v1", "reply")
    index = sorted(n for n in os.listdir(reply) if n.startswith("index-"))[-1]
    with open(os.path.join(reply, index), encoding="utf-8") as f:
        model_file = json.load(f)["reply"]["codemodel-v2"]["jsonFile"]
    with open(os.path.join(reply, model_file), encoding="utf-8") as f:
        model = json.load(f)
    sources = {}
    for entry in model["configurations"][0]["targets"]:
        with open(os.path.join(reply, entry["jsonFile"]), encoding="utf-8") as f:
            target = json.load(f)
        paths = []
        for source in target.get("sources", []):
            path = source["path"]
            if not os.path.isabs(path) and os.path.exists(os.path.join(ROOT, path)):
                paths.append(os.path.normpath(path))
        sources[target["name"]] = paths
    return sources


def usable(target, links, cache):
    """The targets whose headers `target` may include: itself, what it links, and what those
    pass on publicly."""
    if target in cache:
        return cache[target]

    def public_closure(name, seen):
        if name in seen:
            return
        seen.add(name)
        for dependency, public in links.get(name, []):
            if public:
                public_closure(dependency, seen)

    allowed = {target}
    for dependency, _ in links.get(target, []):
        public_closure(dependency, allowed)
    cache[target] = allowed
    return allowed


def main():
    global ROOT
    parser = argparse.ArgumentParser(description="Checks that every include has a link behind it.")
    parser.add_argument("--source", default=ROOT)
    parser.add_argument("build", nargs="?")
    args = parser.parse_args()
    ROOT = os.path.abspath(args.source)
    build = os.path.abspath(args.build or os.path.join(ROOT, "build"))
    links = read_links(configure(build))
    sources = read_sources(build)

    owners = defaultdict(set)  # header path -> targets that list it
    for target, paths in sources.items():
        for path in paths:
            if path.endswith(".h"):
                owners[path].add(target)
    by_suffix = defaultdict(set)  # every tail of a header's path, for "dir/name.h" lookups
    for path in owners:
        parts = path.split("/")
        for i in range(len(parts)):
            by_suffix["/".join(parts[i:])].add(path)
    exports = {name.lower() + "_export.h": name for name in sources}

    cache = {}
    findings = []
    for target, paths in sorted(sources.items()):
        allowed = usable(target, links, cache)
        for path in paths:
            with open(os.path.join(ROOT, path), encoding="utf-8", errors="replace") as f:
                lines = f.readlines()
            for number, line in enumerate(lines, 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                included = match.group(1)
                beside = os.path.normpath(os.path.join(os.path.dirname(path), included))
                if beside in owners:
                    candidates = {beside}
                elif os.path.exists(os.path.join(ROOT, beside)):
                    continue  # a file of the folder that no target lists (a fuzz seed, a table)
                else:
                    candidates = by_suffix.get(included, set())
                if candidates:
                    holders = set().union(*(owners[c] for c in candidates))
                elif os.path.basename(included) in exports:
                    # A target that compiles some of a library's sources itself (a fuzzer)
                    # holds its export header as well.
                    library = exports[os.path.basename(included)]
                    holders = {library} | {
                        other for other, theirs in sources.items()
                        if set(theirs) & set(sources[library])}
                else:
                    continue  # generated (moc, ui) or a system header
                if not holders & allowed:
                    findings.append(
                        "%s:%d: %s includes \"%s\" of %s without linking it"
                        % (path, number, target, included, " or ".join(sorted(holders))))
                elif target not in holders and any("/internal/" in c for c in candidates):
                    findings.append(
                        "%s:%d: %s includes \"%s\", which is internal to %s"
                        % (path, number, target, included, " or ".join(sorted(holders))))
    for finding in findings:
        print(finding)
    if findings:
        print("Link the library that owns the header (PUBLIC where your own headers include it),"
              " or move the header to the library it belongs to.", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
