#include "error/UnknownError.h"

#include <utility>

namespace ns::error {

UnknownError::UnknownError(std::string text) : message(std::move(text)) {}

UnknownError::~UnknownError() = default;

const char* UnknownError::what() const noexcept { return message.c_str(); }

}  // namespace ns::error
