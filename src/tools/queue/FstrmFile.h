#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "encoding/Bytes.h"
#include "error/UnknownError.h"

// Files of Frame Streams, as fstrm_capture(1) and dnstap-ldns(1) have them: a START control frame with the content
// type, data frames, a STOP control frame. Both ends take "-" for standard input or output.
namespace ns::tools::queue {

/// A Frame Streams file can't be opened, read or written, or is none.
class FstrmFileError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

struct CloseStream {
  void operator()(std::FILE* file) const noexcept;
};
using StreamPtr = std::unique_ptr<std::FILE, CloseStream>;

/// Reads a file from front to back.
class FstrmFileReader {
 public:
  /// Opens the file and reads its START, which has to name dnstap. Throws FstrmFileError.
  explicit FstrmFileReader(const std::string& filename);

  /// Replaces `payload` by the next data frame's bytes. Returns false at STOP or at the end of the file between two
  /// frames. Throws FstrmFileError for anything else, and for a frame of more than `most` bytes, which is not read.
  bool read(encoding::Bytes& payload, size_t most);

  /// Whether the stream was closed by a STOP; a capture that was killed has none.
  bool isStopped() const { return stopped; }

 private:
  bool readLength(uint32_t& length);
  uint32_t readControl(encoding::Bytes& body);
  void readBlock(encoding::Bytes& out, uint32_t length);
  [[noreturn]] void fail(const std::string& reason) const;

  const std::string filename;
  StreamPtr file;
  uint64_t offset = 0;  // behind the last byte read
  bool stopped = false;
};

/// Writes a file from front to back. Unless it was closed, the file is removed when the writer goes.
class FstrmFileWriter {
 public:
  /// Creates the file and writes START. Throws FstrmFileError, also if the file is there already.
  explicit FstrmFileWriter(const std::string& filename);
  ~FstrmFileWriter();
  FstrmFileWriter(const FstrmFileWriter&) = delete;
  FstrmFileWriter& operator=(const FstrmFileWriter&) = delete;

  /// Writes one data frame; a payload of no bytes can't be one. Throws FstrmFileError.
  void write(const encoding::Bytes& payload);

  /// Writes STOP and closes the file, which then stays. Throws FstrmFileError.
  void close();

 private:
  void writeWords(std::initializer_list<uint32_t> words);
  void writeBytes(const void* data, size_t length);

  const std::string filename;
  StreamPtr file;
};

}  // namespace ns::tools::queue
