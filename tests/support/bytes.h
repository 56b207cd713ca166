#pragma once

#include <cctype>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

// What every test of bytes needs: packets from hex, texts from byte vectors, the text of a failure.
namespace test {

/// The bytes of a hex text; blanks and line ends are passed over. The vector has no spare capacity, so that
/// AddressSanitizer sees a read of one byte too far.
inline std::vector<unsigned char> unhex(std::string_view hex) {
  std::string digits;
  for (const char c : hex) {
    if (!std::isspace(c)) digits += c;
  }
  std::vector<unsigned char> all(digits.size() / 2);
  for (size_t i = 0; i < all.size(); ++i)
    all[i] = static_cast<unsigned char>(std::stoi(digits.substr(2 * i, 2), nullptr, 16));
  return all;
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

/// The text of the exception that `action` throws, empty if it throws none. One that is not an `Expected` passes
/// through and fails the test.
template <class Expected = std::exception, class Action>
std::string failureOf(Action&& action) {
  try {
    action();
  } catch (const Expected& e) { return e.what(); }
  return "";
}

}  // namespace test
