#!/usr/bin/env python3
"""check-texts.py SOURCES STRINGS: each text that the windows ask for by VXText stands in the table, in the order of the keys."""
import pathlib
import re
import sys

LITERAL = r'"((?:[^"\\]|\\.)*)"'
LITERALS = rf"((?:\s*{LITERAL}\s*)+)"


def joined(literals):
    return "".join(re.findall(LITERAL, literals))


def main(sources, strings):
    wanted = {}
    for file in sorted(pathlib.Path(sources).rglob("*.cpp")):
        for match in re.finditer(rf"VXText\({LITERALS}(?:,{LITERALS})?[,)]", file.read_text()):
            for text in (match[1], match[3]):
                if text:
                    wanted.setdefault(joined(text), file.name)
    known = dict(re.findall(rf"^{LITERAL} = {LITERAL};$", pathlib.Path(strings).read_text(), re.M))
    problems = [f'{file}: "{text}" is not in the table' for text, file in wanted.items() if text not in known]
    for key, text in known.items():
        if sorted(re.findall(r"%\d", key)) != sorted(re.findall(r"%\d", text)):
            problems.append(f'"{key}" has other places than "{text}"')
    print("\n".join(problems) or f"{len(wanted)} texts")
    return 1 if problems or not wanted else 0


sys.exit(main(*sys.argv[1:]))
