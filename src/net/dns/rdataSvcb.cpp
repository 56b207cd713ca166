#include <array>
#include <string>

#include "encoding/CircleGuard.h"
#include "net/dns/DnsError.h"
#include "net/dns/rdataForms.h"

// Service bindings (RFC 9460): a priority, a target and parameters, each with a key and the length of its value.
namespace ns::net::dns {

/// The keys that have a name (RFC 9460, 14.3.2; RFC 9461 for the last).
static constexpr std::array<std::string_view, 8> KeyNames{"mandatory", "alpn", "no-default-alpn", "port",
                                                          "ipv4hint",  "ech",  "ipv6hint",        "dohpath"};

static constexpr uint16_t Dohpath = 7;

[[noreturn, gnu::cold, gnu::noinline]] static void failValue(uint32_t count, uint32_t position, uint32_t end) {
  throw DnsError("Parse HTTPS record data failed: Expected " + std::to_string(count) + " << bytes at " +
                 std::to_string(position) + " until " + std::to_string(end));
}

[[noreturn, gnu::cold, gnu::noinline]] static void failHints(uint32_t length, uint32_t width) {
  throw DnsError("Parse HTTPS record data failed: Address list of " + std::to_string(length) +
                 " bytes is not a multiple of " + std::to_string(width));
}

[[noreturn, gnu::cold, gnu::noinline]] static void failCircle(uint32_t position) {
  throw DnsError("Parse HTTPS record data failed: Parameters at " + std::to_string(position) +
                 " come back to themselves");
}

static void checkValue(const RdataReader& reader, uint32_t count) {
  if (uint64_t{reader.getPosition()} + count > reader.getEnd()) [[unlikely]]
    failValue(count, reader.getPosition(), reader.getEnd());
}

/// The lists below count the bytes left in 16 bits and end at exactly 0. One that misses it goes round, and on until a
/// read fails: a list of an odd length at the end of the message, one of ids at the end of the record.
static void writeMandatory(RdataReader& reader, uint16_t left) {
  for (bool first = true; left != 0; first = false) {
    if (!first) reader.writeChar(',');
    const uint16_t key = reader.readUint16();
    if (key < KeyNames.size()) {
      reader.writeText(KeyNames[key]);
    } else {
      reader.writeText("key");
      reader.writeUint(key);
    }
    reader.checkText();
    left = static_cast<uint16_t>(left - 2);
  }
}

static void writeAlpn(RdataReader& reader, uint16_t left) {
  for (bool first = true; left != 0; first = false) {
    if (!first) reader.writeChar(',');
    const uint8_t count = reader.readUint8();
    checkValue(reader, count);
    reader.writeString(count);
    reader.checkText();
    left = static_cast<uint16_t>(left - 1 - count);
  }
}

/// Of a length that is no multiple of `width` such a list would never end: 0 is not among the lengths it comes by.
static void writeHints(RdataReader& reader, uint16_t length, uint16_t width, void (RdataReader::*write)()) {
  if (length % width != 0) failHints(length, width);
  for (uint32_t i = 0; i < length; i += width) {
    if (i != 0) reader.writeChar(',');
    (reader.*write)();
  }
}

/// A parameter without a form of its own.
static void writeUnknown(RdataReader& reader, uint16_t key, uint16_t length) {
  reader.writeText("key");
  reader.writeUint(key);
  reader.writeText("=\"");
  checkValue(reader, length);
  reader.writeString(length);
}

/// The path, and then once more as a parameter without a form, whose value is looked for as far behind the start of the
/// message as the path was long. The walk goes on behind that, so it comes by all records up to this one: mostly into
/// one that is no parameter, and the message fails. Consumers have always been given this text.
static void writeDohpath(RdataReader& reader, uint16_t length, encoding::CircleGuard& circle) {
  const uint32_t used = reader.writeStringsAt(reader.getPosition(), length, {.quoted = false, .single = true});
  reader.writeChar('"');
  reader.setPosition(used);
  writeUnknown(reader, Dohpath, length);
  if (circle.closes(reader.getPosition())) failCircle(reader.getPosition());
}

static void writeValue(RdataReader& reader, uint16_t key, uint16_t length, encoding::CircleGuard& circle) {
  switch (key) {
    case 0: return writeMandatory(reader, length);
    case 1: return writeAlpn(reader, length);
    case 3: return reader.writeUint(reader.readUint16());
    case 4: return writeHints(reader, length, 4, &RdataReader::writeIpv4);
    case 5: return reader.writeBase64(length);
    case 6: return writeHints(reader, length, 16, &RdataReader::writeIpv6);
    default: return writeDohpath(reader, length, circle);
  }
}

static void writeParameter(RdataReader& reader, encoding::CircleGuard& circle) {
  const uint16_t key = reader.readUint16();
  const uint16_t length = reader.readUint16();
  checkValue(reader, length);
  if (key >= KeyNames.size()) {
    writeUnknown(reader, key, length);
  } else {
    reader.writeText(KeyNames[key]);
    if (key == 2) return;  // no-default-alpn has no value; whatever there is of one is read as the next parameter
    reader.writeText("=\"");
    writeValue(reader, key, length, circle);
  }
  reader.writeChar('"');
}

void writeSvcb(RdataReader& reader) {
  reader.item16();
  reader.writeName();
  encoding::CircleGuard circle;
  while (reader.getPosition() < reader.getEnd()) {
    reader.writeChar(' ');
    writeParameter(reader, circle);
    reader.checkText();
  }
}

}  // namespace ns::net::dns
