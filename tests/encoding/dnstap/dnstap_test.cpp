#include "encoding/dnstap/dnstap.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <variant>

#include "encoding/data.h"
#include "encoding/dnstap/DnstapDecoder.h"
#include "support/appended.h"

namespace ns::encoding::dnstap {

using Record = std::vector<unsigned char>;
using E = DnstapEvent;

struct Field {
  uint32_t number;
  const char* name;
  const char* type;
  std::variant<uint64_t E::*, uint32_t E::*, Bytes E::*> target;
};
static const Field Fields[] = {{1, "identity", "bytes", &E::identity},
                               {2, "version", "bytes", &E::version},
                               {3, "extra", "bytes", &E::extra},
                               {1, "message type", "varint", &E::type},
                               {2, "message socket_family", "varint", &E::socket_family},
                               {3, "message socket_protocol", "varint", &E::socket_protocol},
                               {4, "message query_address", "bytes", &E::query_address},
                               {5, "message response_address", "bytes", &E::response_address},
                               {6, "message query_port", "varint", &E::query_port},
                               {7, "message response_port", "varint", &E::response_port},
                               {8, "message query_time_sec", "varint", &E::query_time_sec},
                               {9, "message query_time_nsec", "fixed32", &E::query_time_nsec},
                               {10, "message query_message", "bytes", &E::query_message},
                               {12, "message response_time_sec", "varint", &E::response_time_sec},
                               {13, "message response_time_nsec", "fixed32", &E::response_time_nsec},
                               {14, "message response_message", "bytes", &E::response_message}};

static std::string show(const E& event) {
  std::string all;
  for (const Field& field : Fields) {
    all += std::string(" ") + field.name + '=';
    if (field.target.index() == 0) all += std::to_string(event.*std::get<0>(field.target));
    if (field.target.index() == 1) all += std::to_string(event.*std::get<1>(field.target));
    if (field.target.index() == 2) all += test::text(event.*std::get<2>(field.target));
  }
  return all;
}

static E fullEvent() {
  E event;
  for (uint32_t i = 0; i < std::size(Fields); ++i) {
    const auto& target = Fields[i].target;
    if (target.index() == 0) event.*std::get<0>(target) = uint64_t{i + 1} << (5 * i % 59);
    if (target.index() == 1) event.*std::get<1>(target) = 0x01020304 * i;
    if (target.index() == 2) data::formatChars(event.*std::get<2>(target), Fields[i].name);
  }
  return event;
}

static std::string decode(E& event, const Record& r) {
  return test::failureOf<DnstapError>([&] { decodeDnstapEvent(event, r.data(), test::size32(r), 0); });
}

TEST(Dnstap, GoesRoundAndEveryPrefixEndsTheSameBothWays) {
  E event = fullEvent(), decoded, copied;
  DnstapView tried;
  const Record full = test::bytes(test::appended([&](Bytes& b) { encodeDnstapEvent(b, event); }));
  size_t whole = 0;
  for (size_t length = 0; length <= full.size(); ++length) {
    const Record prefix(full.begin(), full.begin() + static_cast<ptrdiff_t>(length));
    const bool good = decode(decoded, prefix).empty();
    ASSERT_EQ(tryDecodeDnstapEvent(tried, prefix.data(), test::size32(prefix)), good);
    tried.copyTo(copied);
    ASSERT_EQ(show(copied), show(decoded));
    whole += good;
  }
  EXPECT_EQ(show(decoded), show(event));
  EXPECT_EQ(whole, 6U);  // nothing, and behind each of the five fields of the record

  std::string tags;  // in an order of their own
  const Bytes& message = event.encodedMessage;
  for (uint32_t at = 0; at < message.size(); at = skip(message[at] & 7, message.data(), test::size32(message), at + 1))
    tags += std::to_string(message[at]) + " ";
  EXPECT_EQ(tags, "8 16 24 34 42 48 64 77 82 56 96 109 114 ");

  resetDnstapEvent(decoded, false);
  EXPECT_EQ(show(decoded).substr(0, 46), " identity=identity version=version extra=extra");
  EXPECT_EQ(show(decoded).substr(46), show(E()).substr(26));
  resetDnstapEvent(decoded, true);
  decoded.type = 5;
  EXPECT_EQ(test::appended([&](Bytes& b) { encodeDnstapEvent(b, decoded); }), "x\x01r\x02\x08\x05");
}

TEST(Dnstap, DecodesOrNamesTheFault) {
  const std::string ends = "Read variable length encoded uint failed: Offset ";
  const std::tuple<const char*, const char*, std::string, uint64_t> cases[] = {
      {"empty message", "72 00", "", 0},
      {"type of 64 bits", "72 0b 08 ff ff ff ff ff ff ff ff ff 01", "", UINT64_MAX},
      {"type of 65 bits", "72 0b 08 ff ff ff ff ff ff ff ff ff 02", "Variable length encoded uint exceeds 64 bits", 0},
      {"type of 11 bytes", "72 0b 08 ff ff ff ff ff ff ff ff ff 81", "Variable length encoded uint exceeds 64 bits", 0},
      {"type cut", "72 03 08 80 80", ends + "3 is out of bounds for data of 3 bytes", 0},
      {"tag cut behind 9 bytes", "80 80 80 80 80 80 80 80 80", ends + "9 is out of bounds for data of 9 bytes", 0},
      {"field 2^32 + 1 is field 1", "8a 80 80 80 80 01 00 72 02 08 07", "", 7},
      {"skipped varint of 12 bytes", "20 ff ff ff ff ff ff ff ff ff ff ff 01 72 02 08 07", "", 7},
      {"skipped fixed64, fixed32, bytes", "21 0000000000000000 25 00000000 22 01 00 72 02 08 07", "", 7},
      {"skipped varint cut", "20 ff ff", "Skip 3 is out of bounds for data of 3 bytes", 0},
      {"skipped fixed64 cut", "21 00", "Not enough bytes to skip fixed64 field", 0},
      {"skipped fixed32 cut", "25 000000", "Not enough bytes to skip fixed32 field", 0},
      {"skipped bytes cut", "22 03 00 00", "Invalid length 3 for bytes field with only 2 bytes remaining", 0},
      {"fixed32 cut", "72 04 4d 000000 00", "Not enough bytes to decode fixed32 field", 0},
      {"group", "23 00", "Decode dnstap failed: Unknown top-level field type \x03", 0},
      {"group in the message", "72 03 08 09 7c", "Decode dnstap failed: Unknown top-level field type \x04", 9},
      {"query cut by the message", "72 02 52 01 00", "Invalid length 1 for bytes field with only 0 bytes remaining", 0},
      {"length of 64 bits", "0a ffffffffffffffffff01 00",
       "Invalid length 18446744073709551615 for bytes field with only 1 bytes remaining", 0},
      {"circle", "0a 00 72 03 78 08 05", "Decode dnstap failed: Record leads back to offset 2 for ever", 5},
  };
  E event;
  for (const auto& [name, hex, failure, type] : cases) {
    EXPECT_EQ(decode(event, test::unhex(hex)), failure) << name;
    EXPECT_EQ(event.type, type) << name;
  }
  uint64_t wide = 0;
  const Record eight = test::unhex("08 07 06 05 04 03 02 01");
  EXPECT_EQ(decodeFixed64(wide, eight.data(), 8, 0), 8U);
  EXPECT_EQ(wide, 0x0102030405060708U);
  EXPECT_EQ(test::failureOf([&] { decodeFixed64(wide, &eight[1], 7, 0); }), "Not enough bytes to decode fixed64 field");
  EXPECT_EQ(test::failureOf([&] { decodeVarint(wide, eight.data(), 8, 9); }),
            ends + "9 is out of bounds for data of 8 bytes");
  EXPECT_EQ(test::failureOf([&] { skipVarint(eight.data(), 8, 9); }), "Skip 9 is out of bounds for data of 8 bytes");
}

/// The walk by the letter, until there have been more steps than offsets. With `onlyType` it ends at the message type.
static void walkPlainly(E& event, const Record& r, bool onlyType) {
  uint32_t number, offset = 0, steps = 0;
  uint8_t wireType;
  uint64_t value;
  const auto expect = [&](const char* right, const char* name) {
    if (wireType == (*right == 'v' ? 0 : *right == 'b' ? 2 : 5)) return;
    const std::string found(1, static_cast<char>(wireType));
    throw DnstapError(std::string("Expected ") + name + " field to use " + right + " type but got " + found);
  };
  const auto store = [&](const Field& field, const unsigned char* data, uint32_t size, uint32_t at) {
    expect(field.type, field.name);
    if (field.target.index() == 0) return decodeVarint(event.*std::get<0>(field.target), data, size, at);
    if (field.target.index() == 1) return decodeFixed32(event.*std::get<1>(field.target), data, size, at);
    at = decodeBytesLength(value, data, size, at);
    (event.*std::get<2>(field.target)).assign(data + at, data + at + value);
    return at + static_cast<uint32_t>(value);
  };
  resetDnstapEvent(event, true);
  for (const uint32_t length = test::size32(r); offset < length;) {
    if (++steps > length) throw DnstapError("circle");
    offset = decodeTag(number, wireType, r.data(), length, offset);
    if (number == 14) {
      expect("bytes", "message");
      offset = decodeBytesLength(value, r.data(), length, offset);
      const auto size = static_cast<uint32_t>(value);
      const unsigned char* const message = r.data() + offset;
      offset += size;
      for (uint32_t inner = 0; inner < size;) {
        inner = decodeTag(number, wireType, message, size, inner);
        if (number == 0 || number == 11 || number > 14 || (onlyType && number != 1)) {
          offset = skip(wireType, message, size, inner);
        } else {
          inner = store(Fields[3 + number - 1 - (number > 11)], message, size, inner);
          if (onlyType) return;
        }
      }
    } else if (!onlyType && number >= 1 && number <= 3) {
      offset = store(Fields[number - 1], r.data(), length, offset);
    } else if (!onlyType && number == 15) {
      expect("varint", "type");
      offset = decodeVarint(value, r.data(), length, offset);
      if (value != 1) throw DnstapError("Expected type field to be 1 but got " + std::to_string(value));
    } else {
      offset = skip(wireType, r.data(), length, offset);
    }
  }
  if (onlyType) throw DnstapError("Message type field not found");
}

TEST(Dnstap, WalksByTheLetterThroughAnyRecord) {
  const char* const parts[] = {"0a00",   "1200", "0805", "1002",   "2201", "5203",   "7203",   "7205", "7203", "7800",
                               "780805", "7810", "5804", "5a2200", "6001", "78780a", "580872", "4d",   "80",   "7801"};
  std::mt19937 random(1);
  E event = fullEvent(), plain, copied;
  const Record full = test::bytes(test::appended([&](Bytes& b) { encodeDnstapEvent(b, event); }));
  size_t circles = 0, decoded = 0;
  std::set<std::string> failures;
  DnstapView tried;
  for (int i = 0; i < 40000; ++i) {
    Record r;
    if (i % 2 == 0) r = full;
    for (size_t left = r.empty() ? 0 : random() % 4; left != 0; --left)
      r[random() % r.size()] = static_cast<unsigned char>(random());
    for (size_t left = random() % 7; left != 0; --left) {
      for (const unsigned char byte : test::unhex(parts[random() % std::size(parts)])) r.push_back(byte);
      if (random() % 6 == 0) r.push_back(static_cast<unsigned char>(random() % 128));  // a field of any type
    }
    SCOPED_TRACE(testing::PrintToString(r));
    const std::string expected = test::failureOf<DnstapError>([&] { walkPlainly(plain, r, false); });
    std::string failure = decode(event, r);
    if (failure.find(" leads back to ") != std::string::npos) failure = "circle", ++circles;
    ASSERT_EQ(failure, expected);
    failures.insert(failure.substr(0, failure.find(" but got ") + 10));
    ASSERT_EQ(show(event), show(plain));
    ASSERT_EQ(tryDecodeDnstapEvent(tried, r.data(), test::size32(r)), failure.empty());
    tried.copyTo(copied);
    ASSERT_EQ(show(copied), show(plain));
    decoded += failure.empty() && r.size() > 8;

    const std::string noType = test::failureOf<DnstapError>([&] { walkPlainly(plain, r, true); });
    uint64_t type = 0;
    ASSERT_EQ(noType, test::failureOf([&] { type = getDnstapEventType(event, r.data(), test::size32(r), 0); }));
    ASSERT_EQ(type, plain.type);
  }
  EXPECT_TRUE(circles > 20 && decoded > 20);
  EXPECT_GT(failures.size(), 100U) << "so that each field was refused in most wrong types";
}

TEST(MessageBudget, LetsMessagesOverlapSoFar) {
  MessageBudget budget(1000);
  for (int i = 0; i < 129; ++i) ASSERT_TRUE(budget.spend(1000)) << i;
  EXPECT_TRUE(budget.spend(536));
  EXPECT_FALSE(budget.spend(1));
}

}  // namespace ns::encoding::dnstap
