// Any sequence of operations on a small ring, against a list of messages with the same dropping rule.
#include <array>
#include <deque>
#include <span>
#include <vector>

#include "event/queue/EventQueue.h"
#include "fuzz.h"

using namespace ns::event::queue;

struct Model {
  size_t size;
  std::deque<std::string> messages;
  size_t used = 0;
  bool append(std::string_view message) {
    if (message.size() + 3 > size) return false;
    for (; used + message.size() + 3 > size; messages.pop_front()) used -= messages.front().size() + 3;
    used += message.size() + 3;
    messages.emplace_back(message);
    return true;
  }
  std::string extract() {
    std::string oldest = messages.front();
    messages.pop_front();
    used -= oldest.size() + 3;
    return oldest;
  }
};

static bool append(EventQueue& queue, std::string_view message) {
  try {
    queue.append(reinterpret_cast<const unsigned char*>(message.data()), message.size());  // NOLINT
    return true;
  } catch (const QueueError&) { return false; }
}

static size_t extractSome(EventQueue& queue, Model& model, size_t most) {
  ns::encoding::Bytes taken;
  std::vector<uint32_t> lengths;
  queue.extract(taken, lengths, most);
  std::string expected;
  size_t count = 0;
  while (count < most && !model.messages.empty()) {
    const std::string message = model.extract();
    if (message.empty()) break;  // reads as the end
    expected += message;
    ++count;
  }
  fuzz::require(fuzz::view(taken) == expected && lengths.size() == count, "the messages that the model has");
  return count;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  EventQueueConfig config;
  config.size = 3 + input.byte() % 61;
  EventQueue queue(config);
  Model model{config.size, {}, 0};
  while (!input.empty()) {
    const uint8_t operation = input.byte();
    if (operation < 160) {
      const std::string_view message = input.take(operation % 64);
      fuzz::require(append(queue, message) == model.append(message), "the same messages are refused");
    } else if (operation < 192) {
      std::array<std::span<const unsigned char>, 4> messages;
      std::array<std::string_view, 4> texts;
      for (size_t i = 0; i < 4; ++i) {
        texts[i] = input.take(operation % 16);
        messages[i] = {reinterpret_cast<const unsigned char*>(texts[i].data()), texts[i].size()};  // NOLINT
      }
      const size_t count = queue.append(messages);
      for (size_t i = 0; i < count; ++i) fuzz::require(model.append(texts[i]), "taken together as one by one");
    } else {
      extractSome(queue, model, operation % 8);
    }
    fuzz::require(queue.getReadOffset() < config.size && queue.getWriteOffset() < config.size, "offsets in the ring");
    fuzz::require(queue.empty() == model.messages.empty(), "the same number of messages");
  }
  return 0;
}
