#include "worker/forwarder/RecordFormatter.h"

#include "encoding/dnstap/DnstapDecoder.h"

namespace ns::worker::forwarder {

using net::dns::Extraction;

RecordFormatter::RecordFormatter(const event::format::EventFormatterConfig& config,
                                 std::atomic<uint64_t>& brokenRecords, std::atomic<uint64_t>& skippedRecords)
    : decode(config.completeEvents ? encoding::dnstap::tryDecodeWholeRecord : encoding::dnstap::tryDecodeDnstapEvent),
      extract(config.completeEvents ? net::dns::tryExtractCompleteEvent : net::dns::tryExtractDnsMessageEvent),
      formatter(config),
      brokenRecords(brokenRecords),
      skippedRecords(skippedRecords) {}

bool RecordFormatter::format(encoding::Bytes& lines, const unsigned char* record, uint32_t length) {
  try {
    if (decode(dnstapView, record, length)) {
      const Extraction extraction = extract(messageEvent, dnstapView);
      if (extraction == Extraction::Event && formatter.format(lines, messageEvent)) return true;
      if (extraction != Extraction::Broken) {
        ++skippedRecords;
        return false;
      }
    }
  } catch (const std::exception&) {  // memory; the line is taken back whole
  }
  ++brokenRecords;
  return false;
}

}  // namespace ns::worker::forwarder
