#include "encoding/data.h"

#include <gtest/gtest.h>

#include "encoding/Tail.h"
#include "support/appended.h"

namespace ns::encoding::data {

using test::appended;

/// Any of the fixed-width readers, its value widened.
template <class Integer, auto Read>
uint32_t wide(uint64_t& out, const unsigned char* data, uint32_t length, uint32_t offset) {
  auto value = static_cast<Integer>(out);
  const uint32_t next = Read(value, data, length, offset);
  out = value;
  return next;
}

TEST(Readers, ReadUpToTheEndAndNameTheOffsetBeyond) {
  const struct {
    std::string type;
    uint32_t width;
    uint32_t (*read)(uint64_t&, const unsigned char*, uint32_t, uint32_t);
  } readers[] = {{"uint8_t", 1, wide<uint8_t, decodeUint8>},
                 {"uint16_t", 2, wide<uint16_t, decodeUint16>},
                 {"uint24_t", 3, wide<uint32_t, decodeUint24>},
                 {"uint32_t", 4, wide<uint32_t, decodeUint32>},
                 {"uint64_t", 8, wide<uint64_t, decodeUint64>}};
  const auto source = test::unhex("12 34 81 02 03 fe 99 a0 ff 7f");
  for (const auto& [type, width, read] : readers) {
    for (uint32_t offset = 0; offset <= 10; ++offset) {
      uint64_t expected = offset + width <= 10 ? 0 : 77, value = 77;  // 77: left untouched
      for (uint32_t i = offset; expected != 77 && i < offset + width; ++i) expected = expected << 8 | source[i];
      const std::string failure = "Read " + type + " failed: Offset " + std::to_string(offset) + " + " +
                                  std::to_string(width) + " is out of bounds for data of 10 bytes";
      EXPECT_EQ(expected == 77 ? failure : "", test::failureOf<DataError>([&, &read = read, &width = width] {
                  EXPECT_EQ(read(value, source.data(), 10, offset), offset + width);
                }));
      EXPECT_EQ(value, expected) << failure;
    }
  }
}

TEST(DecodeUintVle, SignExtendsGroupsShiftedIn32Bits) {
  const char* const cut = "Read variable length encoding uint failed: Offset 2 is out of bounds for data of 2 bytes";
  const struct {
    const char *name, *hex;
    uint32_t offset;
    uint64_t value;
    const char* failure;
  } cases[] = {{"three groups", "e5 8e 26", 0, 624485, ""},
               {"one group, further on", "ff 05", 1, 5, ""},
               {"2^31 - 1", "ff ff ff ff 07", 0, 2147483647, ""},
               {"2^31 turns negative", "80 80 80 80 08", 0, 0xFFFFFFFF80000000, ""},
               {"the sixth group is shifted by 35 - 32", "80 80 80 80 80 01", 0, 8, ""},
               {"no end", "80 80", 0, 77, cut},
               {"nothing left", "80 80", 2, 77, cut}};
  for (const auto& c : cases) {
    const auto source = test::unhex(c.hex);
    uint64_t value = 77;
    EXPECT_EQ(c.failure, test::failureOf<DataError>([&] {
                EXPECT_EQ(decodeUintVle(value, source.data(), test::size32(source), c.offset), source.size());
              }));
    EXPECT_EQ(value, c.value) << c.name;
  }
}

TEST(Writers, Append) {
  const auto mixed = test::bytes("ExAm@[`{PlE\xC9Z");
  EXPECT_EQ(appended([](Bytes& b) { encodeUint16(b, 0x1234); }), "\x12\x34");
  EXPECT_EQ(appended([](Bytes& b) { encodeUint32(b, 0x12345678); }), "\x12\x34\x56\x78");
  EXPECT_EQ(appended([](Bytes& b) { encodeUint64(b, 0x0102030405060708); }), "\1\2\3\4\5\6\7\10");
  EXPECT_EQ(appended([](Bytes& b) { encodeUintVle(b, 300), encodeUintVle(b, 127), encodeUintVle(b, 128); }),
            "\xAC\x02\x7F\x80\x01");
  EXPECT_EQ(appended([](Bytes& b) { formatChar(b, '\xFE'), formatChars(b, "two words"); }), "\xFEtwo words");
  EXPECT_EQ(appended([&](Bytes& b) { formatBytes(b, mixed.data(), 4), formatBytes(b, nullptr, 0); }), "ExAm");
  EXPECT_EQ(appended([&](Bytes& b) { lowercase(b, mixed.data(), 13), lowercase(b, mixed.data(), 7); }),
            "exam@[`{ple\xC9zexam@[`");
  for (uint64_t power = 1; power != 0; power = power > UINT64_MAX / 10 ? 0 : power * 10) {
    for (const uint64_t value : {power - 1, power, power * 9 + 8, UINT64_MAX})
      EXPECT_EQ(appended([&](Bytes& b) { formatUint(b, value); }), std::to_string(value));
  }
}

TEST(Trim, RemovesFourKindsOfBlanksFromBothEnds) {
  for (const auto& [before, after] :
       {std::pair("\t x y\r\n", "x y"), {" \t\r\n", ""}, {"", ""}, {"\f", "\f"}, {"\v a", "\v a"}}) {
    Bytes buffer;
    formatChars(buffer, before);
    trim(buffer);
    EXPECT_EQ(test::text(buffer), after);
  }
}

TEST(Tail, KeepsWhatWasFinishedOnly) {
  std::string numbers;
  for (int i = 0; i < 100; ++i) numbers += std::to_string(i) + ",ab";
  for (const bool finish : {true, false}) {
    const std::string made = appended([&](Bytes& buffer) {
      Tail tail(buffer);
      for (uint64_t i = 0; i < 100; ++i) tail.uint(i), tail.character(','), tail.text("ab");
      if (finish) tail.finish();
      tail.text("lost");
    });
    EXPECT_EQ(made, finish ? numbers : "");
  }
}

}  // namespace ns::encoding::data
