#include "metrics/MetricsEventFormatter.h"

#include <algorithm>
#include <string_view>

#include "encoding/data.h"
#include "encoding/json.h"

namespace ns::metrics {

namespace data = encoding::data;
namespace json = encoding::json;

namespace {

/// The keys and values of one record. Both forms of the line have the same keys in the same order, so that each record
/// is told once and the form is decided here.
class Fields {
 public:
  Fields(encoding::Bytes& bytes, bool json) : buffer(bytes), useJson(json) {}

  void number(const char* key, uint64_t value) {
    startValue(key);
    data::formatUint(buffer, value);
  }

  void text(const char* key, std::string_view value) {
    startValue(key);
    if (useJson) {
      json::formatJsonStr(buffer, reinterpret_cast<const unsigned char*>(value.data()),
                          static_cast<uint32_t>(value.size()));
    } else {
      data::formatChars(buffer, value);  // raw: a blank or bracket in a socket's path is the operator's own
    }
  }

 private:
  void startValue(const char* key) {
    if (useJson) {
      json::formatJsonKey(buffer, key, first);
    } else {
      if (!first) data::formatChar(buffer, ' ');
      data::formatChars(buffer, key);
      data::formatChar(buffer, '=');
    }
    first = false;
  }

  encoding::Bytes& buffer;
  const bool useJson;
  bool first = true;
};

}  // namespace

template <class Record>
static void listTcpEndpoint(Fields& fields, const Record& record) {
  fields.text("type", record.useIpv6 ? "ipv6" : "ipv4");
  fields.text("host", record.host);
  fields.number("port", record.port);
}

static void listFields(Fields fields, const ListenerMetrics& listener) {
  fields.number("id", listener.id);
  if (listener.isUnix) {
    fields.text("type", "unix");
    fields.text("path", listener.path);
  } else {
    listTcpEndpoint(fields, listener);
  }
  fields.number("accepts", listener.accepts);
  fields.number("activeReceivers", listener.activeReceivers);
  fields.number("peakReceivers", listener.peakReceivers);
}

static void listFields(Fields fields, const ReceiverMetrics& receiver, uint32_t listenerId) {
  fields.number("id", receiver.id);
  fields.number("listener", listenerId);
  if (receiver.isUnix) {
    fields.text("type", "unix");
    fields.number("uid", receiver.uid);
    fields.number("gid", receiver.gid);
    fields.number("pid", receiver.pid);
  } else {
    listTcpEndpoint(fields, receiver);
  }
  fields.number("bytesReceived", receiver.bytesReceived);
  fields.number("eventsReceived", receiver.eventsReceived);
}

static void listFields(Fields& fields, const EventQueueMetrics& queue) {
  fields.number("eventsProcessed", queue.eventsProcessed);
  fields.number("eventsQueued", queue.eventsQueued);
  fields.number("eventsDropped", queue.eventsDropped);
}

static void listFields(Fields fields, const ForwarderMetrics& forwarder) {
  fields.number("id", forwarder.id);
  listTcpEndpoint(fields, forwarder);
  fields.text("state", forwarder.connected ? "connected" : "not-connected");
  fields.number("connects", forwarder.connects);
  fields.number("bytesSent", forwarder.bytesSent);
  fields.number("eventsSent", forwarder.eventsSent);
  fields.number("dnstapErrors", forwarder.dnstapErrors);
  if (forwarder.tellsSkipped) fields.number("eventsSkipped", forwarder.eventsSkipped);
}

/// Calls `action` for the first `count` records.
template <class Records, class Action>
static void forEach(const Records& records, uint32_t count, Action&& action) {
  const size_t end = std::min<size_t>(records.size(), count);
  for (size_t i = 0; i < end; ++i) action(*records[i]);
}

/// Calls `action` for every live receiver, with its listener.
template <class Action>
static void forEachReceiver(const MetricsEvent& event, Action&& action) {
  forEach(event.listeners, event.listenerCount, [&](const ListenerMetrics& listener) {
    forEach(listener.receivers, listener.receiverCount,
            [&](const ReceiverMetrics& receiver) { action(receiver, listener.id); });
  });
}

static bool hasReceivers(const MetricsEvent& event) {
  bool found = false;
  forEachReceiver(event, [&](const ReceiverMetrics&, uint32_t) { found = true; });
  return found;
}

/// One object of an array.
template <class... Record>
static void formatObject(encoding::Bytes& buffer, const Record&... record) {
  data::formatChars(buffer, buffer.back() == '[' ? "{" : ",{");
  listFields(Fields(buffer, true), record...);
  data::formatChar(buffer, '}');
}

static void formatJson(encoding::Bytes& buffer, const MetricsEvent& event) {
  const auto format = [&](const auto&... record) { formatObject(buffer, record...); };
  data::formatChars(buffer, "{\"listeners\":[");
  forEach(event.listeners, event.listenerCount, format);
  if (hasReceivers(event)) {  // without a connection the key is left out, not empty
    data::formatChars(buffer, "],\"receivers\":[");
    forEachReceiver(event, format);
  }
  data::formatChars(buffer, "],\"queue\":{");
  Fields queue(buffer, true);
  listFields(queue, event.queue);
  data::formatChars(buffer, "},\"forwarders\":[");
  forEach(event.forwarders, event.forwarderCount, format);
  data::formatChars(buffer, "]}");
}

template <class... Record>
static void formatGroup(encoding::Bytes& buffer, const char* open, const char* close, const Record&... record) {
  data::formatChars(buffer, open);
  listFields(Fields(buffer, false), record...);
  data::formatChars(buffer, close);
}

// The blank stands behind the groups before the queue's and in front of those after it, so that the line has none at
// either end.
static void formatKeyValue(encoding::Bytes& buffer, const MetricsEvent& event) {
  forEach(event.listeners, event.listenerCount,
          [&](const auto& listener) { formatGroup(buffer, "listener[", "] ", listener); });
  forEachReceiver(event, [&](const auto& receiver, uint32_t listenerId) {
    formatGroup(buffer, "receiver[", "] ", receiver, listenerId);
  });
  data::formatChars(buffer, "queue[");
  Fields queue(buffer, false);
  queue.text("type", "message");
  listFields(queue, event.queue);
  data::formatChar(buffer, ']');
  forEach(event.forwarders, event.forwarderCount,
          [&](const auto& forwarder) { formatGroup(buffer, " forwarder[", "]", forwarder); });
}

void MetricsEventFormatter::format(encoding::Bytes& buffer, const MetricsEvent& event, bool useJson) const {
  if (useJson) {
    formatJson(buffer, event);
  } else {
    formatKeyValue(buffer, event);
  }
}

}  // namespace ns::metrics
