#pragma once

#include "error/UnknownError.h"

namespace ns::event::queue {

/// The event queue could not be built, refused a message, or could not be saved or loaded.
class QueueError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

}  // namespace ns::event::queue
