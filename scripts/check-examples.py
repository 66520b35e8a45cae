#!/usr/bin/env python3
"""Compiles the code examples of the public headers and of README.md.

    scripts/check-examples.py SOURCE_DIR CXX LIBRARY

Every header under include/qorbasic/ opens with a comment; each block of that
comment indented by three or more spaces, with a blank comment line before
it, is an example. A block without any line ending in ';' or '{' shows a file
format, a tree or some output, and is left alone. In a code block, leading
lines that declare (static, class, struct, using, QOR_ ...) go at file scope
up to their closing brace, the rest is the body of a function, and '...'
(or '... words ...') stands for the caller's own code. The block is compiled
with its own header and a few standard headers, <cmath> among them, so that
a name a client is likely to meet collides here as it would there.

Each ```cpp block of README.md is a whole translation unit. One with a main()
is linked against LIBRARY and run in a scratch directory that is also its
QOR_TMP_DIR and QOR_LOCK_DIR; its output must equal the comment lines at the
end of the block, with the standard timestamps of the log masked.
"""
import os
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

PRELUDE = "#include <atomic>\n#include <cmath>\n#include <cstdio>\n#include <string>\n#include <vector>\n"
FILE_SCOPE = re.compile(r"(static|class|struct|using|namespace|template|QOR_\w+)\b")
ELLIPSIS = re.compile(r"\.\.\.( [^.]*\.\.\.)?")
TIMESTAMP = re.compile(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6}")


def strip_comment(line):
    """The code of one line, without a trailing // comment outside strings."""
    quote = None
    i = 0
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                i += 1
            elif c == quote:
                quote = None
        elif c in "\"'":
            quote = c
        elif line.startswith("//", i):
            return line[:i].rstrip()
        i += 1
    return line.rstrip()


def header_blocks(path):
    """(first line number, lines) of each example block of a header's opening comment."""
    with open(path) as f:
        lines = f.read().split("\n")
    blocks, current, start, after_blank = [], [], 0, True
    for number, line in enumerate(lines, 1):
        if not line.startswith("//"):
            break
        text = line[2:]
        if text.startswith("   ") and (current or after_blank):
            if not current:
                start = number
            current.append(text[3:])
            continue
        if current:
            blocks.append((start, current))
            current = []
        after_blank = text.strip() == ""
    if current:
        blocks.append((start, current))
    return [b for b in blocks if any(strip_comment(l).endswith((";", "{")) for l in b[1])]


def header_unit(header, rel, start, block):
    """A translation unit that holds one header example."""
    code = [ELLIPSIS.sub("{}", l) for l in block]
    split, depth = 0, 0
    for i, line in enumerate(code):
        if depth == 0 and not FILE_SCOPE.match(line):
            break
        depth += line.count("{") - line.count("}")
        split = i + 1
    out = [PRELUDE, f"#include <qorbasic/{header}>\n"]
    out.append(f'#line {start} "{rel}"\n' + "\n".join(code[:split]) + "\n")
    out.append("[[maybe_unused]] static bool qor_example() {\n")
    out.append(f'#line {start + split} "{rel}"\n' + "\n".join(code[split:]) + "\n")
    out.append("return true;\n}\n")
    return "".join(out)


def readme_blocks(path):
    with open(path) as f:
        lines = f.read().split("\n")
    blocks, current, start = [], None, 0
    for number, line in enumerate(lines, 1):
        if current is None and line.strip() == "```cpp":
            current, start = [], number + 1
        elif current is not None and line.strip() == "```":
            blocks.append((start, current))
            current = None
        elif current is not None:
            current.append(line)
    return blocks


def expected_output(block):
    tail = []
    for line in reversed(block):
        if not line.startswith("// "):
            break
        tail.insert(0, line[3:])
    return tail


def check(job):
    """Runs one compile (and run) job; gives an error text or None."""
    name, unit, main, expected, source, cxx, library = job
    with tempfile.TemporaryDirectory(prefix="qor-example-") as work:
        src = os.path.join(work, "example.cc")
        with open(src, "w") as f:
            f.write(unit)
        include = ["-std=c++17", "-Wall", "-Wno-unused", "-I", os.path.join(source, "include")]
        if not main:
            cmd = [cxx, *include, "-fsyntax-only", src]
        else:
            exe = os.path.join(work, "example")
            cmd = [cxx, *include, src, "-o", exe, library]
        built = subprocess.run(cmd, capture_output=True, text=True)
        if built.returncode != 0:
            return f"{name}: does not compile\n{built.stderr}"
        if not main:
            return None
        env = dict(os.environ, QOR_TMP_DIR=work + "/", QOR_LOCK_DIR=work,
                   LD_LIBRARY_PATH=os.path.dirname(library))
        ran = subprocess.run([exe], cwd=work, env=env, capture_output=True, text=True)
        got = TIMESTAMP.sub("<time>", ran.stdout + ran.stderr).rstrip("\n").split("\n")
        want = [TIMESTAMP.sub("<time>", l) for l in expected]
        if ran.returncode != 0 or got != want:
            return f"{name}: exit {ran.returncode}, printed\n  " + "\n  ".join(got) + \
                "\nwhere the example shows\n  " + "\n  ".join(want)
    return None


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: check-examples.py SOURCE_DIR CXX LIBRARY")
    source, cxx, library = sys.argv[1], sys.argv[2], os.path.abspath(sys.argv[3])
    jobs = []
    include_dir = os.path.join(source, "include", "qorbasic")
    for header in sorted(os.listdir(include_dir)):
        if not header.endswith(".h"):
            continue
        rel = f"include/qorbasic/{header}"
        for start, block in header_blocks(os.path.join(include_dir, header)):
            unit = header_unit(header, os.path.join(source, rel), start, block)
            jobs.append((f"{rel}:{start}", unit, False, None, source, cxx, library))
    for start, block in readme_blocks(os.path.join(source, "README.md")):
        unit = f'#line {start} "{os.path.join(source, "README.md")}"\n' + "\n".join(block) + "\n"
        main = re.search(r"\bint main\s*\(", unit) is not None
        jobs.append((f"README.md:{start}", unit, main, expected_output(block), source, cxx,
                     library))
    with ThreadPoolExecutor(max_workers=2) as pool:
        errors = [e for e in pool.map(check, jobs) if e]
    for e in errors:
        print(e)
    print(f"examples: {len(jobs) - len(errors)} of {len(jobs)} build as written")
    sys.exit(1 if errors else 0)


if __name__ == "__main__":
    main()
