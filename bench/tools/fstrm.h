#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/Stream.h"

// Frame Streams, as much as both ends of a stream of dnstap frames need.
namespace bench::fstrm {

enum Control : uint32_t { Accept = 1, Start = 2, Stop = 3, Ready = 4, Finish = 5 };

/// A whole control frame; all but STOP and FINISH carry the content type of dnstap.
std::vector<unsigned char> control(Control type);

uint32_t readWord(const unsigned char* data);

/// The sending side's opening and end. Bidirectional, they wait for ACCEPT and FINISH.
void open(Stream& stream, bool bidirectional);
void stop(Stream& stream, bool bidirectional);

}  // namespace bench::fstrm
