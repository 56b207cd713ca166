#pragma once

#include "app/config/ConfigFile.h"
#include "event/format/EventFormatterConfig.h"
#include "event/queue/EventQueueConfig.h"
#include "worker/forwarder/ForwarderConfig.h"
#include "worker/listener/ListenerConfig.h"
#include "worker/logger/BackgroundLogger.h"

// One function for each record that takes settings from the configuration file. A key that is absent leaves its field
// at the record's default; of a repeated single-valued key the first counts; keys that nobody asks for are passed over.
// The first bad value ends it: UnknownError with the key's text and the value as it stands in the file.

/// `message-fqdn-format`, `domain-suffix-mode`, `domain-suffix`, `message-querylog-format`, `message-format`,
/// `message-hostname`, `message-syslog-format`, `message-syslog-priority`. Also fills the process-wide suffix tables.
void configureMessageFormatter(ns::app::config::ConfigFile& file, ns::event::format::EventFormatterConfig& config);

/// `message-queue-size`, `message-queue-recovery`, `message-queue-filename`.
void configureMessageQueue(ns::app::config::ConfigFile& file, ns::event::queue::EventQueueConfig& config);

/// Every `forwarder`, in file order. Under `force_stdout` each is told to write to standard output.
void configureForwarders(ns::app::config::ConfigFile& file, ns::worker::forwarder::ForwardersConfig& config);

/// Every `listener`, in file order.
void configureListeners(ns::app::config::ConfigFile& file, ns::worker::listener::ListenersConfig& config);

/// `metrics-interval`, `metrics-format`.
void configureBackgroundLogger(ns::app::config::ConfigFile& file, ns::worker::logger::BackgroundLoggerConfig& config);
