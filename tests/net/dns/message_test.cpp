#include <gtest/gtest.h>

#include <array>

#include "net/dns/decodeDnsMessage.h"
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
  replace(body, "R", "0001 0001 00000001 0004 c0000201");                 // an address without an owner
  replace(body, "O", "00 0029 04d0 00000000 0000");                       // EDNS
  Packet packet{0x12, 0x34, 0x81, 0x80};
  for (const unsigned count : counts) packet.insert(packet.end(), {uint8_t(count >> 8), uint8_t(count)});
  for (const uint8_t byte : test::packet(body)) packet.push_back(byte);
  packet.shrink_to_fit();
  return packet;
}

/// All that a message says, sections parted by "#".
static std::string show(const DnsMessage& message) {
  if (!message.error.empty()) return message.error;
  std::string all = test::text(message.qname) + " " + test::text(message.qnameLowercase) + " " +
                    std::to_string(message.qtype) + " " + std::to_string(message.qclass);
  const auto section = [&](const DnsMessage::Section& records, uint32_t count) {
    all += " #";
    for (uint32_t i = 0; i < count; ++i) {
      const DnsRecord& r = *records.at(i);
      for (const auto* part : {&r.name, &r.nameLowercase}) all += " " + test::text(*part);
      for (const uint32_t number : {uint32_t{r.type}, uint32_t{r.rrclass}, r.ttl}) all += " " + std::to_string(number);
      all += " " + test::text(r.rdata);
    }
  };
  section(message.answers, message.ancount);
  section(message.authorities, message.nscount);
  section(message.additionals, message.arcount);
  return all;
}

static std::string decode(const Packet& packet, DnsMessage& message, bool dot = true) {
  decodeDnsMessage(packet.data(), test::size32(packet), message, dot);
  EXPECT_EQ(packet.size(), message.size);
  return show(message);
}

TEST(DecodeDnsMessage, KeepsQuestionAndRecordsOrSaysWhatIsWrong) {
  const auto rows = test::rowsOf(R"(
    a query                  | 1 0 0 0 | Q                                                   | {q} # # #
    an answer                | 1 1 0 0 | Q A                                                 | {q} #{a} # #
    bytes behind the end     | 1 0 0 0 | Q ffff                                              | {q} # # #
    all sections             | 1 1 1 1 | Q A A A                                             | {q} #{a} #{a} #{a}
    OPT, SIG, TSIG left out  | 1 0 0 5 | Q O A 00 0018 00ff 00000000 0001 ff 00 00fa 00ff 00000000 0001 ff A | {q} # # #{a}{a}
    but only there           | 1 1 1 0 | Q O O                        | {q} # . . 41 1232 0 \# 0  # . . 41 1232 0 \# 0  #
    owners in record data    | 1 3 0 0 | Q c00c 0005 0001 00000000 0006 0343646e c010 c02d R c02d R | {q} # www.Example.com. www.example.com. 5 1 0 Cdn.Example.com. Cdn.Example.com. cdn.example.com. 1 1 1 192.0.2.1 Cdn.Example.com. cdn.example.com. 1 1 1 192.0.2.1 # #
    an owner pointed at      | 1 2 1 0 | Q 0142c00c R c021 R c023 R | {q} # B.www.Example.com. b.www.example.com. 1 1 1 192.0.2.1 B.www.Example.com. b.www.example.com. 1 1 1 192.0.2.1 # www.Example.com. www.example.com. 1 1 1 192.0.2.1 #
    that of one left out     | 1 0 0 2 | Q 0142 00 0029 0001 00000000 0000 c021 R            | {q} # # # B. b. 1 1 1 192.0.2.1
    a pointer into the header| 1 1 0 0 | Q c004 R                                            | {q} # . . 1 1 1 192.0.2.1 # #
    a header and no more     | 1 0 0 0 | | {f}Read uint8_t failed: Offset 12 + 1 is out of bounds for data of 12 bytes
    no question              | 0 0 0 0 | | {f}No question RRs 0 is not 1
    two questions            | 2 0 0 0 | Q Q | {f}No question RRs 2 is not 1
    fewer than promised      | 1 3 0 0 | Q A A | {f}Read uint8_t failed: Offset 65 + 1 is out of bounds for data of 65 bytes
    data past the end        | 1 1 0 0 | Q c00c 0001 0001 00000000 0005 c0000201 | {f}Offset 45 + record data length 5 is out of bounds for packet of 49 bytes
    even if left out         | 1 0 0 1 | Q 00 0029 0001 00000000 0001 | {f}Offset 44 + record data length 1 is out of bounds for packet of 44 bytes
    bad record data          | 1 1 0 0 | Q c00c 0001 0001 00000000 0003 c00002 | {f}A record data length is 3 but should be 4
  )",
                                 4);
  std::vector<std::pair<Packet, std::string>> cases;
  for (const test::Row& row : rows) {
    std::string expected = row[3];
    std::array<unsigned, 4> counts;
    for (size_t i = 0; i < 4; ++i) counts[i] = static_cast<unsigned>(row[1][2 * i] - '0');
    replace(expected, "{q}", "www.Example.com. www.example.com. 1 1");
    replace(expected, "{a}", " www.Example.com. www.example.com. 1 1 300 192.0.2.80");
    replace(expected, "{f}", "Read DNS message failed: ");
    cases.emplace_back(make(counts, row[2]), expected);
    DnsMessage fresh;
    EXPECT_EQ(expected, decode(cases.back().first, fresh)) << row[0];
  }
  DnsMessage reused;  // what it says must not depend on the message before
  for (const auto& [packet, expected] : cases) {
    for (const auto& before : cases) {
      decode(before.first, reused);
      ASSERT_EQ(expected, decode(packet, reused));
    }
  }
  EXPECT_EQ("www.Example.com www.example.com 1 1 # www.Example.com www.example.com 1 1 300 192.0.2.80 # #",
            decode(cases[1].first, reused, false));
  for (size_t size = 0; size < cases[3].first.size(); ++size)
    EXPECT_EQ(0U,
              decode({cases[3].first.data(), cases[3].first.data() + size}, reused).find("Read DNS message failed: "));
}

