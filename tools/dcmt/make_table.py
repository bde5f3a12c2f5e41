#!/usr/bin/env python3
"""Writes generators/mt2203/mt2203_params.inc from the twist words found by zev_dcmt.

    tools/dcmt/make_table.py tools/dcmt/mt2203_a.txt \
        > generators/mt2203/mt2203_params.inc

Members 0 and 1 are the family's two published parameter sets. Members 2 to
6023 take the twist word that zev_dcmt found for their id (seed 4357, the id
in the low 16 bits) and the tempering masks of member 0. Every member must be
present, else the script fails and writes nothing; with --partial it writes
the members found so far and zero rows for the others, which the generator
refuses with the status of an invalid id.
"""
import sys

PUBLISHED = [(0xAF81055F, 0xDD7EEF80, 0xEFD78000), (0x832604E1, 0x66AD7F80, 0xEBD58000)]
MEMBERS = 6024


def main():
    partial = "--partial" in sys.argv
    found = {}
    for path in [a for a in sys.argv[1:] if a != "--partial"]:
        with open(path) as f:
            for line in f:
                parts = line.split()
                if len(parts) == 2:
                    found[int(parts[0])] = int(parts[1], 16)
    missing = [m for m in range(2, MEMBERS) if m not in found]
    if missing and not partial:
        sys.exit(f"{len(missing)} members missing, first {missing[0]}")
    b, c = PUBLISHED[0][1], PUBLISHED[0][2]
    out = ["// MT2203 parameter sets {a, b, c}, one row per member, made by",
           "// tools/dcmt/make_table.py from the output of tools/dcmt (zev_dcmt 2 6023 4357).",
           "// Rows 0 and 1: the family's published parameter sets.",
           "// Rows 2 to 6023: this library's own parameter sets. The twist word a comes",
           "// from the Dynamic Creator search of Matsumoto and Nishimura (id in the low",
           "// 16 bits, top bit set, full period 2^2203 - 1 checked for every member);",
           "// the tempering masks b and c are those of member 0."]
    if missing:
        out.append(f"// PARTIAL: {len(missing)} members not found yet have zero rows.")
    for m in range(MEMBERS):
        if m >= 2 and m not in found:
            out.append("{0u, 0u, 0u},")
            continue
        a, bb, cc = PUBLISHED[m] if m < 2 else (found[m], b, c)
        out.append(f"{{0x{a:08X}u, 0x{bb:08X}u, 0x{cc:08X}u}},")
    print("\n".join(out))


if __name__ == "__main__":
    main()
