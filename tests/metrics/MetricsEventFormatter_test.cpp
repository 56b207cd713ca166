#include "metrics/MetricsEventFormatter.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace ns::metrics {

static std::string format(const MetricsEvent& event, bool useJson) {
  encoding::Bytes out(1, '>');  // what is there stays
  MetricsEventFormatter().format(out, event, useJson);
  return test::text(out);
}

/// A record with the fields that all kinds of endpoints have.
template <class Record>
static Record& add(std::vector<std::unique_ptr<Record>>& records, uint32_t id, const char* host, bool useIpv6) {
  Record& record = *records.emplace_back(std::make_unique<Record>());
  record.id = id, record.host = host, record.useIpv6 = useIpv6, record.port = 65535;
  return record;
}

TEST(MetricsEventFormatter, WritesBothFormsOfEveryRecord) {
  MetricsEvent event;
  event.queue.eventsProcessed = 1, event.queue.eventsQueued = 2, event.queue.eventsDropped = UINT64_MAX;
  const std::string queue = R"("queue":{"eventsProcessed":1,"eventsQueued":2,"eventsDropped":18446744073709551615})";
  EXPECT_EQ(R"(>{"listeners":[],)" + queue + R"(,"forwarders":[]})", format(event, true));
  EXPECT_EQ(">queue[type=message eventsProcessed=1 eventsQueued=2 eventsDropped=18446744073709551615]",
            format(event, false));

  event.listenerCount = 3;
  ListenerMetrics& first = add(event.listeners, 1, "", false);
  first.isUnix = true, first.path = "/a b\"", first.accepts = 11, first.activeReceivers = 12, first.peakReceivers = 13;
  add(event.listeners, 2, "127.0.0.1", false);
  ListenerMetrics& last = add(event.listeners, 3, "::1", true);
  const std::string listeners =
      R"("listeners":[{"id":1,"type":"unix","path":"\/a b\"","accepts":11,"activeReceivers":12,"peakReceivers":13},)"
      R"({"id":2,"type":"ipv4","host":"127.0.0.1","port":65535,"accepts":0,"activeReceivers":0,"peakReceivers":0},)"
      R"({"id":3,"type":"ipv6","host":"::1","port":65535,"accepts":0,"activeReceivers":0,"peakReceivers":0}],)";
  EXPECT_EQ(">{" + listeners + queue + R"(,"forwarders":[]})", format(event, true)) << "no receivers, no key";

  first.receiverCount = 1, last.receiverCount = 2, event.forwarderCount = 2;
  ReceiverMetrics& receiver = add(first.receivers, 4, "", false);
  receiver.isUnix = true, receiver.uid = 1000, receiver.gid = UINT32_MAX, receiver.pid = 77;
  receiver.bytesReceived = 41, receiver.eventsReceived = 42;
  add(first.receivers, 5, "left over", false);
  add(last.receivers, 6, "::2", true);
  add(last.receivers, 7, "10.0.0.2", false);
  ForwarderMetrics& forwarder = add(event.forwarders, 8, "a.example", false);
  forwarder.connected = true, forwarder.bytesSent = 5, forwarder.eventsSent = 6, forwarder.connects = 7;
  add(event.forwarders, 9, "::3", true).dnstapErrors = 8;
  EXPECT_EQ(
      ">{" + listeners +
          R"("receivers":[{"id":4,"listener":1,"type":"unix","uid":1000,"gid":4294967295,"pid":77,"bytesReceived":41,)"
          R"("eventsReceived":42},{"id":6,"listener":3,"type":"ipv6","host":"::2","port":65535,"bytesReceived":0,)"
          R"("eventsReceived":0},{"id":7,"listener":3,"type":"ipv4","host":"10.0.0.2","port":65535,"bytesReceived":0,)"
          R"("eventsReceived":0}],)" +
          queue +
          R"(,"forwarders":[{"id":8,"type":"ipv4","host":"a.example","port":65535,"state":"connected","connects":7,)"
          R"("bytesSent":5,"eventsSent":6,"dnstapErrors":0},{"id":9,"type":"ipv6","host":"::3","port":65535,)"
          R"("state":"not-connected","connects":0,"bytesSent":0,"eventsSent":0,"dnstapErrors":8}]})",
      format(event, true));
  EXPECT_EQ(
      ">listener[id=1 type=unix path=/a b\" accepts=11 activeReceivers=12 peakReceivers=13] "
      "listener[id=2 type=ipv4 host=127.0.0.1 port=65535 accepts=0 activeReceivers=0 peakReceivers=0] "
      "listener[id=3 type=ipv6 host=::1 port=65535 accepts=0 activeReceivers=0 peakReceivers=0] "
      "receiver[id=4 listener=1 type=unix uid=1000 gid=4294967295 pid=77 bytesReceived=41 eventsReceived=42] "
      "receiver[id=6 listener=3 type=ipv6 host=::2 port=65535 bytesReceived=0 eventsReceived=0] "
      "receiver[id=7 listener=3 type=ipv4 host=10.0.0.2 port=65535 bytesReceived=0 eventsReceived=0] "
      "queue[type=message eventsProcessed=1 eventsQueued=2 eventsDropped=18446744073709551615] "
      "forwarder[id=8 type=ipv4 host=a.example port=65535 state=connected connects=7 bytesSent=5 eventsSent=6 "
      "dnstapErrors=0] forwarder[id=9 type=ipv6 host=::3 port=65535 state=not-connected connects=0 bytesSent=0 "
      "eventsSent=0 dnstapErrors=8]",
      format(event, false));
}

}  // namespace ns::metrics
