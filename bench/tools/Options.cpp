#include "tools/Options.h"

#include <stdexcept>

namespace bench {

Options::Options(int argc, char** argv) {
  for (int i = 1; i < argc; i += 2) {
    const std::string name = argv[i];
    if (name.rfind("--", 0) != 0 || i + 1 == argc) throw std::runtime_error("expected --name value, got " + name);
    values[name.substr(2)] = argv[i + 1];
  }
}

std::string Options::get(const std::string& name, const std::string& otherwise) const {
  const auto found = values.find(name);
  return found == values.end() ? otherwise : found->second;
}

}  // namespace bench
