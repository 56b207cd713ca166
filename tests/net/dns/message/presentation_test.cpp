#include <gtest/gtest.h>

#include "encoding/hex.h"
#include "net/dns/message/decodeDnsMessage.h"
#include "net/dns/message/presentation.h"
#include "support/appended.h"
#include "support/table.h"

using namespace ns::net::dns;
using Packet = std::vector<unsigned char>;

/// `size` bytes of record data at `offset` of a packet, as text.
static std::string present(const Packet& packet, uint16_t type, uint32_t size, uint32_t offset = 12) {
  return test::appended([&](auto& out) {
    MessageText text(out, false);
    RdataWriter writer(packet.data(), test::size32(packet), offset, size, text);
    writePresentation(writer, type);
    text.finish();
  });
}

/// Record data at 12 of a packet; names may point at "mail." at 0.
static Packet packetWith(const std::string& hex) { return test::packet("046d61696c00 000000000000 " + hex); }

/// As RFC 3597 has bytes of any type.
static std::string generic(const Packet& packet, uint32_t size) {
  const std::string length = R"(\# )" + std::to_string(size);
  return size == 0 ? length : length + " " + test::appended([&](auto& out) {
                                ns::encoding::hex::formatHex(out, packet.data() + 12, size);
                              });
}

/// Whether a list such as "4 8 12+" has the size; the last stands for all from there on.
static bool lists(const std::string& sizes, uint32_t size) {
  const std::string padded = " " + sizes + " ";
  const bool open = !sizes.empty() && sizes.back() == '+';
  return padded.find(" " + std::to_string(size) + " ") != padded.npos || (open && std::stoul(sizes) <= size);
}

