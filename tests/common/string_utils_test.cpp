#include "common/string_utils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ormo/status.h"
#include "support/log_capture.h"

namespace Ormo {
namespace {

using Test::LogCapture;
using ::testing::ElementsAre;
using Pieces = std::vector<std::string>;

TEST(StringUtilsTest, ParsesWhatFitsAndIsNothingButDigits) {
  int number = -1;
  EXPECT_EQ(StringUtils::StringToInt("0007", number), STATUS_SUCCESS);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(StringUtils::StringToInt("2147483647", number), STATUS_SUCCESS);
  EXPECT_EQ(number, 2147483647);

  unsigned long wide = 0;
  EXPECT_EQ(StringUtils::StringToUll("18446744073709551615", wide), STATUS_SUCCESS);
  EXPECT_EQ(wide, 18446744073709551615UL);
}

TEST(StringUtilsTest, LeavesTheValueAloneAndSaysWhyWhenATextIsNoNumber) {
  struct Case {
    std::string text;
    bool isWide;
    std::string message;
  };

  const std::vector<Case> cases = {
      {"", false, "Value [] for index must be a digit."},
      {"-3", false, "Value [-3] for index must be a digit."},
      {" 7", false, "Value [ 7] for index must be a digit."},
      {"7\n", true, "Value [7\n] for index must be a digit."},
      {"0x1F", true, "Value [0x1F] for index must be a digit."},
      {"2147483648", false, "Value [2147483648] catch out_of_range."},
      {"99999999999", false, "Value [99999999999] catch out_of_range."},
      {"18446744073709551616", true, "Value [18446744073709551616] catch out_of_range."},
  };
  for (const Case& c : cases) {
    const LogCapture log(DLOG_ERROR);
    int number = 42;
    unsigned long wide = 42;
    EXPECT_EQ(c.isWide ? StringUtils::StringToUll(c.text, wide)
                       : StringUtils::StringToInt(c.text, number),
              STATUS_INVALID_PARAM)
        << c.text;
    EXPECT_EQ(number, 42);
    EXPECT_EQ(wide, 42U);
    EXPECT_THAT(log.Messages(), ElementsAre(c.message));
    EXPECT_EQ(log.Find("Value").file, "string_utils.cpp");
  }
}

TEST(StringUtilsTest, StopsAtTheFirstPieceOfAListThatIsNoNumber) {
  struct Case {
    std::string text;
    int status;
    std::vector<unsigned long> values;
    std::string badPiece;
  };

  const std::vector<Case> cases = {
      {"", STATUS_SUCCESS, {9}, ""},
      {"8", STATUS_SUCCESS, {9, 8}, ""},
      {"1,3,224,224,", STATUS_SUCCESS, {9, 1, 3, 224, 224}, ""},
      {"1,2,x,4", STATUS_INVALID_PARAM, {9, 1, 2}, "x"},
      {"1,,2", STATUS_INVALID_PARAM, {9, 1}, ""},
  };
  for (const Case& c : cases) {
    const LogCapture log(DLOG_ERROR);
    std::vector<unsigned long> values = {9};
    EXPECT_EQ(StringUtils::StringToUllVec(c.text, ',', values), c.status) << c.text;
    EXPECT_EQ(values, c.values) << c.text;
    EXPECT_EQ(log.Contains(DLOG_ERROR, "String to Int failed, itemStr = " + c.badPiece),
              c.status != STATUS_SUCCESS);
  }
}

TEST(StringUtilsTest, SplitsWithAndWithoutAnEmptyLastPiece) {
  struct Case {
    std::string text;
    Pieces split;
    Pieces splitEx;
  };

  const std::vector<Case> cases = {
      {"", {}, {}},
      {",", {""}, {"", ""}},
      {"a", {"a"}, {"a"}},
      {"a,,b", {"a", "", "b"}, {"a", "", "b"}},
      {"a,,b,", {"a", "", "b"}, {"a", "", "b", ""}},
      {",a", {"", "a"}, {"", "a"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(StringUtils::StrSplit(c.text, ','), c.split) << c.text;
    EXPECT_EQ(StringUtils::StrSplitEx(c.text, ','), c.splitEx) << c.text;
  }
}

TEST(StringUtilsTest, TrimsBlanksAndTheFirstOccurrenceOfAText) {
  EXPECT_EQ(StringUtils::Trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(StringUtils::Trim("\xc3\xa9 "), "\xc3\xa9");
  EXPECT_EQ(StringUtils::Trim(" \n "), "");
  EXPECT_EQ(StringUtils::Trim(""), "");

  EXPECT_EQ(StringUtils::TrimPrefix("x_ab_x", "ab"), "x__x");
  EXPECT_EQ(StringUtils::TrimPrefix("ab_ab", "ab"), "_ab");
  EXPECT_EQ(StringUtils::TrimPrefix("kernel", ".json"), "kernel");
  EXPECT_EQ(StringUtils::TrimPrefix("kernel", ""), "kernel");
}

}  // namespace
}  // namespace Ormo
