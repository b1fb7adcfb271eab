/// \file
/// Characters of the basic set, whatever the process's locale is.
#ifndef ORMO_COMMON_ASCII_H
#define ORMO_COMMON_ASCII_H

#include <algorithm>
#include <string>

namespace Ormo {

/// a to z in upper case; any other byte as it is. toupper() follows the locale, in some of which
/// the upper case of "i" is no "I".
constexpr char ToUpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

inline std::string ToUpperAscii(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return ToUpperAscii(c); });
  return text;
}

}  // namespace Ormo

#endif  // ORMO_COMMON_ASCII_H
