#!/usr/bin/env python3
"""Writes the API reference (docs/api.md) from the public headers.

Most exported functions are stamped out by macros, so the headers are run
through the C preprocessor to list what they really declare. Before that, a
copy of each header has every TAV_API inside a macro body marked with the
macro's name, so each expanded declaration says which family made it; line
markers give the header line it comes from. A declaration gets the comment
standing right above that line (no blank line between), and a generated one
also its family's comment (the one above the macro's #define, else the
header's opening comment).

    api_docs.py [--cc CC] [--names] [--output FILE] SOURCE_DIR

--names prints the exported names instead, one a line, sorted.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field

MARK = "TAV_DOC_FROM_"
# Public headers: those directly in these folders (subsystem folders below
# Os/TavProperties/ are internal), as the install rules say.
PUBLIC_GLOBS = [("Os", ".h"), ("Os/TavProperties", ".h"), ("Utils", ".h")]


@dataclass
class Comment:
    first: int  # line numbers, from 1
    last: int
    text: str
    trailing: bool  # code before it on its first line
    nested: bool  # inside braces or a macro body


@dataclass
class Header:
    path: str  # relative to the source folder
    lines: list
    comments: list = field(default_factory=list)
    macros: dict = field(default_factory=dict)  # name -> line of its #define

    def intro(self):
        """The comment a header opens with, if it has one."""
        first = self.comments[0] if self.comments else None
        return first if first and not any(s.strip() for s in self.lines[:first.first - 1]) else None


@dataclass
class Decl:
    path: str
    line: int
    text: str
    name: str
    family: str  # macro that declared it, or ""


def public_headers(src):
    found = []
    for folder, ext in PUBLIC_GLOBS:
        for name in sorted(os.listdir(os.path.join(src, folder))):
            if name.endswith(ext) and "Internal" not in name:
                found.append(f"{folder}/{name}")
    return found


def scan_header(src, path):
    """Comments (with their lines and context) and function-like macros."""
    text = open(os.path.join(src, path), encoding="utf-8").read()
    header = Header(path, text.split("\n"))
    line, depth, i, n = 1, 0, 0, len(text)
    code_on_line, in_macro = False, False
    while i < n:
        c = text[i]
        if text.startswith("/*", i):
            end = text.index("*/", i) + 2
            body = text[i:end]
            header.comments.append(
                Comment(line, line + body.count("\n"), body, code_on_line, depth > 0 or in_macro))
            line += body.count("\n")
            i = end
            continue
        if c == "\n":
            in_macro = in_macro and text[i - 1] == "\\"
            line, code_on_line = line + 1, False
        elif c == "#" and not code_on_line:
            m = re.match(r"#\s*define\s+(\w+)\(", text[i:])
            if m:
                header.macros[m.group(1)] = line
            in_macro = code_on_line = True
        elif not c.isspace():
            code_on_line = True
            depth += {"{": 1, "}": -1}.get(c, 0)
        i += 1
    return header


def mark_macro_bodies(text):
    """TAV_API inside a function-like macro's body becomes MARK<name> TAV_API;
    line breaks are kept so that line markers still match the original."""
    out, lines, i = [], text.split("\n"), 0
    while i < len(lines):
        m = re.match(r"\s*#\s*define\s+(\w+)\(", lines[i])
        if not m:
            out.append(lines[i])
            i += 1
            continue
        while True:
            out.append(re.sub(r"\bTAV_API\b", f"{MARK}{m.group(1)} TAV_API", lines[i]))
            i += 1
            if not out[-1].endswith("\\") or i >= len(lines):
                break
    return "\n".join(out)


def preprocess(src, headers, cc):
    with tempfile.TemporaryDirectory() as tmp:
        for path in headers:
            os.makedirs(os.path.join(tmp, os.path.dirname(path)), exist_ok=True)
            text = open(os.path.join(src, path), encoding="utf-8").read()
            with open(os.path.join(tmp, path), "w", encoding="utf-8") as f:
                f.write(mark_macro_bodies(text))
        unit = os.path.join(tmp, "all.c")
        with open(unit, "w", encoding="utf-8") as f:
            f.writelines(f'#include "{path}"\n' for path in headers)
        result = subprocess.run([cc, "-E", "-std=c11", "-I", tmp, unit], check=True,
                                capture_output=True, text=True)
        return result.stdout, tmp + os.sep


def statements(output, root):
    """(header path, line, text) of each top-level statement of the headers."""
    path, line, depth = None, 0, 0
    current, start = [], None
    for raw in output.split("\n"):
        m = re.match(r'# (\d+) "([^"]*)"', raw)
        if m:
            line = int(m.group(1))
            name = m.group(2)
            path = name[len(root):] if name.startswith(root) else None
            continue
        if path is not None:
            for c in raw:
                if start is None and not c.isspace():
                    start = (path, line)
                current.append(c)
                depth += {"{": 1, "}": -1, "(": 1, ")": -1}.get(c, 0)
                if c == ";" and depth == 0:
                    yield start[0], start[1], "".join(current)
                    current, start = [], None
            current.append(" ")
        line += 1


def strip_attributes(text):
    while True:
        i = text.find("__attribute__")
        if i < 0:
            return text
        j, depth = text.index("(", i), 0
        for k in range(j, len(text)):
            depth += {"(": 1, ")": -1}.get(text[k], 0)
            if depth == 0:
                break
        text = text[:i] + text[k + 1:]


def exported(statements_):
    for path, line, text in statements_:
        if 'visibility("default")' not in text:
            continue
        m = re.search(MARK + r"(\w+)", text)
        family = m.group(1) if m else ""
        text = strip_attributes(re.sub(MARK + r"\w+", "", text))
        text = re.sub(r"\s+", " ", text).strip()
        text = re.sub(r"\( ", "(", re.sub(r" ([,);])", r"\1", text))
        paren = text.find("(")
        name = re.findall(r"\w+", text[:paren] if paren >= 0 else text)[-1]
        yield Decl(path, line, text, name, family)


def comment_above(header, line, last_line=None):
    """The comment standing right above `line` (or trailing on its lines)."""
    for c in header.comments:
        if c.trailing and line <= c.first <= (last_line or line) and not c.nested:
            return c
    best = None
    for c in header.comments:
        if c.last < line and not c.trailing and not c.nested:
            between = header.lines[c.last:line - 1]
            if all(s.strip() for s in between):
                best = c
    return best


def family_comment(headers, family):
    for header in headers.values():
        if family in header.macros:
            above = comment_above(header, header.macros[family])
            above = above or header.intro()
            return above.text if above else "", header.path
    return "", ""


def invocation(header, line):
    """The macro call written at `line`, continuation lines joined."""
    text, i = "", line - 1
    depth = 0
    while i < len(header.lines):
        text += " " + header.lines[i].strip()
        depth = text.count("(") - text.count(")")
        if depth <= 0:
            break
        i += 1
    return re.sub(r"\s+", " ", text).strip()


def anchor(text):
    return re.sub(r"[^a-z0-9_ -]", "", text.lower()).replace(" ", "-")


def standalone_comments(header):
    """Comments that stand alone in a header: not above a line of code nor
    above a #define (those document a family; see family_comment)."""
    for c in header.comments:
        if c is header.intro() or c.trailing or c.nested:
            continue
        after = header.lines[c.last].strip() if c.last < len(header.lines) else ""
        if not after or (after.startswith("#") and not re.match(r"#\s*define\b", after)):
            yield c


