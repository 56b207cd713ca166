#pragma once

#include <string>

#include "encoding/Bytes.h"
#include "support/bytes.h"

namespace test {

/// What a formatter appends to a byte vector. Fails by a visible mark if it touches what was there before.
template <class Format>
std::string appended(Format&& format) {
  ns::encoding::Bytes buffer(1, '>');
  buffer.shrink_to_fit();
  format(buffer);
  const std::string all = text(buffer);
  return all.substr(0, 1) == ">" ? all.substr(1) : "(overwritten)" + all;
}

}  // namespace test
