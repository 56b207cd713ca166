#include "encoding/ip.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
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
  size_t begin = 8;
  size_t end = 8;
};

/// The first of the longest runs of at least two zero groups, or an empty one.
static Run findZeros(const std::array<uint16_t, 8>& groups) {
  Run longest;
  for (size_t begin = 0; begin < 8; ++begin) {
    size_t end = begin;
    while (end < 8 && groups[end] == 0) ++end;
    if (end - begin >= 2 && end - begin > longest.end - longest.begin) longest = {begin, end};
    if (end > begin) begin = end;  // the group there is not 0
  }
  return longest;
}

static unsigned char* writeGroup(unsigned char* out, uint32_t group) {
  if (group >= 0x1000) *out++ = static_cast<unsigned char>(hex::HexCharsLower[group >> 12]);
  if (group >= 0x100) *out++ = static_cast<unsigned char>(hex::HexCharsLower[group >> 8 & 15]);
  if (group >= 0x10) *out++ = static_cast<unsigned char>(hex::HexCharsLower[group >> 4 & 15]);
  *out++ = static_cast<unsigned char>(hex::HexCharsLower[group & 15]);
  return out;
}

unsigned char* writeIpv6(unsigned char* out, const unsigned char* address) {
  std::array<uint16_t, 8> groups;
  for (size_t i = 0; i < 8; ++i) groups[i] = data::loadUint16(address + 2 * i);
  const Run zeros = findZeros(groups);
  for (size_t i = 0; i < 8; ++i) {
    if (i == zeros.begin) {
      *out++ = ':';
      *out++ = ':';
      i = zeros.end;
      if (i == 8) break;
    } else if (i != 0) {
      *out++ = ':';
    }
    out = writeGroup(out, groups[i]);
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
