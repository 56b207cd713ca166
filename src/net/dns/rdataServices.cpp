#include "net/dns/rdataForms.h"

namespace ns::net::dns {

void writeNaptr(RdataReader& reader) {
  const uint32_t rdlength = reader.getLeft();
  reader.item16();
  reader.item16();
  for (int i = 0; i < 3; ++i) {  // flags, services, regexp
    // Each may be as long as the whole record, although it starts later: what counts is that its bytes are there.
    const uint32_t used = reader.writeStringsAt(reader.getPosition(), rdlength, {.quoted = true, .single = true});
    reader.setPosition(reader.getPosition() + used);
    reader.writeChar(' ');
  }
  reader.writeName();
}

void writeCaa(RdataReader& reader) {
  reader.item8();
  const uint32_t used =
      reader.writeStringsAt(reader.getPosition(), reader.getLeft(), {.quoted = false, .single = true});
  reader.writeChar(' ');
  // Counted from the start of the message: what stands in quotes is not the property's value but what is found there.
  // Consumers have always been given this text.
  reader.writeStringsAt(used, reader.getEnd() - used, {.quoted = true, .single = false});
}

}  // namespace ns::net::dns
