#include "encoding/dnstap/DnstapView.h"

#include <cstring>

#include "encoding/dnstap/fields.h"

namespace ns::encoding::dnstap {

DnstapView::DnstapView(const DnstapEvent& event) {
  forEachField<RecordFields>([&](const auto& field) { this->*field.view = event.*field.event; });
}

// Not by `*this = {}`: g++ makes one `rep stos` of it, which is slow to start (44 instead of 38 ns a record).
void DnstapView::reset() {
  forEachField<RecordFields>([this](const auto& field) { this->*field.view = {}; });
}

template <class Number>
static void copy(Number& to, Number from) {
  to = from;
}

static void copy(Bytes& to, DnstapView::Piece from) {
  to.resize(from.size());
  if (!from.empty()) std::memcpy(to.data(), from.data(), from.size());
}

void DnstapView::copyTo(DnstapEvent& event) const {
  forEachField<RecordFields>([&](const auto& field) { copy(event.*field.event, this->*field.view); });
}

}  // namespace ns::encoding::dnstap
