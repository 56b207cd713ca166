#include "net/dns/message/presentation.h"

#include <array>
#include <cstddef>

#include "net/dns/message/FieldWriter.h"
#include "net/dns/message/presentationForms.h"

namespace ns::net::dns {

namespace {

enum class Field : uint8_t {
  End,
  Uint8,
  Uint16,
  Uint32,
  Time,      // seconds since 1970 as 14 digits
  Type,      // of records, by its mnemonic
  CertType,  // of a certificate, by its mnemonic
  Name,
  Ipv4,
  Ipv6,
  Node,    // 64 bits as four groups of hex (RFC 6742)
  Eui48,   // bytes of hex with hyphens between them (RFC 7043)
  Eui64,   //
  String,  // with a length byte, in quotes
  Hex,     // all that is left; so are those down to the lists
  Base64,
  Nsap,        // hex with a prefix (RFC 1706)
  Digest,      // of DS: as long as the type before it says
  CdsDigest,   // the same, or the one that asks for removal (RFC 8078, 4)
  ZoneDigest,  // of ZONEMD: as long as the algorithm before it says
  Target,      // of URI: a string without a length byte
  CaaTag,
  CaaValue,  // the same, may be empty
  Salt,
  Hash,       // of NSEC3: with a length byte
  X25Number,  // a string of digits
  Position,   // whole records of a shape of their own: GPOS, LOC and down to HIP, its servers not
  Location,
  Ipseckey,
  Amtrelay,
  Prefixes,
  Binding,
  HostIdentity,
  FirstList,  // lists of zero or more items, each with a blank in front of it
  Types = FirstList,
  Names,
  Strings,
  Subaddress,  // a string or none
  Ports,
};
using enum Field;

/// The fields of a record's data, in their order.
using Form = std::array<Field, 10>;

struct Row {
  uint16_t type;
  Form form;
};

constexpr Row Rows[] = {
    {1, {Ipv4}},                                                           // A (RFC 1035, and down to TXT)
    {2, {Name}},                                                           // NS
    {3, {Name}},                                                           // MD
    {4, {Name}},                                                           // MF
    {5, {Name}},                                                           // CNAME
    {6, {Name, Name, Uint32, Uint32, Uint32, Uint32, Uint32}},             // SOA
    {7, {Name}},                                                           // MB
    {8, {Name}},                                                           // MG
    {9, {Name}},                                                           // MR
    {11, {Ipv4, Uint8, Ports}},                                            // WKS
    {12, {Name}},                                                          // PTR
    {13, {String, String}},                                                // HINFO
    {14, {Name, Name}},                                                    // MINFO
    {15, {Uint16, Name}},                                                  // MX
    {16, {String, Strings}},                                               // TXT
    {17, {Name, Name}},                                                    // RP (RFC 1183, and down to RT)
    {18, {Uint16, Name}},                                                  // AFSDB
    {19, {X25Number}},                                                     // X25
    {20, {String, Subaddress}},                                            // ISDN
    {21, {Uint16, Name}},                                                  // RT
    {22, {Nsap}},                                                          // NSAP
    {23, {Name}},                                                          // NSAP-PTR (RFC 1348)
    {24, {Type, Uint8, Uint8, Uint32, Time, Time, Uint16, Name, Base64}},  // SIG (RFC 2535)
    {25, {Uint16, Uint8, Uint8, Base64}},                                  // KEY (RFC 2535)
    {26, {Uint16, Name, Name}},                                            // PX (RFC 2163)
    {27, {Position}},                                                      // GPOS (RFC 1712)
    {28, {Ipv6}},                                                          // AAAA (RFC 3596)
    {29, {Location}},                                                      // LOC (RFC 1876)
    {33, {Uint16, Uint16, Uint16, Name}},                                  // SRV (RFC 2782)
    {35, {Uint16, Uint16, String, String, String, Name}},                  // NAPTR (RFC 3403)
    {36, {Uint16, Name}},                                                  // KX (RFC 2230)
    {37, {CertType, Uint16, Uint8, Base64}},                               // CERT (RFC 4398)
    {39, {Name}},                                                          // DNAME (RFC 6672)
    {42, {Prefixes}},                                                      // APL (RFC 3123)
    {43, {Uint16, Uint8, Uint8, Digest}},                                  // DS (RFC 4034)
    {44, {Uint8, Uint8, Hex}},                                             // SSHFP (RFC 4255)
    {45, {Ipseckey}},                                                      // IPSECKEY (RFC 4025)
    {46, {Type, Uint8, Uint8, Uint32, Time, Time, Uint16, Name, Base64}},  // RRSIG (RFC 4034)
    {47, {Name, Types}},                                                   // NSEC (RFC 4034)
    {48, {Uint16, Uint8, Uint8, Base64}},                                  // DNSKEY (RFC 4034)
    {49, {Base64}},                                                        // DHCID (RFC 4701)
    {50, {Uint8, Uint8, Uint16, Salt, Hash, Types}},                       // NSEC3 (RFC 5155)
    {51, {Uint8, Uint8, Uint16, Salt}},                                    // NSEC3PARAM (RFC 5155)
    {52, {Uint8, Uint8, Uint8, Hex}},                                      // TLSA (RFC 6698)
    {53, {Uint8, Uint8, Uint8, Hex}},                                      // SMIMEA (RFC 8162)
    {55, {HostIdentity, Names}},                                           // HIP (RFC 8005)
    {56, {String, Strings}},                                               // NINFO (the registry's template)
    {57, {Uint16, Uint8, Uint8, Base64}},                                  // RKEY (the registry's template)
    {58, {Name, Name}},                                                    // TALINK (the registry's template)
    {59, {Uint16, Uint8, Uint8, CdsDigest}},                               // CDS (RFC 7344)
    {60, {Uint16, Uint8, Uint8, Base64}},                                  // CDNSKEY (RFC 7344)
    {61, {Base64}},                                                        // OPENPGPKEY (RFC 7929)
    {62, {Uint32, Uint16, Types}},                                         // CSYNC (RFC 7477)
    {63, {Uint32, Uint8, Uint8, ZoneDigest}},                              // ZONEMD (RFC 8976)
    {64, {Binding}},                                                       // SVCB (RFC 9460)
    {65, {Binding}},                                                       // HTTPS (RFC 9460)
    {66, {Type, Uint8, Uint16, Name}},                                     // DSYNC (RFC 9859)
    {67, {Base64}},                                                        // HHIT (RFC 9886)
    {68, {Base64}},                                                        // BRID (RFC 9886)
    {99, {String, Strings}},                                               // SPF (RFC 7208)
    {104, {Uint16, Node}},                                                 // NID (RFC 6742, and down to LP)
    {105, {Uint16, Ipv4}},                                                 // L32
    {106, {Uint16, Node}},                                                 // L64
    {107, {Uint16, Name}},                                                 // LP
    {108, {Eui48}},                                                        // EUI48 (RFC 7043)
    {109, {Eui64}},                                                        // EUI64 (RFC 7043)
    {256, {Uint16, Uint16, Target}},                                       // URI (RFC 7553)
    {257, {Uint8, CaaTag, CaaValue}},                                      // CAA (RFC 8659)
    {258, {String, Strings}},                                              // AVC (the registry's template)
    {260, {Amtrelay}},                                                     // AMTRELAY (RFC 8777)
    {261, {String, Strings}},                                              // RESINFO (RFC 9606)
    {262, {String, Strings}},                                              // WALLET (the registry's template)
};

constexpr auto Forms = [] {
  std::array<Form, 263> forms{};
  for (const Row& row : Rows) forms.at(row.type) = row.form;
  return forms;
}();

/// The form of a type; an empty one if there is none.
const Form& formOf(uint16_t type) {
  constexpr uint16_t Ds = 43, Ta = 32768, Dlv = 32769;  // the latter are as DS (the registry's template, RFC 4431)
  if (type < Forms.size()) [[likely]]
    return Forms[type];
  return type == Ta || type == Dlv ? Forms[Ds] : Forms[0];
}

bool writeField(FieldWriter& writer, Field field) {
  switch (field) {
    case Uint8: return writer.writeUint8();
    case Uint16: return writer.writeUint16();
    case Uint32: return writer.writeUint32();
    case Time: return writer.writeTime();
    case Type: return writer.writeType();
    case CertType: return writer.writeCertType();
    case Name: return writer.writeName();
    case Ipv4: return writer.writeIpv4();
    case Ipv6: return writer.writeIpv6();
    case Node: return writer.writeGroups(8, 2, ':');
    case Eui48: return writer.writeGroups(6, 1, '-');
    case Eui64: return writer.writeGroups(8, 1, '-');
    case String: return writer.writeString();
    case Hex: return writer.writeHex();
    case Base64: return writer.writeBase64();
    case Nsap: return writer.put("0x"), writer.writeHex();
    case Digest: return writeDigest(writer, false);
    case CdsDigest: return writeDigest(writer, true);
    case ZoneDigest: return writeZoneDigest(writer);
    case Target: return !writer.atEnd() && writeRest(writer);
    case CaaTag: return writeCaaTag(writer);
    case CaaValue: return writeRest(writer);
    case Salt: return writeSalt(writer);
    case Hash: return writeHash(writer);
    case X25Number: return writeX25(writer);
    case Position: return writeGpos(writer);
    case Location: return writeLoc(writer);
    case Ipseckey: return writeIpseckeyForm(writer);
    case Amtrelay: return writeAmtrelay(writer);
    case Prefixes: return writeApl(writer);
    case Binding: return writeServiceBinding(writer);
    case HostIdentity: return writeHostIdentity(writer);
    case Types: return writeTypes(writer);
    case Names: return writeNames(writer);
    case Strings: return writeStrings(writer);
    case Subaddress: return writeSubaddress(writer);
    case Ports: return writePorts(writer);
    case End: break;
  }
  return false;
}

bool writeFields(FieldWriter& writer, const Form& form) {
  for (size_t i = 0; i < form.size() && form[i] != End; ++i) {
    if (i != 0 && form[i] < FirstList) writer.put(' ');
    if (!writeField(writer, form[i])) return false;
  }
  return form[0] != End && writer.atEnd();
}

}  // namespace

/// As RFC 3597, 5, has it; without the blank that would end the line of a record that has no data.
static void writeGeneric(RdataWriter& writer) {
  const uint32_t rdlength = writer.getLeft();
  writer.writeText("\\# ");
  writer.writeUint(rdlength);
  if (rdlength == 0) return;
  writer.writeChar(' ');
  writer.writeHex(rdlength);
}

void writePresentation(RdataWriter& writer, uint16_t type) {
  MessageText& text = writer.getText();
  const uint32_t start = text.size();
  FieldWriter fields(writer.getData(), writer.getLength(), writer.getPosition(), writer.getEnd(), text);
  if (writeFields(fields, formOf(type))) return;
  text.rewind(start);
  writeGeneric(writer);
}

}  // namespace ns::net::dns
