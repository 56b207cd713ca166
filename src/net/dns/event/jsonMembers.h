#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "encoding/json.h"
#include "net/dns/event/LineWriter.h"

// The members of JSON objects as items of a line: member<"ttl">(record.ttl) is `,"ttl":300`.
namespace ns::net::dns {

/// Any text as a JSON string.
struct JsonText {
  std::span<const unsigned char> text;

  size_t room() const { return encoding::json::jsonStrRoom(static_cast<uint32_t>(text.size())); }
  unsigned char* store(unsigned char* out) const {
    return encoding::json::writeJsonStr(out, text.data(), static_cast<uint32_t>(text.size()));
  }
};

/// A key as template argument, so that it goes in as one literal with all that stands around it.
template <size_t Size>
struct JsonKey {
  consteval JsonKey(const char (&key)[Size]) { std::copy_n(key, Size - 1, text.begin()); }

  std::array<char, Size - 1> text{};
};

/// Whether a value is text in which nothing ever needs an escape: it gets its quotes from the member.
template <class Value>
constexpr bool IsSafeText =
    std::same_as<Value, DnsWord> || std::same_as<Value, AddressItem> || std::same_as<Value, HexText>;

/// A key behind `Before`, a comma or an opening brace, and its value. Numbers, JsonText and ready text stand as they
/// are.
template <char Before, JsonKey Key, LineItem Value>
struct JsonMember {
  Value value;

  static constexpr bool Quoted = IsSafeText<Value>;

  static constexpr auto makeOpening() {
    std::array<char, Key.text.size() + (Quoted ? 5 : 4)> opening{Before, '"'};
    auto* const end = std::copy(Key.text.begin(), Key.text.end(), opening.begin() + 2);
    end[0] = '"';
    end[1] = ':';
    if (Quoted) end[2] = '"';
    return opening;
  }

  [[gnu::always_inline]] size_t room() const { return makeOpening().size() + value.room() + (Quoted ? 1 : 0); }
  [[gnu::always_inline]] unsigned char* store(unsigned char* out) const {
    constexpr auto opening = makeOpening();  // no static one: with -fPIC that would be fetched from memory
    std::memcpy(out, opening.data(), opening.size());
    out = value.store(out + opening.size());
    if (Quoted) *out++ = '"';
    return out;
  }
};

inline auto toJsonValue(bool value) { return either(value, "true", "false"); }
auto toJsonValue(const auto& value) { return toItem(value); }

/// A member, and the first one of an object with the brace that opens it.
template <JsonKey Key>
auto member(const auto& value) {
  return JsonMember<',', Key, decltype(toJsonValue(value))>{toJsonValue(value)};
}
template <JsonKey Key>
auto firstMember(const auto& value) {
  return JsonMember<'{', Key, decltype(toJsonValue(value))>{toJsonValue(value)};
}

}  // namespace ns::net::dns
