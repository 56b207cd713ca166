"""Files of Frame Streams data frames, and dnstap records with a field taken out or put in."""

import struct

TYPE = b"protobuf:dnstap.Dnstap"
MESSAGE = 14
QUERY_ZONE = 11  # in it
ZONE = b"\x07example\x03com\x00"


def control(kind, content=b""):
    body = struct.pack(">I", kind) + content
    return struct.pack(">II", 0, len(body)) + body


START = control(2, struct.pack(">II", 1, len(TYPE)) + TYPE)
STOP = control(3)


def frame(record):
    return struct.pack(">I", len(record)) + record


def write(path, records):
    with open(path, "wb") as file:
        file.write(START + b"".join(map(frame, records)) + STOP)


def read(path):
    with open(path, "rb") as file:
        data = file.read()
    records, pos = [], 0
    while pos < len(data):
        (size,) = struct.unpack_from(">I", data, pos)
        if size:
            records.append(data[pos + 4 : pos + 4 + size])
        else:
            size = 4 + struct.unpack_from(">I", data, pos + 4)[0]
        pos += 4 + size
    return records


def varint(value):
    out = b""
    while value > 127:
        out += bytes([value & 127 | 128])
        value >>= 7
    return out + bytes([value])


def read_varint(data, pos):
    value = shift = 0
    while data[pos] & 128:
        value |= (data[pos] & 127) << shift
        pos, shift = pos + 1, shift + 7
    return value | data[pos] << shift, pos + 1


def fields(data):
    """Yields number and the whole field's bytes, and for a field of bytes its value."""
    pos = 0
    while pos < len(data):
        start = pos
        tag, pos = read_varint(data, pos)
        value = None
        if tag & 7 == 2:
            size, pos = read_varint(data, pos)
            value = data[pos : pos + size]
            pos += size
        elif tag & 7 == 0:
            pos = read_varint(data, pos)[1]
        else:
            pos += 4 if tag & 7 == 5 else 8
        yield tag >> 3, data[start:pos], value


def edit(record, change):
    """The record with its nested message's list of fields, number and bytes, put through `change`."""
    out = b""
    for field, raw, value in fields(record):
        if field == MESSAGE:
            raw = text(MESSAGE, b"".join(raw for _, raw in change([(n, r) for n, r, _ in fields(value)])))[1]
        out += raw
    return out


def number(field, value):
    return field, varint(field << 3) + varint(value)


def text(field, value):
    return field, varint(field << 3 | 2) + varint(len(value)) + value


def without_query_zone(record):
    return edit(record, lambda all: [f for f in all if f[0] != QUERY_ZONE])


def with_addresses(record, query, response):
    """Everything that runs on one machine has the addresses of one machine: here a record gets others."""
    put = {2: number(2, 1 if len(query) == 4 else 2), 4: text(4, query), 5: text(5, response)}
    return edit(record, lambda all: [put.get(f[0], f) for f in all])


def with_query_zone(record):
    """As a server writes it that tells the zone: between the fields of the query and those of the response."""
    zone = text(QUERY_ZONE, ZONE)
    return edit(
        record, lambda all: [f for f in all if f[0] < QUERY_ZONE] + [zone] + [f for f in all if f[0] > QUERY_ZONE]
    )
