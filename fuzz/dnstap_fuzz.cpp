// Any bytes as a dnstap record: both decoders agree, the walk ends, and what was decoded survives being encoded.
#include "encoding/dnstap/dnstap.h"
#include "fuzz.h"

using namespace ns::encoding::dnstap;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static DnstapEvent reused;
  static DnstapView view;
  const auto length = static_cast<uint32_t>(size);
  DnstapEvent event;
  bool decoded = true;
  try {
    decodeDnstapEvent(event, data, length, 0);
  } catch (const DnstapError&) { decoded = false; }
  fuzz::require(tryDecodeDnstapEvent(view, data, length) == decoded, "both decoders take the same records");
  view.copyTo(reused);
  try {
    getDnstapEventType(event, data, length, 0);
  } catch (const DnstapError&) {  // a record without a type
  }
  if (!decoded) return 0;

  ns::encoding::Bytes first, second, third;
  encodeDnstapEvent(first, event);
  encodeDnstapEvent(second, reused);
  fuzz::require(first == second, "a reused event holds nothing of the record before");
  // Seven bytes fields, which may overlap where the walk steps back.
  fuzz::require(first.size() <= 7 * size + 128, "the output is bounded by the input");
  fuzz::require(tryDecodeDnstapEvent(view, first.data(), static_cast<uint32_t>(first.size())), "output is a record");
  view.copyTo(reused);
  encodeDnstapEvent(third, reused);
  fuzz::require(first == third, "a decode of an encode is the same event");
  return 0;
}
