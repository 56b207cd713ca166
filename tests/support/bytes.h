#pragma once

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

// What every test of bytes needs: packets from hex, texts from byte vectors, the text of a failure.
namespace test {

/// The bytes of a hex text; blanks and line ends are passed over. The vector has no spare capacity, so that
/// AddressSanitizer sees a read of one byte too far.
inline std::vector<unsigned char> unhex(std::string_view hex) {
  std::vector<unsigned char> all;
  int nibble = -1;
  for (const char c : hex) {
    if (c == ' ' || c == '\n') continue;
    const int value = c <= '9' ? c - '0' : (c | 32) - 'a' + 10;
    if (value < 0 || value > 15) std::abort();
    if (nibble < 0) {
      nibble = value;
    } else {
      all.push_back(static_cast<unsigned char>(nibble << 4 | value));
      nibble = -1;
    }
  }
  if (nibble >= 0) std::abort();
  return {all.begin(), all.end()};
}

template <class Vector>
uint32_t size32(const Vector& bytes) {
  return static_cast<uint32_t>(bytes.size());
}

template <class Vector>
std::string text(const Vector& bytes) {
  return {bytes.begin(), bytes.end()};
}

inline std::vector<unsigned char> bytes(std::string_view text) { return {text.begin(), text.end()}; }

/// The text of the exception that `action` throws; empty if it throws none.
template <class Action>
std::string failureOf(Action&& action) {
  try {
    action();
  } catch (const std::exception& e) { return e.what(); }
  return "";
}

/// As failureOf, but any exception that is not an `Expected` passes through and fails the test.
template <class Expected, class Action>
std::string failureAs(Action&& action) {
  try {
    action();
  } catch (const Expected& e) { return e.what(); }
  return "";
}

}  // namespace test
