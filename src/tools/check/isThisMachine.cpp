#include "tools/check/isThisMachine.h"

#include <algorithm>

#include "encoding/ip.h"

namespace ns::tools::check {

bool isThisMachine(const std::string& host) {
  if (!encoding::ip::isIp(host.c_str(), host.size())) return host == "localhost";
  encoding::Bytes address;
  if (encoding::ip::parseIp(address, host.c_str(), host.size()) == 0) return address[0] == 127;
  return address.back() == 1 && std::all_of(address.begin(), address.end() - 1, [](auto byte) { return byte == 0; });
}

}  // namespace ns::tools::check
