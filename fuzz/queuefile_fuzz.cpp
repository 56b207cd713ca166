// Any bytes as a queue file: it is read or refused, and what was read of it survives being written.
#include <algorithm>
#include <iterator>
#include <vector>

#include "event/queue/QueueFileReader.h"
#include "event/queue/QueueFileWriter.h"
#include "fuzz.h"

using namespace ns::event::queue;

static std::vector<std::string> readAll(const std::string& path, std::string& failure) {
  std::vector<std::string> records;
  try {
    QueueFileReader reader(path);
    for (ns::encoding::Bytes payload; reader.read(payload);) records.emplace_back(fuzz::view(payload));
  } catch (const QueueError& e) { failure = e.what(); }
  return records;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::MemoryFile file(data, size);
  std::string failure;
  const std::vector<std::string> records = readAll(file.path(), failure);
  size_t total = 0;
  for (const std::string& record : records) total += record.size() + 5;
  fuzz::require(total <= size, "no more is read than the file holds");

  const fuzz::MemoryFile copy(nullptr, 0);
  QueueFileWriter writer(copy.path(), QueueFileWriter::Place::Named);
  for (const std::string& record : records) {
    ns::encoding::Bytes& next = writer.next();
    std::ranges::transform(record, std::back_inserter(next), [](char c) { return static_cast<unsigned char>(c); });
    fuzz::require(writer.write(), "a record that was read can be written");
  }
  fuzz::require(writer.close(), "the copy is whole");
  std::string none;
  fuzz::require(readAll(copy.path(), none) == records && none.empty(), "the copy reads the same, to its end");
  return 0;
}