TEST(DecodeDnsMessage, CountsThePointersOfANameThatItKnows) {
  DnsMessage message;
  for (const unsigned pointers : {126U, 127U}) {  // of the question, in a chain behind the answer, which has one more
    Packet packet = make({1, 1, 0, 0}, "c022 0001 0001 A");
    for (unsigned at = 0x24; at < 0x22 + 2 * pointers; at += 2)
      packet.insert(packet.end(), {uint8_t(0xC0 | at >> 8), uint8_t(at)});
    packet.push_back(0);
    EXPECT_EQ(pointers == 126 ? ". . 1 1 # . . 1 1 300 192.0.2.80 # #"
                              : "Read DNS message failed: Read FQDN failed: DNS name has at least 128 label pointers "
                                "which is more than the maximum allowed of 127",
              decode(packet, message));
  }
}

TEST(DecodeDnsMessage, BoundsTextAndMemory) {
  DnsMessage message;
  const std::string labels = "3f" + std::string(126, '0') + "x1024";  // 259072 bytes of text
  for (const unsigned answers : {63U, 64U}) {                         // which the question has, too
    decode(make({1, answers, 0, 0}, labels + " 00 0063 0001 c00c00630001000000000000x64"), message);
    EXPECT_EQ(answers == 63 ? ""
                            : "Read DNS message failed: DNS message becomes more than the maximum allowed of 16777216 "
                              "bytes of text",
              message.error);
  }
  DnsMessage other;
  for (unsigned place = 0; place < 64; place += 8) {  // eight records of 262 KB of text each, in other places each time
    Packet packet = make({1, place + 8, 0, 0}, "Q " + std::string(place, 'A'));
    for (int i = 0; i < 8; ++i) {
      for (const uint8_t byte : test::unhex("00 0010 0001 00000000 ffff")) packet.push_back(byte);
      packet.resize(packet.size() + 65535, 0xFF);
    }
    decodeDnsMessage(packet.data(), test::size32(packet), other, true);
    ASSERT_EQ("", other.error);
    size_t memory = 0;
    for (const auto& r : other.answers)
      memory += r->name.capacity() + r->nameLowercase.capacity() + r->rdata.capacity();
    ASSERT_EQ(memory, other.memory);
    ASSERT_LT(memory, size_t{14} << 20);
  }
}
