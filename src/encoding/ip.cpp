#include "encoding/ip.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <exception>
#include <string>

#include "encoding/data.h"
#include "encoding/hex.h"

namespace ns::encoding::ip {

/// A byte in decimal with a dot behind it, and the length of the digits.
struct Octet {
  std::array<char, 4> text;
  uint8_t digits;
};

static constexpr auto Octets = [] {
  std::array<Octet, 256> octets{};
  for (uint32_t i = 0; i < 256; ++i) {
    Octet& octet = octets[i];
    if (i >= 100) octet.text[octet.digits++] = static_cast<char>('0' + i / 100);
    if (i >= 10) octet.text[octet.digits++] = static_cast<char>('0' + i / 10 % 10);
    octet.text[octet.digits++] = static_cast<char>('0' + i % 10);
    octet.text[octet.digits] = '.';
  }
  return octets;
}();

unsigned char* writeIpv4(unsigned char* out, const unsigned char* address) {
  for (size_t i = 0; i < 4; ++i) {
    const Octet& octet = Octets[address[i]];
    std::memcpy(out, octet.text.data(), octet.text.size());  // always 4 bytes, a plain store: hence the room of 16
    out += octet.digits + 1;
  }
  return out - 1;  // without the last dot
}

/// Some of the eight groups of an IPv6 address: those from `begin` on, before `end`.
struct Run {
  uint8_t begin;
  uint8_t end;
};

/// For each set of zero groups, bit i for group i, the first of the longest runs of at least two, or an empty one.
static constexpr auto Runs = [] {
  std::array<Run, 256> runs{};
  for (uint32_t zeros = 0; zeros < 256; ++zeros) {
    Run longest{8, 8};
    for (uint8_t begin = 0; begin < 8; ++begin) {
      uint8_t end = begin;
      while (end < 8 && (zeros >> end & 1) != 0) ++end;
      if (end - begin >= 2 && end - begin > longest.end - longest.begin) longest = {begin, end};
    }
    runs[zeros] = longest;
  }
  return runs;
}();

/// The two digits of a byte, the first of them in the low half.
static constexpr auto HexPairs = [] {
  std::array<uint16_t, 256> pairs{};
  for (size_t i = 0; i < 256; ++i)
    pairs[i] = static_cast<uint16_t>(hex::HexCharsLower[i >> 4] | hex::HexCharsLower[i & 15] << 8);
  return pairs;
}();

/// Without a branch on the number of digits, as in data::writeUint(): all four are shifted to where the first belongs.
static unsigned char* writeGroup(unsigned char* out, const unsigned char* group) {
  const auto missing = static_cast<uint32_t>(std::countl_zero(data::loadUint16(group)) / 4);
  const uint32_t dropped = missing - missing / 4;  // one digit stays of a zero
  const uint32_t digits = (uint32_t{HexPairs[group[0]]} | uint32_t{HexPairs[group[1]]} << 16) >> (8 * dropped);
  for (uint32_t i = 0; i < 4; ++i) out[i] = static_cast<unsigned char>(digits >> (8 * i));  // one plain store
  return out + 4 - dropped;
}

unsigned char* writeIpv6(unsigned char* out, const unsigned char* address) {
  uint32_t zeros = 0;
  for (size_t i = 0; i < 8; ++i) zeros |= static_cast<uint32_t>(data::loadUint16(address + 2 * i) == 0) << i;
  const Run run = Runs[zeros];
  for (size_t i = 0; i < 8; ++i) {
    if (i == run.begin) {
      *out++ = ':';
      *out++ = ':';
      i = run.end;
      if (i == 8) break;
    } else if (i != 0) {
      *out++ = ':';
    }
    out = writeGroup(out, address + 2 * i);
  }
  return out;
}

void formatIpv4(Bytes& buffer, const unsigned char* address) {
  unsigned char* const out = data::grow(buffer, Ipv4Room);
  data::cut(buffer, writeIpv4(out, address));
}

void formatIpv6(Bytes& buffer, const unsigned char* address) {
  unsigned char* const out = data::grow(buffer, Ipv6Room);
  data::cut(buffer, writeIpv6(out, address));
}

int parseIp(Bytes& buffer, const char* text, uint64_t length) {
  std::array<char, 64> terminated{};
  if (length >= terminated.size()) throw IpError("Parse IP address failed: IP address too long");
  std::copy_n(text, length, terminated.data());

  std::array<unsigned char, 16> address;
  if (inet_pton(AF_INET, terminated.data(), address.data()) == 1) {
    data::formatBytes(buffer, address.data(), 4);
    return 0;
  }
  if (inet_pton(AF_INET6, terminated.data(), address.data()) == 1) {
    data::formatBytes(buffer, address.data(), 16);
    return 1;
  }
  throw IpError("Parse IP address " + std::string(text, length) + " failed: Invalid IP address");
}

bool isIp(const char* text, uint64_t length) {
  try {
    Bytes scratch;
    parseIp(scratch, text, length);
    return true;
  } catch (const std::exception&) { return false; }
}

}  // namespace ns::encoding::ip
