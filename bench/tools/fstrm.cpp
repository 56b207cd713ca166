#include "tools/fstrm.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace bench::fstrm {

namespace {

constexpr std::string_view contentType = "protobuf:dnstap.Dnstap";

void appendWord(std::vector<unsigned char>& out, size_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<unsigned char>(value >> shift & 255));
}

void send(Stream& stream, Control type) {
  const auto frame = control(type);
  stream.write(frame.data(), frame.size());
}

void expect(Stream& stream, Control type) {
  unsigned char head[8];
  stream.readAll(head, sizeof head);
  std::vector<unsigned char> body(readWord(head + 4));
  stream.readAll(body.data(), body.size());
  if (readWord(head) != 0 || body.size() < 4 || readWord(body.data()) != type)
    throw std::runtime_error("expected control frame " + std::to_string(type));
}

}  // namespace

std::vector<unsigned char> control(Control type) {
  const bool hasType = type != Stop && type != Finish;
  std::vector<unsigned char> frame;
  appendWord(frame, 0);
  appendWord(frame, hasType ? 12 + contentType.size() : 4);
  appendWord(frame, type);
  if (!hasType) return frame;
  appendWord(frame, 1);
  appendWord(frame, contentType.size());
  frame.insert(frame.end(), contentType.begin(), contentType.end());
  return frame;
}

uint32_t readWord(const unsigned char* data) {
  return uint32_t{data[0]} << 24 | uint32_t{data[1]} << 16 | uint32_t{data[2]} << 8 | data[3];
}

void open(Stream& stream, bool bidirectional) {
  if (bidirectional) {
    send(stream, Ready);
    expect(stream, Accept);
  }
  send(stream, Start);
}

void stop(Stream& stream, bool bidirectional) {
  send(stream, Stop);
  if (bidirectional) expect(stream, Finish);
}

}  // namespace bench::fstrm
