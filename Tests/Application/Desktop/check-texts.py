#!/usr/bin/env python3
"""check-texts.py SOURCES STRINGS [FUNCTION]: each text that is asked for by FUNCTION (VXText), and each title of a column in
capitals, stands in the table."""
import pathlib
import re
import sys

LITERAL = r'u?"((?:[^"\\]|\\.)*)"(?:_s)?'
LITERALS = rf"((?:\s*{LITERAL}\s*)+)"


def joined(literals):
    return "".join(re.findall(LITERAL, literals))


def main(sources, strings, function="VXText"):
    wanted = {}
    for file in sorted(pathlib.Path(sources).rglob("*.cpp")):
        source = file.read_text()
        for titles in re.findall(r'\{((?:u"[A-Z#][A-Z ]*"_s(?:,\s*)?)+)\}', source):
            wanted.update(dict.fromkeys(re.findall(LITERAL, titles), file.name))
        if function != "VXText":  # whole sentences are answered without being asked for
            wanted.update(dict.fromkeys(re.findall(r'u"([A-Z][^"%]*\.)\\n"_s', source), file.name))
        for match in re.finditer(rf"{function}\({LITERALS}(?:,{LITERALS})?[,)]", source):
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
