#include <gtest/gtest.h>

#include <algorithm>

#include "net/dns/event/DnsMessageEventFormatter.h"
#include "net/dns/event/contract.h"
#include "net/dns/message/DnsError.h"
#include "support/bytes.h"

using namespace ns::net::dns;
using ns::encoding::Bytes;
using ns::encoding::dnstap::DnstapEvent;
using ns::encoding::dnstap::DnstapView;
using ns::event::format::EventFormatterConfig;

static Bytes unhex(const std::string& hex) {
  const auto bytes = test::unhex(hex);
  return {bytes.begin(), bytes.end()};
}

TEST(ExtractDnsMessageEvent, NamesWhatIsBroken) {
  using Record = DnstapEvent;
  const std::string time = "Expected message query_time_", reply = "Expected message response_time_";
  const std::string small = "nsec to be less than 1000000000 but got ",
                    bytes = "_address to be 0, 4 or 16 bytes but got ";
  const std::tuple<uint64_t, void (*)(Record&), std::string> cases[] = {
      {5, [](Record&) {}, ""},
      {5, [](Record& r) { r.query_time_sec = 0; }, time + "sec not to be 0 but got 0"},
      {6, [](Record& r) { r.response_time_sec = 0, r.query_time_sec = 17; }, reply + "sec not to be 0 but got 17"},
      {3, [](Record& r) { r.query_time_nsec = 999999999; }, ""},
      {3, [](Record& r) { r.query_time_nsec = 1000000000, r.query_message.clear(); }, time + small + "1000000000"},
      {4, [](Record& r) { r.response_time_nsec = 4294967295; }, reply + small + "4294967295"},
      {2, [](Record& r) { r.query_time_sec = 0, r.query_time_nsec = 1000000000; }, ""},
      {5, [](Record& r) { r.query_address.resize(5); }, "Expected message query" + bytes + "5"},
      {6, [](Record& r) { r.response_address.resize(3); }, "Expected message response" + bytes + "3"},
  };
  for (const auto& [type, change, failure] : cases) {
    Record record;
    record.type = type;
    record.query_time_sec = record.response_time_sec = 1709967902;
    record.query_message = record.response_message = unhex("1234");
    change(record);
    DnsMessageEvent event;
    EXPECT_EQ(failure, test::failureOf<DnsError>([&] { extractDnsMessageEventFromDnstapEvent(event, record); }));
    EXPECT_EQ(failure.empty() ? Extraction::Event : Extraction::Broken,
              tryExtractDnsMessageEvent(event, DnstapView(record)));
  }
}

TEST(DnsMessageEventFormatter, KnowsItsFormatAndWritesOfUnknownTypesOnlyErrors) {
  const Bytes query = unhex("1234 0100 0001 0000 0000 0000 00 0001 0001"), broken(query.begin(), query.end() - 1);
  for (const uint32_t format : {0U, 1U, 2U, 3U}) {
    EventFormatterConfig config;
    config.messageFormat = format;
    config.domainSuffixBuiltin = config.domainSuffixConfig = false;  // no part of the name is its domain
    config.querylogExtended = true;
    DnsMessageEventFormatter formatter(config);
    EXPECT_EQ(format == 2, formatter.isFormatDnstap());
    DnsMessageEvent event;
    Bytes out;
    for (const uint64_t type : {0U, 13U, 1U}) {
      event.type = type, event.message = type == 1 ? query : broken;
      EXPECT_EQ(format < 2, formatter.format(out, event));
    }
    event.type = 13, event.message = query;
    EXPECT_FALSE(formatter.format(out, event));
    EXPECT_EQ(format < 2 ? 3 : 0, std::count(out.begin(), out.end(), '\n'));
    EXPECT_EQ(format == 1, test::text(out).find(": . [] IN A") != std::string::npos);
  }
}
