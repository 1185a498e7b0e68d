#include "foundation/BsNet/NetReply.h"

#include <algorithm>

namespace KBL {

bool HeaderNameLess::operator()(const std::string& left, const std::string& right) const {
  const auto lower = [](char c) {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  };
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [&](char a, char b) { return lower(a) < lower(b); });
}

}  // namespace KBL
