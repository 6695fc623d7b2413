#!/usr/bin/python3
"""Makes a program's --help text (a C++ header) and its manual page (troff)
from one .help file, so the two never disagree.

    help_pages.py header SOURCE OUT.h SYMBOL
    help_pages.py man SOURCE OUT.1 VERSION
"""

import os
import sys
import textwrap

WIDTH = 79
TERM_COLUMN = 22  # where an entry's description starts in --help


class Section:
    def __init__(self, title, in_help):
        self.title = title
        self.in_help = in_help
        self.blocks = []  # ("text", [lines]) or ("entry", term, [lines])


def parse(path):
    meta = {"usage": []}
    sections = []
    current = None
    with open(path, encoding="utf-8") as f:
        lines = f.read().splitlines()
    for number, line in enumerate(lines, 1):
        where = "%s:%d" % (path, number)
        if line.startswith("#"):
            continue
        if line.startswith("@"):
            word, _, rest = line.partition(" ")
            if word in ("@section", "@man-section"):
                current = Section(rest.strip(), word == "@section")
                sections.append(current)
            elif word == "@usage":
                meta["usage"].append(rest.strip())
            elif word in ("@name", "@summary"):
                meta[word[1:]] = rest.strip()
            else:
                sys.exit("%s: unknown directive %s" % (where, word))
            continue
        if not line.strip():
            if current and current.blocks and current.blocks[-1][0] == "text":
                current.blocks.append(("break",))
            continue
        if current is None:
            sys.exit("%s: text before the first section" % where)
        if line.startswith(" "):
            if not current.blocks or current.blocks[-1][0] != "entry":
                sys.exit("%s: an indented line belongs under an entry" % where)
            current.blocks[-1][2].append(line.strip())
        elif looks_like_entry(line, lines, number):
            current.blocks.append(("entry", line.rstrip(), []))
        elif current.blocks and current.blocks[-1][0] == "text":
            current.blocks[-1][1].append(line.strip())
        else:
            current.blocks.append(("text", [line.strip()]))
    for key in ("name", "summary"):
        if key not in meta:
            sys.exit("%s: no @%s" % (path, key))
    return meta, sections


def looks_like_entry(line, lines, number):
    # An entry is any unindented line followed by an indented description.
    return number < len(lines) and lines[number].startswith("    ")


def help_text(meta, sections):
    out = []
    for i, usage in enumerate(meta["usage"]):
        out.append(("Usage: " if i == 0 else "       ") + usage)
    for section in sections:
        if not section.in_help:
            continue
        out.append("")
        out.append(section.title.capitalize() + ":")
        for block in section.blocks:
            if block[0] == "text":
                out.extend(textwrap.wrap(" ".join(block[1]), WIDTH))
            elif block[0] == "entry":
                out.extend(entry_lines(block[1], " ".join(block[2])))
    return "\n".join(out) + "\n"


def entry_lines(term, description):
    term = "  " + term
    indent = " " * TERM_COLUMN
    if len(term) <= TERM_COLUMN - 2:
        first = term.ljust(TERM_COLUMN)
        return textwrap.wrap(description, WIDTH, initial_indent=first, subsequent_indent=indent)
    return [term] + textwrap.wrap(description, WIDTH, initial_indent=indent,
                                  subsequent_indent=indent)


def troff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    if text.startswith((".", "'")):
        text = "\\&" + text
    return text


def man_page(meta, sections, version):
    name = meta["name"]
    out = ['.TH %s 1 "" "Vocarta %s" "User Commands"' % (name.upper(), version),
           ".SH NAME", "%s \\- %s" % (troff(name), troff(meta["summary"])), ".SH SYNOPSIS"]
    for usage in meta["usage"]:
        words = usage.split(" ", 1)
        out.append(".B %s" % troff(words[0]))
        if len(words) > 1:
            out.append(troff(words[1]))
        out.append(".br")
    for section in sections:
        out.append(".SH %s" % troff(section.title.upper()))
        paragraph_open = False
        for block in section.blocks:
            if block[0] == "text":
                if paragraph_open:
                    out.append(".PP")
                out.extend(troff(line) for line in block[1])
                paragraph_open = True
            elif block[0] == "break":
                continue
            else:
                out.append(".TP")
                out.append(".B %s" % troff(block[1]) if " " not in block[1]
                           else "\\fB%s\\fR" % troff(block[1]))
                out.extend(troff(line) for line in block[2])
                paragraph_open = True
    return "\n".join(out) + "\n"


def cxx_string(text):
    body = text.replace("\\", "\\\\").replace('"', '\\"')
    return "\n".join('    "%s\\n"' % line for line in body.split("\n")[:-1])


def main(argv):
    if len(argv) != 5 or argv[1] not in ("header", "man"):
        sys.exit(__doc__)
    meta, sections = parse(argv[2])
    if argv[1] == "header":
        text = ("// Made by scripts/help_pages.py from %s; edit that file.\n#pragma once\n\n"
                "inline constexpr char %s[] =\n%s;\n" % (argv[2].rsplit("/", 1)[-1], argv[4],
                                                         cxx_string(help_text(meta, sections))))
    else:
        text = man_page(meta, sections, argv[4])
    os.makedirs(os.path.dirname(os.path.abspath(argv[3])), exist_ok=True)
    with open(argv[3], "w", encoding="utf-8") as f:
        f.write(text)


if __name__ == "__main__":
    main(sys.argv)
