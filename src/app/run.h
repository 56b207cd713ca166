#pragma once

#include <condition_variable>
#include <mutex>
#include <string>

#include "encoding/Bytes.h"

/// The configuration path as it stands on the command line; never made absolute.
extern const char* config_filename;

/// Events go to standard output instead of to the targets, and the queue file is left alone. Set before run() only.
extern bool force_stdout;

/// What the signal handler notifies and the main thread waits on.
extern std::condition_variable stop_cv;

/// Taken by the main thread only, around its wait on `stop_cv`.
extern std::mutex stop_mtx;

/// The daemon's whole life: reads the configuration, builds the queue and the workers, starts them, waits for a signal,
/// stops and joins them, and saves the queue. A failure is reported in the log only.
void run();

/// Installs onSignal for SIGTERM and SIGINT.
void installSignals();

/// Wakes the main thread for SIGINT and SIGTERM.
void onSignal(int sig);

/// The directory part of a path: all before its last "/", or "." if it has none.
std::string getBasename(const std::string& path);

/// Replaces `out` by the system's host name (gethostname(2)). Throws UnknownError.
void getHostname(ns::encoding::Bytes& out);