TEST(WritePresentation, HasAFormForEachTypeAndTheGenericOneForWhatIsCut) {
  // Name, type, record data, text; which parts of the data from its start are whole records, too, a zero byte added.
  const auto rows = test::rowsOf(R"rows(
    A | 1 | c0000250 | 192.0.2.80
    NS, compressed | 2 | c000 | mail.
    MD | 3 | 0161016200 | a.b.
    MF | 4 | 00 | .
    CNAME, odd bytes | 5 | 0c 2e225c283b4024 2a20297f 0002 ff61 00 | \.\"\\\(\;\@\$*\032\)\127\000.\255a.
    CNAME, more odd ones | 5 | 11 0009212f232527262b2c3d7e5b60807b7d 05 612d5f5a39 00 | \000\009!/#%'&+,=~[`\128{}.a-_Z9.
    SOA | 6 | c000 0161c000 00000001 00000002 00000003 00000004 ffffffff | mail. a.mail. 1 2 3 4 4294967295
    MB | 7 | c000 | mail.
    MG | 8 | c000 | mail.
    MR | 9 | c000 | mail.
    WKS | 11 | c0000201 06 000004 40 | 192.0.2.1 6 21 25 | 5 8
    WKS, no ports | 11 | c0000201 11 | 192.0.2.1 17
    PTR | 12 | 00 | .
    HINFO | 13 | 1047656e6572696320504320636c6f6e65 0a4e65744253442d312e34 | "Generic PC clone" "NetBSD-1.4"
    MINFO | 14 | c000 0161 c000 | mail. a.mail.
    MX | 15 | 000a c000 | 10 mail.
    TXT | 16 | 03612262 035c2063 02ff00 00 | "a\"b" "\\ c" "\255\000" "" | 4 8 11 13
    RP (RFC 1183) | 17 | 056c6f756965077472616e746f7203756d640365647500 044c414d310670656f706c6503756d640365647500 | louie.trantor.umd.edu. LAM1.people.umd.edu.
    AFSDB | 18 | 0001 c000 | 1 mail.
    X25 (RFC 1183) | 19 | 0c333131303631373030393536 | 311061700956
    ISDN (RFC 1183) | 20 | 0f313530383632303238303033323137 03303034 | "150862028003217" "004" | 16
    RT (RFC 1183) | 21 | 000a 0552656c6179055072696d6503434f4d00 | 10 Relay.Prime.COM.
    NSAP (RFC 1706) | 22 | 47000580005a0000000001e133ffffff00016200 | 0x47000580005A0000000001E133FFFFFF00016200 | 1+
    NSAP-PTR | 23 | c000 | mail.
    SIG | 24 | 0001 05 03 00015180 3e7c9dd7 3e5510d7 0a52 c000 666f6f | A 5 3 86400 20030322173103 20030220173103 2642 mail. Zm9v | 21+
    KEY | 25 | 0101 03 05 666f6f | 257 3 5 Zm9v | 5+
    PX (RFC 2163) | 26 | 0032 026162046e65743202697400 044f2d61620950524d442d6e6574320541444d446204432d697400 | 50 ab.net2.it. O-ab.PRMD-net2.ADMDb.C-it.
    GPOS (RFC 1712) | 27 | 082d33322e36383832 083131362e38363532 0431302e30 | -32.6882 116.8652 10.0
    GPOS, at the pole | 27 | 072b39302e303030 052d3138302e 022e35 | +90.000 -180. .5
    AAAA | 28 | 20010db8000000000000000000000001 | 2001:db8::1
    LOC (RFC 1876) | 29 | 00 33 16 13 89172dd0 70be15f0 00988d20 | 42 21 54.000 N 71 6 18.000 W -24.00m 30.00m 10000.00m 10.00m
    LOC, ends | 29 | 00 00 99 12 6cb02700 a69fb1ff ffffffff | 90 0 0.000 S 179 59 59.999 E 42849672.95m 0.00m 90000000.00m 1.00m
    LOC, low | 29 | 00 11 20 30 80000000 80000001 0098967f | 0 0 0.000 N 0 0 0.001 E -0.01m 0.10m 0.02m 0.03m
    SRV | 33 | 0001 0002 0035 c000 | 1 2 53 mail.
    NAPTR (RFC 3403) | 35 | 0064003201730d7a333935302b49324c2b49324300065f7a33393530045f746370066761746563680365647500 | 100 50 "s" "z3950+I2L+I2C" "" _z3950._tcp.gatech.edu.
    KX | 36 | 0002 c000 | 2 mail.
    CERT | 37 | 0001 04d2 0c 666f6f | PKIX 1234 12 Zm9v | 6+
    CERT, unknown | 37 | 0100 0000 09 00 | 256 0 9 AA== | 6+
    DNAME | 39 | c000 | mail.
    APL (RFC 3123) | 42 | 0001 15 03 c0a820 0001 1c 83 c0a826 | 1:192.168.32.0/21 !1:192.168.38.0/28 | 7
    APL (RFC 3123), IPv6 | 42 | 0001 04 01 e0 0002 08 01 ff | 1:224.0.0.0/4 2:ff00::/8 | 5
    APL, whole ones | 42 | 0001 20 04 c0000201 0002 80 90 20010db8000000000000000000000001 0001 00 00 | 1:192.0.2.1/32 !2:2001:db8::1/128 1:0.0.0.0/0 | 8 28
    DS (RFC 4034) | 43 | ec45 05 01 2bb183af5f22588179a53b0a98631fad1a292118 | 60485 5 1 2BB183AF5F22588179A53B0A98631FAD1A292118
    DS, a new digest | 43 | ec45 0d ff 2bb183 | 60485 13 255 2BB183 | 5+
    SSHFP (RFC 4255) | 44 | 02 01 123456789abcdef67890123456789abcdef67890 | 2 1 123456789ABCDEF67890123456789ABCDEF67890 | 3+
    IPSECKEY, IPv4 (RFC 4025) | 45 | 0a 01 02 c0000226 010351537986ed35533b6064478eeeb27b5bd74dae149b6e81ba3a0521af82ab7801 | 10 1 2 192.0.2.38 AQNRU3mG7TVTO2BkR47usntb102uFJtugbo6BSGvgqt4AQ== | 8+
    IPSECKEY, none (RFC 4025) | 45 | 0a 00 02 010351537986ed35533b6064478eeeb27b5bd74dae149b6e81ba3a0521af82ab7801 | 10 0 2 . AQNRU3mG7TVTO2BkR47usntb102uFJtugbo6BSGvgqt4AQ== | 4+
    IPSECKEY, IPv6 (RFC 4025) | 45 | 0a 02 02 20010db8000080020000000020000001 010351537986ed35533b6064478eeeb27b5bd74dae149b6e81ba3a0521af82ab7801 | 10 2 2 2001:db8:0:8002::2000:1 AQNRU3mG7TVTO2BkR47usntb102uFJtugbo6BSGvgqt4AQ== | 20+
    IPSECKEY, a name (RFC 4025) | 45 | 0a 03 02 096d7967617465776179076578616d706c6503636f6d00 666f6f | 10 3 2 mygateway.example.com. Zm9v | 27+
    RRSIG (RFC 4034) | 46 | 0001 05 03 00015180 3e7c9dd7 3e5510d7 0a52 076578616d706c6503636f6d00 a090755ba58d1affa576f4375831b4310920e481218d18a9f164eb3d81afd3b875d3c75428631e0cf2a28d50875f70c329d7dbfafea807dc1fba1dc34c95d401f23f334ce63bfcf3f1b5b44739e5f0eded18d6b33f040a911376d173d757a9f0c1fa1798941bb0b36b2df9062790fa7f0166f2737eea907378341fb12dc0a77a | A 5 3 86400 20030322173103 20030220173103 2642 example.com. oJB1W6WNGv+ldvQ3WDG0MQkg5IEhjRip8WTrPYGv07h108dUKGMeDPKijVCHX3DDKdfb+v6oB9wfuh3DTJXUAfI/M0zmO/zz8bW0Rznl8O3tGNazPwQKkRN20XPXV6nwwfoXmJQbsLNrLfkGJ5D6fwFm8nN+6pBzeDQfsS3Ap3o= | 32+
    RRSIG, unknown | 46 | ff00 08 02 00000e10 00000000 ffffffff 04d2 00 01 | TYPE65280 8 2 3600 19700101000000 21060207062815 1234 . AQ== | 20+
    RRSIG of type 0 | 46 | 0000 08 02 00000e10 00000000 ffffffff 04d2 00 01 | TYPE0 8 2 3600 19700101000000 21060207062815 1234 . AQ== | 20+
    NSEC (RFC 4034) | 47 | 04686f7374076578616d706c6503636f6d00 0006 400100000003 041b 00x26 20 | host.example.com. A MX RRSIG NSEC TYPE1234 | 18 26
    NSEC, alone | 47 | c000 | mail.
    NSEC, the ends | 47 | 00 0001 40 0120 00x31 01 ff20 00x31 01 | . A TYPE511 TYPE65535 | 1 4 38
    DNSKEY (RFC 4034) | 48 | 0100 03 05 0103d22a6ca77f35b893206fd35e4c506d8378843709b97e041647e1bff43d8d64c649af1e371973c9e891fce3df519a8c840a63ee42a6d2ebddbb97035d215aa4e417b1fa45fa11a9741ea2098c1dfa5fb5feb332fd4bc8152089aef36ba644cce2413b3b72be18cbef8da253f4e93d2103866d9234a2e28df529a67d5468dbefe3 | 256 3 5 AQPSKmynfzW4kyBv015MUG2DeIQ3Cbl+BBZH4b/0PY1kxkmvHjcZc8nokfzj31GajIQKY+5CptLr3buXA10hWqTkF7H6RfoRqXQeogmMHfpftf6zMv1LyBUgia7za6ZEzOJBOztyvhjL742iU/TpPSEDhm2SNKLijfUppn1UaNvv4w== | 5+
    DHCID (RFC 4701) | 49 | 000201636fc0b8271c82825bb1ac5c41cf5351aa69b4febd94e8f17cdb95000da48c40 | AAIBY2/AuCccgoJbsaxcQc9TUapptP69lOjxfNuVAA2kjEA= | 1+
    NSEC3 (RFC 5155) | 50 | 01 01 000c 04 aabbccdd 14 174eb2409fe28bcb4887a1836f957f0a8425e27b 0007 2201000000 0290 | 1 1 12 AABBCCDD 2T7B4G4VSA5SMI47K61MV5BV1A22BOJR NS SOA MX RRSIG DNSKEY NSEC3PARAM | 30
    NSEC3, no types | 50 | 01 00 0000 00 05 0000000000 | 1 0 0 - 00000000
    NSEC3PARAM (RFC 5155) | 51 | 01 00 000c 04 aabbccdd | 1 0 12 AABBCCDD
    NSEC3PARAM, no salt | 51 | 01 00 0000 00 | 1 0 0 -
    TLSA (RFC 6698) | 52 | 00 00 01 d2abde240d7cd3ee6b4b28c54df034b97983a1d16e8a410e4561cb106618e971 | 0 0 1 D2ABDE240D7CD3EE6B4B28C54DF034B97983A1D16E8A410E4561CB106618E971 | 4+
    SMIMEA | 53 | 03 01 02 abcd | 3 1 2 ABCD | 4+
    HIP (RFC 8005) | 55 | 10 02 0084 200100107b1a74df365639cc39f1d578 03010001b771ca136e4aeb5ce44333c53b3d2c13c22243851fc708bcce29f7e2eb5787b5f56ccad34f8223acc10904ddb56b2ec4a6d6232f3b50ea094f0914b3b941bbe529af582c36bbadefdaf2adaf9b4911906f5b2522603c615272b880ec8fb930cc6ee39c444daa75b1678f005a4b2499d1da5433f805c7a5ad3237acc5dd5c5e43 03727673076578616d706c6503636f6d00 016200 | 2 200100107B1A74DF365639CC39F1D578 AwEAAbdxyhNuSutc5EMzxTs9LBPCIkOFH8cIvM4p9+LrV4e19WzK00+CI6zBCQTdtWsuxKbWIy87UOoJTwkUs7lBu+Upr1gsNrut79ryra+bSRGQb1slImA8YVJyuIDsj7kwzG7jnERNqnWxZ48AWkskmdHaVDP4BcelrTI3rMXdXF5D rvs.example.com. b. | 152 169 173
    NINFO | 56 | 0161 | "a" | 3
    RKEY | 57 | 0000 03 08 01 | 0 3 8 AQ== | 5+
    TALINK | 58 | c000 00 | mail. .
    CDS, removal (RFC 8078) | 59 | 0000 00 00 00 | 0 0 0 00
    CDNSKEY, removal (RFC 8078) | 60 | 0000 03 00 00 | 0 3 0 AA== | 5+
    OPENPGPKEY | 61 | 666f | Zm8= | 1+
    CSYNC (RFC 7477) | 62 | 00000042 0003 0004 60000008 | 66 3 A NS AAAA | 6
    ZONEMD (RFC 8976) | 63 | 7848b91c 01 01 c68090d90a7aed716bc459f9340e3d7c1370d4d24b7e2fc3a1ddc0b9a87153b9a9713b3c9ae5cc27777f98b8e730044c | 2018031900 1 1 C68090D90A7AED716BC459F9340E3D7C1370D4D24B7E2FC3A1DDC0B9A87153B9A9713B3C9AE5CC27777F98B8E730044C
    ZONEMD, private | 63 | 0000000c f0 fe 00112233445566778899aabb cc | 12 240 254 00112233445566778899AABBCC | 18+
    HTTPS, an alias (RFC 9460, D.1) | 65 | 0000 03666f6f076578616d706c6503636f6d00 | 0 foo.example.com.
    SVCB (RFC 9460, figure 3) | 64 | 0001 00 | 1 .
    a port (figure 4) | 64 | 0010 03666f6f076578616d706c6503636f6d00 0003 0002 0035 | 16 foo.example.com. port="53" | 19
    a generic key (figure 5) | 64 | 0001 03666f6f076578616d706c6503636f6d00 029b 0005 68656c6c6f | 1 foo.example.com. key667="hello" | 19
    an escape (figure 6) | 64 | 0001 03666f6f076578616d706c6503636f6d00 029b 0009 68656c6c6fd2716f6f | 1 foo.example.com. key667="hello\210qoo" | 19
    IPv6 hints (figure 7) | 64 | 0001 03666f6f076578616d706c6503636f6d00 0006 0020 20010db8000000000000000000000001 20010db8000000000000000000530001 | 1 foo.example.com. ipv6hint="2001:db8::1,2001:db8::53:1" | 19
    an IPv6 hint (figure 8) | 64 | 0001 076578616d706c6503636f6d00 0006 0010 20010db8012203440000 0000c0000221 | 1 example.com. ipv6hint="2001:db8:122:344::c000:221" | 15
    mandatory (figure 9) | 64 | 0010 03666f6f076578616d706c65036f726700 0000 0004 0001 0004 0001 0009 02 6832 05 68332d3139 0004 0004 c0000201 | 16 foo.example.org. mandatory="alpn,ipv4hint" alpn="h2,h3-19" ipv4hint="192.0.2.1" | 19
    alpn (figure 10) | 64 | 0010 03666f6f076578616d706c65036f726700 0001 000c 08 665c6f6f2c626172 02 6832 | 16 foo.example.org. alpn="f\\\\oo\\,bar,h2" | 19
    all keys | 65 | 0001 00 0001 0007 02 6832 03 2c225c 0002 0000 0004 0008 c0000201 c0000202 0005 0003 666f6f 0007 0007 2f7b3f646e737d 0008 0000 0009 0000 ffff 0001 22 | 1 . alpn="h2,\\,\"\\\\" no-default-alpn ipv4hint="192.0.2.1,192.0.2.2" ech="Zm9v" dohpath="/{?dns}" key8 key9 key65535="\"" | 3 14 18 30 37 48 52 56
    DSYNC (RFC 9859) | 66 | 003b 01 14ef 0b6364732d7363616e6e6572076578616d706c65036e657400 | CDS 1 5359 cds-scanner.example.net.
    HHIT | 67 | 8301 | gwE= | 1+
    BRID | 68 | a1 | oQ== | 1+
    SPF | 99 | 0b763d73706631202d616c6c | "v=spf1 -all" | 13
    NID (RFC 6742) | 104 | 000a 00144fffff20ee64 | 10 0014:4fff:ff20:ee64
    L32 (RFC 6742) | 105 | 000a 0a010200 | 10 10.1.2.0
    L64 (RFC 6742) | 106 | 000a 20010db811401000 | 10 2001:0db8:1140:1000
    LP (RFC 6742) | 107 | 000a 0b6c36342d7375626e657431076578616d706c6503636f6d00 | 10 l64-subnet1.example.com.
    EUI48 (RFC 7043) | 108 | 00005e00532a | 00-00-5e-00-53-2a
    EUI64 (RFC 7043) | 109 | 00005eef1000002a | 00-00-5e-ef-10-00-00-2a
    URI (RFC 7553) | 256 | 000a 0001 6674703a2f2f667470312e6578616d706c652e636f6d2f7075626c6963 | 10 1 "ftp://ftp1.example.com/public" | 5+
    URI, escapes | 256 | 000a 0001 22c3bc3b | 10 1 "\"\195\188;" | 5+
    CAA (RFC 8659) | 257 | 00 056973737565 6361312e6578616d706c652e6e65743b206163636f756e743d323330313233 | 0 issue "ca1.example.net; account=230123" | 7+
    CAA, no value | 257 | 80 05696f646566 | 128 iodef "" | 7+
    AVC | 258 | 00 | "" | 2
    AMTRELAY (RFC 8777) | 260 | 0a 01 cb00710f | 10 0 1 203.0.113.15
    AMTRELAY, IPv6 (RFC 8777) | 260 | 0a 02 20010db8000000000000000000000015 | 10 0 2 2001:db8::15
    AMTRELAY, a name (RFC 8777) | 260 | 80 83 09616d7472656c617973076578616d706c6503636f6d00 | 128 1 3 amtrelays.example.com.
    AMTRELAY, none | 260 | 00 80 | 0 1 0 .
    RESINFO (RFC 9606) | 261 | 08716e616d656d696e 0c6578746572723d31352d3137 | "qnamemin" "exterr=15-17" | 9 23
    WALLET | 262 | 034254430178 | "BTC" "x" | 4 7
    TA | 32768 | 0001 08 09 ff | 1 8 9 FF | 5+
    DLV | 32769 | 0001 08 09 ff | 1 8 9 FF | 5+
  )rows",
                                 5);
  for (const test::Row& row : rows) {
    SCOPED_TRACE(row[0]);
    const auto type = static_cast<uint16_t>(std::stoi(row[1]));
    Packet packet = packetWith(row[2]);
    const uint32_t whole = test::size32(packet) - 12;
    EXPECT_EQ(row[3], present(packet, type, whole));
    packet.push_back(0);
    EXPECT_EQ(row[3], present(packet, type, whole));
    for (uint32_t size = 0; size <= whole + 1; ++size) {
      if (size == whole) continue;
      // What follows the record in the packet must not count.
      const Packet cut(packet.data(), packet.data() + 12 + size);
      const std::string text = present(cut, type, size);
      EXPECT_EQ(text, present(packet, type, size)) << size;
      EXPECT_EQ(!lists(row[4], size), text == generic(packet, size)) << size << ": " << text;
    }
  }
}

