// In and out of the ring, by the event and as the workers do it.

#include "event/queue/EventQueue.h"

#include "micro/records.h"

namespace {

using namespace bench;
using ns::event::queue::EventQueue;

// Small enough to be full at once: appends then drop, as in a daemon whose target is down.
EventQueue makeQueue(uint64_t size) {
  ns::event::queue::EventQueueConfig config;
  config.size = size;
  return EventQueue(config);
}

void ringAppendOne(benchmark::State& state) {
  EventQueue queue = makeQueue(100 << 20);
  eachRecord(state, [&](const Record& record) { queue.append(record.bytes.data(), record.bytes.size()); });
}
BENCHMARK(ringAppendOne);

void ringAppendAndExtractOne(benchmark::State& state) {
  EventQueue queue = makeQueue(100 << 20);
  ns::encoding::Bytes out;
  eachRecord(state, [&](const Record& record) {
    queue.append(record.bytes.data(), record.bytes.size());
    out.clear();
    queue.extract(out);
  });
}
BENCHMARK(ringAppendAndExtractOne);

// A block of read-ahead goes in under one lock, a batch comes out under one.
void ringAppendAndExtract100(benchmark::State& state) {
  EventQueue queue = makeQueue(100 << 20);
  std::vector<std::span<const unsigned char>> all;
  for (const auto& record : records()) all.push_back(record->bytes);
  ns::encoding::Bytes out;
  std::vector<uint32_t> lengths;
  size_t at = 0;
  for (auto _ : state) {
    queue.append(std::span(all).subspan(at, 100));
    out.clear();
    lengths.clear();
    queue.extract(out, lengths, 100);
    if ((at += 100) + 100 > all.size()) at = 0;
  }
  state.SetItemsProcessed(state.iterations() * 100);
}
BENCHMARK(ringAppendAndExtract100);

}  // namespace
