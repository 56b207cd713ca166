#pragma once

#include <cstdint>
#include <tuple>

#include "encoding/dnstap/DnstapEvent.h"
#include "encoding/dnstap/DnstapView.h"
#include "encoding/dnstap/WireType.h"

// The schema (https://dnstap.info, dnstap.proto), told once: decoder, encoder, reset and copy go over the tables below.
// A new field is a member of DnstapRecord and a line here; fields.cpp does not compile if one of them was forgotten.
namespace ns::encoding::dnstap {

enum class Written : uint8_t { IfSet, Always };

/// A field whose value the record keeps.
template <WireType Type, class InView, class InEvent = InView>
struct Field {
  static constexpr WireType wireType = Type;

  uint32_t number;
  const char* name;  // in failures
  InView DnstapView::*view;
  InEvent DnstapEvent::*event;
  Written written = Written::IfSet;
};
using VarintField = Field<Varint, uint64_t>;
using Fixed32Field = Field<Fixed32, uint32_t>;
using BytesField = Field<LengthDelimited, DnstapView::Piece, Bytes>;

/// A field that is only read, and only into a view.
template <WireType Type, class InView>
struct ViewField {
  static constexpr WireType wireType = Type;

  uint32_t number;
  const char* name;
  InView DnstapView::*view;
};
using ViewVarint = ViewField<Varint, uint64_t>;
using ViewBytes = ViewField<LengthDelimited, DnstapView::Piece>;

/// A number that is always written, and the only one that may be read.
struct Constant {
  static constexpr WireType wireType = Varint;

  uint32_t number;
  const char* name;
  uint64_t value;
};

/// A message with a table of its own. The encoder builds it in the event's member `built`: its length goes out first.
template <const auto& Table>
struct Nested {
  static constexpr WireType wireType = LengthDelimited;
  static constexpr const auto& table = Table;

  uint32_t number;
  const char* name;
  Bytes DnstapEvent::*built = nullptr;
};

inline constexpr VarintField MessageType{1, "message type", &DnstapView::type, &DnstapEvent::type, Written::Always};

/// The fields of a message, in the order in which they are written.
inline constexpr std::tuple MessageFields{
    MessageType,
    VarintField{2, "message socket_family", &DnstapView::socket_family, &DnstapEvent::socket_family},
    VarintField{3, "message socket_protocol", &DnstapView::socket_protocol, &DnstapEvent::socket_protocol},
    BytesField{4, "message query_address", &DnstapView::query_address, &DnstapEvent::query_address},
    BytesField{5, "message response_address", &DnstapView::response_address, &DnstapEvent::response_address},
    VarintField{6, "message query_port", &DnstapView::query_port, &DnstapEvent::query_port},
    VarintField{8, "message query_time_sec", &DnstapView::query_time_sec, &DnstapEvent::query_time_sec},
    Fixed32Field{9, "message query_time_nsec", &DnstapView::query_time_nsec, &DnstapEvent::query_time_nsec},
    BytesField{10, "message query_message", &DnstapView::query_message, &DnstapEvent::query_message},
    VarintField{7, "message response_port", &DnstapView::response_port, &DnstapEvent::response_port},
    VarintField{12, "message response_time_sec", &DnstapView::response_time_sec, &DnstapEvent::response_time_sec},
    Fixed32Field{13, "message response_time_nsec", &DnstapView::response_time_nsec, &DnstapEvent::response_time_nsec},
    BytesField{14, "message response_message", &DnstapView::response_message, &DnstapEvent::response_message},
};

inline constexpr Nested<MessageFields> Message{14, "message", &DnstapEvent::encodedMessage};

/// The fields of a record, in the order in which they are written.
inline constexpr std::tuple RecordFields{
    BytesField{1, "identity", &DnstapView::identity, &DnstapEvent::identity},
    BytesField{2, "version", &DnstapView::version, &DnstapEvent::version},
    BytesField{3, "extra", &DnstapView::extra, &DnstapEvent::extra},
    Constant{15, "type", 1},
    Message,
};

/// The same with the fields that whole records have besides. They are tables of their own, as the walk over the others
/// depends on which fields it knows.
inline constexpr std::tuple PolicyFields{
    ViewBytes{2, "policy rule", &DnstapView::policy_rule},
    ViewVarint{3, "policy action", &DnstapView::policy_action},
};
inline constexpr std::tuple WholeMessageFields =
    std::tuple_cat(MessageFields, std::tuple{ViewBytes{11, "message query_zone", &DnstapView::query_zone},
                                             Nested<PolicyFields>{15, "message policy"},
                                             ViewVarint{16, "message http_protocol", &DnstapView::http_protocol}});
inline constexpr std::tuple WholeRecordFields{
    BytesField{1, "identity", &DnstapView::identity, &DnstapEvent::identity},
    BytesField{2, "version", &DnstapView::version, &DnstapEvent::version},
    BytesField{3, "extra", &DnstapView::extra, &DnstapEvent::extra},
    Constant{15, "type", 1},
    Nested<WholeMessageFields>{14, "message"},
};

/// Whether a line of a table is a field whose value the record keeps.
template <class Line>
concept KeptField = requires(Line line) {
  line.view;
};

/// Whether a line of a table has a table of its own.
template <class Line>
concept NestedFields = requires {
  Line::table;
};

/// Calls `visit` with each line of `Table`.
template <const auto& Table, class Visit>
constexpr void forEachLine(const Visit& visit) {
  std::apply([&](const auto&... line) { (visit(line), ...); }, Table);
}

/// Calls `visit` with each field of `Table` whose value the record keeps, those of nested messages included.
template <const auto& Table, class Visit>
constexpr void forEachField(const Visit& visit) {
  forEachLine<Table>([&]<class Line>(const Line& line) {
    if constexpr (KeptField<Line>) visit(line);
    if constexpr (NestedFields<Line>) forEachField<Line::table>(visit);
  });
}

}  // namespace ns::encoding::dnstap
