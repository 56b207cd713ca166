#pragma once

#include <string>

namespace ns::error {

/// The system's text for an `errno` value, as strerror(3) gives it, but safe from any thread.
std::string getMessage(int number);

/// Takes the oldest entry off the calling thread's OpenSSL error queue (ERR_get_error(3)) and stores its text in
/// `text`. Returns false, with `text` untouched, if the queue is empty.
bool takeSslError(std::string& text);

/// Drains the calling thread's OpenSSL error queue into one text, oldest first, joined by ", ".
/// Gives "Unknown error" if the queue held nothing.
std::string getSslError();

}  // namespace ns::error
