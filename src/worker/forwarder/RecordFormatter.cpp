#include "worker/forwarder/RecordFormatter.h"

#include "encoding/dnstap/DnstapDecoder.h"

namespace ns::worker::forwarder {

using net::dns::Extraction;

bool RecordFormatter::format(encoding::Bytes& lines, const unsigned char* record, uint32_t length) {
  try {
    if (encoding::dnstap::tryDecodeDnstapEvent(dnstapView, record, length)) {
      const Extraction extraction = net::dns::tryExtractDnsMessageEvent(messageEvent, dnstapView);
      if (extraction == Extraction::Event) return formatter.format(lines, messageEvent);
      if (extraction == Extraction::Skipped) return false;
    }
  } catch (const std::exception&) {  // memory; the line is taken back whole
  }
  ++brokenRecords;
  return false;
}

}  // namespace ns::worker::forwarder
