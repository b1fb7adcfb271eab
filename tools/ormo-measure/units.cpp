#include "units.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace OrmoMeasure {
namespace {

std::string FormatFixed(double value, int decimals) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

// Decimals that leave four digits, or all digits of a large value.
int DecimalsOf(double value) {
  constexpr int DIGITS = 4;
  const int whole = value < 1 ? 1 : static_cast<int>(std::log10(value)) + 1;
  return std::max(0, DIGITS - whole);
}

}  // namespace

std::string FormatDuration(uint64_t nanoseconds) {
  constexpr double THOUSAND = 1e3;
  if (nanoseconds < 1000) {
    return std::to_string(nanoseconds) + " ns";
  }
  double value = static_cast<double>(nanoseconds) / THOUSAND;
  const char* unit = "us";
  for (const char* larger : {"ms", "s"}) {
    if (value < THOUSAND) {
      break;
    }
    value /= THOUSAND;
    unit = larger;
  }
  return FormatFixed(value, DecimalsOf(value)) + " " + unit;
}

std::string FormatTicks(uint64_t ticks) {
  constexpr size_t GROUP = 3;
  if (ticks == std::numeric_limits<uint64_t>::max()) {
    return "maximum";
  }
  std::string digits = std::to_string(ticks);
  for (size_t end = digits.size(); end > GROUP; end -= GROUP) {
    digits.insert(end - GROUP, ",");
  }
  return digits;
}

std::string FormatRatio(double ratio) {
  return FormatFixed(ratio, 3) + "x";
}

std::string FormatShare(double share) {
  return FormatFixed(share * 100, 1) + " %";
}

std::string FormatBar(double share) {
  constexpr double FULL_LENGTH = 30;
  const double length = std::round(std::clamp(share, 0.0, 1.0) * FULL_LENGTH);
  return std::string(static_cast<size_t>(length), '#');
}

}  // namespace OrmoMeasure
