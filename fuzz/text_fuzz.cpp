// Any text for the parsers of hex, base64 and addresses, and any bytes for the writers: what was written reads back.
#include "encoding/base64.h"
#include "encoding/hex.h"
#include "encoding/ip.h"
#include "encoding/json.h"
#include "fuzz.h"

using namespace ns::encoding;

template <class Parse>
static bool parses(Parse parse) {
  try {
    parse();
    return true;
  } catch (const ns::error::UnknownError&) { return false; }
}

template <class Format, class Parse>
static void readsBack(const Bytes& bytes, Format format, Parse parse) {
  Bytes written, read;
  format(written, bytes.data(), static_cast<uint32_t>(bytes.size()));
  const std::string text(fuzz::view(written));
  parse(read, text.data(), text.size());
  fuzz::require(read == bytes, "what was written reads back");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = fuzz::text(data, size);
  Bytes bytes(size);
  std::copy(data, data + size, bytes.begin());
  readsBack(bytes, hex::formatHex, hex::parseHex);
  readsBack(bytes, base64::formatBase64, base64::parseBase64);

  Bytes parsed;
  if (parses([&] { hex::parseHex(parsed, input.data(), input.size()); })) {
    fuzz::require(parsed.size() * 2 == size, "two digits a byte");
  }
  parsed.clear();
  if (parses([&] { base64::parseBase64(parsed, input.data(), input.size()); })) {
    fuzz::require(parsed.size() <= size / 4 * 3, "three bytes of four characters");
  }
  parsed.clear();
  if (parses([&] { ip::parseIp(parsed, input.data(), input.size()); })) {
    Bytes written, again;
    (parsed.size() == 4 ? ip::formatIpv4 : ip::formatIpv6)(written, parsed.data());
    const std::string text(fuzz::view(written));
    ip::parseIp(again, text.data(), text.size());
    fuzz::require(again == parsed, "an address reads back");
  }

  Bytes json;
  json::formatJsonStr(json, data, static_cast<uint32_t>(size));
  fuzz::Json value(fuzz::view(json));
  fuzz::require(value.value() && value.text.empty(), "a JSON string, whatever it holds");
  return 0;
}
