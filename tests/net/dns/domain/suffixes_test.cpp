#include "net/dns/domain/suffixes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "support/bytes.h"

using namespace ns::net::dns;

static uint32_t offsetOf(const std::string& name, bool builtin, bool config) {
  const auto bytes = test::bytes(name);  // no byte more
  return getDomainSuffixOffset(bytes.data(), test::size32(bytes), builtin, config);
}

static const std::vector<std::string> Configured{"corp.example.com", "a.com.net", "org", ".leading.dot.test",
                                                 "xx." + std::string(63, 'y') + "." + std::string(62, 'z') + ".io"};

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
  loadPslDomainSuffixes(false);
  EXPECT_EQ(4U, offsetOf("foo.com.", true, false)) << "not the form that was loaded: the last label";
  loadPslDomainSuffixes(true);
  Set builtin, config;
  for (const std::string_view suffix : getPslDomainSuffixes()) builtin.insert(std::string(suffix) + ".");
  for (std::string suffix : Configured) {
    for (const bool dot : {true, false}) config.insert(suffix + (dot ? "." : ""));
    std::replace(suffix.begin(), suffix.end(), 'o', 'O');
    for (const bool dot : {true, false}) addDomainSuffix(suffix.c_str(), dot);
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
    ASSERT_EQ(name.size(), offsetOf(name, false, false));
  }
  for (const char* const nothing : {"", "."}) EXPECT_EQ(0U, offsetOf(nothing, true, true));
}
