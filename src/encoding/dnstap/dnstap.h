#pragma once

#include <cstdint>

#include "encoding/Bytes.h"
#include "encoding/dnstap/DnstapDecoder.h"
#include "encoding/dnstap/DnstapEvent.h"
#include "error/UnknownError.h"

// The dnstap record: the Protocol Buffers message dnstap.Dnstap (https://dnstap.info, dnstap.proto), read and written
// by hand. Readers have the shape of encoding/data.h: the value goes out through the first argument, the offset behind
// it is returned, and a failed read throws DnstapError and leaves the argument untouched. Writers append.
// All of this is part of the library's contract and stays, although no thread of the daemon calls it: they only decode,
// by tryDecodeDnstapEvent() of DnstapDecoder.h.
namespace ns::encoding::dnstap {

/// Bytes are no dnstap record.
class DnstapError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

/// Reads a number in groups of 7 bits, least significant first: at most 10 bytes and 64 bits.
uint32_t decodeVarint(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset);

/// Read 4 or 8 bytes, little-endian.
uint32_t decodeFixed32(uint32_t& out, const unsigned char* data, uint32_t length, uint32_t offset);
uint32_t decodeFixed64(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset);

/// Reads a tag: a varint of a field number and a wire type. The number is cut to 32 bits.
uint32_t decodeTag(uint32_t& number, uint8_t& wireType, const unsigned char* data, uint32_t length, uint32_t offset);

/// Reads the length of a bytes field, and checks that so many bytes follow. Returns the offset of the first of them.
uint32_t decodeBytesLength(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset);

/// Step over one value. A skipped varint may have any number of bytes.
uint32_t skipVarint(const unsigned char* data, uint32_t length, uint32_t offset);
uint32_t skipFixed32(const unsigned char* data, uint32_t length, uint32_t offset);
uint32_t skipFixed64(const unsigned char* data, uint32_t length, uint32_t offset);
uint32_t skipBytes(const unsigned char* data, uint32_t length, uint32_t offset);
uint32_t skip(uint8_t wireType, const unsigned char* data, uint32_t length, uint32_t offset);

/// Empties the message's fields, and with `clearIdentity` those of the server. Capacities are kept.
void resetDnstapEvent(DnstapEvent& event, bool clearIdentity);

/// Decodes one record into `event`, which is reset first. No value is checked for its range, and no field must be
/// there. Returns the offset where it stopped. Throws DnstapError; the event then holds what stood before the fault.
uint32_t decodeDnstapEvent(DnstapEvent& event, const unsigned char* data, uint32_t length, uint32_t offset);

/// Returns the message type of a record without decoding it; `event` is not looked at. Throws DnstapError, also if
/// there is no type.
uint64_t getDnstapEventType(const DnstapEvent& event, const unsigned char* data, uint32_t length, uint32_t offset);

/// Append a number in groups of 7 bits, 4 bytes little-endian, a tag, or a length with so many bytes.
void encodeVarint(Bytes& buffer, uint64_t value);
void encodeFixed32(Bytes& buffer, uint32_t value);
void encodeTag(Bytes& buffer, uint32_t number, uint8_t wireType);
void encodeBytes(Bytes& buffer, const unsigned char* data, uint32_t length);

/// Appends the record of `event`, whose `encodedMessage` is written over. Fields of 0 or no bytes are left out, except
/// the message type.
void encodeDnstapEvent(Bytes& buffer, DnstapEvent& event);

}  // namespace ns::encoding::dnstap
