#include <gtest/gtest.h>

#include <random>

#include "net/dns/message/DnsError.h"
#include "net/dns/message/contract.h"
#include "support/appended.h"
#include "support/table.h"

using namespace ns::net::dns;
using Packet = std::vector<unsigned char>;

/// A name in brackets and the offset behind it, or the text of the failure.
static std::string decode(const Packet& packet, uint32_t offset, bool dot) {
  uint32_t end = 0;
  std::string failure;
  const std::string name = test::appended([&](auto& out) {
    failure =
        test::failureOf([&] { end = decodeDnsMessageFqdn(offset, packet.data(), test::size32(packet), out, dot); });
  });
  if (failure.empty()) return "[" + name + "] " + std::to_string(end);
  return name.empty() ? failure : "a failure leaves something behind";
}

TEST(DecodeDnsMessageFqdn, ReadsLabelsAndPointersOrNamesWhatIsWrong) {
  const auto rows = test::rowsOf(R"(
    03 777777 02 4465 00           | 0  | [www.De.] 8
    00                             | 0  | [.] 1
    01 61 00 01 62 c000            | 3  | [b.a.] 7
    c002 00                        | 0  | [.] 2
    01 61 00 c000 c003 ff          | 5  | [a.] 7
    03 612e62 00                   | 0  | [a.b.] 5
    04 61225c62 00                 | 0  | [a\"\\b.] 6
    08 001f207e7f80c8ff 00 00      | 0  | [\000\031 ~\127\128\200\255.] 10
    09 61x8 07 00 00               | 0  | [aaaaaaaa\007.] 11
    3f 66x63 00                    | 0  | [fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff.] 65
    3f 66x63                       | 0  | Read FQDN failed: DNS name offset + label length 64 which is past packet len 64
    05 61                          | 0  | Read FQDN failed: DNS name offset + label length 6 which is past packet len 2
    01 61 c0                       | 0  | Read uint8_t failed: Offset 3 + 1 is out of bounds for data of 3 bytes
    00                             | 1  | Read uint8_t failed: Offset 1 + 1 is out of bounds for data of 1 bytes
    c002                           | 0  | Read FQDN failed: DNS name uses pointer offset 2 which is past packet len 2
    8001                           | 0  | Read FQDN failed: DNS name uses pointer offset 16385 which is past packet len 2
    4001                           | 0  | Read FQDN failed: DNS name uses pointer offset 32769 which is past packet len 2
  )",
                                 3);
  for (test::Row row : rows) {
    const auto offset = static_cast<uint32_t>(std::stoi(row[1]));
    EXPECT_EQ(row[2], decode(test::packet(row[0]), offset, true));
    if (row[2][0] == '[') row[2].erase(row[2].find(']') - 1, 1);
    EXPECT_EQ(row[2], decode(test::packet(row[0]), offset, false));
  }
}

TEST(DecodeDnsMessageFqdn, BoundsPointers) {
  const std::string tooMany =
      "Read FQDN failed: DNS name has at least 128 label pointers which is more than the maximum allowed of 127";
  EXPECT_EQ(tooMany, decode(test::packet("00x12 c00c"), 12, true));
  EXPECT_EQ(tooMany, decode(test::packet("01 61 c000"), 0, true));
  for (const uint32_t pointers : {127U, 128U}) {
    Packet packet(1, 0);  // the root, then each pointer at the one before
    for (uint32_t i = 0; i < pointers; ++i) packet.insert(packet.end(), {0xC0, uint8_t(i == 0 ? 0 : 2 * i - 1)});
    EXPECT_EQ(pointers == 128 ? tooMany : "[.] " + std::to_string(packet.size()),
              decode(packet, 2 * pointers - 1, true));
  }
}

/// Byte by byte, as the format is described; empty for a failure.
static std::string decodeSlowly(const Packet& packet, uint32_t offset) {
  std::string name;
  uint32_t resume = 0, pointers = 0;
  const auto next = [&] { return offset < packet.size() ? packet[offset++] : (pointers = 999, uint8_t{0}); };
  for (uint32_t byte; (byte = next()) != 0;) {
    if (byte > 63) {
      const uint32_t target = (byte ^ 0xC0) << 8 | next();
      if (++pointers > 127 || target >= packet.size()) return "";
      if (resume == 0) resume = offset;
      offset = target;
    } else if (offset + byte >= packet.size()) {
      return "";
    } else {
      for (; byte > 0; --byte) {
        const uint8_t c = next();
        const std::string digits = std::to_string(1000 + c).substr(1);
        name += c < 32 || c > 126       ? "\\" + digits
                : c == '"' || c == '\\' ? std::string("\\") + char(c)
                                        : std::string(1, char(c));
      }
      name += '.';
    }
  }
  return pointers > 127 ? "" : "[" + (name.empty() ? "." : name) + "] " + std::to_string(resume != 0 ? resume : offset);
}

TEST(DecodeDnsMessageFqdn, DoesInBlocksWhatTheBytewiseReadingDoes) {
  std::mt19937 random(1);
  int good = 0;
  for (int i = 0; i < 4000; ++i) {
    Packet packet(random() % 70 + 1);  // mostly short labels of printable bytes, some pointers, some of anything
    for (auto& byte : packet) {
      const auto kind = random() % 16;
      byte = uint8_t(kind < 4 ? random() % 10 : kind == 4 ? 0xC0 : kind == 5 ? random() : 'A' + kind);
    }
    for (uint32_t offset = 0; offset < packet.size(); offset += uint32_t(1 + random() % 8)) {
      const std::string expected = decodeSlowly(packet, offset), text = decode(packet, offset, true);
      ASSERT_EQ(expected, text[0] == '[' ? text : "");
      if (!expected.empty()) ++good;
    }
  }
  EXPECT_GT(good, 1000);
}
