#pragma once

#include <cstdint>

#include "encoding/dnstap/DnstapView.h"

// The fields of a record as servers write them: a tag of one byte, the wire type that belongs to it, a value that ends
// where it should. They are read without a thought for what else could be there, which takes a third less. At the first
// field that is not like that, or begins near the source's end, DnstapDecoder goes on.
namespace ns::encoding::dnstap {

/// Reads the server's fields that open the record of `length` bytes at `data`. Returns the offset behind the last one.
uint32_t decodePlainServer(DnstapView& view, const unsigned char* data, uint32_t length);

/// Reads the fields that open the message of `length` bytes at `data`. Returns the offset behind the last one.
uint32_t decodePlainMessage(DnstapView& view, const unsigned char* data, uint32_t length);

}  // namespace ns::encoding::dnstap
