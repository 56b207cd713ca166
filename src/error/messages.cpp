#include "error/messages.h"

#include <openssl/err.h>

#include <array>
#include <cstring>

namespace ns::error {

std::string getMessage(int number) {
  // strerror_r and not strerror: several workers fail at once when a network goes down, and strerror has one buffer.
  std::array<char, 256> buffer{};
  return strerror_r(number, buffer.data(), buffer.size());
}

bool takeSslError(std::string& text) {
  const unsigned long code = ERR_get_error();
  if (code == 0) return false;
  std::array<char, 256> buffer{};
  ERR_error_string_n(code, buffer.data(), buffer.size());
  text = buffer.data();
  return true;
}

std::string getSslError() {
  std::string all;
  for (std::string text; takeSslError(text);) {
    if (!all.empty()) all += ", ";
    all += text;
  }
  return all.empty() ? "Unknown error" : all;
}

}  // namespace ns::error
