/// \file
/// Trimming, splitting and checked parsing of texts.
#ifndef ORMO_COMMON_STRING_UTILS_H
#define ORMO_COMMON_STRING_UTILS_H

#include <string>
#include <vector>

namespace Ormo {

class StringUtils {
 public:
  static bool IsSpace(char c);
  /// Whether `s` is one or more of 0 to 9 and nothing else.
  static bool IsDigital(const std::string& s);
  /// `s` without leading and trailing blanks.
  static std::string Trim(const std::string& s);
  /// `s` without the first occurrence of `prefix`, wherever it stands.
  static std::string TrimPrefix(const std::string& s, const std::string& prefix);

  /// Parse a decimal number without sign or blanks. STATUS_INVALID_PARAM, with `value` left alone,
  /// when the text is anything else or does not fit.
  static int StringToInt(const std::string& s, int& value);
  static int StringToUll(const std::string& s, unsigned long& value);

  /// The pieces between delimiters. An empty text has none, and a delimiter at the end is not
  /// followed by an empty piece.
  static std::vector<std::string> StrSplit(const std::string& s, char delim);
  /// The same, but a delimiter at the end is followed by an empty piece.
  static std::vector<std::string> StrSplitEx(const std::string& s, char delim);
  /// Appends the numbers of a list such as "1,3,224,224". Stops at the first piece that is no
  /// number with the status of StringToUll; what was appended before stays.
  static int StringToUllVec(const std::string& s, char delim, std::vector<unsigned long>& values);
};

}  // namespace Ormo

#endif  // ORMO_COMMON_STRING_UTILS_H
