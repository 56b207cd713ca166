#include "net/dns/message/mnemonics.h"

namespace ns::net::dns {

static constexpr auto RecordClasses =
    makeMnemonics<256>({{0, "RESERVED0"}, {1, "IN"}, {3, "CH"}, {4, "HS"}, {254, "NONE"}, {255, "ANY"}});

static constexpr auto ResponseCodes = makeMnemonics<24>({
    {0, "NOERROR"},
    {1, "FORMERR"},
    {2, "SERVFAIL"},
    {3, "NXDOMAIN"},
    {4, "NOTIMP"},
    {5, "REFUSED"},
    {6, "YXDOMAIN"},
    {7, "YXRRSET"},
    {8, "NXRRSET"},
    {9, "NOTAUTH"},  // server not authoritative for the zone
                     // (RFC 2136)
    {9, "NOTAUTH"},  // not authorised (RFC 8945)
    {10, "NOTZONE"},
    {11, "DSOTYPENI"},
    {16, "BADVERS"},  // as an extended code of EDNS (RFC 6891)
    {16, "BADSIG"},   // as an error of TSIG (RFC 8945), which no header holds
    {17, "BADKEY"},
    {18, "BADTIME"},
    {19, "BADMODE"},
    {20, "BADNAME"},
    {21, "BADALG"},
    {22, "BADTRUNC"},
    {23, "BADCOOKIE"},
});

static constexpr auto Opcodes =
    makeMnemonics<7>({{0, "QUERY"}, {1, "IQUERY"}, {2, "STATUS"}, {4, "NOTIFY"}, {5, "UPDATE"}, {6, "DSO"}});

static constexpr auto CertTypes = makeMnemonics<255>({
    {1, "PKIX"},
    {2, "SPKI"},
    {3, "PGP"},
    {4, "IPKIX"},
    {5, "ISPKI"},
    {6, "IPGP"},
    {7, "ACPKIX"},
    {8, "IACPKIX"},
    {253, "URI"},
    {254, "OID"},
});

static constexpr auto AlgorithmTypes = makeMnemonics<255>({
    {1, "RSAMD5"},
    {2, "DH"},
    {3, "DSA"},
    {4, "ECC"},
    {5, "RSASHA1"},
    {6, "NSEC3DSA"},
    {7, "NSEC3RSASHA1"},
    {8, "RSASHA256"},
    {10, "RSASHA512"},
    {12, "ECCGOST"},
    {13, "ECDSA256"},
    {14, "ECDSA384"},
    {15, "ED25519"},
    {16, "ED448"},
    {252, "INDIRECT"},
    {253, "PRIVATEDNS"},
    {254, "PRIVATEOID"},
});

static constexpr auto RecordTypes = makeMnemonics<265>({
    {0, "RESERVED0"},   {1, "A"},          {2, "NS"},        {3, "MD"},          {4, "MF"},     {5, "CNAME"},
    {6, "SOA"},         {7, "MB"},         {8, "MG"},        {9, "MR"},          {10, "NULL"},  {11, "WKS"},
    {12, "PTR"},        {13, "HINFO"},     {14, "MINFO"},    {15, "MX"},         {16, "TXT"},   {17, "RP"},
    {18, "AFSDB"},      {19, "X25"},       {20, "ISDN"},     {21, "RT"},         {22, "NSAP"},  {23, "NSAP-PTR"},
    {24, "SIG"},        {25, "KEY"},       {26, "PX"},       {27, "GPOS"},       {28, "AAAA"},  {29, "LOC"},
    {30, "NXT"},        {31, "EID"},       {32, "NIMLOC"},   {33, "SRV"},        {34, "ATMA"},  {35, "NAPTR"},
    {36, "KX"},         {37, "CERT"},      {38, "A6"},       {39, "DNAME"},      {40, "SINK"},  {41, "OPT"},
    {42, "APL"},        {43, "DS"},        {44, "SSHFP"},    {45, "IPSECKEY"},   {46, "RRSIG"}, {47, "NSEC"},
    {48, "DNSKEY"},     {49, "DHCID"},     {50, "NSEC3"},    {51, "NSEC3PARAM"}, {52, "TLSA"},  {53, "SMIMEA"},
    {55, "HIP"},        {56, "NINFO"},     {57, "RKEY"},     {58, "TALINK"},     {59, "CDS"},   {60, "CDNSKEY"},
    {61, "OPENPGPKEY"}, {62, "CSYNC"},     {63, "ZONEMD"},   {64, "SVCB"},       {65, "HTTPS"}, {66, "DSYNC"},
    {67, "HHIT"},       {68, "BRID"},      {99, "SPF"},      {100, "UINFO"},     {101, "UID"},  {102, "GID"},
    {103, "UNSPEC"},    {104, "NID"},      {105, "L32"},     {106, "L64"},       {107, "LP"},   {108, "EUI48"},
    {109, "EUI64"},     {128, "NXNAME"},   {249, "TKEY"},    {250, "TSIG"},      {251, "IXFR"}, {252, "AXFR"},
    {253, "MAILB"},     {254, "MAILA"},    {255, "ANY"},     {256, "URI"},       {257, "CAA"},  {258, "AVC"},
    {259, "DOA"},       {260, "AMTRELAY"}, {261, "RESINFO"}, {262, "WALLET"},    {263, "CLA"},  {264, "IPN"},
});
static constexpr auto HighRecordTypes = makeMnemonics<2>({{0, "TA"}, {1, "DLV"}});

const MnemonicTable record_classes{"CLASS", RecordClasses.data(), RecordClasses.size()};
const MnemonicTable response_codes{"RCODE", ResponseCodes.data(), ResponseCodes.size()};
const MnemonicTable opcodes{"OPCODE", Opcodes.data(), Opcodes.size()};
const MnemonicTable cert_types{"", CertTypes.data(), CertTypes.size()};
const MnemonicTable algorithm_types{"", AlgorithmTypes.data(), AlgorithmTypes.size()};
const MnemonicTable record_types{"TYPE", RecordTypes.data(), RecordTypes.size(), HighRecordTypes.data(),
                                 HighRecordTypes.size()};

}  // namespace ns::net::dns
