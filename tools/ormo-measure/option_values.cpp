#include "option_values.h"

#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace OrmoMeasure {
namespace {

// Reads the whole of `text` as a number, or returns false.
template <typename Number, typename... Format>
bool ReadNumber(std::string_view text, Number& number, Format... format) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, format...);
  return error == std::errc() && stop == end;
}

// "1,,2" has an empty piece, and so has "".
std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  size_t begin = 0;
  for (size_t end = text.find(separator); end != std::string_view::npos;
       end = text.find(separator, begin)) {
    pieces.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  pieces.push_back(text.substr(begin));
  return pieces;
}

// Nanoseconds of a unit, or 0 for an unknown one.
double UnitNanoseconds(std::string_view unit) {
  struct Unit {
    std::string_view name;
    double nanoseconds;
  };

  constexpr std::array<Unit, 4> UNITS = {{{"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s", 1e9}}};
  for (const Unit& known : UNITS) {
    if (known.name == unit) {
      return known.nanoseconds;
    }
  }
  return 0;
}

// The shape in "2x784", or nothing when the text is none.
std::vector<int64_t> ReadShape(std::string_view text) {
  std::vector<int64_t> dims;
  for (std::string_view piece : Split(text, 'x')) {
    int64_t dim = 0;
    if (!ReadNumber(piece, dim) || dim < 0) {
      return {};
    }
    dims.push_back(dim);
  }
  return dims;
}

}  // namespace

uint32_t ParseCount(const std::string& text) {
  uint32_t count = 0;
  if (!ReadNumber(std::string_view(text), count) || count == 0) {
    throw std::invalid_argument("'" + text + "' is not a positive 32-bit integer");
  }
  return count;
}

uint64_t ParseDuration(const std::string& text) {
  const size_t unitBegin = text.find_last_of("0123456789.") + 1;
  double count = 0;
  const double nanoseconds = UnitNanoseconds(std::string_view(text).substr(unitBegin));
  if (!ReadNumber(std::string_view(text).substr(0, unitBegin), count, std::chars_format::fixed) ||
      nanoseconds == 0) {
    throw std::invalid_argument("'" + text + "' is not a time such as 500us, 5ms or 0.5s");
  }
  const double total = count * nanoseconds;
  if (!(total >= 1 && total < static_cast<double>(std::numeric_limits<int64_t>::max()))) {
    throw std::invalid_argument("'" + text + "' is not between 1ns and 292 years");
  }
  return static_cast<uint64_t>(total);
}

std::vector<uint32_t> ParseDevices(const std::string& text) {
  std::vector<uint32_t> devices;
  for (std::string_view piece : Split(text, ',')) {
    if (!ReadNumber(piece, devices.emplace_back())) {
      throw std::invalid_argument("'" + text + "' is not a list of device ids such as 0,1");
    }
  }
  return devices;
}

void CheckSizes(const std::string& text, size_t minimum, size_t maximum) {
  const std::vector<std::string_view> pieces = Split(text, ',');
  bool valid = pieces.size() >= minimum && pieces.size() <= maximum;
  for (std::string_view piece : pieces) {
    uint64_t size = 0;
    valid = valid && ReadNumber(piece, size) && size > 0;
  }
  if (!valid) {
    const std::string count =
        (minimum < maximum ? std::to_string(minimum) + " to " : "") + std::to_string(maximum);
    throw std::invalid_argument(
        "'" + text + "' is not " +
        (maximum == 1 ? "a positive integer" : count + " positive integers with commas between"));
  }
}

Ormo::RunMode ParseRunMode(const std::string& text) {
  if (text == "default") {
    return Ormo::RunMode::DEFAULT;
  }
  if (text == "previous-memory") {
    return Ormo::RunMode::PREVIOUS_MEMORY;
  }
  if (text == "no-check") {
    return Ormo::RunMode::NO_MEMORY_CHECK;
  }
  throw std::invalid_argument("'" + text + "' is not default, previous-memory or no-check");
}

ReportFormat ParseFormat(const std::string& text) {
  if (text == "table") {
    return ReportFormat::TABLE;
  }
  if (text == "json") {
    return ReportFormat::JSON;
  }
  if (text == "csv") {
    return ReportFormat::CSV;
  }
  throw std::invalid_argument("'" + text + "' is not table, json or csv");
}

InputFile ParseInput(const std::string& text) {
  const size_t colon = text.rfind(':');
  if (colon != std::string::npos && colon > 0) {
    std::vector<int64_t> dims = ReadShape(std::string_view(text).substr(colon + 1));
    if (!dims.empty()) {
      return {text.substr(0, colon), std::move(dims)};
    }
  }
  return {text, {}};
}

std::pair<std::string, std::string> ParseKeyValue(const std::string& text) {
  const size_t separator = text.find('=');
  if (separator == 0 || separator == std::string::npos) {
    throw std::invalid_argument("'" + text + "' is not KEY=VALUE");
  }
  return {text.substr(0, separator), text.substr(separator + 1)};
}

OutputFile ParseOutput(const std::string& text) {
  const size_t colon = text.rfind(':');
  uint64_t size = 0;
  const bool hasSize =
      colon != std::string::npos && ReadNumber(std::string_view(text).substr(colon + 1), size);
  const std::string path = hasSize ? text.substr(0, colon) : text;
  if (path.empty() || (hasSize && size == 0)) {
    throw std::invalid_argument("'" + text + "' is not FILE or FILE:BYTES, such as out.bin:2560");
  }
  return {path, size};
}

}  // namespace OrmoMeasure
