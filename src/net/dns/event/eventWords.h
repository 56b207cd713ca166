#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "net/dns/message/MnemonicTable.h"

// The words for the numbers of dnstap.
namespace ns::net::dns {

extern const MnemonicTable socket_protocols;

/// For how many dnstap message types, from 0 on, events are shown: complete events have updates, too.
constexpr uint64_t no_json_event_types = 13;
constexpr uint64_t no_querylog_event_types = 13;
constexpr uint64_t no_complete_event_types = 15;

/// By dnstap message type: a whole JSON value, and the opening of a query log line, in which those that ask an
/// authoritative server are clients, too.
extern const std::array<std::string_view, no_complete_event_types> json_event_types;
extern const std::array<std::string_view, no_querylog_event_types> querylog_event_types;

/// The same opening for complete events, behind "queries: ", with a word of its own for each kind.
extern const std::array<std::string_view, no_complete_event_types> complete_querylog_event_types;

extern const MnemonicTable http_protocols;
extern const MnemonicTable policy_actions;

}  // namespace ns::net::dns
