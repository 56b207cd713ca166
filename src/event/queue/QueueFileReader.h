#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "encoding/Bytes.h"
#include "event/queue/QueueError.h"
#include "event/queue/QueueFile.h"

namespace ns::event::queue {

/// Reads a queue file from front to back; anything that can be read, a pipe too. Closes it when it goes.
class QueueFileReader {
 public:
  /// Opens the file and checks its magic. Throws QueueError if either fails.
  explicit QueueFileReader(std::string filename);

  /// Replaces `payload` by the next record's message. Returns false at the end of the file. Throws QueueError for a
  /// read error, a record that is cut short or empty, and a wrong checksum; `payload` then holds what was read of it.
  bool read(encoding::Bytes& payload);

  /// Where the record that read() returned or failed at starts, or where the records end, in bytes from the start.
  uint64_t getOffset() const { return offset; }

  /// Whether the next read() starts at a record, as it does after a wrong checksum but not after any other failure.
  bool isAtRecord() const { return atRecord; }

  /// The bytes of a broken record header at the end of the file, which read() takes for the end: 0 to 4.
  size_t getTrailing() const { return trailing; }

 private:
  bool readHeader(unsigned char* header);
  bool readPayload(encoding::Bytes& payload, uint32_t length);
  [[noreturn]] void fail(const char* action, const std::string& reason) const;
  [[noreturn]] void failEvent(uint32_t length, const std::string& reason) const;

  const std::string filename;
  file_format::FilePtr file;
  uint64_t offset = 0;
  uint64_t nextOffset = sizeof file_format::Magic;
  bool atRecord = true;
  size_t trailing = 0;
};

}  // namespace ns::event::queue
