#pragma once

#include "net/dns/message/RdataWriter.h"

// The forms of record data that have a shape of their own; those of a few fields in a row stand in writeRdata. Each
// takes a writer at the start of the record data, writes the text of all its fields, and leaves the writer behind the
// last one, wherever the record ends. What is not well-formed throws as the writer does, with the text as far as it
// got. A new form is a function here and a case of writeRdata.
namespace ns::net::dns {

// Keys and signatures
void writeCert(RdataWriter& writer);        // RFC 4398
void writeIpseckey(RdataWriter& writer);    // RFC 4025
void writeRrsig(RdataWriter& writer);       // RFC 4034
void writeNsec3(RdataWriter& writer);       // RFC 5155
void writeNsec3param(RdataWriter& writer);  // RFC 5155

// Services
void writeNaptr(RdataWriter& writer);  // RFC 3403
void writeCaa(RdataWriter& writer);    // RFC 8659
void writeSvcb(RdataWriter& writer);   // RFC 9460

}  // namespace ns::net::dns
