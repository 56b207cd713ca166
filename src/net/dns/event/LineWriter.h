#pragma once

#include <algorithm>
#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <tuple>

#include "encoding/Tail.h"
#include "encoding/data.h"
#include "encoding/hex.h"
#include "net/dns/event/AddressText.h"
#include "net/dns/message/DnsMessage.h"
#include "net/dns/message/MnemonicTable.h"

// An event's line is written item by item. An item knows how much room it may take at most, what it stores past its own
// end included, and stores itself. Nobody else reckons with room.
namespace ns::net::dns {

template <class T>
concept LineItem = requires(const T& item, unsigned char* out) {
  { item.room() } -> std::same_as<size_t>;
  { item.store(out) } -> std::same_as<unsigned char*>;  // returns the end of the item
};

/// A literal: its length is known, so that it goes in with a few plain stores.
template <size_t Size>
struct LiteralItem {
  const char (&text)[Size];

  static constexpr size_t room() { return Size - 1; }
  unsigned char* store(unsigned char* out) const {
    std::memcpy(out, text, Size - 1);
    return out + (Size - 1);
  }
};

/// Ready text of any length.
struct CharsItem {
  std::string_view text;

  size_t room() const { return text.size(); }
  unsigned char* store(unsigned char* out) const {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
  }
};

/// A number in decimal.
struct UintItem {
  uint64_t value;

  static constexpr size_t room() { return encoding::data::MaxUintDigits; }
  unsigned char* store(unsigned char* out) const { return encoding::data::writeUint(out, value); }
};

/// The word for a number.
struct DnsWord {
  const MnemonicTable& table;
  uint16_t key;

  static constexpr size_t room() { return DnsParameterRoom; }
  unsigned char* store(unsigned char* out) const { return writeDnsParameter(out, table, key); }
};

/// An address.
struct AddressItem {
  const AddressText& address;

  static constexpr size_t room() { return AddressText::Room; }
  unsigned char* store(unsigned char* out) const { return address.copyTo(out); }
};

/// A piece of a message's text. Most are short, and a copy of a fixed size beats a call: DnsMessage::Slack bytes may be
/// read behind each, and are stored here, too.
struct PlainText {
  std::span<const unsigned char> text;

  size_t room() const { return text.size() + DnsMessage::Slack; }
  unsigned char* store(unsigned char* out) const {
    constexpr size_t Slack = DnsMessage::Slack;
    std::memcpy(out, text.data(), Slack);
    if (text.size() > Slack) [[unlikely]]
      std::memcpy(out + Slack, text.data() + Slack, text.size() - Slack);
    return out + text.size();
  }
};

/// Bytes in capital hex.
struct HexText {
  std::span<const unsigned char> bytes;

  size_t room() const { return 2 * bytes.size(); }
  unsigned char* store(unsigned char* out) const {
    return encoding::hex::writeHex(out, bytes.data(), static_cast<uint32_t>(bytes.size()));
  }
};

/// What a line is made of as items: literals, ready texts, numbers, addresses, and what is an item already. All items
/// are small: they refer to what they show, and are handed on by value.
template <size_t Size>
constexpr LiteralItem<Size> toItem(const char (&text)[Size]) {
  return {text};
}
inline CharsItem toItem(std::string_view text) { return {text}; }
inline UintItem toItem(std::unsigned_integral auto value) { return {value}; }
inline AddressItem toItem(const AddressText& address) { return {address}; }
template <LineItem Item>
Item toItem(const Item& item) {
  return item;
}

/// Items that stand there only if `shown`.
template <class... Items>
struct OptionalItems {
  bool shown;
  std::tuple<Items...> items;

  [[gnu::always_inline]] size_t room() const {
    return std::apply([](const auto&... item) { return (size_t{0} + ... + item.room()); }, items);
  }
  [[gnu::always_inline]] unsigned char* store(unsigned char* out) const {
    if (shown) std::apply([&out](const auto&... item) { ((out = item.store(out)), ...); }, items);
    return out;
  }
};

template <class... Items>
auto when(bool shown, const Items&... items) {
  return OptionalItems<decltype(toItem(items))...>{shown, {toItem(items)...}};
}

/// One of two items.
template <LineItem Yes, LineItem No>
struct EitherItem {
  bool condition;
  Yes yes;
  No no;

  size_t room() const { return std::max(yes.room(), no.room()); }
  unsigned char* store(unsigned char* out) const { return condition ? yes.store(out) : no.store(out); }
};

template <class Yes, class No>
auto either(bool condition, const Yes& yes, const No& no) {
  return EitherItem<decltype(toItem(yes)), decltype(toItem(no))>{condition, toItem(yes), toItem(no)};
}

/// A tail that takes a line's items. The room of all that are given at once is made at once.
class LineWriter : public encoding::data::Tail {
 public:
  using Tail::Tail;

  template <class... Items>
  [[gnu::always_inline]] void write(const Items&... items) {
    writeItems(toItem(items)...);
  }

 private:
  template <class... Items>
  [[gnu::always_inline]] void writeItems(const Items&... items) {
    unsigned char* out = room((size_t{0} + ... + items.room()));
    ((out = store(out, items)), ...);
    advance(out);
  }

  template <class Item>
  [[gnu::always_inline]] static unsigned char* store(unsigned char* out, const Item& item) {
    unsigned char* const end = item.store(out);
    assert(out <= end && end <= out + item.room());
    return end;
  }
};

}  // namespace ns::net::dns
