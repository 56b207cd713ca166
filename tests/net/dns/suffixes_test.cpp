#include "net/dns/suffixes.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "support/table.h"

using namespace ns::net::dns;

static uint32_t offsetOf(const std::string& name, bool builtin, bool config) {
  const auto bytes = test::bytes(name);  // no byte more
  return getDomainSuffixOffset(bytes.data(), test::size32(bytes), builtin, config);
}

static const std::vector<std::string> Configured{"corp.example.com", "a.com.net", "org", ".leading.dot.test",
                                                 "xx." + std::string(63, 'y') + "." + std::string(62, 'z') + ".io"};

TEST(DomainSuffixes, TellWhereTheDomainBegins) {
  const auto rows = test::rowsOf(R"(
    www.example.com       | both    | 4
    example.com           | both    | 0
    com                   | both    | 0
    a.b.example.co.uk     | both    | 4
    foo.bar.nosuchtld     | both    | 8
    a.b.ck                | both    | 4
    www.ck                | both    | 4
    *.ck                  | both    | 0
    !www.ck               | both    | 0
    a.corp.example.com    | both    | 2
    corp.example.com      | both    | 0
    a.corp.example.com    | builtin | 7
    a.corp.example.com    | config  | 2
    b.a.com.net           | both    | 2
    b.a.org               | both    | 4
    b.a.org               | builtin | 2
    www.example.com       | config  | 12
    x.leading.dot.test    | both    | 14
    x..leading.dot.test   | both    | 2
    a..com                | both    | 2
  )",
                                 3);
  for (const bool dot : {true, false}) {
    loadPslDomainSuffixes(dot);
    for (std::string suffix : Configured) {
      std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](char c) { return c == 'o' ? 'O' : c; });
      addDomainSuffix(suffix.c_str(), dot);
    }
    for (const test::Row& row : rows) {
      const std::string name = row[0] + (dot ? "." : "");
      EXPECT_EQ(row[2], std::to_string(offsetOf(name, row[1] != "config", row[1] != "builtin"))) << name << row[1];
      EXPECT_EQ(name.size(), offsetOf(name, false, false));
    }
  }
  EXPECT_EQ(0U, offsetOf("", true, true));
  EXPECT_EQ(0U, offsetOf(".", true, true));
  EXPECT_EQ(4U, offsetOf("foo.com.", true, false)) << "not the form that was loaded: the last label";
}

using Set = std::set<std::string>;

/// The walk from left to right, tail by tail.
static uint32_t offsetSlowly(const std::string& name, const Set& builtin, const Set& config) {
  size_t current = 0, previous = 0;
  while (config.count(name.substr(current)) == 0) {
    if (builtin.count(name.substr(current)) != 0 || current >= name.size()) return static_cast<uint32_t>(previous);
    previous = current;
    current = std::min(name.find('.', current), name.size() - 1) + 1;
  }
  return static_cast<uint32_t>(current);
}

TEST(DomainSuffixes, AreFoundAsTheWalkFromTheLeftFindsThem) {
  loadPslDomainSuffixes(true);
  Set builtin, config;
  for (const std::string_view suffix : getPslDomainSuffixes()) builtin.insert(std::string(suffix) + ".");
  for (const std::string& suffix : Configured) {  // in both forms, as the test before leaves them behind
    for (const bool dot : {true, false}) addDomainSuffix(suffix.c_str(), dot), config.insert(suffix + (dot ? "." : ""));
  }
  std::mt19937 random(1);
  const auto pick = [&](size_t count) { return random() % count; };
  for (int i = 0; i < 6000; ++i) {
    std::string name;
    for (size_t labels = pick(7) + pick(2) * pick(9); labels > 0; --labels)
      name += std::string(pick(3) != 0 ? pick(9) : pick(70), "ac.n\xAE"[pick(5)]) + ".";
    if (pick(4) != 0) name += std::string(getPslDomainSuffixes()[pick(6933)]) + ".";
    if (pick(6) == 0) name += *std::next(config.begin(), static_cast<long>(pick(config.size())));
    if (pick(20) == 0 && !name.empty()) name.pop_back();
    ASSERT_EQ(offsetSlowly(name, builtin, config), offsetOf(name, true, true)) << name;
    ASSERT_EQ(offsetSlowly(name, builtin, {}), offsetOf(name, true, false)) << name;
    ASSERT_EQ(offsetSlowly(name, {}, config), offsetOf(name, false, true)) << name;
  }
}
