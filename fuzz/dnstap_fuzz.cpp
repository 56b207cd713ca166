// Any bytes as a dnstap record: both decoders agree, the walk ends, and what was decoded survives being encoded. A
// whole record's fields are those of a plain reading of the schema.
#include <algorithm>
#include <map>
#include <vector>

#include "encoding/dnstap/dnstap.h"
#include "fuzz.h"

using namespace ns::encoding::dnstap;

namespace {

using Piece = DnstapView::Piece;

/// The schema read slowly: known fields' last values by a path of numbers, as 14 and 15 and 2 for a policy's rule.
struct Reading {
  std::map<int, uint64_t> numbers;
  std::map<int, Piece> pieces;

  static bool number(Piece& left, uint64_t& out) {
    out = 0;
    for (size_t i = 0; i < 10 && i < left.size(); ++i) {
      const uint64_t bits = left[i] & 127U;
      if (i == 9 && bits > 1) return false;
      out |= bits << 7 * i;
      if (left[i] >= 128) continue;
      left = left.subspan(i + 1);
      return true;
    }
    return false;
  }

  bool read(Piece left, int path = 0) {
    // Field number to wire type.
    static const std::map<int, std::map<int, int>> schema{{0, {{1, 2}, {2, 2}, {3, 2}, {14, 2}, {15, 0}}},
                                                          {14,
                                                           {{1, 0},
                                                            {2, 0},
                                                            {3, 0},
                                                            {4, 2},
                                                            {5, 2},
                                                            {6, 0},
                                                            {7, 0},
                                                            {8, 0},
                                                            {9, 5},
                                                            {10, 2},
                                                            {11, 2},
                                                            {12, 0},
                                                            {13, 5},
                                                            {14, 2},
                                                            {15, 2},
                                                            {16, 0}}},
                                                          {1415, {{2, 2}, {3, 0}}}};
    while (!left.empty()) {
      uint64_t tag, value = 0;
      if (!number(left, tag) || tag < 8 || tag > UINT32_MAX) return false;
      const uint64_t field = tag >> 3, type = tag & 7, width = type == 1 ? 8 : type == 5 ? 4 : 0;
      const auto& known = schema.at(path);
      const auto line = field < 100 ? known.find(static_cast<int>(field)) : known.end();
      if (line != known.end() && static_cast<uint64_t>(line->second) != type) return false;
      if (type == 3 || type == 4 || type > 5) return false;
      if (type == 0 && line == known.end()) {  // of any length
        const auto last = std::ranges::find_if(left, [](unsigned char byte) { return byte < 128; });
        if (last == left.end()) return false;
        left = left.subspan(static_cast<size_t>(last - left.begin()) + 1);
        continue;
      }
      if (type != 1 && type != 5 && !number(left, value)) return false;
      const uint64_t size = type == 2 ? value : width;
      if (size > left.size()) return false;
      const Piece piece = left.first(size);
      left = left.subspan(size);
      if (line == known.end()) continue;
      const int at = path * 100 + line->first;
      for (size_t i = 0; i < width; ++i) value |= uint64_t{piece[i]} << 8 * i;
      numbers[at] = value;
      pieces[at] = piece;
      if (at == 15 && value != 1) return false;
      if ((at == 14 || at == 1415) && !read(piece, at)) return false;
    }
    return true;
  }
};

void requireWhole(const uint8_t* data, uint32_t length) {
  static DnstapView view;
  Reading reading;
  const bool read = reading.read({data, length});
  fuzz::require(tryDecodeWholeRecord(view, data, length) == read, "the schema's readers take the same records");
  if (!read) return;
  const auto number = [&](int path, uint64_t value) {
    fuzz::require(reading.numbers[path] == value, "a number is the schema's");
  };
  const auto bytes = [&](int path, Piece value) {
    fuzz::require(std::ranges::equal(reading.pieces[path], value), "bytes are the schema's");
  };
  bytes(1, view.identity), bytes(2, view.version), bytes(3, view.extra), bytes(1404, view.query_address);
  bytes(1405, view.response_address), bytes(1410, view.query_message), bytes(1411, view.query_zone);
  bytes(1414, view.response_message), bytes(141502, view.policy_rule), number(141503, view.policy_action);
  number(1401, view.type), number(1402, view.socket_family), number(1403, view.socket_protocol);
  number(1406, view.query_port), number(1407, view.response_port), number(1408, view.query_time_sec);
  number(1409, view.query_time_nsec), number(1412, view.response_time_sec), number(1413, view.response_time_nsec);
  number(1416, view.http_protocol);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  requireWhole(data, static_cast<uint32_t>(size));
  static DnstapEvent reused;
  static DnstapView view;
  const auto length = static_cast<uint32_t>(size);
  DnstapEvent event;
  bool decoded = true;
  try {
    decodeDnstapEvent(event, data, length, 0);
  } catch (const DnstapError&) { decoded = false; }
  fuzz::require(tryDecodeDnstapEvent(view, data, length) == decoded, "both decoders take the same records");
  view.copyTo(reused);
  try {
    getDnstapEventType(event, data, length, 0);
  } catch (const DnstapError&) {  // a record without a type
  }
  if (!decoded) return 0;

  ns::encoding::Bytes first, second, third;
  encodeDnstapEvent(first, event);
  encodeDnstapEvent(second, reused);
  fuzz::require(first == second, "a reused event holds nothing of the record before");
  // Seven bytes fields, which may overlap where the walk steps back.
  fuzz::require(first.size() <= 7 * size + 128, "the output is bounded by the input");
  fuzz::require(tryDecodeDnstapEvent(view, first.data(), static_cast<uint32_t>(first.size())), "output is a record");
  view.copyTo(reused);
  encodeDnstapEvent(third, reused);
  fuzz::require(first == third, "a decode of an encode is the same event");
  return 0;
}
