/// \file
/// Long expectations, kept in text files beside their tests.
#ifndef ORMO_TESTS_SUPPORT_EXPECTED_TEXT_H
#define ORMO_TESTS_SUPPORT_EXPECTED_TEXT_H

#include <string>

namespace Ormo::Testing {

/// Expects `text` to be what stands in `file` between the line "== name" and the next of its kind.
void ExpectText(const std::string& file, const std::string& name, const std::string& text);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_EXPECTED_TEXT_H
