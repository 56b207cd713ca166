#pragma once

#include "net/dns/RdataReader.h"

// The forms of record data that have a shape of their own. Each takes a reader at the start of the record data.
namespace ns::net::dns {

// Keys and signatures
void writeCert(RdataReader& reader);      // RFC 4398
void writeIpseckey(RdataReader& reader);  // RFC 4025
void writeRrsig(RdataReader& reader);     // RFC 4034
void writeNsec3(RdataReader& reader);     // RFC 5155
void writeNsec3param(RdataReader& reader);

// Services
void writeNaptr(RdataReader& reader);  // RFC 3403
void writeCaa(RdataReader& reader);    // RFC 8659
void writeSvcb(RdataReader& reader);   // RFC 9460

}  // namespace ns::net::dns
