#include "common/string_utils.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <stdexcept>

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {

namespace {

template <typename Number, typename Convert>
int ConvertDigits(const std::string& s, Number& value, Convert convert) {
  if (!StringUtils::IsDigital(s)) {
    ORMO_LOG_ERROR("Value [%s] for index must be a digit.", s.c_str());
    return STATUS_INVALID_PARAM;
  }
  try {
    value = convert(s);
  } catch (const std::invalid_argument&) {
    ORMO_LOG_ERROR("Value [%s] catch invalid_argument.", s.c_str());
    return STATUS_INVALID_PARAM;
  } catch (const std::out_of_range&) {
    ORMO_LOG_ERROR("Value [%s] catch out_of_range.", s.c_str());
    return STATUS_INVALID_PARAM;
  }
  return STATUS_SUCCESS;
}

}  // namespace

bool StringUtils::IsSpace(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool StringUtils::IsDigital(const std::string& s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string StringUtils::Trim(const std::string& s) {
  const auto first = std::find_if_not(s.begin(), s.end(), IsSpace);
  const auto last = std::find_if_not(s.rbegin(), std::make_reverse_iterator(first), IsSpace).base();
  return {first, last};
}

std::string StringUtils::TrimPrefix(const std::string& s, const std::string& prefix) {
  const size_t position = s.find(prefix);
  if (position == std::string::npos) {
    return s;
  }
  return std::string(s).erase(position, prefix.size());
}

int StringUtils::StringToInt(const std::string& s, int& value) {
  return ConvertDigits(s, value, [](const std::string& digits) { return std::stoi(digits); });
}

int StringUtils::StringToUll(const std::string& s, unsigned long& value) {
  return ConvertDigits(s, value, [](const std::string& digits) {
    return static_cast<unsigned long>(std::stoull(digits));
  });
}

std::vector<std::string> StringUtils::StrSplit(const std::string& s, char delim) {
  std::vector<std::string> pieces;
  std::istringstream stream(s);
  for (std::string piece; std::getline(stream, piece, delim);) {
    pieces.push_back(piece);
  }
  return pieces;
}

std::vector<std::string> StringUtils::StrSplitEx(const std::string& s, char delim) {
  std::vector<std::string> pieces = StrSplit(s, delim);
  if (!s.empty() && s.back() == delim) {
    pieces.emplace_back();
  }
  return pieces;
}

int StringUtils::StringToUllVec(const std::string& s, char delim,
                                std::vector<unsigned long>& values) {
  for (const std::string& itemStr : StrSplit(s, delim)) {
    unsigned long value = 0;
    const int ret = StringToUll(itemStr, value);
    if (ret != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("String to Int failed, itemStr = %s", itemStr.c_str());
      return ret;
    }
    values.push_back(value);
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
