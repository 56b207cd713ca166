"""The frames that the load generator sends, made once into files of the build folder."""

import os
import random

from harness import capture, frames
from harness.zones import STUBS, World

SETS = ("mix", "small", "big", "failing")
LONG = 200_000  # records of the file for a program that reads nothing but files


def addresses(chance):
    """A client and a server; three in ten speak IPv6."""
    if chance.random() < 0.3:
        return b"\x20\x01\x0d\xb8" + chance.randbytes(12), b"\x20\x01\x0d\xb8\0\0" + bytes(9) + bytes(
            [chance.randint(1, 9)]
        )
    return chance.randbytes(4), b"\xc0\0\x02" + bytes([chance.randint(1, 9)])


def make(folder):
    os.makedirs(folder, exist_ok=True)
    world, chance = World(1500), random.Random(3)

    def captured(questions):
        records = capture.capture(folder, questions, world.lines, STUBS)
        return [frames.with_addresses(record, *addresses(chance)) for record in records]

    mix = captured([world.question() for _ in range(9000)])
    big = [record for record in captured(world.large) if len(record) >= 400]
    sets = {
        "mix": mix,
        "big": big,
        "small": [record for record in mix if len(record) <= 110],
        "failing": [frames.with_query_zone(record) for record in mix],
        "none": [],
        "long": (mix * (LONG // len(mix) + 1))[:LONG],
    }
    for name, records in sets.items():
        frames.write(path(folder, name), records)
    return folder


def path(folder, name):
    return f"{folder}/{name}.fstrm"


def sizes(folder):
    """Of each set: how many records, how many of them differ, their mean size."""
    out = {}
    for name in SETS:
        records = frames.read(path(folder, name))
        out[name] = len(records), len(set(records)), sum(map(len, records)) / len(records)
    return out


def complete(folder):
    return all(os.path.exists(path(folder, name)) for name in (*SETS, "none", "long"))
