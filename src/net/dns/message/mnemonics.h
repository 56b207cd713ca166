#pragma once

#include "net/dns/message/MnemonicTable.h"

// The words for the numbers of DNS (IANA registry "Domain Name System Parameters").
namespace ns::net::dns {

extern const MnemonicTable record_classes;
extern const MnemonicTable response_codes;
extern const MnemonicTable opcodes;
extern const MnemonicTable cert_types;
extern const MnemonicTable algorithm_types;
extern const MnemonicTable record_types;

}  // namespace ns::net::dns
