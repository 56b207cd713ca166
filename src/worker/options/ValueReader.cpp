#include "worker/options/ValueReader.h"

#include <cctype>

namespace ns::worker::options {

static bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

static char toLower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

void ValueReader::skipBlanks() {
  while (isBlank(*at)) ++at;
}

std::string ValueReader::readWord() {
  skipBlanks();
  std::string word;
  for (; !atEnd() && !isBlank(*at); ++at) word += toLower(*at);
  return word;
}

Option ValueReader::readOption() {
  Option option;
  skipBlanks();
  for (; !atEnd() && *at != '=' && !isBlank(*at); ++at) option.name += toLower(*at);
  if (!atEnd()) ++at;
  skipBlanks();
  if (atEnd()) throw ValueError("Invalid parameter '" + option.name + "'");

  const bool quoted = *at == '"';
  if (quoted) ++at;
  const char* const begin = at;
  while (!atEnd() && (quoted ? *at != '"' : !isBlank(*at))) ++at;
  option.value.assign(begin, at);
  if (quoted && !atEnd()) ++at;
  return option;
}

}  // namespace ns::worker::options
