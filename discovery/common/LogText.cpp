// SPDX-License-Identifier: Apache-2.0
#include "discovery/common/LogText.h"

namespace KX::NMS::Discovery {

String inLog(const String& text) {
  std::string_view rest = text;
  std::size_t nul = rest.find('\0');
  if (nul == std::string_view::npos) return text;
  String result;
  for (; nul != std::string_view::npos; nul = rest.find('\0')) {
    result.append(rest.substr(0, nul)).append("\\x00");
    rest.remove_prefix(nul + 1);
  }
  return result.append(rest);
}

}  // namespace KX::NMS::Discovery
