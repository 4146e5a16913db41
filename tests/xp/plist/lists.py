"""Writes property lists by an independent library, each as binary and as XML: FOLDER/0.binary, FOLDER/0.xml
and so on. UIDs, which XML has no element for, are integers there.

    lists.py FOLDER SEED COUNT
"""

import datetime
import plistlib
import random
import sys

TEXTS = ["plain", "Gr\u00f6\u00dfe", "\u4e2d\u6587", "\U0001f600 wide", "a<b>&\"c\"", "line\nbreak", "]]>", " "]
EDGES = [0, 9, 255, 256, 65535, 65536, 2**31, 2**32 - 1, 2**32, 2**63 - 1, 2**63, 2**64 - 1, -1, -(2**63)]


def text(rng):
    return rng.choice(TEXTS) * rng.choice([1, 1, 1, 3, 40]) + str(rng.randrange(50))


def scalar(rng):
    """A value for the binary list and the same for XML."""
    kind = rng.randrange(7)
    if kind == 0:
        value = plistlib.UID(rng.choice([0, 255, 256, 65536, 2**32, 2**63 - 1]))
        return value, value.data
    value = [
        lambda: rng.choice(EDGES) if rng.random() < 0.5 else rng.randrange(-(2**63), 2**64),
        lambda: rng.uniform(-1, 1) * 10 ** rng.randrange(-300, 300),
        lambda: rng.random() < 0.5,
        lambda: datetime.datetime(1, 1, 1) + datetime.timedelta(seconds=rng.randrange(315537897600)),
        lambda: rng.randbytes(rng.choice([0, 1, 14, 15, 300])),
        lambda: text(rng),
    ][kind - 1]()
    return value, value


def tree(rng, levels):
    kind = rng.randrange(4) if levels > 0 else 2
    if kind == 0:
        members = [tree(rng, levels - 1) for _ in range(rng.choice([0, 1, 5, 20]))]
        return [a for a, _ in members], [b for _, b in members]
    if kind == 1:
        entries = {text(rng): tree(rng, levels - 1) for _ in range(rng.choice([0, 1, 5, 20]))}
        return {k: a for k, (a, _) in entries.items()}, {k: b for k, (_, b) in entries.items()}
    return scalar(rng)


def main():
    folder, seed, count = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    rng = random.Random(seed)
    for i in range(count):
        # The last is large: its offsets and references take more bytes.
        levels = 1 + i % 4 if i < count - 1 else 0
        pair = tree(rng, levels) if levels else tuple(zip(*[tree(rng, 4) for _ in range(300)]))
        for ending, form, value in (("binary", plistlib.FMT_BINARY, pair[0]), ("xml", plistlib.FMT_XML, pair[1])):
            with open(f"{folder}/{i}.{ending}", "wb") as out:
                plistlib.dump(value, out, fmt=form)


main()
