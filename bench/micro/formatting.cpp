// From a decoded DNS message to the text of an event.

#include "event/format/EventHeaderWriter.h"
#include "event/format/headers.h"
#include "micro/records.h"
#include "net/dns/event/DnsMessageEventFormatter.h"
#include "net/dns/event/EventBody.h"

namespace {

using namespace bench;
using namespace ns::net::dns;
using ns::event::format::EventFormatterConfig;
using ns::event::format::EventHeaderWriter;

void headerFromNothing(benchmark::State& state) {
  const EventFormatterConfig config;
  ns::encoding::Bytes out;
  eachRecord(state, [&](const Record& record) {
    out.clear();
    ns::event::format::formatJsonHeader(out, config, static_cast<int64_t>(record.event.seconds),
                                        record.event.nanoseconds);
  });
}
BENCHMARK(headerFromNothing);

void header(benchmark::State& state) {
  EventHeaderWriter writer(EventFormatterConfig(), EventHeaderWriter::Kind::Json);
  ns::encoding::Bytes out;
  eachRecord(state, [&](const Record& record) {
    out.clear();
    ns::encoding::data::Tail tail(out);
    writer.write(tail, static_cast<int64_t>(record.event.seconds), record.event.nanoseconds);
    tail.finish();
  });
}
BENCHMARK(header);

void body(benchmark::State& state, const EventBody& body, bool extended) {
  EventFormatterConfig config;
  config.querylogExtended = extended;
  ns::encoding::Bytes out;
  eachRecord(state, [&](Record& record) {
    out.clear();
    LineWriter line(out);
    findDomains(record.message, record.event.isQuery ? DomainsOf::Question : body.domains(config), config);
    body.write(line, {record.event, record.message, config});
    line.finish();
  });
}
BENCHMARK_CAPTURE(body, json, json_body, false);
BENCHMARK_CAPTURE(body, querylog, querylog_body, false);
BENCHMARK_CAPTURE(body, querylogExtended, querylog_body, true);

// Header, message and body in one go, as a forwarder has it done.
void wholeEvent(benchmark::State& state, uint32_t messageFormat) {
  EventFormatterConfig config;
  config.messageFormat = messageFormat;
  DnsMessageEventFormatter formatter(config);
  ns::encoding::Bytes out;
  eachRecord(state, [&](const Record& record) {
    out.clear();
    formatter.format(out, record.event);
  });
}
BENCHMARK_CAPTURE(wholeEvent, json, 0U);
BENCHMARK_CAPTURE(wholeEvent, querylog, 1U);

}  // namespace
