#include "app/config/ConfigFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "support/bytes.h"

namespace ns::app::config {

using Values = std::list<std::string>;

TEST(ConfigFile, ReadsLogicalLines) {
  const struct {
    std::string name, text;
    Values values, others;  // of the keys "k" and "l"
  } cases[] = {
      {"nothing", "", {}, {}},
      {"only comments and blanks", "# k a\n \t\r\n\n  # k b", {}, {}},
      {"key lowered, value not", "K Value\n", {"Value"}, {}},
      {"value to its end", "k \t a  b\tc \t # rest", {"a  b\tc"}, {}},
      {"# within a word", "k ab#c d\nl#x\n", {"ab"}, {""}},
      {"no value", "k\nl  \n", {""}, {""}},
      {"quotes and equal signs mean nothing", "k \"a = 'b'\nl=1 x\n", {"\"a = 'b'"}, {}},
      {"repeated", "k 1\nl 2\nk 1\nk 3", {"1", "1", "3"}, {"2"}},
      {"indented start", "  k a\n", {"a"}, {}},
      {"continued", "k a\n \t b\n\tc\nl d", {"a b c"}, {"d"}},
      {"continued behind comments", "k a\n  # no\n# no\n b\n", {"a b"}, {}},
      {"blank line ends it", "k a\n \t\n l b", {"a"}, {"b"}},
      {"comment swallows the continuation", "k a # no\n b\nl c", {"a"}, {"c"}},
      {"carriage returns", "k a\r\n b\r\nl c\r\n", {"a\r b"}, {"c"}},
      {"form feeds are no blank lines", "\f\nk a\n\f\n b\n\v\nl c", {"a \f b"}, {"c"}},
      {"key continued", "k\n a", {"a"}, {}},
      {"zero byte ends a logical line", std::string("k a\0 b\n c\nl d", 13), {"a"}, {"d"}},
      {"bytes above 127", "k \xC3\xA4\n\xA0 x", {"\xC3\xA4"}, {}},
  };
  const std::string name = testing::TempDir() + "ConfigFile_test." + std::to_string(getpid());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::ofstream(name) << c.text;
    ConfigFile config;
    config.add("k", "from before");
    config.read(name);
    EXPECT_EQ(config.getList("k"), c.values);
    EXPECT_EQ(config.getList("l"), c.others);
    EXPECT_EQ(config.get("k") == nullptr, c.values.empty());
    EXPECT_TRUE(c.values.empty() || config.get("k") == c.values.front());
  }
  unlink(name.c_str());
}

TEST(ConfigFile, AddsAsIsAndNamesAFileThatIsNotThere) {
  ConfigFile config;
  config.add("Key", " v ");
  EXPECT_STREQ(config.get("Key"), " v ");
  EXPECT_EQ(config.get("key"), nullptr);
  EXPECT_EQ("ifstream(/nowhere/x) failed to open: No such file or directory",
            test::failureOf<ConfigError>([&] { config.read("/nowhere/x"); }));
  EXPECT_EQ(config.get("Key"), nullptr);
}

}  // namespace ns::app::config