TEST(WritePresentation, TakesTheGenericFormForWhatIsNotAsItsRfcHasIt) {
  const auto rows = test::rowsOf(R"(
    NULL has no form             |  10 | 616263
    OPT                          |  41 | 00040000
    none of the registry         | 300 | 01
    the last type                | 65535 | 01
    pointer to itself            |   2 | c00c
    pointer forward              |   2 | c010 00
    pointer to its own label     |   5 | 0161 c00c
    label of a reserved kind     |   2 | 40 61 00
    the other reserved kind      |  12 | 80 00
    name of 256 bytes            |  39 | 3f 61x63 3f 61x63 3f 61x63 3e 61x62 00
    a byte left over             |   1 | c0000201 00
    X25, three digits            |  19 | 03 313233
    X25, a letter                |  19 | 04 31323361
    ISDN, empty subaddress       |  20 | 0131 00
    GPOS, too far north          |  27 | 04 39302e31 0130 0130
    GPOS, too far west           |  27 | 0130 04 2d313831 0130
    GPOS, an exponent            |  27 | 03 316531 0130 0130
    GPOS, no digits              |  27 | 0130 0130 02 2d2e
    LOC, version 1               |  29 | 01 33 16 13 89172dd0 70be15f0 00988d20
    LOC, north of the pole       |  29 | 00 33 16 13 934fdc01 70be15f0 00988d20
    LOC, south of the pole       |  29 | 00 33 16 13 6cb023ff 70be15f0 00988d20
    LOC, over 180 degrees        |  29 | 00 33 16 13 89172dd0 a69fb801 00988d20
    LOC, size digit              |  29 | 00 a0 16 13 89172dd0 70be15f0 00988d20
    LOC, precision exponent      |  29 | 00 33 1a 13 89172dd0 70be15f0 00988d20
    LOC, other zero              |  29 | 00 33 16 01 89172dd0 70be15f0 00988d20
    APL, zeros at the end        |  42 | 0001 15 04 c0a82000
    APL, unknown family          |  42 | 0003 15 01 c0
    APL, prefix                  |  42 | 0001 21 01 c0
    APL, IPv6 prefix             |  42 | 0002 81 01 c0
    APL, address                 |  42 | 0001 15 05 c0a8200101
    DS, digest of another length |  43 | ec45 05 02 2bb183af5f22588179a53b0a98631fad1a292118
    DS, digest type 0            |  43 | ec45 05 00 00
    CDS, a longer removal        |  59 | 0000 00 00 0000
    IPSECKEY, gateway            |  45 | 0a 04 02 666f6f
    AMTRELAY, relay              | 260 | 0a 04 666f6f
    NSEC, windows turned round   |  47 | 00 0101 40 0001 40
    NSEC, a window twice         |  47 | 00 0001 40 0001 20
    NSEC, an empty window        |  47 | 00 0000
    NSEC, a long window          |  47 | 00 0021 00x32 01
    NSEC, zeros at the end       |  47 | 00 0002 4000
    NSEC, type 0                 |  47 | 00 0001 c0
    NSEC3, no hash               |  50 | 01 00 0000 00 00
    NSEC3, hash to be padded     |  50 | 01 00 0000 00 04 00000000
    HIP, no tag                  |  55 | 00 02 0001 ff
    HIP, no key                  |  55 | 01 02 0000 ff
    HIP, a pointer               |  55 | 01 02 0001 ff ff c000
    ZONEMD, scheme               |  63 | 00000001 00 f0 00x12
    ZONEMD, algorithm            |  63 | 00000001 01 00 00x12
    ZONEMD, short                |  63 | 00000001 01 f0 00x11
    ZONEMD, not SHA-384          |  63 | 00000001 01 01 00x47
    ZONEMD, not SHA-512          |  63 | 00000001 01 02 00x48
    CAA, no tag                  | 257 | 00 00 61
    CAA, a sign in the tag       | 257 | 00 03 612d62 61
    alias with parameters        |  64 | 0000 00 0003 0002 0035
    keys turned round            |  64 | 0001 00 0003 0002 0035 0001 0002 0161
    a key twice                  |  64 | 0001 00 0003 0002 0035 0003 0002 0035
    value past the end           |  65 | 0001 00 0009 0002 61
    no alpn                      |  64 | 0001 00 0001 0000
    an empty protocol            |  64 | 0001 00 0001 0003 0161 00
    protocol past its value      |  64 | 0001 00 0001 0002 0261 0009 0001 62
    short port                   |  64 | 0001 00 0003 0001 35
    long port                    |  64 | 0001 00 0003 0003 000035
    no IPv4 hint                 |  64 | 0001 00 0004 0000
    IPv4 hint of 6 bytes         |  64 | 0001 00 0004 0006 c0000201 c000
    IPv6 hint of 4 bytes         |  64 | 0001 00 0006 0004 c0000201
    no ech                       |  64 | 0001 00 0005 0000
    a value of no-default-alpn   |  64 | 0001 00 0001 0002 0161 0002 0001 61
    no-default-alpn alone        |  64 | 0001 00 0002 0000
    mandatory, none              |  64 | 0001 00 0000 0000
    mandatory, odd               |  64 | 0001 00 0000 0003 000300 0003 0002 0035
    mandatory itself             |  64 | 0001 00 0000 0002 0000 0003 0002 0035
    mandatory, turned round      |  64 | 0001 00 0000 0004 0009 0003 0003 0002 0035 0009 0000
    mandatory, twice             |  64 | 0001 00 0000 0004 0003 0003 0003 0002 0035
    mandatory, not there         |  64 | 0001 00 0000 0004 0003 0009 0003 0002 0035
    no path                      |  64 | 0001 00 0007 0000
  )",
                                 3);
  for (const test::Row& row : rows) {
    SCOPED_TRACE(row[0]);
    const Packet packet = packetWith(row[2]);
    const uint32_t size = test::size32(packet) - 12;
    EXPECT_EQ(generic(packet, size), present(packet, static_cast<uint16_t>(std::stoi(row[1])), size));
  }
}

