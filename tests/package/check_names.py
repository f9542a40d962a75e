#!/usr/bin/env python3
"""Compares a list of names with the committed list of exported names, so
that a name added, dropped or misspelled anywhere shows up as a difference:

  check_names.py EXPORTS exported LIBRARY    defined in LIBRARY's dynamic symbols
  check_names.py EXPORTS declared SOURCE CC  declared TAV_API by the public headers
  check_names.py EXPORTS documented DOC      declared in the API reference
"""
import os
import re
import subprocess
import sys


def exported(library):
    out = subprocess.run(["nm", "-D", "--defined-only", library], check=True,
                         capture_output=True, text=True).stdout
    return {line.split()[-1] for line in out.splitlines() if len(line.split()) == 3}


def declared(source, cc):
    tool = os.path.join(source, "tools", "api_docs.py")
    out = subprocess.run([sys.executable, tool, "--names", "--cc", cc, source], check=True,
                         capture_output=True, text=True).stdout
    return set(out.split())


def documented(doc):
    """Names of the declarations in the C blocks: the one before the first
    parenthesis, or the last word of a variable."""
    names, in_code = set(), False
    for line in open(doc, encoding="utf-8"):
        line = line.rstrip()
        if line.startswith("```"):
            in_code = line == "```c"
        elif in_code and line.endswith(";") and not line.lstrip().startswith(("/*", "*")):
            m = re.search(r"(\w+)\(", line) or re.search(r"(\w+);$", line)
            names.add(m.group(1))
    return names


def main():
    expected = set(open(sys.argv[1], encoding="utf-8").read().split())
    found = {"exported": exported, "declared": declared,
             "documented": documented}[sys.argv[2]](*sys.argv[3:])
    missing, extra = sorted(expected - found), sorted(found - expected)
    for title, names in (("missing", missing), ("not in " + sys.argv[1], extra)):
        if names:
            print(f"{sys.argv[2]}, {title}: {len(names)}\n  " + "\n  ".join(names))
    if missing or extra:
        sys.exit(1)
    print(f"{sys.argv[2]}: the {len(expected)} names of {os.path.basename(sys.argv[1])}")


if __name__ == "__main__":
    main()
