#pragma once

#include "error/UnknownError.h"

namespace ns::net::dns {

/// A DNS message or a dnstap record breaks the rules.
class DnsError : public error::UnknownError {
 public:
  using UnknownError::UnknownError;
};

}  // namespace ns::net::dns