def divider(text):
    m = re.fullmatch(r"/\*\s*-+\s*(.*?)\s*-+\s*\*/", text.strip())
    return m.group(1) if m else None


def render(headers, decls):
    out = ["# TavProperties API reference", "",
           "Written by `make docs` (`tools/api_docs.py`) from the comments of the public",
           "headers; edit those, not this page. Every function and variable the library",
           f"exports is listed ({len(decls)} names), the families the headers stamp out",
           "with macros written out one by one under the comment of their family.",
           "Include `Os/TavProperties.h` for all of them.", ""]
    order = []
    for d in decls:
        if d.path not in order:
            order.append(d.path)
    out += [f"- [`{p}`](#{anchor(p)})" for p in order]
    out += ["- [Macro families](#macro-families)", ""]
    families = []
    for path in order:
        out += render_header(headers[path], [d for d in decls if d.path == path], families)
    out += ["## Macro families", "",
            "The comment each generated declaration above refers to.", ""]
    shown = {}
    for family in families:
        text, where = family_comment(headers, family)
        out += [f"### {family}", "", f"Defined in `{where}`.", ""]
        if text in shown:
            out += [f"Documented with {shown[text]}.", ""]
        else:
            shown[text] = family
            out += ["```c", text, "```", ""]
    return "\n".join(out)


