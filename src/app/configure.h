#pragma once

#include "app/config/ConfigFile.h"
#include "event/format/EventFormatterConfig.h"
#include "event/queue/EventQueueConfig.h"
#include "worker/forwarder/ForwarderConfig.h"
#include "worker/listener/ListenerConfig.h"
#include "worker/logger/BackgroundLogger.h"

// One function for each record that takes settings from the configuration file; app/config/keys.h has the keys. One
// that is absent leaves its field at the record's default; of a repeated single-valued key the first counts; keys that
// nobody asks for are passed over. The first bad value ends it: UnknownError with the key's text and the value as it
// stands in the file.

/// The formats of events and the suffixes of names. Also fills the process-wide suffix tables.
void configureMessageFormatter(ns::app::config::ConfigFile& file, ns::event::format::EventFormatterConfig& config);

/// The queue's memory and its file: `message-queue-...`.
void configureMessageQueue(ns::app::config::ConfigFile& file, ns::event::queue::EventQueueConfig& config);

/// Every `forwarder`, in file order. Under `force_stdout` each is told to write to standard output.
void configureForwarders(ns::app::config::ConfigFile& file, ns::worker::forwarder::ForwardersConfig& config);

/// Every `listener`, in file order.
void configureListeners(ns::app::config::ConfigFile& file, ns::worker::listener::ListenersConfig& config);

/// What is written of the metrics, and when: `metrics-...`.
void configureBackgroundLogger(ns::app::config::ConfigFile& file, ns::worker::logger::BackgroundLoggerConfig& config);
