#include "tools/check/options.h"

#include <sstream>

namespace ns::tools::check {

std::vector<worker::ValueReader::Option> readOptions(const SourceEntry& entry) {
  std::vector<worker::ValueReader::Option> options;
  worker::ValueReader reader(entry.value.c_str());
  const bool isPath = reader.readWord() == "unix";
  reader.readWord();
  if (!isPath) reader.readWord();
  while (!reader.atEnd()) options.push_back(reader.readOption());
  return options;
}

std::string rawWord(const std::string& value, size_t index) {
  std::istringstream words(value);
  std::string word;
  for (size_t i = 0; i <= index; ++i) words >> word;
  return word;
}

}  // namespace ns::tools::check
