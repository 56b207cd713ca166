#pragma once

#include "encoding/Bytes.h"
#include "encoding/dnstap/DnstapRecord.h"

namespace ns::encoding::dnstap {

/// One dnstap record that owns its bytes. Keep one object for record after record: its vectors keep their capacity.
struct DnstapEvent : DnstapRecord<Bytes> {
  Bytes encodedMessage;  // the encoder's scratch: its length goes out before it. Nothing else reads it.
};

}  // namespace ns::encoding::dnstap
