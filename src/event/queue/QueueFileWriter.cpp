#include "event/queue/QueueFileWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "encoding/data.h"
#include "error/messages.h"

namespace ns::event::queue {

using namespace file_format;

[[gnu::cold, gnu::noinline]] void QueueFileWriter::fail(const char* action, int number) const {
  throw QueueError(action + filename + " failed: " + error::getMessage(number));
}

// What is left at the place may be open to others, or another user's link to a file of ours. If it can't be removed, as
// a folder can't, opening it tells why.
static int openAnew(const std::string& filename) {
  (void)::unlink(filename.c_str());
  const int descriptor = ::open(filename.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor != -1) (void)::fchmod(descriptor, 0600);
  return descriptor;
}

static FilePtr open(const std::string& filename, QueueFileWriter::Place place) {
  const int descriptor = place == QueueFileWriter::Place::Own
                             ? openAnew(filename)
                             : ::open(filename.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  return FilePtr(descriptor == -1 ? nullptr : ::fdopen(descriptor, "wb"));
}

QueueFileWriter::QueueFileWriter(std::string name, Place place)
    : filename(std::move(name)), file(open(filename, place)) {
  if (!file) fail("Open ", errno);
  if (std::fwrite(Magic, sizeof Magic, 1, file.get()) == 1) return;
  const int number = errno;
  abandon();  // no destructor runs for what was never built
  fail("Write magic header to ", number);
}

QueueFileWriter::~QueueFileWriter() {
  if (file) abandon();
}

void QueueFileWriter::abandon() noexcept {
  struct stat status {};
  const bool isFile = ::fstat(::fileno(file.get()), &status) == 0 && S_ISREG(status.st_mode);
  file.reset();
  if (isFile) std::remove(filename.c_str());
}

encoding::Bytes& QueueFileWriter::next() {
  record.resize(HeaderSize);
  return record;
}

bool QueueFileWriter::write() {
  if (record.size() <= HeaderSize) return false;
  const uint32_t length = static_cast<uint32_t>(record.size() - HeaderSize);
  encoding::data::writeUint32(record.data(), length);
  record[4] = getChecksum(record.data() + HeaderSize, length);
  if (std::fwrite(record.data(), record.size(), 1, file.get()) != 1) fail("Write next event to ", errno);
  return true;
}

bool QueueFileWriter::close() noexcept { return std::fclose(file.release()) == 0; }

}  // namespace ns::event::queue
