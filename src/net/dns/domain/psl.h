#pragma once

#include <span>
#include <string_view>

namespace ns::net::dns {

using DomainSuffixes = std::span<const std::string_view>;

/// The ICANN section of the Public Suffix List (https://publicsuffix.org), in the published order, as compiled in.
extern const DomainSuffixes psl;

}  // namespace ns::net::dns
