#pragma once

#include <exception>
#include <string>

namespace ns::error {

/// The base of all failures of this program: one message text, complete and ready for the log.
/// A layer with failures of its own derives one type that adds nothing, so that the type tells where a failure arose.
class UnknownError : public std::exception {
 public:
  explicit UnknownError(std::string text);
  ~UnknownError() override;

  /// The text that the error was built with; valid as long as the error.
  const char* what() const noexcept override;

 private:
  std::string message;
};

}  // namespace ns::error
