#pragma once

#include "app/configure.h"

namespace ns::app {

/// All settings of the configuration file.
struct Settings {
  event::format::EventFormatterConfig format;
  event::queue::EventQueueConfig queue;
  worker::forwarder::ForwardersConfig forwarders;
  worker::listener::ListenersConfig listeners;
  worker::logger::BackgroundLoggerConfig logger;

  /// Calls `fill` with each configure function and its record, in the one order: of several bad values the same one is
  /// always reported.
  template <class Fill>
  void fillEach(Fill fill) {
    fill(configureMessageFormatter, format);
    fill(configureMessageQueue, queue);
    fill(configureForwarders, forwarders);
    fill(configureListeners, listeners);
    fill(configureBackgroundLogger, logger);
  }
};

/// The settings of a file. Throws what the configure functions throw.
Settings makeSettings(config::ConfigFile& file);

}  // namespace ns::app
