"""Writes lists by independent libraries: FOLDER/0.binary, 0.xml and 0.rpc (a call), each with the checksum of
what it holds in 0.binary.sum and so on.

    lists.py FOLDER SEED COUNT
"""

import datetime
import plistlib
import random
import struct
import sys
import xmlrpc.client
import zlib

TEXTS = ["plain", "Gr\u00f6\u00dfe", "\u4e2d\u6587", "\U0001f600 wide", "a<b>&\"c\"", "line\nbreak", "]]>", " "]
EDGES = [0, 9, 255, 256, 65535, 65536, 2**31, 2**32 - 1, 2**32, 2**63 - 1, 2**63, 2**64 - 1, -1, -(2**63)]


def text(rng):
    return rng.choice(TEXTS) * rng.choice([1, 1, 1, 3, 40]) + str(rng.randrange(50))


def key(rng):
    return text(rng).encode()[:255].decode(errors="ignore")  # no longer than dictionaries keep them


def scalar(rng):
    return rng.choice([
        lambda: rng.choice(EDGES) if rng.random() < 0.5 else rng.randrange(-(2**63), 2**64),
        lambda: rng.uniform(-1, 1) * 10 ** rng.randrange(-300, 300),
        lambda: rng.random() < 0.5,
        lambda: datetime.datetime(1, 1, 1) + datetime.timedelta(seconds=rng.randrange(315537897600)),
        lambda: rng.randbytes(rng.choice([0, 1, 14, 15, 300])),
        lambda: text(rng),
    ])()


def tree(rng, levels):
    size = rng.choice([0, 1, 5, 20])
    kind = rng.randrange(4) if levels > 0 else 2
    if kind == 0:
        return [tree(rng, levels - 1) for _ in range(size)]
    if kind == 1:
        return {key(rng): tree(rng, levels - 1) for _ in range(size)}
    return scalar(rng)


def walk(value):
    """The bytes whose CRC-32 is the checksum."""
    if isinstance(value, list):
        return b"arry" + b"".join(map(walk, value))
    if isinstance(value, dict):
        entries = sorted((key.encode(), member) for key, member in value.items())
        return b"dict" + b"".join(b"key" + key + walk(member) for key, member in entries)
    if isinstance(value, str):
        return b"xstr" + value.encode()
    if isinstance(value, bytes):
        return b"data" + value
    if isinstance(value, bool):
        return b"bool" + bytes([value])
    if isinstance(value, datetime.datetime):
        since = value - datetime.datetime(1970, 1, 1)
        return b"xdat" + struct.pack("<q", (since.days * 86400 + since.seconds) * 1000)
    whole = isinstance(value, int) and -(2**63) <= value < 2**63
    return b"xnum" + (struct.pack("<q", value) if whole else struct.pack("<d", value))


def main():
    folder, seed, count = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    rng = random.Random(seed)
    xmlrpc.client.MININT, xmlrpc.client.MAXINT = -(2**63), 2**64
    for i in range(count):
        # The last is large: its offsets and references take more bytes.
        value = tree(rng, 1 + i % 4) if i < count - 1 else [tree(rng, 4) for _ in range(300)]
        for ending, written, held in (
            ("binary", plistlib.dumps(value, fmt=plistlib.FMT_BINARY), value),
            ("xml", plistlib.dumps(value), value),
            ("rpc", xmlrpc.client.dumps((value,), "m").encode(), {"methodName": "m", "params": [value]}),
        ):
            with open(f"{folder}/{i}.{ending}", "wb") as out:
                out.write(written)
            with open(f"{folder}/{i}.{ending}.sum", "w") as out:
                print(zlib.crc32(walk(held)), file=out)


main()
