#include <array>
#include <string_view>

#include "encoding/data.h"
#include "net/dns/message/presentationForms.h"

namespace data = ns::encoding::data;

// Service bindings (RFC 9460): a priority, a target and parameters, each with a key and the length of its value.
namespace ns::net::dns {

namespace {

enum Key : uint16_t { Mandatory, Alpn, NoDefaultAlpn, Port, Ipv4hint, Ech, Ipv6hint, Dohpath };

/// The keys that have a name (RFC 9460, 14.3.2; RFC 9461 for the last). The registry has more, which BIND 9.18 does not
/// read; every reader takes `key8` for `ohttp`.
constexpr std::array<std::string_view, 8> KeyNames{"mandatory", "alpn", "no-default-alpn", "port",
                                                   "ipv4hint",  "ech",  "ipv6hint",        "dohpath"};

void putKey(FieldWriter& writer, uint16_t key) {
  if (key < KeyNames.size()) {
    writer.put(KeyNames[key]);
  } else {
    writer.put("key");
    writer.putUint(key);
  }
}

/// The keys that must be understood: each once, in their order, and not the list's own. Readers refuse one that the
/// record doesn't have; `params` are those, from their start.
bool writeMandatory(FieldWriter& value, FieldWriter params) {
  int last = Mandatory;
  do {
    const unsigned char* const bytes = value.take(2);
    if (bytes == nullptr || data::loadUint16(bytes) <= last) return false;
    if (last != Mandatory) value.put(',');
    last = data::loadUint16(bytes);
    putKey(value, data::loadUint16(bytes));
    // Both lists are in order: one walk through the parameters is enough for all.
    for (int key = -1; key != last;) {
      const unsigned char* const head = params.take(4);
      if (head == nullptr || params.take(data::loadUint16(head + 2)) == nullptr) return false;
      key = data::loadUint16(head);
    }
  } while (!value.atEnd());
  return true;
}

/// A protocol as an item of a list (RFC 9460, A.1): commas and backslashes get a backslash as such, and again one for
/// each as the list is the text of a character string.
void putProtocol(FieldWriter& value, const unsigned char* bytes, uint32_t count) {
  uint32_t start = 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (bytes[i] != ',' && bytes[i] != '\\') continue;
    value.putEscaped(bytes + start, i - start);
    value.put("\\\\");
    start = i;
    if (bytes[i] == ',') {
      value.put(',');
      ++start;
    }
  }
  value.putEscaped(bytes + start, count - start);
}

bool writeAlpn(FieldWriter& value) {
  bool first = true;
  do {
    const unsigned char* const count = value.take(1);
    const unsigned char* const bytes = count == nullptr ? nullptr : value.take(*count);
    if (bytes == nullptr || *count == 0) return false;
    if (!first) value.put(',');
    putProtocol(value, bytes, *count);
    first = false;
  } while (!value.atEnd());
  return true;
}

bool writeHints(FieldWriter& value, bool (FieldWriter::*write)()) {
  if (!(value.*write)()) return false;
  while (!value.atEnd()) {
    value.put(',');
    if (!(value.*write)()) return false;
  }
  return true;
}

bool writeText(FieldWriter& value) {
  const uint32_t count = value.getLeft();
  value.putEscaped(value.take(count), count);
  return true;
}

bool writeValue(FieldWriter& value, uint16_t key, const FieldWriter& params) {
  switch (key) {
    case Mandatory: return writeMandatory(value, params);
    case Alpn: return writeAlpn(value);
    case Port: return value.writeUint16();
    case Ipv4hint: return writeHints(value, &FieldWriter::writeIpv4);
    case Ech: return value.writeBase64();
    case Ipv6hint: return writeHints(value, &FieldWriter::writeIpv6);
    case NoDefaultAlpn: return false;  // has none
    default: return writeText(value);
  }
}

/// Whether a parameter is as it should be without a value; if so, that is written without `=`.
bool mayBeEmpty(uint16_t key) { return key == NoDefaultAlpn || key > Dohpath; }

bool writeParameter(FieldWriter& writer, int& last, const FieldWriter& params) {
  const unsigned char* const head = writer.take(4);
  if (head == nullptr) return false;
  const uint16_t key = data::loadUint16(head), count = data::loadUint16(head + 2);
  if (key <= last || count > writer.getLeft()) return false;
  const bool withoutAlpn = key == NoDefaultAlpn && last != Alpn;  // says to use only those that alpn names
  last = key;
  putKey(writer, key);
  if (count == 0) return mayBeEmpty(key) && !withoutAlpn;
  FieldWriter value = writer.takePart(count);
  writer.put("=\"");
  if (!writeValue(value, key, params) || !value.atEnd()) return false;
  writer.put('"');
  return true;
}

}  // namespace

/// Priority 0 makes an alias, which has no parameters (RFC 9460, 2.4.2).
bool writeServiceBinding(FieldWriter& writer) {
  if (!writer.writeUint16()) return false;
  const bool alias = writer.back(1) == 0 && writer.back(2) == 0;
  writer.put(' ');
  if (!writer.writeName()) return false;
  const FieldWriter params = writer;
  for (int last = -1; !writer.atEnd();) {
    writer.put(' ');
    if (alias || !writeParameter(writer, last, params)) return false;
  }
  return true;
}

}  // namespace ns::net::dns
