#include "net/dns/decodeDnsMessageRdata.h"

#include <string>

#include "net/dns/DnsError.h"
#include "net/dns/RdataReader.h"
#include "net/dns/rdataForms.h"

namespace ns::net::dns {

void failRdataBounds(uint32_t offset, uint32_t rdlength, uint32_t length) {
  throw DnsError("Offset " + std::to_string(offset) + " + record data length " + std::to_string(rdlength) +
                 " is out of bounds for packet of " + std::to_string(length) + " bytes");
}

[[noreturn, gnu::cold, gnu::noinline]] static void failAddress(const char* type, uint32_t rdlength, uint32_t expected) {
  throw DnsError(std::string(type) + " record data length is " + std::to_string(rdlength) + " but should be " +
                 std::to_string(expected));
}

static void writeSoa(RdataReader& reader) {
  reader.itemName();
  reader.itemName();
  for (int i = 0; i < 4; ++i) reader.item32();
  reader.writeUint(reader.readUint32());
}

static void writeGeneric(RdataReader& reader, uint32_t rdlength) {
  reader.writeText("\\# ");
  reader.writeUint(rdlength);
  reader.writeChar(' ');
  reader.writeHex(rdlength);
}

static void writeByType(RdataReader& reader, uint16_t type, uint32_t rdlength) {
  switch (type) {
    case 1:  // A
      if (rdlength != 4) failAddress("A", rdlength, 4);
      return reader.writeIpv4();
    case 2:   // NS
    case 5:   // CNAME
    case 12:  // PTR
    case 39:  // DNAME
      return reader.writeName();
    case 6:  // SOA
      return writeSoa(reader);
    case 15:  // MX
    case 18:  // AFSDB
    case 36:  // KX
      reader.item16();
      return reader.writeName();
    case 16:  // TXT
      reader.writeStringsAt(reader.getPosition(), rdlength, {.quoted = true, .single = false});
      return;
    case 28:  // AAAA
      if (rdlength != 16) failAddress("AAAA", rdlength, 16);
      return reader.writeIpv6();
    case 33:  // SRV
      for (int i = 0; i < 3; ++i) reader.item16();
      return reader.writeName();
    case 35:  // NAPTR
      return writeNaptr(reader);
    case 37:  // CERT
      return writeCert(reader);
    case 43:  // DS
    case 59:  // CDS
      reader.item16();
      reader.item8();
      reader.item8();
      return reader.writeHex(reader.getLeft());
    case 44:  // SSHFP
      reader.item8();
      reader.item8();
      return reader.writeHex(reader.getLeft());
    case 45:  // IPSECKEY
      return writeIpseckey(reader);
    case 46:  // RRSIG
      return writeRrsig(reader);
    case 48:  // DNSKEY
    case 60:  // CDNSKEY
      reader.item16();
      reader.item8();
      reader.item8();
      return reader.writeBase64(reader.getLeft());
    case 49:  // DHCID
    case 61:  // OPENPGPKEY
      return reader.writeBase64(rdlength);
    case 50:  // NSEC3
      return writeNsec3(reader);
    case 51:  // NSEC3PARAM
      return writeNsec3param(reader);
    case 64:  // SVCB
    case 65:  // HTTPS
      return writeSvcb(reader);
    case 256:  // URI
      reader.item16();
      reader.item16();
      // The target has no length byte (RFC 7553, 4.4). Its first character is taken for one all the same.
      reader.writeStringsAt(reader.getPosition(), reader.getLeft(), {.quoted = true, .single = false});
      return;
    case 257:  // CAA
      return writeCaa(reader);
    default: return writeGeneric(reader, rdlength);
  }
}

void writeRdata(uint32_t offset, const unsigned char* data, uint32_t length, uint16_t type, uint32_t rdlength,
                encoding::data::Tail& text, bool withTrailingDot, const TextBudget& budget) {
  if (uint64_t{offset} + rdlength > length) [[unlikely]]
    failRdataBounds(offset, rdlength, length);
  RdataReader reader(data, length, offset, offset + rdlength, text, withTrailingDot, budget);
  writeByType(reader, type, rdlength);
  reader.checkText();
}

void decodeDnsMessageRdata(uint32_t offset, const unsigned char* data, uint32_t length, uint16_t type,
                           uint32_t rdlength, encoding::Bytes& rdata, bool withTrailingDot) {
  encoding::data::Tail text(rdata);
  writeRdata(offset, data, length, type, rdlength, text, withTrailingDot, TextBudget());
  text.finish();
}

}  // namespace ns::net::dns
