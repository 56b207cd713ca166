#include "event/queue/EventQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <set>
#include <thread>

#include "support/bytes.h"

// Without this, memory that cannot be had ends the program instead of making calloc return null.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace ns::event::queue {

using Message = std::vector<unsigned char>;
using Spans = std::vector<std::span<const unsigned char>>;

/// The rule of the ring to the letter: before each byte, one message goes if the write side stands at the read side.
struct ByteRing {
  unsigned char& at(uint64_t offset) { return ring[offset % ring.size()]; }
  uint64_t length() { return uint64_t{at(read)} << 16 | uint64_t{at(read + 1)} << 8 | at(read + 2); }
  void moveRead() {
    read += length() + 3, --queued;
    if (read >= ring.size()) read -= ring.size(), wrapped = false;
  }
  void put(uint64_t byte) {
    if (write == read && wrapped) moveRead(), ++dropped;
    ring[write++] = static_cast<unsigned char>(byte);
    if (write >= ring.size()) wrapped = true, write = 0;
  }
  void append(const Message& message) {
    for (int shift = 16; shift >= 0; shift -= 8) put(message.size() >> shift);
    for (const unsigned char byte : message) put(byte);
    ++queued;
  }
  bool extract(Message& out) {
    if (!wrapped && write <= read) return false;
    for (uint64_t i = 0; i < length(); ++i) out.push_back(at(read + 3 + i));
    moveRead(), ++processed;
    return true;
  }
  bool operator==(const ByteRing&) const = default;

  Message ring;
  uint64_t read = 0, write = 0, queued = 0, processed = 0, dropped = 0;
  bool wrapped = false;
};

struct EventQueueProbe {
  static ByteRing state(const EventQueue& q) {
    const auto& counts = q.metrics;
    const Message ring(q.buffer.get(), q.buffer.get() + q.config.size);
    return {ring,     q.readOffset, q.writeOffset, counts.eventsQueued, counts.eventsProcessed, counts.eventsDropped,
            q.wrapped};
  }
};

/// Both forms of the queue held against the rule.
struct Comparison {
  void append(const std::vector<Message>& messages) {
    size_t taken = 0;
    for (; taken < messages.size() && messages[taken].size() + 3 <= size; ++taken) {
      starts.insert(rule.write);
      rule.append(messages[taken]);
      single.append(messages[taken].data(), messages[taken].size());
    }
    EXPECT_EQ(taken, batch.append(Spans(messages.begin(), messages.end())));
  }

  void extract(size_t most, size_t mostBytes) {
    Message expected{1}, framed{1};
    std::vector<uint32_t> expectedLengths{2}, lengths{2};
    encoding::Bytes one(1, 1), many(1, 1);
    for (size_t i = 0, begun = 1; i < most && begun - 1 < mostBytes && rule.extract(expected); ++i) {
      single.extract(one);
      const Message message(expected.begin() + static_cast<long>(begun), expected.end());
      if (message.empty()) break;  // what a batch cannot tell from an empty queue
      begun = expected.size();
      expectedLengths.push_back(test::size32(message));
      framed.insert(framed.end(), {0, 0, 0, static_cast<unsigned char>(message.size())});
      framed.insert(framed.end(), message.begin(), message.end());
    }
    const bool asFrames = mostBytes == SIZE_MAX && most % 2 == 0;
    EXPECT_EQ(expectedLengths.size() - 1,
              asFrames ? batch.extractFrames(many, lengths, most) : batch.extract(many, lengths, most, mostBytes));
    EXPECT_EQ(expectedLengths, lengths);
    EXPECT_EQ(test::text(expected), test::text(one));
    EXPECT_EQ(test::text(asFrames ? framed : expected), test::text(many));
  }

  uint64_t size;
  ByteRing rule{Message(size)};
  EventQueue single{{size, true, ""}}, batch{{size, true, ""}};
  std::set<uint64_t> starts{};  // where messages began
};

TEST(EventQueue, FollowsTheByteRuleInRingsOfEverySize) {
  std::mt19937 random(1);
  for (uint64_t size = 3; size <= 40; ++size) {
    Comparison comparison{size};
    for (int step = 0; step < 1500 && !HasFailure(); ++step) {
      SCOPED_TRACE("ring of " + std::to_string(size) + ", step " + std::to_string(step));
      std::vector<Message> messages(random() % 5);
      for (Message& message : messages) {
        message.resize(random() % (random() % 4 != 0 ? size / 2 + 1 : size + 2));
        for (unsigned char& byte : message) byte = static_cast<unsigned char>(random());
      }
      random() % 2 == 0 ? comparison.extract(random() % 6, random() % 2 == 0 ? SIZE_MAX : random() % 30)
                        : comparison.append(messages);
      EXPECT_TRUE(comparison.rule == EventQueueProbe::state(comparison.single));
      EXPECT_TRUE(comparison.rule == EventQueueProbe::state(comparison.batch));
      EXPECT_EQ(comparison.rule.queued == 0, comparison.single.empty());
    }
    EXPECT_EQ(size > 3 ? size : 1, comparison.starts.size()) << "so that the ring's end cut a message at each byte";
  }
}

