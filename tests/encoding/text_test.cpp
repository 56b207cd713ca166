#include <gtest/gtest.h>

#include <random>

#include "encoding/base32.h"
#include "encoding/base64.h"
#include "encoding/hex.h"
#include "encoding/ip.h"
#include "encoding/json.h"
#include "support/appended.h"

// Bytes as hex, base32, base64, addresses and JSON, and back.
namespace ns::encoding {

using test::appended;

static void ipv4(Bytes& buffer, const unsigned char* data, uint32_t) { ip::formatIpv4(buffer, data); }
static void ipv6(Bytes& buffer, const unsigned char* data, uint32_t) { ip::formatIpv6(buffer, data); }

TEST(Formats, GiveTheTextOfBytes) {
  using namespace hex;
  using namespace base32;
  const std::tuple<void (*)(Bytes&, const unsigned char*, uint32_t), const char*, const char*> cases[] = {
      {formatHex, "ab 01 9f", "AB019F"},
      {formatBase32, "", ""},
      {formatBase32, "ff", "VS"},
      {formatBase32, "66 6f", "CPNG"},
      {formatBase32, "66 6f 6f", "CPNMU"},
      {formatBase32, "66 6f 6f 62", "CPNMUOG"},
      {formatBase32, "66 6f 6f 62 61 72", "CPNMUOJ1E8"},
      {base64::formatBase64, "", ""},
      {base64::formatBase64, "66", "Zg=="},
      {base64::formatBase64, "66 6f 6f 62 61", "Zm9vYmE="},
      {base64::formatBase64, "00108310518720928b30d38f41149351559761969b71d79f", "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdef"},
      {base64::formatBase64, "8218a39259a7a29aabb2dbafc31cb3d35db7e39ebbf3dfbf", "ghijklmnopqrstuvwxyz0123456789+/"},
      {ipv4, "00 0a 63 64", "0.10.99.100"},
      {ipv4, "ff ff ff ff", "255.255.255.255"},
      {ipv6, "0000 0000 0000 0000 0000 0000 0000 0000", "::"},
      {ipv6, "0000 0000 0000 0000 0000 0000 0000 0001", "::1"},
      {ipv6, "0001 0000 0000 0000 0000 0000 0000 0000", "1::"},
      {ipv6, "2001 0db8 0000 0000 0001 0000 0000 0001", "2001:db8::1:0:0:1"},
      {ipv6, "0001 0000 0002 0000 0003 0000 0004 0000", "1:0:2:0:3:0:4:0"},
      {ipv6, "0001 0000 0000 0000 0005 0000 0000 0008", "1::5:0:0:8"},
      {ipv6, "0001 0000 0000 0005 0000 0000 0000 0008", "1:0:0:5::8"},
      {ipv6, "0000 0000 0000 0000 0000 ffff c000 0201", "::ffff:c000:201"},
      {ipv6, "f00a 0ffb 00fc 000d 1000 0100 0010 ffff", "f00a:ffb:fc:d:1000:100:10:ffff"}};
  for (const auto& [format, hex, text] : cases) {
    Bytes buffer(1, '>');
    format(buffer, test::unhex(hex).data(), test::size32(test::unhex(hex)));
    EXPECT_EQ(test::text(buffer), std::string(">") + text);
  }
}

static void address(Bytes& buffer, const char* text, uint64_t length) {
  const int kind = ip::parseIp(buffer, text, length);
  EXPECT_EQ(buffer.size(), kind == 0 ? 1 + 4U : 1 + 16U);
}

TEST(Parsers, AppendBytesOrNameTheFault) {
  const std::string long63(63, '1');
  const struct {
    void (*parse)(Bytes&, const char*, uint64_t);
    std::string text, hex, failure;
  } cases[] = {
      {hex::parseHex, "aB09fF", "ab 09 ff", ""},
      {hex::parseHex, "abc", "", "Hex string length must be even"},
      {hex::parseHex, "12zz", "12", "Invalid character in hex string: z"},
      {hex::parseHex, "1G", "", "Invalid character in hex string: G"},
      {base64::parseBase64, " \n", "", ""},
      {base64::parseBase64, "Zm 9\tv\r\n", "66 6f 6f", ""},
      {base64::parseBase64, "ghijklmnopqrstuvwxyz0123456789+/", "8218a39259a7a29aabb2dbafc31cb3d35db7e39ebbf3dfbf", ""},
      {base64::parseBase64, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdef", "00108310518720928b30d38f41149351559761969b71d79f", ""},
      {base64::parseBase64, "Z g = = ", "66", ""},
      {base64::parseBase64, "Zg=", "", "Invalid base64 length: 3"},
      {base64::parseBase64, "Zg=a", "66", "Invalid base64 padding"},
      {base64::parseBase64, "Z===", "", "Invalid base64 padding"},
      {base64::parseBase64, "Zg==!g==", "66", "Invalid base64 padding"},
      {base64::parseBase64, "Zm9\xFF", "66 6f", "Invalid base64 character: \xFF"},
      {address, "127.0.0.1", "7f 00 00 01", ""},
      {address, "::1", "0000 0000 0000 0000 0000 0000 0000 0001", ""},
      {address, "not-an-ip", "", "Parse IP address not-an-ip failed: Invalid IP address"},
      {address, long63, "", "Parse IP address " + long63 + " failed: Invalid IP address"},
      {address, long63 + '1', "", "Parse IP address failed: IP address too long"},
  };
  for (const auto& c : cases) {
    const std::vector<char> text(c.text.begin(), c.text.end());  // no terminator behind it
    std::string failure;
    const auto parse = [&](Bytes& b) { failure = test::failureOf([&] { c.parse(b, text.data(), text.size()); }); };
    EXPECT_EQ(appended(parse), test::text(test::unhex(c.hex))) << c.text;
    EXPECT_EQ(failure, c.failure) << c.text;
    EXPECT_EQ(ip::isIp(text.data(), text.size()), c.parse == address && c.failure.empty()) << c.text;
  }
}

static std::string escapedByteByByte(const std::vector<unsigned char>& text) {
  const std::string plain = "\b\t\n\f\r\"/\\", letters = "btnfr\"/\\";
  std::string all;
  for (const char byte : test::text(text)) {
    const size_t at = plain.find(byte);
    all += at == plain.npos ? std::string(1, byte) : std::string("\\") + letters[at];
  }
  return '"' + all + '"';
}

TEST(Json, EscapesEveryByteAtEveryPlaceOfAStringAndNoneOfAKey) {
  EXPECT_EQ(appended([](Bytes& b) { json::formatJsonKey(b, "x", true), json::formatJsonKey(b, "\"", false); }),
            "\"x\":,\"\"\":");
  std::mt19937 random(1);
  for (size_t length = 0; length <= 70; ++length) {
    for (size_t round = 0; round < 256; ++round) {
      std::vector<unsigned char> text(length, round % 2 == 0 ? 'a' : 0xFF);
      for (size_t i = 0; i < length && i < 1 + round % 8 * round % 8; ++i)
        text[random() % length] = static_cast<unsigned char>(i == 0 ? round : random());
      EXPECT_EQ(appended([&](Bytes& b) { json::formatJsonStr(b, text.data(), test::size32(text)); }),
                escapedByteByByte(text));
    }
  }
}

}  // namespace ns::encoding
