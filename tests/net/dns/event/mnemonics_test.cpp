#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "net/dns/event/contract.h"
#include "net/dns/event/eventWords.h"
#include "net/dns/message/contract.h"
#include "support/appended.h"

using namespace ns::net::dns;

TEST(Mnemonics, AreWordsOrPrefixAndNumber) {
  const struct {
    void (*format)(ns::encoding::Bytes&, uint16_t);
    const MnemonicTable& table;
    size_t rows;
    const char* texts;  // numbers and what they show as
  } cases[] = {{formatRecordType, record_types, 98,
                "0 RESERVED0 1 A 51 NSEC3PARAM 53 SMIMEA 54 TYPE54 55 HIP 68 BRID 69 TYPE69 98 TYPE98 99 SPF 109 EUI64 "
                "110 TYPE110 128 NXNAME 248 TYPE248 249 TKEY 264 IPN 265 TYPE265 32767 TYPE32767 32768 TA 32769 DLV "
                "32770 TYPE32770 65535 TYPE65535"},
               {formatRecordClass, record_classes, 6,
                "0 RESERVED0 1 IN 2 CLASS2 3 CH 4 HS 254 NONE 255 ANY 256 CLASS256 32769 CLASS32769"},
               {formatResponseCode, response_codes, 20,
                "0 NOERROR 9 NOTAUTH 11 DSOTYPENI 12 RCODE12 15 RCODE15 16 BADVERS 23 BADCOOKIE 24 RCODE24"},
               {formatSocketProtocol, socket_protocols, 7, "0 PROTO0 1 UDP 6 DNSCryptTCP 7 DOQ 8 PROTO8"},
               {formatCertType, cert_types, 10, "0 0 1 PKIX 254 OID 255 255 256 256"},
               {formatAlgorithmType, algorithm_types, 17, "7 NSEC3RSASHA1 9 9 254 PRIVATEOID 255 255"}};
  for (const auto& c : cases) {
    std::istringstream texts(c.texts);
    uint16_t key;
    for (std::string text; texts >> key >> text;)
      EXPECT_EQ(text, test::appended([&](auto& out) { c.format(out, key); }));
    std::set<std::string> words;
    for (uint32_t i = 0; i < 65536; ++i) {
      unsigned char out[DnsParameterRoom];
      unsigned char* const end = writeDnsParameter(out, c.table, static_cast<uint16_t>(i));
      const std::string text(&out[0], end), number = std::string(c.table.prefix) + std::to_string(i);
      if (text != number) words.insert(text);
    }
    EXPECT_EQ(c.rows, words.size());
  }
}
