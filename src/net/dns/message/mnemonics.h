#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "encoding/Bytes.h"
#include "encoding/data.h"

// The words for the numbers of DNS (IANA registry "Domain Name System Parameters") and dnstap.
namespace ns::net::dns {

/// A word in a cell of fixed size, so that it is written by one store of the whole cell.
struct Mnemonic {
  std::array<char, 15> text;
  uint8_t length;  // 0 where a table has no word
};

/// Words by number, from 0 up to some `count`; and, as the registry of record types has it, more from 32768 on.
struct MnemonicTable {
  static constexpr uint16_t HighFirst = 32768;

  const Mnemonic* low;
  uint16_t lowCount;
  const Mnemonic* high = nullptr;
  uint16_t highCount = 0;

  /// The word for `key`; null if there is none.
  const Mnemonic* find(uint16_t key) const {
    const Mnemonic* row = nullptr;
    if (key < lowCount) [[likely]] {
      row = &low[key];
    } else if (key >= HighFirst && key - HighFirst < highCount) {
      row = &high[key - HighFirst];
    }
    return row != nullptr && row->length != 0 ? row : nullptr;
  }
};

extern const MnemonicTable record_classes;
extern const MnemonicTable response_codes;
extern const MnemonicTable cert_types;
extern const MnemonicTable algorithm_types;
extern const MnemonicTable socket_protocols;
extern const MnemonicTable record_types;

/// By dnstap message type: a whole JSON value, and the opening of a query log line, in which those that ask an
/// authoritative server are clients, too.
constexpr uint64_t no_json_event_types = 13;
constexpr uint64_t no_querylog_event_types = 13;
extern const std::array<std::string_view, no_json_event_types> json_event_types;
extern const std::array<std::string_view, no_querylog_event_types> querylog_event_types;

constexpr std::string_view RecordTypePrefix = "TYPE";
constexpr std::string_view RecordClassPrefix = "CLASS";
constexpr std::string_view ResponseCodePrefix = "RCODE";
constexpr std::string_view SocketProtocolPrefix = "PROTO";

/// What writeDnsParameter needs as room: a cell, or a prefix and a number.
constexpr size_t DnsParameterRoom = 16 + encoding::data::MaxUintDigits;

/// Writes the word for `key`, or else `prefix` and `key` in decimal, at `out`, which has room for DnsParameterRoom.
/// Returns the end of what it wrote.
inline unsigned char* writeDnsParameter(unsigned char* out, const MnemonicTable& table, uint16_t key,
                                        std::string_view prefix) {
  if (const Mnemonic* const row = table.find(key)) [[likely]] {
    std::memcpy(out, row, sizeof(*row));
    return out + row->length;
  }
  std::memcpy(out, prefix.data(), prefix.size());
  return encoding::data::writeUint(out + prefix.size(), key);
}

/// Appends the word for `key`, or else `prefix` and `key` in decimal.
void formatDnsParameter(encoding::Bytes& buffer, const MnemonicTable& table, uint16_t key, std::string_view prefix);

/// formatDnsParameter with the table and the prefix of the name.
void formatRecordType(encoding::Bytes& buffer, uint16_t key);
void formatRecordClass(encoding::Bytes& buffer, uint16_t key);
void formatResponseCode(encoding::Bytes& buffer, uint16_t key);
void formatSocketProtocol(encoding::Bytes& buffer, uint16_t key);
void formatCertType(encoding::Bytes& buffer, uint16_t key);
void formatAlgorithmType(encoding::Bytes& buffer, uint16_t key);

}  // namespace ns::net::dns
