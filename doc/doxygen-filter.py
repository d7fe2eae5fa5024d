#!/usr/bin/env python3
"""Doxygen input filter: the headers document with plain // prose.

A comment block directly above a declaration becomes that declaration's
documentation; the block that opens a file, followed by a blank or preprocessor
line, describes the file. Line numbers stay as they are: the file block's extra
"@file" line takes the place of the `#pragma once`, which Doxygen does not need.
"""
import re
import sys

COMMENT = re.compile(r"^(\s*)//(?!/)\s?(.*)$")
PLACEHOLDER = re.compile(r"<([A-Za-z][\w.-]*)>")


def escape_placeholders(text):
    """<home> and its kin are placeholders in prose, not HTML; code spans stay as written."""
    parts = text.split("`")
    for n in range(0, len(parts), 2):
        parts[n] = PLACEHOLDER.sub(r"\\<\1\\>", parts[n])
    return "`".join(parts)


def convert(lines):
    out = []
    i = 0
    file_described = False
    while i < len(lines):
        if not COMMENT.match(lines[i]):
            if lines[i].strip() == "#pragma once" and file_described:
                file_described = False
            else:
                out.append(lines[i])
            i += 1
            continue
        end = i
        while end < len(lines) and COMMENT.match(lines[end]):
            end += 1
        following = lines[end].strip() if end < len(lines) else ""
        if not out and (not following or following.startswith("#")):
            out.append("//! @file")
            file_described = True
        for n in range(i, end):
            indent, text = COMMENT.match(lines[n]).groups()
            out.append(indent + "//! " + escape_placeholders(text) if text else indent + "//!")
        i = end
    return out


def main():
    with open(sys.argv[1], encoding="utf-8") as source:
        sys.stdout.write("\n".join(convert(source.read().split("\n"))))


if __name__ == "__main__":
    main()