TEST(WritePresentation, BoundsNames) {
  EXPECT_EQ(254U, present(packetWith("3f 61x63 3f 61x63 3f 61x63 3d 61x61 00"), 2, 255).size());
  for (const uint32_t pointers : {127U, 128U}) {  // each to the one before it, the first to the root
    Packet packet(12);
    for (uint32_t target = 0; packet.size() < 12 + 2 * pointers; target = test::size32(packet) - 2)
      packet.insert(packet.end(), {uint8_t(0xC0 | target >> 8), uint8_t(target)});
    EXPECT_EQ(pointers == 127 ? "." : R"(\# 2 C108)", present(packet, 2, 2, test::size32(packet) - 2));
  }
}

TEST(DecodeDnsMessage, GoesOnBehindARecordThatIsBad) {
  const TextForms forms{.trailingDot = false, .lowercase = false, .rfcRecordData = true};
  const std::string header = "0000 8180 0001 0002 0000 0000 0161 00 0001 0001 ";
  const Packet packet = test::packet(header + "c00c 0001 0001 00000000 0003 c00002 c00c 0005 0001 00000000 0002 c00c");
  DnsMessage message;
  decodeDnsMessage(packet.data(), test::size32(packet), message, forms);
  EXPECT_EQ("", message.error);
  EXPECT_EQ(R"(\# 3 C00002)", test::text(message.at(message.answers.at(0).rdata)));
  EXPECT_EQ("a", test::text(message.at(message.answers.at(1).name)));
  EXPECT_EQ("a.", test::text(message.at(message.answers.at(1).rdata)));
}
