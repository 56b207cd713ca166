#include "net/dns/event/MoreTexts.h"

#include <exception>

#include "encoding/data.h"
#include "net/dns/message/MessageText.h"
#include "net/dns/message/escape.h"
#include "net/dns/message/names.h"

namespace ns::net::dns {

using Wire = std::span<const unsigned char>;

// Replaces `text` by a name that takes all of `wire`. Leaves it empty, and returns false, if that is none.
static bool readWhole(encoding::Bytes& text, Wire wire, bool trailingDot) {
  text.clear();
  if (wire.empty()) return false;
  const auto length = static_cast<uint32_t>(wire.size());
  try {
    MessageText name(text, trailingDot);
    if (readName(0, wire.data(), length, name).offset != length) return false;
    name.finish();
    return true;
  } catch (const std::exception&) { return false; }
}

void MoreTexts::read(const DnsMessageEvent::More& more, bool trailingDot) {
  readWhole(zone, more.zone, trailingDot);
  const Wire rule = more.policyRule;
  if (readWhole(policyRule, rule, trailingDot) || rule.empty()) return;
  unsigned char* const out = encoding::data::grow(policyRule, escapedRoom(rule.size()));
  const unsigned char* const end =
      writeEscaped(out, rule.data(), static_cast<uint32_t>(rule.size()), rule.data() + rule.size());
  policyRule.resize(static_cast<size_t>(end - out));
}

}  // namespace ns::net::dns
