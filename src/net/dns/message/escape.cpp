#include "net/dns/message/escape.h"

namespace ns::net::dns {

template <class Escapes>
unsigned char* writeEscapedBytewise(unsigned char* out, const unsigned char* text, uint32_t length) {
  for (const unsigned char* const end = text + length; text != end; ++text) {
    const unsigned char byte = *text;
    if (byte >= Escapes::FirstPlain && byte <= '~') {
      if (Escapes::hasMeaning(byte)) *out++ = '\\';
      *out++ = byte;
    } else {
      *out++ = '\\';
      *out++ = static_cast<unsigned char>('0' + byte / 100);
      *out++ = static_cast<unsigned char>('0' + byte / 10 % 10);
      *out++ = static_cast<unsigned char>('0' + byte % 10);
    }
  }
  return out;
}

template unsigned char* writeEscapedBytewise<QuotedEscapes>(unsigned char*, const unsigned char*, uint32_t);
template unsigned char* writeEscapedBytewise<LabelEscapes>(unsigned char*, const unsigned char*, uint32_t);

}  // namespace ns::net::dns
