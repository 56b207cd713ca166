#include "tools/queue/commands.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>

#include "encoding/data.h"
#include "encoding/dnstap/DnstapDecoder.h"
#include "encoding/time.h"
#include "error/messages.h"
#include "event/queue/EventQueue.h"
#include "event/queue/QueueFileReader.h"
#include "event/queue/QueueFileWriter.h"
#include "file/file.h"
#include "tools/queue/FstrmFile.h"

namespace ns::tools::queue {

using encoding::Bytes;
using encoding::dnstap::DnstapView;
using event::queue::EventQueue;
using event::queue::QueueError;
using event::queue::QueueFileReader;
using event::queue::QueueFileWriter;

namespace {

// What a walk over a queue file found.
struct Contents {
  uint64_t events = 0;
  uint64_t bytes = 0;   // of all payloads
  uint64_t end = 0;     // where the whole records end, in bytes from the start of the file
  size_t trailing = 0;  // bytes of a broken header behind them
  std::string damage;   // what a start of the daemon would fail with
};

// Hands each whole record in front of the first damage to `take`. What `take` throws passes.
Contents walk(const std::string& filename, const std::function<void(const Bytes&)>& take) {
  Contents contents;
  QueueFileReader reader(filename);
  Bytes payload;
  const auto next = [&] {
    try {
      errno = 0;  // the text of a file that is cut short ends in whatever stands here
      return reader.read(payload);
    } catch (const QueueError& e) {
      contents.damage = e.what();
      return false;
    }
  };
  while (next()) {
    take(payload);
    ++contents.events;
    contents.bytes += payload.size();
  }
  contents.end = reader.getOffset();
  contents.trailing = reader.getTrailing();
  return contents;
}

// Tells what is wrong with a file. Returns whether a start of the daemon would take it.
bool report(const std::string& filename, const Contents& contents) {
  if (!contents.damage.empty()) {
    std::fprintf(stderr, "%s: damaged at byte %" PRIu64 ", behind %" PRIu64 " whole events: %s\n", filename.c_str(),
                 contents.end, contents.events, contents.damage.c_str());
  } else if (contents.trailing != 0) {
    std::fprintf(stderr,
                 "%s: the last %zu bytes are no whole record; a start of the daemon drops them without a word\n",
                 filename.c_str(), contents.trailing);
  }
  return contents.damage.empty();
}

// A point in time, in seconds and nanoseconds; all zero for an event without one.
using Time = std::pair<uint64_t, uint32_t>;

// The time that an event shows in the text formats: that of the response for the even types.
Time timeOf(const DnstapView& record) {
  if (record.type % 2 == 0) return {record.response_time_sec, record.response_time_nsec};
  return {record.query_time_sec, record.query_time_nsec};
}

// The earliest and the latest time of the events. Batches that came back to the queue stand out of order in it.
struct Span {
  Time first, last;
  uint64_t timed = 0;

  void add(const Bytes& payload) {
    DnstapView record;
    if (!tryDecodeDnstapEvent(record, payload.data(), static_cast<uint32_t>(payload.size()))) return;
    const Time time = timeOf(record);
    if (time.first == 0) return;
    first = timed == 0 ? time : std::min(first, time);
    last = timed == 0 ? time : std::max(last, time);
    ++timed;
  }
};

std::string format(const Time& time) {
  Bytes text;
  encoding::time::formatTimeIso(text, static_cast<int64_t>(time.first), 0);
  // The events' own format has no leading zeros in the microseconds, which would mislead here.
  char fraction[24];
  std::snprintf(fraction, sizeof fraction, ".%06" PRIu32 "Z", std::min<uint32_t>(time.second, 999999999) / 1000);
  const std::string_view seconds(reinterpret_cast<const char*>(text.data()), text.size());
  return std::string(seconds.substr(0, seconds.find('.'))) + fraction;
}

// An existing file is not written over: it may be the only copy.
void refuseExisting(const std::string& filename) {
  if (file::exists(filename)) throw QueueError("Open " + filename + " failed: " + error::getMessage(EEXIST));
}

void append(QueueFileWriter& writer, const Bytes& payload) {
  encoding::data::formatBytes(writer.next(), payload.data(), static_cast<uint32_t>(payload.size()));
  writer.write();
}

void finish(QueueFileWriter& writer, const std::string& filename) {
  if (!writer.close()) throw QueueError("Write " + filename + " failed: " + error::getMessage(errno));
}

void printCount(const std::string& filename, uint64_t events) {
  std::fprintf(stderr, "%s: %" PRIu64 " events\n", filename.c_str(), events);
}

}  // namespace

bool show(const std::string& filename) {
  Span span;
  const Contents contents = walk(filename, [&](const Bytes& payload) { span.add(payload); });
  const std::string first = span.timed != 0 ? format(span.first) : "-",
                    last = span.timed != 0 ? format(span.last) : "-";
  std::printf("events   %" PRIu64 "\nbytes    %" PRIu64 "\nfirst    %s\nlast     %s\nuntimed  %" PRIu64 "\n",
              contents.events, contents.bytes, first.c_str(), last.c_str(), contents.events - span.timed);
  return report(filename, contents);
}

bool verify(const std::string& filename) {
  const Contents contents = walk(filename, [](const Bytes&) {});
  if (!report(filename, contents)) return false;
  std::printf("%s: good, %" PRIu64 " events\n", filename.c_str(), contents.events);
  return true;
}

bool salvage(const std::string& from, const std::string& to) {
  refuseExisting(to);
  const uint64_t size = static_cast<uint64_t>(file::size(from));
  QueueFileWriter writer(to, QueueFileWriter::Place::Named);
  const Contents contents = walk(from, [&](const Bytes& payload) { append(writer, payload); });
  finish(writer, to);
  report(from, contents);
  const uint64_t lost = size > contents.end ? size - contents.end : 0;
  std::printf("%s: %" PRIu64 " events kept, %" PRIu64 " bytes left out\n", to.c_str(), contents.events, lost);
  return true;
}

bool toFstrm(const std::string& from, const std::string& to) {
  FstrmFileWriter writer(to);
  const Contents contents = walk(from, [&](const Bytes& payload) { writer.write(payload); });
  writer.close();
  printCount(to, contents.events);
  return report(from, contents);
}

bool fromFstrm(const std::string& from, const std::string& to) {
  refuseExisting(to);
  FstrmFileReader reader(from);
  QueueFileWriter writer(to, QueueFileWriter::Place::Named);
  uint64_t events = 0;
  for (Bytes payload; reader.read(payload, EventQueue::MaxMessage); ++events) append(writer, payload);
  finish(writer, to);
  if (!reader.isStopped()) std::fprintf(stderr, "%s: ends without STOP, as a capture that was killed\n", from.c_str());
  printCount(to, events);
  return true;
}

}  // namespace ns::tools::queue
