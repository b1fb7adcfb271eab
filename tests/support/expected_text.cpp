#include "support/expected_text.h"

#include <gtest/gtest.h>

#include "support/temp_directory.h"

namespace Ormo::Testing {

void ExpectText(const std::string& file, const std::string& name, const std::string& text) {
  const std::string content = "\n" + ReadFile(file) + "== ";
  const std::string header = "\n== " + name + "\n";
  const size_t start = content.find(header);
  ASSERT_NE(start, std::string::npos) << name << " has no section; it would be\n" << text;
  const size_t begin = start + header.size();
  EXPECT_EQ(text, content.substr(begin, content.find("\n== ", begin) + 1 - begin)) << name;
}

}  // namespace Ormo::Testing
