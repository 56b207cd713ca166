#include "encoding/dnstap/fields.h"

#include <algorithm>
#include <array>
#include <cstddef>

// What must hold of the tables.
namespace ns::encoding::dnstap {

static consteval size_t countFields() {
  size_t count = 0;
  forEachField<RecordFields>([&](const auto&) { ++count; });
  return count;
}

/// Stands for a value of any member. Nobody calls the conversion.
struct Anything {
  template <class Member>
  operator Member() const;
};

/// An aggregate takes as many initialisers as it has members.
template <class Aggregate, class... Values>
static consteval size_t countMembers() {
  if constexpr (requires { Aggregate{Values{}..., Anything{}}; }) {
    return countMembers<Aggregate, Values..., Anything>();
  } else {
    return sizeof...(Values);
  }
}

static consteval bool membersDiffer() {
  const DnstapView view;
  std::array<const void*, countFields()> seen{};
  size_t count = 0;
  bool differ = true;
  forEachField<RecordFields>([&](const auto& field) {
    const void* const member = &(view.*field.view);
    differ = differ && std::ranges::find(seen, member) == seen.end();
    seen[count++] = member;
  });
  return differ;
}

template <const auto& Table>
static consteval bool numbersDiffer() {
  auto numbers = std::apply([](const auto&... line) { return std::array{line.number...}; }, Table);
  std::ranges::sort(numbers);
  bool differ = std::ranges::adjacent_find(numbers) == numbers.end();
  forEachLine<Table>([&]<class Line>(const Line&) {
    if constexpr (NestedFields<Line>) differ = differ && numbersDiffer<Line::table>();
  });
  return differ;
}

static_assert(countFields() == countMembers<DnstapRecord<char>>(), "a member of DnstapRecord has no line");
static_assert(membersDiffer(), "two lines go to the same member");
static_assert(numbersDiffer<RecordFields>(), "two fields have the same number");
static_assert(numbersDiffer<WholeRecordFields>(), "two fields of whole records have the same number");

}  // namespace ns::encoding::dnstap
