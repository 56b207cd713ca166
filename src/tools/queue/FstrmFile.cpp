#include "tools/queue/FstrmFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "encoding/data.h"
#include "error/messages.h"
#include "net/fstrm/protocol.h"

namespace ns::tools::queue {

using encoding::Bytes;
namespace data = encoding::data;
namespace fstrm = net::fstrm;

// The most of a control frame, as receivers take them; real ones have 34 bytes.
static constexpr uint32_t MaxControl = 65536;
// The most that is made room for ahead of the bytes, as a damaged length may say 4 GiB.
static constexpr size_t MaxPiece = 1 << 20;

void CloseStream::operator()(std::FILE* file) const noexcept {
  if (file != stdin && file != stdout) std::fclose(file);
}

static bool isStandard(const std::string& filename) { return filename == "-"; }

[[gnu::cold, gnu::noinline]] void FstrmFileReader::fail(const std::string& reason) const {
  throw FstrmFileError("Read " + filename + " failed: Byte " + std::to_string(offset) + ": " + reason);
}

// Whether the fields of a START hold our content type. A field cut off ends the walk.
static bool namesDnstap(const Bytes& body) {
  const std::string_view wanted = fstrm::dnstap_content_type;
  const uint32_t size = static_cast<uint32_t>(body.size());
  for (uint32_t at = 4; size - at >= 8;) {
    const uint32_t type = data::loadUint32(body.data() + at), length = data::loadUint32(body.data() + at + 4);
    at += 8;
    if (length > size - at) return false;
    const std::string_view value(reinterpret_cast<const char*>(body.data()) + at, length);
    if (type == fstrm::ContentTypeField && value == wanted) return true;
    at += length;
  }
  return false;
}

FstrmFileReader::FstrmFileReader(const std::string& name)
    : filename(name), file(isStandard(name) ? stdin : std::fopen(name.c_str(), "rb")) {
  if (!file) throw FstrmFileError("Open " + filename + " failed: " + error::getMessage(errno));
  uint32_t escape = 0;
  if (!readLength(escape) || escape != 0) fail("Expected a START control frame, so this is no Frame Streams file");
  Bytes body;
  const uint32_t type = readControl(body);
  if (type != fstrm::Start) fail("Expected START(2) control frame but got " + std::to_string(type));
  if (!namesDnstap(body)) {
    fail(std::string("Expected content type of ") + fstrm::dnstap_content_type + " but did not get it");
  }
}

void FstrmFileReader::readBlock(Bytes& out, uint32_t length) {
  out.clear();
  while (out.size() != length) {
    const size_t have = out.size(), piece = std::min(length - have, MaxPiece);
    const size_t got = std::fread(data::grow(out, piece), 1, piece, file.get());
    offset += got;
    if (got == piece) continue;
    fail(std::ferror(file.get()) ? error::getMessage(errno) : "The file ends within a frame");
  }
}

// Returns false at the end of the file in front of a length.
bool FstrmFileReader::readLength(uint32_t& length) {
  unsigned char word[4];
  const size_t got = std::fread(word, 1, sizeof word, file.get());
  offset += got;
  if (std::ferror(file.get())) fail(error::getMessage(errno));
  if (got == 0) return false;
  if (got != sizeof word) fail("The file ends within a length");
  length = data::loadUint32(word);
  return true;
}

// Reads what stands behind the escape of a control frame. Returns its type.
uint32_t FstrmFileReader::readControl(Bytes& body) {
  uint32_t length = 0;
  if (!readLength(length)) fail("The file ends within a control frame");
  if (length < 4 || length > MaxControl) fail("Control frame length " + std::to_string(length) + " is not sensible");
  readBlock(body, length);
  return data::loadUint32(body.data());
}

bool FstrmFileReader::read(Bytes& payload, size_t most) {
  if (stopped) return false;
  uint32_t length = 0;
  if (!readLength(length)) return false;
  if (length == 0) {
    const uint32_t type = readControl(payload);
    if (type != fstrm::Stop) fail("Expected STOP(3) control frame but got " + std::to_string(type));
    stopped = true;
    return false;
  }
  if (length > most) {
    fail("Data frame length " + std::to_string(length) + " is larger than the maximum allowed of " +
         std::to_string(most));
  }
  readBlock(payload, length);
  return true;
}

FstrmFileWriter::FstrmFileWriter(const std::string& name)
    : filename(name), file(isStandard(name) ? stdout : std::fopen(name.c_str(), "wbx")) {
  if (!file) throw FstrmFileError("Open " + filename + " failed: " + error::getMessage(errno));
  const std::string_view type = fstrm::dnstap_content_type;
  const uint32_t length = static_cast<uint32_t>(type.size());
  writeWords({0, 12 + length, fstrm::Start, fstrm::ContentTypeField, length});
  writeBytes(type.data(), type.size());
}

FstrmFileWriter::~FstrmFileWriter() {
  if (!file || isStandard(filename)) return;
  file.reset();
  std::remove(filename.c_str());
}

void FstrmFileWriter::writeBytes(const void* bytes, size_t length) {
  if (std::fwrite(bytes, 1, length, file.get()) == length) return;
  throw FstrmFileError("Write " + filename + " failed: " + error::getMessage(errno));
}

void FstrmFileWriter::writeWords(std::initializer_list<uint32_t> words) {
  for (const uint32_t word : words) {
    unsigned char bytes[4];
    data::writeUint32(bytes, word);
    writeBytes(bytes, sizeof bytes);
  }
}

void FstrmFileWriter::write(const Bytes& payload) {
  writeWords({static_cast<uint32_t>(payload.size())});
  writeBytes(payload.data(), payload.size());
}

void FstrmFileWriter::close() {
  writeWords({0, 4, fstrm::Stop});
  // What the last flush could not write shows here, so the file goes before its writer does.
  if (std::fflush(file.get()) != 0) {
    throw FstrmFileError("Write " + filename + " failed: " + error::getMessage(errno));
  }
  file.reset();
}

}  // namespace ns::tools::queue
