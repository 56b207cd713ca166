#pragma once

#include <map>
#include <string>

namespace bench {

/// A command line of "--name value" pairs.
class Options {
 public:
  Options(int argc, char** argv);

  /// The value of `name`, or `otherwise` if it was not given.
  std::string get(const std::string& name, const std::string& otherwise) const;

 private:
  std::map<std::string, std::string> values;
};

}  // namespace bench
