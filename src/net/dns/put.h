#pragma once

#include <cstddef>
#include <cstring>

#include "encoding/Bytes.h"

// Stores behind each other, into room made before. Each returns the end of what it wrote.
namespace ns::net::dns {

/// A literal: its length is known, so that it goes in with a few plain stores.
template <size_t Size>
inline unsigned char* put(unsigned char* out, const char (&literal)[Size]) {
  std::memcpy(out, literal, Size - 1);
  return out + (Size - 1);
}

/// The bytes of a vector, or those from an offset on.
inline unsigned char* put(unsigned char* out, const encoding::Bytes& bytes, size_t from = 0) {
  const size_t count = bytes.size() - from;
  if (count != 0) std::memcpy(out, bytes.data() + from, count);
  return out + count;
}

}  // namespace ns::net::dns
