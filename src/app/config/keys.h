#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace ns::app::config {

/// A key of the configuration file.
struct Key {
  const char* name;
  bool isRepeatable = false;  // every occurrence counts; of other keys only the first does
  uint32_t numberBits = 0;    // of the field that a number is stored in; 0 for keys that take none
};

/// All keys, in the order of reading. The tests hold the reference and the order of reading against this table.
inline constexpr auto Keys = std::to_array<Key>({
    {.name = "edition"},
    {.name = "message-line-limit", .numberBits = 32},
    {.name = "message-fqdn-format"},
    {.name = "domain-suffix-mode"},
    {.name = "domain-suffix", .isRepeatable = true},
    {.name = "message-querylog-format"},
    {.name = "message-format"},
    {.name = "message-hostname"},
    {.name = "message-syslog-format"},
    {.name = "message-syslog-priority", .numberBits = 32},
    {.name = "message-queue-size", .numberBits = 64},
    {.name = "message-queue-recovery"},
    {.name = "message-queue-filename"},
    {.name = "forwarder", .isRepeatable = true},
    {.name = "listener", .isRepeatable = true},
    {.name = "metrics-interval", .numberBits = 32},
    {.name = "metrics-format"},
});

/// The key of this name, null if there is none.
constexpr const Key* findKey(std::string_view name) {
  for (const Key& key : Keys) {
    if (name == key.name) return &key;
  }
  return nullptr;
}

/// The name of a key as an argument that stands in the source: one that is not in the table does not compile.
struct KeyName {
  consteval KeyName(const char* name) : text(findKey(name)->name) {}
  const char* text;
};

}  // namespace ns::app::config
