#pragma once

#include "error/UnknownError.h"

namespace ns::net::fstrm {

/// The peer broke the Frame Streams framing, or a frame exceeds a configured limit.
class FstrmError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

}  // namespace ns::net::fstrm
