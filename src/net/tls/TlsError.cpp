#include "net/tls/TlsError.h"

#include "error/messages.h"

namespace ns::net::tls {

std::string withSslErrors(std::string text) {
  const char* separator = " (";
  for (std::string entry; error::takeSslError(entry); separator = "; ") text += separator + entry;
  if (*separator == ';') text += ")";
  return text;
}

}  // namespace ns::net::tls
