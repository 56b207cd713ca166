#include "tools/check/check.h"

#include <unistd.h>

#include <string_view>

#include "app/run.h"
#include "tools/check/checkKeys.h"
#include "tools/check/checkQueue.h"
#include "tools/check/checkWorkers.h"
#include "tools/check/fileKind.h"

namespace ns::tools::check {

// Whether the configuration is a file. The daemon opens whatever stands there: it runs with nothing to do if that is a
// folder, and waits if it is a FIFO.
static bool isFile(const std::string& filename, Findings& findings) {
  const std::string kind = kindOf(filename);
  if (kind.empty()) return true;
  const std::string text = "this is " + kind + ", not a file: nothing was checked";
  if (kind == "a folder" || kind == "a device") {
    findings.error(0, text);
  } else {
    findings.fatal(0, text);
  }
  return false;
}

static void checkPath(const std::string& filename, Findings& findings) {
  if (filename[0] == '/' || filename.find('/') == std::string::npos) return;
  findings.warn(0, "the daemon looks for a relative path below the folder that it names; give it the absolute one");
}

static void checkFormat(const std::vector<Entry>& entries, const CheckedSettings& settings, Findings& findings) {
  constexpr uint32_t Dnstap = 2;
  constexpr uint32_t MaxPriority = 191;  // local7.debug, RFC 5424, 6.2.1
  if (settings.format.syslogPriority > MaxPriority) {
    findings.warn(lineOf(entries, "message-syslog-priority"), "syslog receivers take priorities up to 191");
  }
  if (settings.format.messageFormat != Dnstap && !settings.format.completeEvents) {
    findings.warn(
        lineOf(entries, "message-format"),
        "text formats refuse resolver, forwarder and zone messages, and the owner of a zone can forge records "
        "with them: set edition 2, log only CLIENT_* and AUTH_QUERY messages, or use message-format dnstap");
  }
  if (settings.logger.interval == 0) {
    findings.fatal(lineOf(entries, "metrics-interval"), "an interval of 0 ends the process");
  }
}

// Suffixes are compared whole with the ends of names that begin at a label.
static void checkSuffixes(const std::vector<Entry>& entries, Findings& findings) {
  for (const Entry& entry : entries) {
    if (entry.key != "domain-suffix" || entry.value.empty()) continue;
    if (std::string_view(".*!").find(entry.value[0]) == std::string_view::npos) continue;
    findings.warn(entry.line,
                  "no name ends in '" + entry.value + "': there are no wildcards, exceptions or leading dots");
  }
}

static void checkEntries(std::vector<Entry> entries, Findings& findings) {
  dropIgnored(entries, findings);
  const CheckedSettings settings = checkSettings(entries, findings);
  // Values are looked at where the line as a whole was taken.
  std::vector<Entry> taken = settings.listenerEntries;
  taken.insert(taken.end(), settings.forwarderEntries.begin(), settings.forwarderEntries.end());
  for (const Entry& entry : entries) {
    if (entry.key != "listener" && entry.key != "forwarder") taken.push_back(entry);
  }
  checkValues(taken, findings);
  checkFormat(entries, settings, findings);
  checkSuffixes(entries, findings);
  checkQueue(lineOf(entries, "message-queue-filename"), lineOf(entries, "message-queue-size"), settings.queue,
             findings);
  checkListeners(settings, findings);
  checkForwarders(settings, findings);
}

Findings check(const std::string& filename) {
  Findings findings;
  if (!isFile(filename, findings)) return findings;
  try {
    std::vector<Entry> entries = readSource(filename, findings);
    checkPath(filename, findings);
    (void)!chdir(getBasename(filename).c_str());
    checkEntries(std::move(entries), findings);
  } catch (const std::exception& e) { findings.fatal(0, e.what()); }
  return findings;
}

}  // namespace ns::tools::check
