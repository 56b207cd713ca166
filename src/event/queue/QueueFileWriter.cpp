#include "event/queue/QueueFileWriter.h"

#include <cerrno>
#include <utility>

#include "encoding/data.h"
#include "error/messages.h"

namespace ns::event::queue {

using namespace file_format;

[[gnu::cold, gnu::noinline]] void QueueFileWriter::fail(const char* action, int number) const {
  throw QueueError(action + filename + " failed: " + error::getMessage(number));
}

QueueFileWriter::QueueFileWriter(std::string name)
    : filename(std::move(name)), file(std::fopen(filename.c_str(), "wb")) {
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
  file.reset();
  std::remove(filename.c_str());
}

encoding::Bytes& QueueFileWriter::next() {
  record.resize(HeaderSize);
  return record;
}

bool QueueFileWriter::write() {
  if (record.size() <= HeaderSize) return false;
  const uint32_t length = static_cast<uint32_t>(record.size() - HeaderSize);
  for (int i = 0; i < 4; ++i) record[static_cast<size_t>(i)] = static_cast<unsigned char>(length >> (24 - 8 * i));
  record[4] = getChecksum(record.data() + HeaderSize, length);
  if (std::fwrite(record.data(), record.size(), 1, file.get()) != 1) fail("Write next event to ", errno);
  return true;
}

bool QueueFileWriter::close() noexcept { return std::fclose(file.release()) == 0; }

}  // namespace ns::event::queue
