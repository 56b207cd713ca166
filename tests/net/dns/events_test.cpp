#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <variant>

#include "net/dns/DnsError.h"
#include "net/dns/DnsMessageEvent.h"
#include "net/dns/DnsMessageEventFormatter.h"
#include "net/dns/suffixes.h"
#include "support/appended.h"
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

static std::string format(const DnstapEvent& record, const std::string& settings, uint64_t type) {
  const auto has = [&](const char* word) { return settings.find(word) != settings.npos; };
  EventFormatterConfig config;
  config.pid = 4242;
  config.hostname = unhex("6e7331");
  config.messageFormat = has("json") ? 0 : has("dnstap") ? 2 : has("unknown") ? 3 : 1;
  config.querylogExtended = has("extended");
  config.syslogRfc3164 = has("bsd");
  config.fqdnTrailingDot = !has("dotless");
  config.domainSuffixEnabled = !has("off");
  config.domainSuffixBuiltin = config.domainSuffixConfig = !has("neither");
  DnsMessageEventFormatter formatter(config);
  EXPECT_EQ(config.messageFormat == 2, formatter.isFormatDnstap());
  DnsMessageEvent event;
  EXPECT_TRUE(extractDnsMessageEventFromDnstapEvent(event, record));
  event.type = type;
  bool sent = false;
  const auto append = [&](Bytes& out) { sent = formatter.format(out, event); };
  const std::string once = test::appended(append);
  EXPECT_EQ(sent, !once.empty());
  EXPECT_EQ(once + once, test::appended([&](Bytes& out) { append(out), append(out); })) << "events stand back to back";
  return once;
}

static const std::string Packets[] = {
    "1234 0100 0001 0000 0000 0000 03777777 074578616d706c65 03636f6d 00 0001 0001",
    "1234 8180 0001 0001 0000 0000 03777777 074578616d706c65 03636f6d 00 0001 0001 c00c 0001 0001 0000012c 0004 "
    "c0000250",
    "1234 0100 0000 0000 0000 0000",
    // No recursion desired, all other flags set that are shown, a class and types without a name, a backslash and a
    // slash in the owner of the answer, and EDNS.
    "1234 02af 0001 0001 0001 0002 00 ff00 0002 035c2f61 c00c 0005 0002 00000000 0001 00"
    "00 0001 0001 00000001 0004 c0000201 00 0029 04d0 00000000 0000 00 ff00 0001 ffffffff 0001 2f"};

