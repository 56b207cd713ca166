#include <gtest/gtest.h>

#include "net/dns/message/DnsError.h"
#include "net/dns/message/contract.h"
#include "support/appended.h"
#include "support/table.h"

using namespace ns::net::dns;
using Packet = std::vector<unsigned char>;

/// The text in brackets, or the text of the failure.
static std::string decode(const Packet& packet, uint32_t offset, uint16_t type, uint32_t rdlength) {
  std::string failure;
  const std::string text = test::appended([&](auto& out) {
    failure = test::failureOf<ns::error::UnknownError>(
        [&] { decodeDnsMessageRdata(offset, packet.data(), test::size32(packet), type, rdlength, out, true); });
    EXPECT_LT(out.capacity(), size_t{40} << 20);
  });
  if (failure.empty()) return "[" + text + "]";
  return text.empty() ? failure : "a failure leaves something behind";
}

TEST(DecodeDnsMessageRdata, ShowsEachTypeOrNamesWhatIsWrong) {
  // Name, type, record data, outcome; what follows the record; what stands in the 12 bytes before it, if not a name.
  const auto rows = test::rowsOf(R"(
    A                        |   1 | c0000250 | [192.0.2.80]
    A, too short             |   1 | c00002 | A record data length is 3 but should be 4
    A, too long              |   1 | c000025000 | A record data length is 5 but should be 4
    AAAA                     |  28 | 20010db8000000000000000000000001 | [2001:db8::1]
    AAAA, short              |  28 | c0000250 | AAAA record data length is 4 but should be 16
    NS                       |   2 | c000 | [mail.]
    CNAME                    |   5 | 0261 62 c000 | [ab.mail.]
    PTR                      |  12 | 00 | [.]
    DNAME behind its end     |  39 |  | [x.] | 0178 00
    NS, bad                  |   2 | c0ff | Read FQDN failed: DNS name uses pointer offset 255 which is past packet len 14
    SOA                      |   6 | c000 0161c000 00000001 00000002 00000003 00000004 ffffffff | [mail. a.mail. 1 2 3 4 4294967295]
    SOA, cut                 |   6 | 00 00 000000 | Read uint32_t failed: Offset 14 + 4 is out of bounds for data of 17 bytes
    MX                       |  15 | 000a c000 | [10 mail.]
    AFSDB                    |  18 | ffff 00 | [65535 .]
    KX                       |  36 | 0000 c000 | [0 mail.]
    TXT                      |  16 | 03612262 0163 | ["a\"b" "c"]
    TXT, empty               |  16 |  | []
    TXT ""                   |  16 | 00 | [""]
    TXT past the end         |  16 | ff 61 0a | ["a\010"] | 62
    SRV                      |  33 | 0001 0002 0035 c000 | [1 2 53 mail.]
    NAPTR                    |  35 | 000a 0014 0153 075349502b443255 00 c000 | [10 20 "S" "SIP+D2U" "" mail.]
    NAPTR, empty             |  35 |  | [1 2    mail.] | 0001 0002 c000
    NAPTR past the packet    |  35 | 000a 0014 0153 0553 | Read record data strings failed: Expected at least 6 bytes but only 2 are left in the packet
    NAPTR, cut to the length |  35 | 0001 0002 0161 0a | [1 2 "a" "bcdefg" "" .] | 626364656667 00 00
    CERT                     |  37 | 0001 04d2 0c 666f6f | [PKIX 1234 ECCGOST Zm9v]
    CERT, unknown            |  37 | 0100 0000 09 | [256 0 9 ]
    CERT, short              |  37 | 0001 04d2 | Read record data failed: Offset 17 + 4294967295 is out of bounds for packet of 17 bytes | 0c
    DS                       |  43 | ec45 05 01 2bb183af | [60485 5 1 2BB183AF]
    CDS, no digest           |  59 | ec45 05 01 | [60485 5 1 ]
    DS, short                |  43 | ec45 05 | Read record data failed: Offset 16 + 4294967295 is out of bounds for packet of 18 bytes | 010203
    SSHFP                    |  44 | 04 02 abcd | [4 2 ABCD]
    IPSECKEY, none           |  45 | 0a 00 00 02 666f6f | [10 0 0 2 . Zm9v]
    IPSECKEY, IPv4           |  45 | 0a 09 01 02 c0000201 666f6f | [10 9 1 2 192.0.2.1 Zm9v]
    IPSECKEY, IPv6           |  45 | 0a 00 02 02 20010db8000000000000000000000001 | [10 0 2 2 2001:db8::1 ]
    IPSECKEY, a name         |  45 | 0a 00 03 02 c000 666f6f | [10 0 3 2 mail. Zm9v]
    IPSECKEY, unknown        |  45 | 0a 00 04 02 666f6f | [10 0 4 2 Zm9v]
    IPSECKEY past the packet |  45 | 0a 00 01 02 c00002 | Read record data failed: Offset 16 + 4 is out of bounds for packet of 19 bytes
    IPSECKEY past the record |  45 | 0a 00 02 02 | Read record data failed: Offset 32 + 4294967280 is out of bounds for packet of 32 bytes | 00x16
    RRSIG                    |  46 | 0001 08 02 00000e10 6553f100 00000000 04d2 c000 666f6f | [A 8 2 3600 20231114221320 19700101000000 1234 mail. Zm9v]
    RRSIG, unknown           |  46 | ff00 08 02 00000e10 00000000 ffffffff 04d2 00 | [TYPE65280 8 2 3600 19700101000000 21060207062815 1234 . ]
    DNSKEY                   |  48 | 0101 03 08 666f6f62 | [257 3 8 Zm9vYg==]
    CDNSKEY, short           |  60 | 0101 03 | Read uint8_t failed: Offset 15 + 1 is out of bounds for data of 15 bytes
    DHCID                    |  49 | 666f | [Zm8=]
    OPENPGPKEY               |  61 |  | []
    NSEC3                    |  50 | 01 00 000a 02aabb 050000000000 00 02 4001 01 01 40 | [1 0 10 AABB 00000000 A MX CAA]
    NSEC3, all empty         |  50 | 01 01 0000 00 00 07 00 | [1 1 0 - ]
    NSEC3, the last type     |  50 | 01 00 0000 00 00 ff ff 00x254 80 | [1 0 0 -  TYPE1776]
    NSEC3 past the record    |  50 | 01 00 0000 00 00 00 01 | [1 0 0 -  A] | 40
    NSEC3, salt              |  50 | 01 00 0000 05 aabb | Read record data failed: Offset 17 + 5 is out of bounds for packet of 19 bytes
    NSEC3, hash              |  50 | 01 00 0000 00 14 aabb | Read record data failed: Offset 18 + 20 is out of bounds for packet of 20 bytes
    NSEC3, bitmap            |  50 | 01 00 0000 00 00 00 02 40 | Read uint8_t failed: Offset 21 + 1 is out of bounds for data of 21 bytes
    NSEC3PARAM               |  51 | 01 00 000a 00 | [1 0 10 -]
    NSEC3PARAM, salt         |  51 | 01 00 000a 01 aabb | [1 0 10 AABB]
    NSEC3PARAM, short        |  51 | 01 00 000a | Read record data failed: Offset 17 + 4294967295 is out of bounds for packet of 17 bytes | 01
    URI                      | 256 | 000a 0001 02 61626163 | [10 1 "ab" "c"]
    URI, no target           | 256 | 000a 0001 | [10 1 ]
    URI, short               | 256 | 000a | Read record data strings failed: Expected at least 2 bytes but only 1 are left in the packet | 0001 00
    CAA                      | 257 | 00 056973737565 6361 | [0 issue "" "" "" "" "" "" "" "issue" "a"]
    CAA, no value            | 257 | 80 00 | [128  "" "l\000\000\000\000" "" "" "" "" "\000"] |  | 0000 056c 00000000 0000 0000
    CAA, empty               | 257 |  | [0 aa "l\000\000\000\000\000\000\000"] | 00 026161
    CAA past the packet      | 257 |  | Read record data strings failed: Expected at least 6 bytes but only 3 are left in the packet | 00 056973
    SVCB, an alias           |  64 | 0000 00 | [0 .]
    HTTPS                    |  65 | 0001 00 0001 0003 026832 0003 0002 01bb | [1 . alpn="h2" port="443"]
    mandatory                |  64 | 0001 c000 0000 0012 0000 0001 0002 0003 0004 0005 0006 0007 0008 | [1 mail. mandatory="mandatory,alpn,no-default-alpn,port,ipv4hint,ech,ipv6hint,dohpath,key8"]
    empty values             |  64 | 0001 00 0000 0000 0001 0000 0004 0000 0005 0000 0006 0000 0009 0000 0002 0000 | [1 . mandatory="" alpn="" ipv4hint="" ech="" ipv6hint="" key9="" no-default-alpn]
    alpn                     |  64 | 0001 00 0001 0006 01 22 03 2c5c00 | [1 . alpn="\",,\\\000"]
    hints                    |  64 | 0001 00 0004 0008 c0000201 c0000202 0006 0010 20010db8000000000000000000000001 | [1 . ipv4hint="192.0.2.1,192.0.2.2" ipv6hint="2001:db8::1"]
    ech, other keys          |  64 | 0001 00 0005 0003 666f6f 0009 0002 6162 ffff 0001 07 | [1 . ech="Zm9v" key9="ab" key65535="\007"]
    lengths not used         |  64 | 0001 00 0002 0004 0003 0000 0035 | [1 . no-default-alpn port="53"]
    value past the end       |  64 | 0001 00 0001 0004 026832 | Parse HTTPS record data failed: Expected 4 << bytes at 19 until 22 | 00
    id past the end          |  64 | 0001 00 0001 0003 036832 | Parse HTTPS record data failed: Expected 3 << bytes at 20 until 22 | 00
    ids without end          |  64 | 0001 00 0001 0001 01 0004 0004 c0000201 | Parse HTTPS record data failed: Expected 2 << bytes at 27 until 28
    mandatory, odd           |  64 | 0001 00 0000 0001 00 | Read uint16_t failed: Offset 23 + 2 is out of bounds for data of 23 bytes | 000000
    ipv4hint without end     |  64 | 0001 00 0004 0006 c0000201 c000 | Parse HTTPS record data failed: Address list of 6 bytes is not a multiple of 4
    ipv6hint without end     |  64 | 0001 00 0006 0004 c0000201 | Parse HTTPS record data failed: Address list of 4 bytes is not a multiple of 16
    dohpath                  |  64 | 0001 00 0007 0000 | [1 . dohpath=""key7="" key9="\000\000\000\000\000\000\000\000\000\001\000\000\007\000\000"] |  | 0009 000f 00000000 00000000
    dohpath, into a value    |  64 | 0001 00 0007 0001 03 | Parse HTTPS record data failed: Expected 27753 << bytes at 6 until 20 |  | 046d0001 6c690000 00000000
    dohpath, circle          |  64 | 0001 00 0007 0000 | Parse HTTPS record data failed: Parameters at 0 come back to themselves |  | 0007 0000 00000000 00000000
    dohpath, long circle     |  64 | 0001 00 0007 0000 | Parse HTTPS record data failed: Parameters at 0 come back to themselves |  | 0009 0000 0002 0000 0007 0000
    any other                |  99 | abcdef | [\# 3 ABCDEF]
    NSEC                     |  47 |  | [\# 0 ]
    OPT                      |  41 | 00 | [\# 1 00]
    300                      | 300 | 01 | [\# 1 01]
  )",
                                 6);
  for (const test::Row& row : rows) {
    SCOPED_TRACE(row[0]);
    const auto type = static_cast<uint16_t>(std::stoi(row[1]));
    const uint32_t rdlength = test::size32(test::packet(row[2]));
    const Packet packet =
        test::packet((row[5].empty() ? "046d61696c00 000000000000" : row[5]) + " " + row[2] + " " + row[4]);
    EXPECT_EQ(row[3], decode(packet, 12, type, rdlength));
    // Cut at each size, with the packet and without: nothing outside of it is read.
    for (uint32_t size = 0; size < rdlength; ++size) {
      const Packet cut(packet.data(), packet.data() + 12 + size);
      decode(packet, 12, type, size);
      decode(cut, 12, type, size);
      EXPECT_EQ("Offset 12 + record data length " + std::to_string(size + 1) + " is out of bounds for packet of " +
                    std::to_string(12 + size) + " bytes",
                decode(cut, 12, type, size + 1));
    }
  }
}

TEST(DecodeDnsMessageRdata, BoundsTheTextOfLoops) {
  // An SVCB record with a list that misses its end, and a CAA record at the very end, which shows all before it.
  Packet packet = test::packet("0001 00 0000 0001 00");
  packet.resize(5 << 20, 0xFF);
  const std::string tooMuch = "DNS message becomes more than the maximum allowed of 16777216 bytes of text";
  EXPECT_EQ(tooMuch, decode(packet, 0, 64, 8));
  EXPECT_EQ(tooMuch, decode(packet, (5 << 20) - 16, 257, 16));
}

TEST(DecodeRdataStrings, WritesTheStringsAskedForAndSaysHowManyBytesTheyTook) {
  const struct {
    const char* hex;
    bool quoted, single;
    std::string text;
  } cases[] = {{"", true, false, " 0"},
               {"0161 00 0262", true, false, R"("a" "" "b" 5)"},
               {"0161 00 0262", false, false, "ab 5"},
               {"0161 0162", true, true, R"("a" 2)"},
               {"ff6122", false, true, R"(a\" 3)"}};
  for (const auto& c : cases) {
    const Packet data = test::unhex(c.hex);
    uint32_t used = 99;
    const std::string text = test::appended(
        [&](auto& out) { used = decodeRdataStrings(data.data(), test::size32(data), out, c.quoted, c.single); });
    EXPECT_EQ(c.text, text + " " + std::to_string(used));
  }
  EXPECT_EQ(R"(a\"\009)", test::appended([&](auto& out) { decodeRdataString(test::unhex("612209").data(), 3, out); }));
}
