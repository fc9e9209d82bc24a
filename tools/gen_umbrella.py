#!/usr/bin/env python3
"""Writes tarvex/tarvex.h, the header that includes every public header.

Headers named *_internal.h are private to their subsystem and stay out."""
import pathlib

ROOT = pathlib.Path(__file__).resolve().parent.parent
LAYERS = ["platform", "core", "geometry", "element", "dictionary", "formula", "streams",
          "database", "service", "forms", "plugin"]

def public(path):
    return not path.name.endswith("_internal.h")

lines = ["// Every public header of the library. Written by tools/gen_umbrella.py.",
         "#pragma once", "", '#include "tarvex/version.h"']
for layer in LAYERS:
    headers = sorted(p for p in (ROOT / "tarvex" / layer).rglob("*.h") if public(p))
    if headers:
        lines.append("")
        lines += [f'#include "{p.relative_to(ROOT).as_posix()}"' for p in headers]
(ROOT / "tarvex" / "tarvex.h").write_text("\n".join(lines) + "\n", encoding="utf-8")