TEST(DnsMessageEventFormatter, WritesEachEventAsItsFormatHasIt) {
  loadPslDomainSuffixes(true);
  const std::pair<std::string, std::string> parts[] = {
      {"{iso}", "<30>1 2024-03-09T07:05:02.123456Z ns1 wirelark 4242 - - "},
      {"{open}", R"({"timestamp":"2024-03-09T07:05:02.123456Z","host":"ns1","schema":1,)"},
      {"{peers}", R"("data":{"client":"192.0.2.1","server":"192.0.2.53","port":53211,)"},
      {"{error}", "Read DNS message failed: No question RRs 0 is not 1"},
      {"{asked}", "queries: client 192.0.2.1#53211: query: www.Example.com. IN A"}};
  // Name, settings, type, number of the packet, changes, line
  const auto rows = test::rowsOf(R"(
    query log, query    | querylog | 5 | 0 | | {iso}queries: client 192.0.2.1#53211: query: www.Example.com. IN A + (192.0.2.53)
    response, BSD, TCP  | bsd      | 6 | 1 | proto=2 | <30>Mar  9 07:05:02 ns1 wirelark[4242]: queries: client 192.0.2.1#53211: response: www.Example.com. IN A +T (192.0.2.53) NOERROR; www.Example.com. 300 IN A 192.0.2.80
    extended, response  | extended | 6 | 1 | | {iso}queries: client 192.0.2.1#53211 %4660: response: www.Example.com. [example.com.] IN A + (192.0.2.53 49b) NOERROR; www.Example.com. [example.com.] 300 IN A 192.0.2.80
    query log, error    | querylog | 5 | 2 | | {iso}errors: {error}: client 192.0.2.1#53211: server 192.0.2.53: packet \# 12 123401000000000000000000
    JSON, query         | json     | 5 | 0 | | {open}"type":"client-query",{peers}"proto":"UDP","size":33,"txid":4660,"flags":{"rd":true},"qname":"www.Example.com.","qdomain":"example.com.","qclass":"IN","qtype":"A"}}
    JSON, response      | json     | 6 | 1 | | {open}"type":"client-response",{peers}"proto":"UDP","size":49,"txid":4660,"flags":{"rd":true,"ra":true,"aa":false,"tc":false},"qname":"www.Example.com.","qdomain":"example.com.","qclass":"IN","qtype":"A","rcode":"NOERROR","answers":[{"name":"www.Example.com.","domain":"example.com.","ttl":300,"rrclass":"IN","rrtype":"A","data":"192.0.2.80"}],"authority":[],"additional":[]}}
    JSON, error         | json     | 5 | 2 | | {open}"type":"error",{peers}"size":12,"packet":"123401000000000000000000","text":"{error}"}}
    JSON, odd           | json     | 8 | 3 | proto=0x10009 | {open}"type":"forwarder-response",{peers}"proto":"PROTO9","size":72,"txid":4660,"flags":{"rd":false,"ra":true,"aa":true,"tc":true},"qname":".","qdomain":".","qclass":"CLASS2","qtype":"TYPE65280","rcode":"RCODE15","answers":[{"name":"\\\\\/a.","domain":"\\\\\/a.","ttl":0,"rrclass":"CLASS2","rrtype":"CNAME","data":"."}],"authority":[{"name":".","domain":".","ttl":1,"rrclass":"IN","rrtype":"A","data":"192.0.2.1"}],"additional":[{"name":".","domain":".","ttl":4294967295,"rrclass":"IN","rrtype":"TYPE65280","data":"\\# 1 2F"}]}}
    extended, odd       | extended | 8 | 3 | proto=3 | {iso}queries: forwarder 192.0.2.1#53211 %4660: response: . [.] CLASS2 TYPE65280 -T (192.0.2.53 72b) RCODE15; \\/a. [\\/a.] 0 CLASS2 CNAME .
    no records          | querylog | 5 | 1 | | {iso}{asked} + (192.0.2.53)
    DOH                 | querylog | 5 | 0 | proto=4 | {iso}{asked} +T (192.0.2.53)
    DNSCrypt, UDP       | querylog | 5 | 0 | proto=5 | {iso}{asked} + (192.0.2.53)
    DNSCrypt, TCP       | querylog | 5 | 0 | proto=6 | {iso}{asked} +T (192.0.2.53)
    DOQ                 | querylog | 5 | 0 | proto=7 | {iso}{asked} + (192.0.2.53)
    2 in 32 bits        | querylog | 5 | 0 | proto=0x100000002 | {iso}{asked} + (192.0.2.53)
    no addresses        | querylog | 9 | 0 | client= server= | {iso}queries: stub #53211: query: www.Example.com. IN A + (<unknown>)
    none, error         | querylog | 9 | 2 | client= server= port=0xffffffffffffffff | {iso}errors: {error}: client #18446744073709551615: server : packet \# 12 123401000000000000000000
    JSON, domains off   | json off | 5 | 0 | | {open}"type":"client-query",{peers}"proto":"UDP","size":33,"txid":4660,"flags":{"rd":true},"qname":"www.Example.com.","qclass":"IN","qtype":"A"}}
    domains off         | extended off | 6 | 1 | | {iso}queries: client 192.0.2.1#53211 %4660: response: www.Example.com. [] IN A + (192.0.2.53 49b) NOERROR; www.Example.com. [] 300 IN A 192.0.2.80
    no suffixes         | extended neither | 5 | 0 | | {iso}queries: client 192.0.2.1#53211 %4660: query: www.Example.com. [] IN A + (192.0.2.53 33b)
    no trailing dot     | dotless  | 6 | 1 | | {iso}queries: client 192.0.2.1#53211: response: www.Example.com IN A + (192.0.2.53) NOERROR; www.Example.com 300 IN A 192.0.2.80
    dnstap              | dnstap   | 5 | 0 | |
    an unknown format   | unknown  | 5 | 0 | |
  )",
                                 6);
  for (const test::Row& row : rows) {
    SCOPED_TRACE(row[0]);
    std::string line = row[5] + (row[5].empty() ? "" : "\n");
    for (const auto& [name, text] : parts) {
      if (const size_t at = line.find(name); at != line.npos) line.replace(at, name.size(), text);
    }
    const uint64_t type = std::stoull(row[2]);
    EXPECT_EQ(line, format(makeRecord(type, Packets[std::stoul(row[3])], row[4]), row[1], type));
  }
}

TEST(DnsMessageEventFormatter, WritesOfUnknownTypesOnlyErrors) {
  for (const char* const settings : {"json", "querylog"}) {
    EXPECT_EQ("", format(makeRecord(5, Packets[0], ""), settings, 13));
    EXPECT_NE("", format(makeRecord(5, Packets[2], ""), settings, 13));
    EXPECT_NE("", format(makeRecord(5, Packets[0], ""), settings, 0));
    // A query whose records are bad
    const std::string bad = Packets[1].substr(0, Packets[1].size() - 2);
    EXPECT_NE(std::string::npos, format(makeRecord(5, bad, ""), settings, 5).find("Offset 45 + record data length 4"));
  }
}
