#pragma once

#include <cstdint>
#include <string_view>

#include "encoding/Bytes.h"
#include "net/dns/message/DnsMessage.h"
#include "net/dns/message/mnemonics.h"

// Part of this library's contract, although the daemon doesn't call them: decoders and formatters of single parts, on
// byte vectors. They are made of what the daemon does call, so they are no second way to read or write anything.
namespace ns::net::dns {

/// decodeDnsMessage with all that there is of each name. Names end in a dot if `withTrailingDot`.
void decodeDnsMessage(const unsigned char* data, uint32_t length, DnsMessage& message, bool withTrailingDot);

/// Appends the name at `offset` of the DNS message of `length` bytes at `data` to `name`; see readName.
/// Returns the offset behind the name as it stands at `offset`. Throws DnsError or DataError, with nothing appended.
uint32_t decodeDnsMessageFqdn(uint32_t offset, const unsigned char* data, uint32_t length, encoding::Bytes& name,
                              bool withTrailingDot);

/// Appends the `rdlength` bytes of record data at `offset` of the DNS message of `length` bytes at `data` to `rdata`,
/// as presentation text of a record of type `type`; see writeRdata. Throws DnsError or DataError, with nothing
/// appended.
void decodeDnsMessageRdata(uint32_t offset, const unsigned char* data, uint32_t length, uint16_t type,
                           uint32_t rdlength, encoding::Bytes& rdata, bool withTrailingDot);

/// Appends `length` bytes as presentation text.
void decodeRdataString(const unsigned char* data, uint32_t length, encoding::Bytes& out);

/// Appends the character strings in the `length` bytes at `data`; with `quoted` in double quotes and with blanks
/// between them, otherwise back to back; with `single` the first only. A string that runs past `length` is cut off
/// there. Returns the number of bytes used.
uint32_t decodeRdataStrings(const unsigned char* data, uint32_t length, encoding::Bytes& out, bool quoted, bool single);

/// Appends the word for `key`, or else `prefix` and `key` in decimal.
void formatDnsParameter(encoding::Bytes& buffer, const MnemonicTable& table, uint16_t key, std::string_view prefix);

/// formatDnsParameter with the table of the name, and its prefix.
void formatRecordType(encoding::Bytes& buffer, uint16_t key);
void formatRecordClass(encoding::Bytes& buffer, uint16_t key);
void formatResponseCode(encoding::Bytes& buffer, uint16_t key);
void formatCertType(encoding::Bytes& buffer, uint16_t key);
void formatAlgorithmType(encoding::Bytes& buffer, uint16_t key);

}  // namespace ns::net::dns
