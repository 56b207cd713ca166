#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "encoding/dnstap/dnstap.h"
#include "net/dns/domain/suffixes.h"
#include "net/dns/event/DnsMessageEventFormatter.h"
#include "net/dns/event/contract.h"
#include "support/bytes.h"

// What the worst packet of each kind costs: 64 KiB that a stranger wrote may turn into much text, but into no more than
// a bound, and in a time that is told here.

using namespace ns::net::dns;
using ns::encoding::Bytes;

namespace {

constexpr size_t MostText = size_t{68} << 20;  // 16 MiB of presentation, JSON's escapes, and each name's domain

std::string repeat(size_t count, const std::string& text) {
  std::string all;
  while (count-- != 0) all += text;
  return all;
}

std::string number(size_t value) { return {static_cast<char>(value >> 8), static_cast<char>(value)}; }

std::string answer(const std::string& name, size_t type, const std::string& rdata) {
  return name + number(type) + number(1) + std::string(4, '\0') + number(rdata.size()) + rdata;
}

// A response whose question is the longest name, of bytes that each take four characters.
const std::string LongName = repeat(3, '\x3f' + std::string(63, '\1')) + '\x3d' + std::string(61, '\1') + '\0';
const std::string Question = LongName + number(255) + number(1);
const std::string ToQuestion = "\xc0\x0c";

std::string response(const std::string& answers, size_t count) {
  return number(1) + number(0x8000) + number(1) + number(count) + number(0) + number(0) + Question + answers;
}

// As often as a packet of 64 KiB has room for it.
std::string filled(const std::string& one) {
  const size_t count = (65535 - 12 - Question.size()) / one.size();
  return response(repeat(count, one), count);
}

// Names that go through as many pointers as can be pointed at, the last one to the question.
std::string pointerChain() {
  std::string chain;
  size_t at = 12 + Question.size() + 12;
  for (size_t to = 12; at < 0x3ffe; to = at, at += 2) chain += number(0xc000 | to);
  const std::string top = number(0xc000 | (at - 2));
  const std::string head = answer(ToQuestion, 65280, chain);
  const std::string one = answer(top, 2, top);
  const size_t count = (65535 - 12 - Question.size() - head.size()) / one.size();
  return response(head + repeat(count, one), count + 1);
}

std::string nsec3() {
  std::string windows;
  for (char window = 0; window < 40; ++window) windows += window + (' ' + std::string(32, '\xff'));
  return std::string("\1\0\0\0\0\1\0", 7) + repeat(47, windows);
}

std::string field(int tag, const std::string& value) {
  std::string head(1, static_cast<char>(tag << 3 | 2));
  for (size_t size = value.size();; size >>= 7) {
    head += static_cast<char>(size > 127 ? (size & 127) | 128 : size);
    if (size <= 127) break;
  }
  return head + value;
}

std::string record(const std::string& packet) { return field(14, "\x08\x06\x60\x01" + field(14, packet)); }

}  // namespace

TEST(Amplification, TheWorstOfEachKindStaysInBounds) {
  loadPslDomainSuffixes(true);
  const struct {
    const char* name;
    std::string record;
  } cases[] = {
      {"names behind pointers", record(filled(answer(ToQuestion, 2, ToQuestion)))},
      {"two names in each rdata",
       record(filled(answer(ToQuestion, 6, ToQuestion + ToQuestion + std::string(20, '\xff'))))},
      {"chains of pointers", record(pointerChain())},
      {"escapes in text", record(filled(answer(ToQuestion, 16, '\xff' + std::string(255, '\1'))))},
      {"one answer of all bytes", record(filled(answer(ToQuestion, 65280, std::string(65000, '\xff'))))},
      {"empty answers", record(filled(answer(ToQuestion, 65280, "")))},
      {"SVCB of many parameters",
       record(filled(answer(ToQuestion, 64, number(1) + ToQuestion + repeat(15000, number(65535) + number(0)))))},
      {"SVCB of many paths",
       record(
           filled(answer(ToQuestion, 64, number(1) + ToQuestion + repeat(9000, number(7) + number(2) + ToQuestion))))},
      {"NSEC3 windows", record(filled(answer(ToQuestion, 50, nsec3())))},
      {"TXT of empty strings", record(filled(answer(ToQuestion, 16, std::string(65000, '\0'))))},
      {"262144 bytes of dnstap fields", field(14, repeat(131060, std::string("\x18\1", 2)))},
      {"262144 bytes of dnstap messages", repeat(131072, std::string("\x72\0", 2))},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto bytes = test::bytes(c.record);
    for (const uint32_t format : {0U, 1U}) {
      ns::event::format::EventFormatterConfig config;
      config.messageFormat = format;
      config.querylogExtended = true;
      DnsMessageEventFormatter formatter(config);
      Bytes text;
      const auto begun = std::chrono::steady_clock::now();
      std::string failure = test::failureOf([&] {
        ns::encoding::dnstap::DnstapEvent dnstap;
        DnsMessageEvent event;
        ns::encoding::dnstap::decodeDnstapEvent(dnstap, bytes.data(), test::size32(bytes), 0);
        if (extractDnsMessageEventFromDnstapEvent(event, dnstap)) formatter.format(text, event);
      });
      const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begun;
      EXPECT_LE(text.size(), MostText);
      const size_t error = test::text(text).find("allowed of");
      if (error != std::string::npos) failure = "too much text";
      std::printf("%-32s %-9s %6zu bytes -> %8zu in %7.2f ms  %s\n", c.name, format == 0 ? "json" : "querylog",
                  bytes.size(), text.size(), took.count(), failure.c_str());
    }
  }
}
