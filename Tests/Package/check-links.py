#!/usr/bin/env python3
"""check-links.py FOLDER: fails when a link of a document in the folder leads to a file that is not there."""
import pathlib
import re
import sys

missing = []
for document in pathlib.Path(sys.argv[1]).rglob("*.md"):
    text = re.sub(r"`[^`\n]*`", "", document.read_text(encoding="utf-8"))
    for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", text):
        if "://" not in target and not (document.parent / target).exists():
            missing.append(f"{document}: {target}")
sys.exit("\n".join(["These links lead nowhere:", *missing]) if missing else 0)
