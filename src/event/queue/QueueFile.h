#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

// The form of a queue file: the magic, then records up to the end of the file, oldest message first. A record is the
// length of its payload (32 bits, network order), a checksum of one byte, and the payload, which is one message.
namespace ns::event::queue::file_format {

constexpr unsigned char Magic[4] = {'s', 's', 'l', 'z'};
constexpr size_t HeaderSize = 5;

/// The sum of all bytes modulo 256. It finds a changed byte, but not changed places.
uint8_t getChecksum(const unsigned char* data, size_t length);

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace ns::event::queue::file_format
