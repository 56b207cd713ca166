#include "encoding/dnstap/DnstapView.h"

#include <cstring>

namespace ns::encoding::dnstap {

DnstapView::DnstapView(const DnstapEvent& event)
    : identity(event.identity),
      version(event.version),
      extra(event.extra),
      type(event.type),
      socket_family(event.socket_family),
      socket_protocol(event.socket_protocol),
      query_address(event.query_address),
      response_address(event.response_address),
      query_port(event.query_port),
      response_port(event.response_port),
      query_time_sec(event.query_time_sec),
      query_time_nsec(event.query_time_nsec),
      query_message(event.query_message),
      response_time_sec(event.response_time_sec),
      response_time_nsec(event.response_time_nsec),
      response_message(event.response_message) {}

void DnstapView::reset() {
  identity = {};  // one by one: handed from one to the next, each would be read before it has been stored
  version = {};
  extra = {};
  query_address = {};
  response_address = {};
  query_message = {};
  response_message = {};
  type = socket_family = socket_protocol = 0;
  query_port = response_port = 0;
  query_time_sec = response_time_sec = 0;
  query_time_nsec = response_time_nsec = 0;
}

static void assign(Bytes& bytes, DnstapView::Piece piece) {
  bytes.resize(piece.size());
  if (!piece.empty()) std::memcpy(bytes.data(), piece.data(), piece.size());
}

void DnstapView::copyTo(DnstapEvent& event) const {
  assign(event.identity, identity);
  assign(event.version, version);
  assign(event.extra, extra);
  event.type = type;
  event.socket_family = socket_family;
  event.socket_protocol = socket_protocol;
  assign(event.query_address, query_address);
  assign(event.response_address, response_address);
  event.query_port = query_port;
  event.response_port = response_port;
  event.query_time_sec = query_time_sec;
  event.query_time_nsec = query_time_nsec;
  assign(event.query_message, query_message);
  event.response_time_sec = response_time_sec;
  event.response_time_nsec = response_time_nsec;
  assign(event.response_message, response_message);
}

}  // namespace ns::encoding::dnstap