def render_header(header, decls, families):
    out = [f"## {header.path}", ""]
    if header.intro():
        out += ["```c", header.intro().text, "```", ""]
    items = [(c.first, 0, c) for c in standalone_comments(header)]
    groups = []
    for d in decls:
        span = d.line + d.text.count("\n")
        above = comment_above(header, d.line, span)
        section = max([c.first for _, _, c in items if c.first < d.line], default=0)
        key = (d.line if d.family else None, above.first if above else None, section)
        if groups and groups[-1][0] == key:
            groups[-1][1].append(d)
        else:
            groups.append((key, [d], above))
    items += [(g[1][0].line, 1, g) for g in groups]
    previous = None  # a comment is shown once for the groups under it
    for _, kind, item in sorted(items, key=lambda t: (t[0], t[1])):
        if kind == 0:
            title = divider(item.text)
            out += [f"### {title}", ""] if title else ["```c", item.text, "```", ""]
            previous = None
            continue
        _, group, above = item
        out.append("```c")
        if above and above is not previous:
            out.append(above.text)
        previous = above
        made_by = list(dict.fromkeys(d.family for d in group if d.family))
        if made_by:
            families += [f for f in made_by if f not in families]
            out.append(f"/* generated by {' and '.join(made_by)} (see Macro families),")
            out.append(f" * from {invocation(header, group[0].line)} */")
        out += [d.text for d in group]
        out += ["```", ""]
    return out


def has_contract(headers, decl):
    """Whether a declaration is documented: by the comment above it (or above
    the run of declarations it belongs to), or, for one a macro stamps out,
    by the comment of its family."""
    if decl.family:
        return bool(family_comment(headers, decl.family)[0].strip())
    header = headers[decl.path]
    return comment_above(header, decl.line, decl.line + decl.text.count("\n")) is not None


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("source")
    parser.add_argument("--cc", default=os.environ.get("CC", "cc"))
    parser.add_argument("--names", action="store_true")
    parser.add_argument("--uncommented", action="store_true",
                        help="list the exported names with no comment of their own or of their "
                             "family, and fail when there is one")
    parser.add_argument("--output")
    args = parser.parse_args()
    paths = public_headers(args.source)
    headers = {p: scan_header(args.source, p) for p in paths}
    output, root = preprocess(args.source, paths, args.cc)
    decls = list(exported(statements(output, root)))
    if args.uncommented:
        bare = sorted({d.name for d in decls if not has_contract(headers, d)})
        for name in bare:
            print(name)
        print(f"{len(bare)} of {len(decls)} exported names without a contract comment",
              file=sys.stderr)
        return 1 if bare else 0
    text = ("\n".join(sorted({d.name for d in decls})) if args.names
            else render(headers, decls).rstrip("\n")) + "\n"
    if args.output:
        with open(args.output, "w", encoding="utf-8") as f:
            f.write(text)
    else:
        sys.stdout.write(text)


if __name__ == "__main__":
    sys.exit(main())
