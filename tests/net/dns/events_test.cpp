#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <variant>

#include "net/dns/DnsError.h"
#include "net/dns/DnsMessageEvent.h"
#include "net/dns/DnsMessageEventFormatter.h"
#include "support/table.h"

using namespace ns::net::dns;
using ns::encoding::Bytes;
using ns::encoding::dnstap::DnstapEvent;
using ns::event::format::EventFormatterConfig;

static Bytes unhex(const std::string& hex) {
  const auto bytes = test::unhex(hex);
  return {bytes.begin(), bytes.end()};
}

/// A query or response of a client at 2024-03-09 07:05:02.123456789 UTC, with some fields set otherwise.
static DnstapEvent makeRecord(uint64_t type, const std::string& packet, const std::string& changes) {
  DnstapEvent r;
  r.type = type, r.socket_family = r.socket_protocol = 1;
  r.query_address = unhex("c0000201"), r.response_address = unhex("c0000235");
  r.query_port = 53211, r.response_port = 53;
  r.query_time_sec = r.response_time_sec = 1709967902, r.query_time_nsec = r.response_time_nsec = 123456789;
  (type % 2 == 1 ? r.query_message : r.response_message) = unhex(packet);
  const std::map<std::string, std::variant<uint64_t*, uint32_t*, Bytes*>> fields{
      {"family", &r.socket_family},    {"proto", &r.socket_protocol},    {"client", &r.query_address},
      {"server", &r.response_address}, {"port", &r.query_port},          {"qsec", &r.query_time_sec},
      {"rsec", &r.response_time_sec},  {"qnsec", &r.query_time_nsec},    {"rnsec", &r.response_time_nsec},
      {"query", &r.query_message},     {"response", &r.response_message}};
  std::istringstream words(changes);
  for (std::string word; words >> word;) {
    const std::string value = word.substr(word.find('=') + 1);
    const auto& field = fields.at(word.substr(0, word.find('=')));
    if (field.index() == 0) *std::get<0>(field) = std::stoull(value, nullptr, 0);
    if (field.index() == 1) *std::get<1>(field) = static_cast<uint32_t>(std::stoul(value));
    if (field.index() == 2) *std::get<2>(field) = unhex(value);
  }
  return r;
}

TEST(ExtractDnsMessageEvent, TellsEventsFromWhatIsSkippedAndWhatIsBroken) {
  // Name, type, changes; client, server, seconds and nanoseconds of the event, or "skipped", or the failure.
  const auto rows = test::rowsOf(R"(
    a query                | 5    |                 | 192.0.2.1,192.0.2.53,1709967902,123456789
    a response             | 12   |                 | 192.0.2.1,192.0.2.53,1709967902,123456789
    type 0                 | 0    |                 | skipped
    an update              | 13   |                 | skipped
    one without its time   | 14   | rsec=0          | skipped
    an unknown type        | 1000 |                 | skipped
    5 in 32 bits           | 4294967301 |           | skipped
    no query               | 1    | query= response=00 | skipped
    no response            | 6    | query=00 response= | skipped
    no time                | 5    | qsec=0          | Expected message query_time_sec not to be 0 but got 0
    no time of a response  | 6    | rsec=0 qsec=17 response= | Expected message response_time_sec not to be 0 but got 17
    its own time counts    | 2    | qsec=0 qnsec=1000000000  | 192.0.2.1,192.0.2.53,1709967902,123456789
    the last nanosecond    | 3    | qnsec=999999999 | 192.0.2.1,192.0.2.53,1709967902,999999999
    past it                | 3    | qnsec=1000000000 query= | Expected message query_time_nsec to be less than 1000000000 but got 1000000000
    past it in a response  | 4    | rnsec=4294967295 | Expected message response_time_nsec to be less than 1000000000 but got 4294967295
    no addresses           | 9    | client= server= | ,,1709967902,123456789
    IPv4 in 16 bytes       | 5    | client=00000000000000000000ffffc0000201 | 192.0.2.1,192.0.2.53,1709967902,123456789
    IPv6                   | 5    | family=2 server=00000000000000000000ffffc0000201 | 192.0.2.1,::ffff:c000:201,1709967902,123456789
    5 bytes                | 5    | client=c000020100 | Expected message query_address to be 0, 4 or 16 bytes but got 5
    3 bytes                | 6    | server=c00002   | Expected message response_address to be 0, 4 or 16 bytes but got 3
  )",
                                 4);
  DnsMessageEvent event;
  for (const test::Row& row : rows) {
    SCOPED_TRACE(row[0]);
    const DnstapEvent record = makeRecord(std::stoull(row[1]), "1234", row[2]);
    std::string outcome = "skipped";
    const std::string failure = test::failureOf<DnsError>([&] {
      if (extractDnsMessageEventFromDnstapEvent(event, record))
        outcome = test::text(event.client) + "," + test::text(event.server) + "," + std::to_string(event.seconds) +
                  "," + std::to_string(event.nanoseconds);
    });
    EXPECT_EQ(row[3], failure.empty() ? outcome : failure);
    const auto expected = outcome != "skipped" ? Extraction::Event
                          : failure.empty()    ? Extraction::Skipped
                                               : Extraction::Broken;
    EXPECT_EQ(expected, tryExtractDnsMessageEvent(event, record));
    if (expected != Extraction::Event) continue;
    EXPECT_EQ(record.type % 2 == 1 ? &record.query_message : &record.response_message, event.message);
    EXPECT_EQ(record.type % 2 == 1, event.isQuery);
    EXPECT_EQ(53211U, event.port);
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
      event.type = type, event.message = type == 1 ? &query : &broken;
      EXPECT_EQ(format < 2, formatter.format(out, event));
    }
    event.type = 13, event.message = &query;
    EXPECT_FALSE(formatter.format(out, event));
    EXPECT_EQ(format < 2 ? 3 : 0, std::count(out.begin(), out.end(), '\n'));
    EXPECT_EQ(format == 1, test::text(out).find(": . [] IN A") != std::string::npos);
  }
}