TEST(EventQueue, RefusesWhatItCanNeverHold) {
  const std::tuple<const char*, uint64_t, size_t, const char*> cases[] = {
      {"as large as the ring", 10, 7, ""},
      {"just a prefix", 3, 0, ""},
      {"no room for a prefix", 2, 0, "value length 0 is larger than the size of the queue 2"},
      {"larger than the ring", 10, 8, "value length 8 is larger than the size of the queue 10"},
      {"the most that a prefix can say", 104857600, 16777215, ""},
      {"one more", 104857600, 16777216, "value length 16777216 is larger than the maximum allowed of 16777215"},
      {"both", 10, 16777216, "value length 16777216 is larger than the size of the queue 10"},
      {"no overflow", 10, SIZE_MAX, "value length 18446744073709551615 is larger than the size of the queue 10"},
      {"no such ring", -5ul, 0, "malloc(18446744073709551611) failed: Cannot allocate memory"},
  };
  const Message data(16777216, 'x');
  for (const auto& [name, size, length, failure] : cases) {
    SCOPED_TRACE(name);
    encoding::Bytes out;
    EXPECT_EQ(failure, test::failureOf<QueueError>([&, size = size, length = length] {
                EventQueue queue({size, true, ""});
                queue.append(data.data(), length);
                queue.extract(out);
              }));
    EXPECT_EQ(*failure == '\0' ? length : 0, out.size());
  }
}

TEST(EventQueue, ReportsDifferencesAndRemembersThemOverClear) {
  EventQueue queue({10, true, ""});
  const auto report = [&] {
    metrics::EventQueueMetrics now;
    queue.getMetrics(now);
    return std::vector<uint64_t>{now.eventsProcessed, now.eventsQueued, now.eventsDropped, queue.getReadOffset(),
                                 queue.getWriteOffset()};
  };
  for (int i = 0; i < 4; ++i) queue.append(test::bytes("a").data(), 1);
  encoding::Bytes out;
  queue.extract(out);
  EXPECT_EQ((std::vector<uint64_t>{1, 1, 2, 2, 6}), report());
  EXPECT_EQ((std::vector<uint64_t>{0, 1, 0, 2, 6}), report());
  queue.clear();
  EXPECT_EQ((std::vector<uint64_t>{UINT64_MAX, 0, UINT64_MAX - 1, 0, 0}), report());
}

TEST(EventQueue, WakesWaiters) {
  EventQueue queue({100, true, ""});
  const Message message(2);
  const std::function<void()> wakes[] = {
      [&] { queue.append(message.data(), 2); },
      [&] { queue.append(Spans{message}); },
      [&] {
        queue.append(Spans{message, message});
      },
      [&] { queue.signal(); },
  };
  for (const auto& wake : wakes) {
    std::atomic<bool> awake{false};
    std::thread waiter([&] { queue.wait(), awake = true; });
    while (!awake) wake(), std::this_thread::yield();
    waiter.join();
  }
}

/// Takes messages, one and three at a time, until `done`. Checks that they are whole numbers in order.
static void consume(EventQueue& queue, const std::atomic<bool>& done) {
  for (int last = -1, isLast = 0; isLast == 0; queue.wait()) {
    isLast = done;  // looked at before the queue, so that nothing is left behind
    encoding::Bytes out;
    queue.extract(out);
    std::vector<uint32_t> lengths{test::size32(out)};
    while (queue.extract(out, lengths, 3) != 0) {}
    std::string rest = test::text(out);
    for (size_t i = lengths[0] == 0; i < lengths.size(); rest.erase(0, lengths[i++])) {
      const int number = std::stoi(rest.substr(0, lengths[i]));
      EXPECT_EQ(std::to_string(number).size(), lengths[i]);
      EXPECT_LT(std::exchange(last, number), number);
    }
  }
}

TEST(EventQueue, CarriesMessagesBetweenThreads) {
  for (const uint64_t size : {uint64_t{50}, uint64_t{1000000}}) {  // full nearly all the time, and never
    EventQueue queue({size, true, ""});
    std::atomic<bool> done{false}, finished{false};
    std::thread consumer([&] { consume(queue, done), finished = true; });
    metrics::EventQueueMetrics report;
    uint64_t processed = 0, dropped = 0;
    for (int i = 0, last = 0; last == 0; i += 3) {
      last = finished;  // looked at before the report, so that none is missing
      const Message one = test::bytes(std::to_string(i)), two = test::bytes(std::to_string(i + 1)),
                    three = test::bytes(std::to_string(i + 2));
      if (i < 30000) queue.append(one.data(), one.size()), queue.append(Spans{two, three});
      if ((done = i >= 30000)) queue.signal();
      queue.getMetrics(report), processed += report.eventsProcessed, dropped += report.eventsDropped;
    }
    consumer.join();
    EXPECT_EQ(30000, processed + dropped);
    EXPECT_TRUE(queue.empty() && (size == 50 || dropped == 0));
  }
}

}  // namespace ns::event::queue
