#pragma once

#include <atomic>
#include <cstdint>

#include "encoding/Bytes.h"
#include "encoding/dnstap/DnstapView.h"
#include "net/dns/event/DnsMessageEvent.h"
#include "net/dns/event/DnsMessageEventFormatter.h"

namespace ns::worker::forwarder {

/// Makes a line of text of a dnstap record. For one thread, as it decodes into scratch objects of its own.
class RecordFormatter {
 public:
  /// `brokenRecords` counts the records that break the rules; borrowed.
  /// `skippedRecords` those that are no event.
  RecordFormatter(const event::format::EventFormatterConfig& config, std::atomic<uint64_t>& brokenRecords,
                  std::atomic<uint64_t>& skippedRecords);

  /// Whether the target takes records as they came: there are no lines then.
  bool isFormatDnstap() const { return formatter.isFormatDnstap(); }

  /// Appends the record's line to `lines`. Returns false, with `lines` as it was, if it has none: it is broken, or no
  /// event of this format. Never throws.
  bool format(encoding::Bytes& lines, const unsigned char* record, uint32_t length);

 private:
  // Chosen once, by whether events are to be complete.
  bool (*const decode)(encoding::dnstap::DnstapView& view, const unsigned char* data, uint32_t length);
  net::dns::Extraction (*const extract)(net::dns::DnsMessageEvent& event,
                                        const encoding::dnstap::DnstapView& record) noexcept;
  net::dns::DnsMessageEventFormatter formatter;
  std::atomic<uint64_t>& brokenRecords;
  std::atomic<uint64_t>& skippedRecords;
  encoding::dnstap::DnstapView dnstapView;
  net::dns::DnsMessageEvent messageEvent;
};

}  // namespace ns::worker::forwarder
