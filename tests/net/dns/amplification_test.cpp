#include <gtest/gtest.h>

#include <chrono>

#include "encoding/dnstap.h"
#include "net/dns/DnsMessageEventFormatter.h"
#include "net/dns/suffixes.h"
#include "support/bytes.h"

// What the worst packet of each kind costs: 64 KiB that a stranger wrote may turn into much text, but into no more than
// 16 MiB of presentation, JSON's escapes, and each name's domain, and in a time that is told here.

using namespace ns::net::dns;

static std::string times(size_t count, const std::string& text) {
  std::string all;
  while (count-- != 0) all += text;
  return all;
}

static std::string number(size_t value) { return {static_cast<char>(value >> 8), static_cast<char>(value)}; }

static const std::string ToQuestion = "\xc0\x0c";

static std::string field(int tag, const std::string& value) {
  std::string head(1, static_cast<char>(tag << 3 | 2));
  for (const int shift : {0, 7, 14}) head += static_cast<char>((value.size() >> shift & 127) | (shift < 14 ? 128 : 0));
  return head + value;
}

// A response whose question is the longest name, of bytes that each take four characters, with as many answers as a
// packet has room for.
static std::string filled(const std::string& name, size_t type, const std::string& rdata) {
  const std::string one = name + number(type) + number(1) + std::string(4, '\0') + number(rdata.size()) + rdata;
  const std::string question = times(3, '?' + std::string(63, '\1')) + '=' + std::string(61, '\1') + '\0' + number(255);
  const size_t count = (65535 - 14 - question.size()) / one.size();
  const std::string head = number(1) + number(0x8000) + number(1) + number(count) + std::string(4, '\0');
  return field(14, "\x08\x06\x60\x01" + field(14, head + question + number(1) + times(count, one)));
}

TEST(Amplification, TheWorstOfEachKindStaysInBounds) {
  loadPslDomainSuffixes(true);
  std::string windows("\1\0\0\0\0\1\0", 7);
  for (int i = 0; i < 47 * 40; ++i) windows += static_cast<char>(i % 40) + (' ' + std::string(32, '\xff'));
  const std::pair<const char*, std::string> cases[] = {
      {"names behind pointers", filled(ToQuestion, 2, ToQuestion)},
      {"two names in each rdata", filled(ToQuestion, 6, ToQuestion + ToQuestion + std::string(20, '\xff'))},
      {"escapes in text", filled(ToQuestion, 16, '\xff' + std::string(255, '\1'))},
      {"one answer of all bytes", filled(ToQuestion, 65280, std::string(65000, '\xff'))},
      {"empty answers", filled(ToQuestion, 65280, "")},
      {"SVCB of many parameters",
       filled(ToQuestion, 64, number(1) + ToQuestion + times(15000, number(65535) + number(0)))},
      {"SVCB of many paths",
       filled(ToQuestion, 64, number(1) + ToQuestion + times(9000, number(7) + number(2) + ToQuestion))},
      {"NSEC3 windows", filled(ToQuestion, 50, windows)},
      {"TXT of empty strings", filled(ToQuestion, 16, std::string(65000, '\0'))},
      {"262144 bytes of dnstap fields", field(14, times(131060, "\x18\1"))},
      {"262144 bytes of dnstap messages", times(131072, std::string("\x72\0", 2))},
  };
  for (const auto& [name, record] : cases) {
    for (const uint32_t format : {0U, 1U}) {
      ns::event::format::EventFormatterConfig config;
      config.messageFormat = format;
      config.querylogExtended = true;
      DnsMessageEventFormatter formatter(config);
      ns::encoding::Bytes text;
      const auto bytes = test::bytes(record);
      const auto begun = std::chrono::steady_clock::now();
      const std::string failure = test::failureOf([&] {
        ns::encoding::dnstap::DnstapEvent dnstap;
        DnsMessageEvent event;
        ns::encoding::dnstap::decodeDnstapEvent(dnstap, bytes.data(), test::size32(bytes), 0);
        if (extractDnsMessageEventFromDnstapEvent(event, dnstap)) formatter.format(text, event);
      });
      const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begun;
      EXPECT_LE(text.size(), size_t{68} << 20);
      std::printf("%-32s %-9s %6zu bytes -> %8zu in %7.2f ms %s\n", name, format == 0 ? "json" : "querylog",
                  bytes.size(), text.size(), took.count(), failure.c_str());
    }
  }
}
