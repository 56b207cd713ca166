#include "net/fstrm/FstrmSocket.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "encoding/data.h"
#include "log/log.h"

namespace ns::net::fstrm {

namespace data = encoding::data;

// A peer that announces a gigabyte has to send it before it gets the memory.
static constexpr uint32_t GrowthStep = 65536;

[[noreturn, gnu::cold, gnu::noinline]] static void failValue(const char* before, uint32_t value,
                                                             const char* after = "") {
  throw FstrmError(before + std::to_string(value) + after);
}
[[noreturn, gnu::cold, gnu::noinline]] static void failLimit(const char* what, uint32_t length, uint32_t limit) {
  throw FstrmError(what + (" length " + std::to_string(length)) + " is larger than the configured limit " +
                   std::to_string(limit));
}
[[noreturn, gnu::cold, gnu::noinline]] static void failExtent(uint32_t fieldLength, uint32_t offset, uint32_t length) {
  throw FstrmError("Control field of " + std::to_string(fieldLength) + " bytes at offset " + std::to_string(offset) +
                   " runs past the end of a control frame of " + std::to_string(length) + " bytes");
}

FstrmSocket::FstrmSocket(unsigned int socketId, FstrmSocketConfig socketConfig, Socket& plain, tls::TlsSocket& secured)
    : id(socketId), config(socketConfig), socket(plain), tlsSocket(secured), useTls(secured.isActive()) {}

unsigned int FstrmSocket::readsome(unsigned char* out, unsigned int length) {
  if (hasAhead()) return ahead.take(out, length);
  return useTls ? tlsSocket.readsome(out, length) : socket.readsome(out, length);
}

void FstrmSocket::readblock(unsigned char* out, unsigned int length) {
  while (length != 0) {
    const unsigned int count = readsome(out, length);
    out += count;
    length -= count;
  }
}

void FstrmSocket::readblock(encoding::Bytes& out, uint32_t length) {
  out.clear();
  const auto step = static_cast<uint32_t>(std::clamp<size_t>(out.capacity(), GrowthStep, UINT32_MAX));
  while (length != 0) {
    const uint32_t piece = std::min(length, step);
    readblock(data::grow(out, piece), piece);
    length -= piece;
  }
}

void FstrmSocket::sendblock(const unsigned char* bytes, unsigned int length, bool more) {
  if (useTls) {
    tlsSocket.sendblock(bytes, length);
  } else {
    socket.sendblock(bytes, length, more);
  }
}

size_t FstrmSocket::wholeFrames(std::span<std::span<const unsigned char>> out, bool mayRead) {
  const size_t count = ahead.frames(out, config.dataFrameMaxSize);
  if (count != 0 || !mayRead || !ahead.isCutOff(config.dataFrameMaxSize) || !readAhead()) return count;
  return ahead.frames(out, config.dataFrameMaxSize);
}

uint32_t FstrmSocket::readlength(bool isData) {
  std::array<unsigned char, 4> word;
  readblock(word.data(), word.size());
  const uint32_t length = data::loadUint32(word.data());
  if (isData && length > config.dataFrameMaxSize) failLimit("Data frame", length, config.dataFrameMaxSize);
  return length;
}

uint32_t FstrmSocket::readcontrol(bool readEscape, bool expectContentType) {
  if (readEscape) {
    const uint32_t escape = readlength(false);
    if (escape != 0) failValue("Expected control message preamble of 0 but got ", escape);
  }
  const uint32_t length = readlength(false);
  if (length < 4) failValue("Expected control message length of at least 4 bytes but got ", length);
  if (length > config.controlFrameMaxSize) failLimit("Control frame", length, config.controlFrameMaxSize);
  readblock(buffer, length);
  if (expectContentType) findContentType();
  return data::loadUint32(buffer.data());
}

// Walks the fields of the control frame in `buffer` until one is the content type, and throws if none is.
// A field may claim to reach past the frame. That ends the walk as the end of the frame does, unless the bytes that
// decide are the missing ones, or the 32-bit offset wraps around: the walk then goes on further in front. Where it
// leads depends on the offset alone, so that with more steps than there are bytes it goes round for ever.
void FstrmSocket::findContentType() const {
  const auto length = static_cast<uint32_t>(buffer.size());
  uint32_t steps = 0;
  for (uint32_t offset = 4; offset < length; ++steps) {
    uint32_t type = 0;
    uint32_t fieldLength = 0;
    offset = data::decodeUint32(type, buffer.data(), length, offset);
    offset = data::decodeUint32(fieldLength, buffer.data(), length, offset);
    if (type == ContentTypeField && fieldLength == ContentTypeLength) {
      const uint32_t present = std::min(fieldLength, length - offset);
      if (std::memcmp(buffer.data() + offset, dnstap_content_type, present) == 0) {
        if (present == fieldLength) return;
        failExtent(fieldLength, offset, length);
      }
    }
    if (steps >= length && fieldLength > UINT32_MAX - offset) failExtent(fieldLength, offset, length);
    offset += fieldLength;
  }
  throw FstrmError(std::string("Expected content type of ") + dnstap_content_type + " but did not get it");
}

void FstrmSocket::sendcontrol(uint32_t type, bool withContentType) {
  static constexpr uint32_t FieldSize = 8 + ContentTypeLength;
  buffer.clear();
  for (const uint32_t word : {uint32_t{0}, withContentType ? 4 + FieldSize : 4, type}) data::encodeUint32(buffer, word);
  if (withContentType) {
    for (const uint32_t word : {ContentTypeField, ContentTypeLength}) data::encodeUint32(buffer, word);
    data::formatChars(buffer, {dnstap_content_type, ContentTypeLength});
  }
  sendblock(buffer.data(), static_cast<uint32_t>(buffer.size()));
}

void FstrmSocket::sendstart() {
  if (config.bidirectional) {
    sendcontrol(Ready, true);
    const uint32_t type = readcontrol(true, true);
    if (type != Accept) failValue("Expected ACCEPT(1) control message but got ", type);
  }
  sendcontrol(Start, true);
  log::info("FstrmSocket[" + std::to_string(id) + "]: Stream ready");
}

void FstrmSocket::sendstop() {
  socket.limitWaits();
  sendcontrol(Stop, false);
  if (!config.bidirectional) return;
  socket.limitWaits();
  const uint32_t type = readcontrol(true, false);
  if (type != Finish) failValue("Expected FINISH(5) control message but got ", type);
}

}  // namespace ns::net::fstrm
