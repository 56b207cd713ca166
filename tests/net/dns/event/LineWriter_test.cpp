#include "net/dns/event/LineWriter.h"

#include <gtest/gtest.h>

#include "net/dns/event/jsonMembers.h"
#include "net/dns/message/mnemonics.h"
#include "support/bytes.h"

using namespace ns::net::dns;
using ns::encoding::Bytes;

static const Bytes Wide(200, '"');  // doubles in JSON; with the slack behind a piece of text

/// What the items write into room that ends where they said it would, so that AddressSanitizer sees a byte too many.
template <class... Items>
static std::string written(const Items&... items) {
  Bytes bytes;
  {
    LineWriter line(bytes);
    line.write(items...);
    line.finish();
  }
  return test::text(bytes);
}

TEST(LineWriter, KeepsEachItemInTheRoomThatItAskedFor) {
  AddressText longest;
  longest.setIpv6(std::span(Wide).data());
  const std::string address = "2222:2222:2222:2222:2222:2222:2222:2222", quotes(40, '"');
  const std::span<const unsigned char> text(Wide.data(), 40);
  const uint64_t most = UINT64_MAX;
  EXPECT_EQ("literal", written("literal"));
  EXPECT_EQ("ready text", written(std::string_view("ready text")));
  EXPECT_EQ("18446744073709551615", written(most));
  EXPECT_EQ(address, written(longest));
  EXPECT_EQ("NSEC3PARAM", written(DnsWord{record_types, 51}));
  EXPECT_EQ("TYPE65535", written(DnsWord{record_types, 65535}));
  EXPECT_EQ("", written(PlainText{text.first(0)}));
  EXPECT_EQ(quotes, written(PlainText{text}));
  EXPECT_EQ("2222", written(HexText{text.first(2)}));
  EXPECT_EQ("yes", written(either(true, "yes", "certainly not")));
  EXPECT_EQ("certainly not", written(either(false, "yes", "certainly not")));
  EXPECT_EQ("ab", written(when(true, "a", when(true, "b"), when(false, "c"))));
  EXPECT_EQ(R"({"a":"\"\"")", written(firstMember<"a">(JsonText{text.first(2)})));
  EXPECT_EQ(R"(,"type":"TYPE65535")", written(member<"type">(DnsWord{record_types, 65535})));
  EXPECT_EQ(",\"address\":\"" + address + "\",\"yes\":true,\"no\":false,\"n\":1",
            written(member<"address">(longest), member<"yes">(true), member<"no">(false), member<"n">(1U)));
}
