#include "net/dns/message/presentationForms.h"

#include <algorithm>
#include <array>
#include <span>

#include "encoding/data.h"
#include "net/dns/message/mnemonics.h"

namespace data = ns::encoding::data;

namespace ns::net::dns {

// Strings

static bool isDigit(unsigned char byte) { return byte >= '0' && byte <= '9'; }

static bool isAlphanumeric(unsigned char byte) {
  return isDigit(byte) || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

bool writeRest(FieldWriter& writer) {
  const uint32_t count = writer.getLeft();
  writer.putQuoted(writer.take(count), count);
  return true;
}

/// The bytes of a character string; none, too, if there is no whole one.
static std::span<const unsigned char> takeString(FieldWriter& writer) {
  const unsigned char* const count = writer.take(1);
  const unsigned char* const bytes = count == nullptr ? nullptr : writer.take(*count);
  if (bytes == nullptr) return {};
  return {bytes, *count};
}

static void putPlain(FieldWriter& writer, std::span<const unsigned char> string) {
  writer.putEscaped(string.data(), static_cast<uint32_t>(string.size()));
}

bool writeCaaTag(FieldWriter& writer) {
  const auto tag = takeString(writer);
  if (tag.empty() || !std::all_of(tag.begin(), tag.end(), isAlphanumeric)) return false;
  putPlain(writer, tag);
  return true;
}

bool writeX25(FieldWriter& writer) {
  constexpr size_t Shortest = 4;
  const auto number = takeString(writer);
  if (number.size() < Shortest || !std::all_of(number.begin(), number.end(), isDigit)) return false;
  putPlain(writer, number);
  return true;
}

/// Whether this is a decimal number such as `-32.6882`, and no farther from zero than `limit`.
static bool isDecimal(std::span<const unsigned char> text, uint32_t limit) {
  constexpr uint32_t Many = 1000000;
  size_t i = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  uint32_t digits = 0, whole = 0;
  bool more = false;
  for (; i < text.size() && isDigit(text[i]); ++i, ++digits) whole = std::min(whole * 10 + text[i] - '0', Many);
  if (i < text.size() && text[i] == '.') {
    for (++i; i < text.size() && isDigit(text[i]); ++i, ++digits) more = more || text[i] != '0';
  }
  return i == text.size() && digits != 0 && (whole < limit || (whole == limit && !more));
}

bool writeGpos(FieldWriter& writer) {
  for (const uint32_t limit : {90U, 180U, UINT32_MAX}) {  // degrees of latitude and longitude, metres
    const auto number = takeString(writer);
    if (!isDecimal(number, limit)) return false;
    if (limit != 90) writer.put(' ');
    putPlain(writer, number);
  }
  return true;
}

bool writeStrings(FieldWriter& writer) {
  while (!writer.atEnd()) {
    writer.put(' ');
    if (!writer.writeString()) return false;
  }
  return true;
}

/// An empty one in the packet is no good: readers leave it out.
bool writeSubaddress(FieldWriter& writer) {
  if (writer.atEnd()) return true;
  writer.put(' ');
  return writer.getLeft() != 1 && writer.writeString();
}

// Digests

static bool writeDigestOf(FieldWriter& writer, uint32_t expected) {
  return (expected == 0 || writer.getLeft() == expected) && writer.writeHex();
}

bool writeDigest(FieldWriter& writer, bool removal) {
  constexpr std::array<uint8_t, 5> Lengths{0, 20, 32, 32, 48};  // SHA-1, SHA-256, GOST R 34.11-94, SHA-384
  const uint8_t type = writer.back(1);
  if (type == 0) return removal && writeDigestOf(writer, 1);
  return writeDigestOf(writer, type < Lengths.size() ? Lengths[type] : 0);
}

bool writeZoneDigest(FieldWriter& writer) {
  constexpr std::array<uint8_t, 3> Lengths{0, 48, 64};  // SHA-384, SHA-512
  constexpr uint32_t Shortest = 12;
  const uint8_t scheme = writer.back(2), algorithm = writer.back(1);
  if (scheme == 0 || algorithm == 0 || writer.getLeft() < Shortest) return false;
  return writeDigestOf(writer, algorithm < Lengths.size() ? Lengths[algorithm] : 0);
}

bool writeSalt(FieldWriter& writer) {
  const unsigned char* const count = writer.take(1);
  const unsigned char* const salt = count == nullptr ? nullptr : writer.take(*count);
  if (salt == nullptr) return false;
  *count == 0 ? writer.put('-') : writer.putHex(salt, *count);
  return true;
}

/// In base32 without padding. Readers differ about a length that would need some; no hash that is defined has one.
bool writeHash(FieldWriter& writer) {
  const auto hash = takeString(writer);
  if (hash.empty() || hash.size() % 5 != 0) return false;
  writer.putBase32(hash.data(), static_cast<uint32_t>(hash.size()));
  return true;
}

// Lists

/// Calls `put` with the number of each bit that is set, the first bit being number 0.
template <class Put>
static void forBits(std::span<const unsigned char> bitmap, Put put) {
  for (size_t i = 0; i < bitmap.size(); ++i) {
    for (unsigned j = 0; j < 8; ++j) {
      if ((bitmap[i] & (0x80U >> j)) != 0) put(static_cast<uint32_t>(8 * i + j));
    }
  }
}

bool writeTypes(FieldWriter& writer) {
  constexpr uint32_t MaxBitmap = 32;
  for (int last = -1; !writer.atEnd();) {
    const unsigned char* const head = writer.take(2);
    if (head == nullptr) return false;
    const uint32_t window = head[0], count = head[1];
    if (head[0] <= last || count == 0 || count > MaxBitmap) return false;
    last = head[0];
    const unsigned char* const bitmap = writer.take(count);
    // Zeros at the end are left out of a bitmap, and there is no type 0 to have a record of.
    if (bitmap == nullptr || bitmap[count - 1] == 0 || (window == 0 && bitmap[0] >= 0x80)) return false;
    forBits({bitmap, count}, [&](uint32_t bit) {
      writer.put(' ');
      writer.putType(static_cast<uint16_t>(256 * window + bit));
    });
  }
  return true;
}

/// Without compression, as RFC 8005 has it: a list of pointers would become five hundred times as much text.
bool writeNames(FieldWriter& writer) {
  while (!writer.atEnd()) {
    writer.put(' ');
    if (!writer.writeName(0)) return false;
  }
  return true;
}

bool writePorts(FieldWriter& writer) {
  const uint32_t count = writer.getLeft();
  constexpr uint32_t MaxBitmap = 8192;
  const unsigned char* const bitmap = writer.take(count);
  if (count > MaxBitmap || (count != 0 && bitmap[count - 1] == 0)) return false;
  forBits({bitmap, count}, [&](uint32_t port) {
    writer.put(' ');
    writer.putUint(port);
  });
  return true;
}

// Whole records

/// Centimetres as metres.
static void putMetres(FieldWriter& writer, int64_t value) {
  if (value < 0) writer.put('-');
  const auto size = static_cast<uint64_t>(value < 0 ? -value : value);
  writer.putUint(size / 100);
  writer.put('.');
  writer.putUint(size / 10 % 10);
  writer.putUint(size % 10);
  writer.put('m');
}

/// Thousandths of a second of arc from 2^31 on as degrees, minutes, seconds and a word for each direction.
static bool writeAngle(FieldWriter& writer, uint32_t value, uint32_t most, char positive, char negative) {
  constexpr uint32_t Zero = 0x80000000, Degree = 3600000, Minute = 60000;
  const uint32_t angle = value < Zero ? Zero - value : value - Zero;
  if (angle > most * Degree) return false;
  const uint32_t seconds = angle % Minute;
  writer.putUint(angle / Degree);
  writer.put(' ');
  writer.putUint(angle % Degree / Minute);
  writer.put(' ');
  writer.putUint(seconds / 1000);
  writer.put('.');
  for (const uint32_t unit : {100U, 10U, 1U}) writer.putUint(seconds / unit % 10);
  writer.put(' ');
  writer.put(value < Zero ? negative : positive);
  writer.put(' ');
  return true;
}

/// A size or precision: four bits of a digit and four of a power of ten, in centimetres. Zero has only one form.
static bool writePower(FieldWriter& writer, uint8_t value) {
  const uint32_t digit = value >> 4, exponent = value & 15;
  if (digit > 9 || exponent > 9 || (digit == 0 && exponent != 0)) return false;
  int64_t size = digit;
  for (uint32_t i = 0; i < exponent; ++i) size *= 10;
  writer.put(' ');
  putMetres(writer, size);
  return true;
}

bool writeLoc(FieldWriter& writer) {
  constexpr int64_t AltitudeZero = 10000000;  // 100 km below the sphere, in centimetres
  const unsigned char* const bytes = writer.take(16);
  if (bytes == nullptr || bytes[0] != 0 || !writeAngle(writer, data::loadUint32(bytes + 4), 90, 'N', 'S') ||
      !writeAngle(writer, data::loadUint32(bytes + 8), 180, 'E', 'W')) {
    return false;
  }
  putMetres(writer, data::loadUint32(bytes + 12) - AltitudeZero);
  return writePower(writer, bytes[1]) && writePower(writer, bytes[2]) && writePower(writer, bytes[3]);
}

static bool writeGateway(FieldWriter& writer, uint8_t type) {
  switch (type) {
    case 0: return writer.put('.'), true;
    case 1: return writer.writeIpv4();
    case 2: return writer.writeIpv6();
    case 3: return writer.writeName();
    default: return false;
  }
}

bool writeIpseckeyForm(FieldWriter& writer) {
  const unsigned char* const head = writer.take(3);
  if (head == nullptr) return false;
  for (const unsigned char number : {head[0], head[1], head[2]}) {  // precedence, gateway type, algorithm
    writer.putUint(number);
    writer.put(' ');
  }
  if (!writeGateway(writer, head[1])) return false;
  writer.put(' ');
  return writer.writeBase64();
}

bool writeAmtrelay(FieldWriter& writer) {
  const unsigned char* const head = writer.take(2);
  if (head == nullptr) return false;
  const unsigned char type = head[1] & 0x7FU;
  for (const int number : {int{head[0]}, head[1] >> 7, int{type}}) {  // precedence, discovery optional, type
    writer.putUint(static_cast<uint64_t>(number));
    writer.put(' ');
  }
  return writeGateway(writer, type);
}

bool writeHostIdentity(FieldWriter& writer) {
  const unsigned char* const head = writer.take(4);
  if (head == nullptr) return false;
  const uint32_t tagLength = head[0], keyLength = data::loadUint16(head + 2);
  const unsigned char* const tag = writer.take(tagLength);
  const unsigned char* const key = writer.take(keyLength);
  if (tag == nullptr || key == nullptr || tagLength == 0 || keyLength == 0) return false;
  writer.putUint(head[1]);
  writer.put(' ');
  writer.putHex(tag, tagLength);
  writer.put(' ');
  writer.putBase64(key, keyLength);
  return true;
}

/// One address prefix: its zeros at the end are left out of the packet.
template <size_t Width>
static bool writePrefix(FieldWriter& writer, uint8_t prefix, uint32_t count,
                        void (FieldWriter::*put)(const unsigned char*)) {
  const unsigned char* const bytes = writer.take(count);
  if (bytes == nullptr || count > Width || prefix > 8 * Width || (count != 0 && bytes[count - 1] == 0)) return false;
  std::array<unsigned char, Width> address{};
  std::copy_n(bytes, count, address.begin());
  (writer.*put)(address.data());
  writer.put('/');
  writer.putUint(prefix);
  return true;
}

bool writeApl(FieldWriter& writer) {
  constexpr uint16_t Ipv4 = 1, Ipv6 = 2;
  for (bool first = true; first || !writer.atEnd(); first = false) {
    const unsigned char* const head = writer.take(4);
    if (head == nullptr) return false;
    const uint16_t family = data::loadUint16(head);
    const uint32_t count = head[3] & 0x7FU;
    if (!first) writer.put(' ');
    if (head[3] != count) writer.put('!');
    writer.putUint(family);
    writer.put(':');
    if (!(family == Ipv4   ? writePrefix<4>(writer, head[2], count, &FieldWriter::putIpv4)
          : family == Ipv6 ? writePrefix<16>(writer, head[2], count, &FieldWriter::putIpv6)
                           : false)) {
      return false;
    }
  }
  return true;
}

}  // namespace ns::net::dns
