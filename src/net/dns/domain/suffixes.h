#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "net/dns/domain/psl.h"

// Where in a name the domain begins that someone registered, by two tables of suffixes: the built-in public ones and
// those of the configuration. The main thread fills the tables before it starts any other; from then on they are only
// read, by any thread, until the process is gone: they are never destroyed.
namespace ns::net::dns {

/// The built-in suffixes, one rule each, just as published: wildcards (`*.ck`) and exceptions (`!www.ck`) included.
const DomainSuffixes& getPslDomainSuffixes();

/// Fills the built-in table anew, for names with or without a trailing dot.
void loadPslDomainSuffixes(bool withTrailingDot);

/// Adds a suffix in any case to the configured table, for names with or without a trailing dot.
void addDomainSuffix(const char* suffix, bool withTrailingDot);

/// Where the domain begins in `name`, lowercase presentation text of `length` bytes, by the longest suffix in the
/// tables asked for. A built-in suffix takes the label in front of it along, if there is one; a configured suffix is a
/// domain as it stands, and wins at the same place. Suffixes are compared as they stand, a wildcard means nothing.
/// Without a match it is the last label; with no table asked for, `length`: no domain at all.
uint32_t getDomainSuffixOffset(const unsigned char* name, uint32_t length, bool builtin, bool config);

}  // namespace ns::net::dns
