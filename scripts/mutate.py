#!/usr/bin/env python3
"""Mutation sampling: how many small faults in a family's sources its tests catch.

Each mutant changes one line of one source file of the family (a comparison
turned, a sign flipped, an integer constant changed by one, an off-by-one in
an index expression, or a statement removed), rebuilds the family's test
programs, and runs the family's tests. A mutant the compiler rejects is not
counted; one that makes a test fail or time out is caught. The file is
restored after every mutant, also when the run is interrupted.

    scripts/mutate.sh FAMILY [COUNT] [SEED]
"""
import os
import random
import re
import shutil
import signal
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FAMILIES = ["point", "filter", "geometry", "measure", "locate", "inspect", "tools"]

RULES = [
    ("comparison", re.compile(r"(?<![<>=!])<=(?!=)"), ">"),
    ("comparison", re.compile(r"(?<![<>=!-])>=(?!=)"), "<"),
    ("comparison", re.compile(r"(?<=[\w)\]]) < (?=[\w(])"), " <= "),
    ("comparison", re.compile(r"(?<=[\w)\]]) > (?=[\w(])"), " >= "),
    ("comparison", re.compile(r"=="), "!="),
    ("sign", re.compile(r"(?<=[\w)\]]) \+ (?=[\w(])"), " - "),
    ("sign", re.compile(r"(?<=[\w)\]]) - (?=[\w(])"), " + "),
    ("off-by-one", re.compile(r"(?<=[\w)\]]) \+ 1\b"), " + 2"),
    ("off-by-one", re.compile(r"(?<=[\w)\]]) - 1\b"), ""),
    ("constant", re.compile(r"(?<![\w.])([2-9]|[1-9][0-9]+)(?![\w.])"), None),
]


def candidates(family):
    out = []
    src = os.path.join(ROOT, "src", family)
    for base, _, files in os.walk(src):
        for name in sorted(files):
            if not name.endswith(".cpp"):
                continue
            path = os.path.join(base, name)
            lines = open(path).read().split("\n")
            for i, line in enumerate(lines):
                code = line.split("//")[0]
                stripped = code.strip()
                if not stripped or stripped.startswith(("#", "*", "/*")) or '"' in code:
                    continue
                for kind, rx, repl in RULES:
                    for m in rx.finditer(code):
                        out.append((path, i, kind, m.start(), m.end(), repl))
                if stripped.endswith(";") and not stripped.startswith(("return", "int ", "const ", "auto ", "double ", "float ", "unsigned ", "std::", "using ", "static ", "}")):
                    out.append((path, i, "line removed", 0, len(line), None))
    return sorted(set(out))


def apply(c, text):
    path, i, kind, a, b, repl = c
    lines = text.split("\n")
    line = lines[i]
    if kind == "line removed":
        lines[i] = ""
    elif kind == "constant":
        lines[i] = line[:a] + str(int(line[a:b]) + 1) + line[b:]
    else:
        lines[i] = line[:a] + repl + line[b:]
    return "\n".join(lines), lines[i].strip()


def run(cmd, timeout=None):
    return subprocess.run(cmd, cwd=ROOT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          timeout=timeout).returncode


def main():
    family = sys.argv[1] if len(sys.argv) > 1 else ""
    if family not in FAMILIES:
        sys.exit("usage: scripts/mutate.sh FAMILY [COUNT] [SEED]; FAMILY one of " + " ".join(FAMILIES))
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    build = os.path.join(ROOT, "build", "mutate")
    env = dict(os.environ, CCACHE_BASEDIR=os.path.dirname(ROOT))
    if not os.path.exists(os.path.join(build, "build.ninja")):
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                        "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DKELKIT_BUILD_APPS=OFF"],
                       check=True, stdout=subprocess.DEVNULL, env=env)
    targets = subprocess.run(["ninja", "-C", build, "-t", "targets", "all"], capture_output=True,
                             text=True).stdout
    tests = sorted({t.split(":")[0] for t in targets.splitlines()
                    if re.match(r"tests/%s_\w+:" % family, t)})
    jobs = str(os.cpu_count() or 2)
    if subprocess.run(["ninja", "-C", build, "-j", jobs] + tests, env=env,
                      stdout=subprocess.DEVNULL).returncode != 0:
        sys.exit("the unmutated family does not build")
    if run(["ctest", "--test-dir", build, "-L", "^%s$" % family, "-j", jobs]) != 0:
        sys.exit("the unmutated family's tests fail")

    pool = candidates(family)
    random.Random(seed).shuffle(pool)
    current = {}

    def restore(*_):
        for path, text in current.items():
            open(path, "w").write(text)
        current.clear()

    signal.signal(signal.SIGINT, lambda *a: (restore(), sys.exit(130)))
    signal.signal(signal.SIGTERM, lambda *a: (restore(), sys.exit(143)))
    tried = caught = 0
    try:
        for c in pool:
            if tried >= count:
                break
            path = c[0]
            original = open(path).read()
            mutated, shown = apply(c, original)
            if mutated == original:
                continue
            current[path] = original
            open(path, "w").write(mutated)
            built = subprocess.run(["ninja", "-C", build, "-j", jobs] + tests, env=env,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0
            if built:
                tried += 1
                try:
                    failed = run(["ctest", "--test-dir", build, "-L", "^%s$" % family, "-j", jobs,
                                  "--timeout", "60", "--stop-on-failure"], timeout=600) != 0
                except subprocess.TimeoutExpired:
                    failed = True
                caught += failed
                rel = os.path.relpath(path, ROOT)
                print("%-7s %s:%d %s: %s" % ("caught" if failed else "MISSED", rel, c[1] + 1, c[2], shown[:70]),
                      flush=True)
            restore()
    finally:
        restore()
        # Leave the build matching the sources again.
        subprocess.run(["ninja", "-C", build, "-j", jobs] + tests, env=env,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    rate = 100.0 * caught / tried if tried else 0.0
    print("%s: %d of %d mutants caught (%.0f %%)" % (family, caught, tried, rate))


if __name__ == "__main__":
    main()
