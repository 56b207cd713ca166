#include <gtest/gtest.h>

#include <array>

#include "net/dns/message/contract.h"
#include "support/bytes.h"
#include "support/table.h"

using namespace ns::net::dns;
using Packet = std::vector<unsigned char>;

static void replace(std::string& text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) text.replace(at, from.size(), to);
}

/// A packet with the counts of its header and what follows it, in which capitals stand for parts.
static Packet make(const std::array<unsigned, 4>& counts, std::string body) {
  replace(body, "Q", "03777777 074578616d706c65 03636f6d 00 0001 0001");  // at 12: www.Example.com. A IN
  replace(body, "A", "c00c 0001 0001 0000012c 0004 c0000250");            // its address, TTL 300
  replace(body, "O", "00 0029 04d0 00000000 0000");                       // EDNS
  Packet packet{0x12, 0x34, 0x81, 0x80};
  for (const unsigned count : counts) packet.insert(packet.end(), {uint8_t(count >> 8), uint8_t(count)});
  for (const uint8_t byte : test::packet(body)) packet.push_back(byte);
  packet.shrink_to_fit();
  return packet;
}

TEST(DecodeDnsMessage, LeavesOutOptSigAndTsigOnlyAmongTheAdditionals) {
  const std::string signatures = "00 0018 00ff 00000000 0001 ff 00 00fa 00ff 00000000 0001 ff";
  const Packet packet = make({1, 1, 1, 5}, "Q O O O A " + signatures + " A");
  DnsMessage message;
  for (const bool dot : {true, false}) {
    decodeDnsMessage(packet.data(), test::size32(packet), message, dot);
    EXPECT_EQ(std::tuple("", packet.size(), 1U, 1U, 2U),
              std::tuple(message.error, message.size, message.ancount, message.nscount, message.arcount));
    EXPECT_EQ(std::tuple(41, 41, 1, 1), std::tuple(message.answers.at(0).type, message.authorities.at(0).type,
                                                   message.additionals.at(0).type, message.additionals.at(1).type));
    EXPECT_EQ(dot ? "www.example.com." : "www.example.com",
              test::text(message.at(message.additionals.at(1).nameLowercase)));
  }
  for (uint32_t size = 0; size < packet.size(); ++size) {
    decodeDnsMessage(Packet(packet.data(), packet.data() + size).data(), size, message, true);
    EXPECT_EQ(0U, message.error.find("Read DNS message failed: "));
  }
}

TEST(DecodeDnsMessage, CountsThePointersOfANameThatItKnows) {
  DnsMessage message;
  for (const unsigned pointers : {126U, 127U}) {  // of the question, in a chain behind the answer, which has one more
    Packet packet = make({1, 1, 0, 0}, "c022 0001 0001 A");
    for (unsigned at = 0x24; at < 0x22 + 2 * pointers; at += 2)
      packet.insert(packet.end(), {uint8_t(0xC0 | at >> 8), uint8_t(at)});
    packet.push_back(0);
    decodeDnsMessage(packet.data(), test::size32(packet), message, true);
    EXPECT_EQ(pointers == 126 ? ""
                              : "Read DNS message failed: Read FQDN failed: DNS name has at least 128 label pointers "
                                "which is more than the maximum allowed of 127",
              message.error);
  }
}

TEST(DecodeDnsMessage, BoundsTextAndMemory) {
  DnsMessage message;
  const std::string labels = "3f" + std::string(126, '0') + "x1024";  // 259072 bytes of text
  for (const unsigned answers : {63U, 64U}) {                         // which the question has, too
    const Packet packet = make({1, answers, 0, 0}, labels + " 00 0063 0001 c00c00630001000000000000x64");
    decodeDnsMessage(packet.data(), test::size32(packet), message, true);
    EXPECT_EQ(answers == 63 ? ""
                            : "Read DNS message failed: DNS message becomes more than the maximum allowed of 16777216 "
                              "bytes of text",
              message.error);
  }
  const Packet names = make({1, 31, 0, 0}, labels + " 00 0063 0001 c00c00020001000000000002c00cx31");
  decodeDnsMessage(names.data(), test::size32(names), message, true);
  EXPECT_EQ("", message.error);
  EXPECT_GT(message.text.capacity(), size_t{8} << 20);
  const Packet small = make({1, 1, 0, 0}, "Q A");
  decodeDnsMessage(small.data(), test::size32(small), message, true);
  EXPECT_EQ("192.0.2.80", test::text(message.at(message.answers.at(0).rdata)));
  EXPECT_LT(message.text.capacity(), size_t{8} << 20) << "what the worst packet took is not kept";
}
