#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "encoding/Bytes.h"

// What the fuzz targets share: an invariant that fails ends the run, and a file that is only in memory.
namespace fuzz {

inline void require(bool holds, const char* invariant) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", invariant);
  std::abort();
}

inline std::string_view view(const ns::encoding::Bytes& bytes) {
  // NOLINTNEXTLINE: text is made of bytes
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline std::string text(const uint8_t* data, size_t size) { return {data, data + size}; }

/// A file with these bytes that has a path as long as the object lives.
class MemoryFile {
 public:
  MemoryFile(const uint8_t* data, size_t size) : descriptor(memfd_create("fuzz", 0)) {
    require(descriptor >= 0 && write(descriptor, data, size) == static_cast<ssize_t>(size), "memory for the input");
  }
  ~MemoryFile() { ::close(descriptor); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

 private:
  int descriptor;
};

/// Takes an input apart from the front.
class Input {
 public:
  Input(const uint8_t* bytes, size_t count) : data(bytes), left(count) {}
  bool empty() const { return left == 0; }
  uint8_t byte() { return empty() ? uint8_t{0} : (--left, *data++); }
  std::string_view take(size_t count) {
    const size_t size = count < left ? count : left;
    // NOLINTNEXTLINE: text is made of bytes
    const std::string_view taken(reinterpret_cast<const char*>(data), size);
    data += size;
    left -= size;
    return taken;
  }
  const uint8_t* data;
  size_t left;
};

/// Reads one JSON value (RFC 8259) off the front of `text`; returns false if there is none. Strings may hold control
/// characters, which the writer passes as they are.
class Json {
 public:
  explicit Json(std::string_view json) : text(json) {}
  bool value() {
    if (text.empty()) return false;
    switch (text.front()) {
      case '{': return list('}', [this] { return string() && skip(':') && value(); });
      case '[': return list(']', [this] { return value(); });
      case '"': return string();
      default: return word();
    }
  }
  std::string_view text;  // what is left

 private:
  bool skip(char c) {
    if (text.empty() || text.front() != c) return false;
    text.remove_prefix(1);
    return true;
  }
  template <class Item>
  bool list(char close, Item item) {
    text.remove_prefix(1);
    if (skip(close)) return true;
    do {
      if (!item()) return false;
    } while (skip(','));
    return skip(close);
  }
  bool string() {
    if (!skip('"')) return false;
    while (!text.empty() && text.front() != '"') {
      const bool escape = skip('\\');
      if (text.empty() || (escape && std::string_view("\"\\/bfnrt").find(text.front()) == std::string_view::npos)) {
        return false;
      }
      text.remove_prefix(1);
    }
    return skip('"');
  }
  bool word() {
    const size_t end = text.find_first_of(",]}");
    const std::string_view found = text.substr(0, end);
    text.remove_prefix(found.size());
    return found == "true" || found == "false" ||
           (!found.empty() && found.find_first_not_of("0123456789") == std::string_view::npos);
  }
};

}  // namespace fuzz
