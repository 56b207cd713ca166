#include "net/dns/event/eventWords.h"

namespace ns::net::dns {

static constexpr auto SocketProtocols = makeMnemonics<8>(
    {{1, "UDP"}, {2, "TCP"}, {3, "DOT"}, {4, "DOH"}, {5, "DNSCryptUDP"}, {6, "DNSCryptTCP"}, {7, "DOQ"}});

const MnemonicTable socket_protocols{"PROTO", SocketProtocols.data(), SocketProtocols.size()};

const std::array<std::string_view, no_complete_event_types> json_event_types{
    "",
    "\"auth-query\"",
    "\"auth-response\"",
    "\"resolver-query\"",
    "\"resolver-response\"",
    "\"client-query\"",
    "\"client-response\"",
    "\"forwarder-query\"",
    "\"forwarder-response\"",
    "\"stub-query\"",
    "\"stub-response\"",
    "\"tool-query\"",
    "\"tool-response\"",
    "\"update-query\"",
    "\"update-response\"",
};

const std::array<std::string_view, no_querylog_event_types> querylog_event_types{
    "",
    "queries: client ",
    "queries: client ",
    "queries: resolver ",
    "queries: resolver ",
    "queries: client ",
    "queries: client ",
    "queries: forwarder ",
    "queries: forwarder ",
    "queries: stub ",
    "queries: stub ",
    "queries: tool ",
    "queries: tool ",
};

const std::array<std::string_view, no_complete_event_types> complete_querylog_event_types{
    "",           "auth ", "auth ", "resolver ", "resolver ", "client ", "client ", "forwarder ",
    "forwarder ", "stub ", "stub ", "tool ",     "tool ",     "update ", "update ",
};

static constexpr auto HttpProtocols = makeMnemonics<4>({{1, "HTTP1"}, {2, "HTTP2"}, {3, "HTTP3"}});
static constexpr auto PolicyActions =
    makeMnemonics<7>({{1, "NXDOMAIN"}, {2, "NODATA"}, {3, "PASS"}, {4, "DROP"}, {5, "TRUNCATE"}, {6, "LOCAL_DATA"}});

const MnemonicTable http_protocols{"HTTP", HttpProtocols.data(), HttpProtocols.size()};
const MnemonicTable policy_actions{"ACTION", PolicyActions.data(), PolicyActions.size()};

}  // namespace ns::net::dns
