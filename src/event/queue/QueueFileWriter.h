#pragma once

#include <string>

#include "encoding/Bytes.h"
#include "event/queue/QueueError.h"
#include "event/queue/QueueFile.h"

namespace ns::event::queue {

/// Writes a queue file from front to back. Unless it was closed, the file is removed when the writer goes. A file that
/// is made has mode 0600: events tell who asked for what.
class QueueFileWriter {
 public:
  /// Own: a name that belongs to this program. What stands there is removed first, and a link is not followed. Named:
  /// what a person asked for, devices and links too; a file that is there keeps its mode.
  enum class Place { Own, Named };

  /// Creates or empties the file and writes its magic. Throws QueueError if either fails.
  QueueFileWriter(std::string filename, Place place);
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
