#pragma once

#include <vector>

#include "app/Settings.h"
#include "tools/check/Findings.h"
#include "tools/check/SourceFile.h"

namespace ns::tools::check {

/// What the daemon's own configure functions make of a file, and the entries behind it: each worker's configuration has
/// the place of its entry in `listenerEntries` or `forwarderEntries`. Entries that the daemon refuses are in neither.
struct CheckedSettings : app::Settings {
  std::vector<Entry> forwarderEntries;
  std::vector<Entry> listenerEntries;
};

/// Runs the configure functions over the entries. Each value that they refuse is told of in their words, and left out
/// from there on, so that one run finds all of them.
CheckedSettings checkSettings(const std::vector<Entry>& entries, Findings& findings);

/// The line of the first entry with this key, 0 if there is none.
size_t lineOf(const std::vector<Entry>& entries, const std::string& key);

}  // namespace ns::tools::check
