#pragma once

#include <string>

#include "encoding/Bytes.h"
#include "event/queue/QueueError.h"
#include "event/queue/QueueFile.h"

namespace ns::event::queue {

/// Writes a queue file from front to back. Unless it was closed, the file is removed when the writer goes.
class QueueFileWriter {
 public:
  /// Creates or empties the file and writes its magic. Throws QueueError if either fails.
  explicit QueueFileWriter(std::string filename);
  ~QueueFileWriter();
  QueueFileWriter(const QueueFileWriter&) = delete;
  QueueFileWriter& operator=(const QueueFileWriter&) = delete;

  /// Starts a record and returns the bytes to append its message to; valid until the next call. The same storage
  /// serves all records.
  encoding::Bytes& next();

  /// Writes the record that next() started. Returns false, with nothing written, if no message was appended to it: an
  /// empty record would make the file unreadable. Throws QueueError if the write fails.
  bool write();

  /// Closes the file and keeps it. Returns false if the last buffered bytes could not be written.
  bool close() noexcept;

 private:
  void abandon() noexcept;
  [[noreturn]] void fail(const char* action, int number) const;

  const std::string filename;
  file_format::FilePtr file;
  encoding::Bytes record;
};

}  // namespace ns::event::queue
