#pragma once

#include "net/dns/message/FieldWriter.h"

// The fields of record data that have a shape of their own; see FieldWriter for what true and false mean.
namespace ns::net::dns {

/// All that is left, in quotes: a string without a length byte (RFC 7553, 4.4).
bool writeRest(FieldWriter& writer);
bool writeCaaTag(FieldWriter& writer);  // RFC 8659, 4.1.1
bool writeX25(FieldWriter& writer);     // RFC 1183, 3.1
bool writeGpos(FieldWriter& writer);    // RFC 1712, 3

// Digests. Those of a known kind have its length.
/// The digest of a DS record (RFC 4034, 5.1.4), whose type was taken last; with `removal` also that of a CDS record
/// that asks for the removal of all (RFC 8078, 4).
bool writeDigest(FieldWriter& writer, bool removal);
/// The digest of a ZONEMD record (RFC 8976, 2.2.4), whose scheme and algorithm were taken last.
bool writeZoneDigest(FieldWriter& writer);
bool writeSalt(FieldWriter& writer);  // RFC 5155, 3.3
bool writeHash(FieldWriter& writer);  // RFC 5155, 3.3

// Lists of zero or more items, with a blank in front of each.
bool writeTypes(FieldWriter& writer);    // RFC 4034, 4.1.2
bool writeNames(FieldWriter& writer);    // RFC 8005, 5
bool writeStrings(FieldWriter& writer);  // RFC 1035, 3.3.14
bool writePorts(FieldWriter& writer);    // RFC 1035, 3.4.2
/// A string or none (RFC 1183, 3.2).
bool writeSubaddress(FieldWriter& writer);

// Whole records
bool writeLoc(FieldWriter& writer);             // RFC 1876
bool writeIpseckeyForm(FieldWriter& writer);    // RFC 4025
bool writeAmtrelay(FieldWriter& writer);        // RFC 8777
bool writeApl(FieldWriter& writer);             // RFC 3123
bool writeServiceBinding(FieldWriter& writer);  // RFC 9460
/// All of a HIP record in front of its servers (RFC 8005).
bool writeHostIdentity(FieldWriter& writer);

}  // namespace ns::net::dns
