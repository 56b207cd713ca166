"""dnstap records and Frame Streams frames, by hand, so that any field can stand anywhere, also where it must not."""

import struct

CONTENT_TYPE = b"protobuf:dnstap.Dnstap"
ACCEPT, START, STOP, READY, FINISH = 1, 2, 3, 4, 5

# Fields of dnstap.Message: number and wire type (0 varint, 2 bytes, 5 fixed32).
MESSAGE = {
    "type": (1, 0), "socket_family": (2, 0), "socket_protocol": (3, 0), "query_address": (4, 2),
    "response_address": (5, 2),
    "query_port": (6, 0), "response_port": (7, 0), "query_time_sec": (8, 0), "query_time_nsec": (9, 5),
    "query_message": (10, 2), "query_zone": (11, 2), "response_time_sec": (12, 0), "response_time_nsec": (13, 5),
    "response_message": (14, 2), "policy": (15, 2), "http_protocol": (16, 0),
}


class Record(bytes):
    """A record's bytes, with the fields of its message beside them for who works out what becomes of it."""

    fields = {}


def varint(value):
    out = b""
    while value > 127:
        out += bytes([value & 127 | 128])
        value >>= 7
    return out + bytes([value])


def field(number, kind, value):
    body = {0: varint, 1: lambda v: struct.pack("<Q", v), 2: lambda v: varint(len(v)) + v,
            5: lambda v: struct.pack("<I", v)}
    return varint(number << 3 | kind) + body[kind](value)


def record(identity=b"", version=b"", extra=b"", before=b"", after=b"", **fields):
    """A record whose message holds `fields` in the order given; `before` and `after` are raw bytes around them."""
    head = b"".join(field(number, 2, value) for number, value in enumerate((identity, version, extra), 1) if value)
    message = b"".join(field(*MESSAGE[name], value) for name, value in fields.items())
    made = Record(head + before + field(14, 2, message) + field(15, 0, 1) + after)
    made.fields = fields
    return made


# A good record without a message. Text formats skip it in silence, so it can be sent at any time to wake a forwarder
# that an event overtook on its way into the wait.
NUDGE = Record(field(15, 0, 1))


def word(*values):
    return struct.pack(f">{len(values)}I", *values)


def frame(payload):
    return word(len(payload)) + payload


def control(kind, *content_types):
    body = word(kind) + b"".join(word(1, len(text)) + text for text in content_types)
    return word(0, len(body)) + body


def queue_file(records):
    """What the daemon leaves behind at stop: magic, then length, sum and bytes of each record."""
    return b"sslz" + b"".join(word(len(r)) + bytes([sum(r) & 255]) + r for r in records)
