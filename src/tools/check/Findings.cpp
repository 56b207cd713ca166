#include "tools/check/Findings.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "encoding/json.h"

namespace ns::tools::check {

void Findings::add(size_t line, Severity severity, std::string text) {
  findings.push_back({line, severity, std::move(text)});
}

bool Findings::has(Severity severity) const {
  return std::any_of(findings.begin(), findings.end(), [=](const Finding& f) { return f.severity >= severity; });
}

std::vector<Finding> Findings::sorted() const {
  std::vector<Finding> all = findings;
  std::stable_sort(all.begin(), all.end(), [](const Finding& a, const Finding& b) { return a.line < b.line; });
  return all;
}

static const char* nameOf(Severity severity) { return severity == Severity::Warning ? "warning" : "error"; }

// The bytes of the UTF-8 character at the front of `text`; 0 if there is none (RFC 3629, 4; the few overlong forms
// that the first byte doesn't tell pass).
static size_t characterLength(std::string_view text) {
  const unsigned char first = static_cast<unsigned char>(text[0]);
  const size_t length = first < 0x80   ? 1
                        : first < 0xc2 ? 0
                        : first < 0xe0 ? 2
                        : first < 0xf0 ? 3
                        : first < 0xf5 ? 4
                                       : 0;
  if (length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) return 0;
  }
  return length;
}

// A file can hold any bytes, and its values are quoted in texts.
static std::string printable(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const size_t length = characterLength(text);
    const bool shown = length > 1 || (length == 1 && text[0] >= ' ' && text[0] != '\x7f');
    out += shown ? text.substr(0, length) : "?";
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return out;
}

std::string Findings::format(const std::string& filename) const {
  std::string out;
  for (const Finding& finding : sorted()) {
    const std::string line = finding.line == 0 ? "" : ":" + std::to_string(finding.line);
    out += filename + line + ": " + nameOf(finding.severity) + ": " + printable(finding.text) + "\n";
  }
  return out;
}

static std::string quoted(std::string_view text) {
  const std::string clean = printable(text);
  encoding::Bytes out;
  encoding::json::formatJsonStr(out, reinterpret_cast<const unsigned char*>(clean.data()),
                                static_cast<uint32_t>(clean.size()));
  return {out.begin(), out.end()};
}

std::string Findings::formatJson(const std::string& filename) const {
  std::string out;
  for (const Finding& finding : sorted()) {
    out += "{\"file\":" + quoted(filename) + ",\"line\":" + std::to_string(finding.line) + ",\"severity\":\"" +
           nameOf(finding.severity) + "\",\"starts\":" + (finding.severity == Severity::Fatal ? "false" : "true") +
           ",\"text\":" + quoted(finding.text) + "}\n";
  }
  return out;
}

}  // namespace ns::tools::check
