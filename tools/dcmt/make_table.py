#!/usr/bin/env python3
"""Writes generators/mt2203/mt2203_params.inc from the parameter sets found by zev_dcmt.

    tools/dcmt/make_table.py generators/mt2203/data/mt2203_abc.txt \
        > generators/mt2203/mt2203_params.inc

The input lines are "id a b c deficiency" as `zev_dcmt --temper` writes them;
lines starting with '#' are comments.
Members 0 and 1 are the family's two published parameter sets. Every other
member must be present, else the script fails and writes nothing; with
--partial it writes the members found so far and zero rows for the others,
which the generator refuses with the status of an invalid id.
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
                if line.startswith("#"):
                    continue
                if len(parts) == 5:
                    found[int(parts[0])] = tuple(int(p, 16) for p in parts[1:4])
    missing = [m for m in range(2, MEMBERS) if m not in found]
    if missing and not partial:
        sys.exit(f"{len(missing)} members missing, first {missing[0]}")
    out = ["// MT2203 parameter sets {a, b, c}, one row per member, made by",
           "// tools/dcmt/make_table.py from generators/mt2203/data/mt2203_abc.txt, the output of",
           "// zev_dcmt 2 6023 4357 mt2203_a.txt, then",
           "// zev_dcmt --temper 2 6023 4357 mt2203_a.txt mt2203_abc.txt 3 2 850.",
           "// Rows 0 and 1: the family's published parameter sets.",
           "// Rows 2 to 6023: this library's own parameter sets, made by the Dynamic",
           "// Creator method of Matsumoto and Nishimura. The twist word a: id in the low",
           "// 16 bits, top bit set, full period 2^2203 - 1 checked for every member. The",
           "// tempering masks b and c: chosen bit by bit from the top output bit down",
           "// to bring the dimensions of equidistribution k(v) of the top v bits close",
           "// to floor(2203 / v), each k(v) found by lattice reduction over GF(2)[t]."]
    if missing:
        out.append(f"// PARTIAL: {len(missing)} members not found yet have zero rows.")
    for m in range(MEMBERS):
        if m >= 2 and m not in found:
            out.append("{0u, 0u, 0u},")
            continue
        a, b, c = PUBLISHED[m] if m < 2 else found[m]
        out.append(f"{{0x{a:08X}u, 0x{b:08X}u, 0x{c:08X}u}},")
    print("\n".join(out))


if __name__ == "__main__":
    main()
