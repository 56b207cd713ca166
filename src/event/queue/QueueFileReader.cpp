#include "event/queue/QueueFileReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "encoding/data.h"
#include "error/messages.h"

namespace ns::event::queue {

using namespace file_format;

/// The most that is made room for ahead of the bytes: a damaged length may say 4 GiB in a file of a few bytes, and what
/// is left of a pipe is not to be known.
static constexpr size_t MaxPiece = 1 << 20;

[[gnu::cold, gnu::noinline]] void QueueFileReader::fail(const char* action, const std::string& reason) const {
  throw QueueError(action + filename + " failed: " + reason);
}

[[gnu::cold, gnu::noinline]] void QueueFileReader::failEvent(uint32_t length, const std::string& reason) const {
  fail(("Read next event of " + std::to_string(length) + " bytes from ").c_str(), reason);
}

QueueFileReader::QueueFileReader(std::string name)
    : filename(std::move(name)), file(std::fopen(filename.c_str(), "rb")) {
  if (!file) fail("Open ", error::getMessage(errno));
  char magic[sizeof Magic];
  if (std::fread(magic, sizeof magic, 1, file.get()) != 1) fail("Read magic header from ", error::getMessage(errno));
  if (std::memcmp(magic, Magic, sizeof magic) != 0) {
    fail("Read magic header from ", "Expected 'sslz' but got " + std::string(magic, sizeof magic));
  }
}

/// Reads a record's length and checksum. Returns false at the end of the file, also one within these bytes.
bool QueueFileReader::readHeader(unsigned char* header) {
  const size_t got = std::fread(header, 1, HeaderSize, file.get());
  if (got == HeaderSize) return true;
  if (!std::feof(file.get())) fail("Read next length of 4 bytes from ", error::getMessage(errno));
  if (std::ferror(file.get())) fail("Read from ", error::getMessage(errno));
  trailing = got;
  return false;
}

bool QueueFileReader::readPayload(encoding::Bytes& payload, uint32_t length) {
  while (payload.size() != length) {
    const size_t have = payload.size(), piece = std::min(length - have, MaxPiece);
    const size_t got = std::fread(encoding::data::grow(payload, piece), 1, piece, file.get());
    payload.resize(have + got);
    if (got != piece) return false;
  }
  return length != 0;  // an empty record is as good as a missing one
}

bool QueueFileReader::read(encoding::Bytes& payload) {
  payload.clear();
  offset = nextOffset;
  atRecord = false;
  unsigned char header[HeaderSize];
  if (!readHeader(header)) return false;
  const uint32_t length = encoding::data::loadUint32(header);
  if (!readPayload(payload, length)) failEvent(length, error::getMessage(errno));

  nextOffset = offset + HeaderSize + length;
  atRecord = true;
  const uint8_t computed = getChecksum(payload.data(), length), stored = header[4];
  if (computed != stored) {
    failEvent(length, "Expected checksum " + std::to_string(computed) + " but got " + std::to_string(stored));
  }
  return true;
}

}  // namespace ns::event::queue
