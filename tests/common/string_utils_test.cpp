#include "common/string_utils.h"

#include <string>
#include <tuple>
#include <vector>

#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

TEST(StringUtilsTest, ParsesDigitsThatFitAndLeavesTheValueAloneOtherwise) {
  const std::string notDigits = "] for index must be a digit.";
  const std::string tooLarge = "] catch out_of_range.";
  // The text, both numbers or 42 for a refusal, and the message of a refusal.
  const std::tuple<std::string, int, unsigned long, std::string> cases[] = {
      {"0007", 7, 7, ""},
      {"2147483647", 2147483647, 2147483647, ""},
      {"2147483648", 42, 2147483648, tooLarge},
      {"18446744073709551615", 42, 18446744073709551615UL, tooLarge},
      {"18446744073709551616", 42, 42, tooLarge},
      {"", 42, 42, notDigits},
      {"-3", 42, 42, notDigits},
      {" 7", 42, 42, notDigits},
      {"7\n", 42, 42, notDigits},
      {"0x1F", 42, 42, notDigits},
  };
  for (const auto& [text, expected, expectedWide, message] : cases) {
    SCOPED_TRACE(text);
    const LogCapture log(DLOG_ERROR);
    int number = 42;
    unsigned long wide = 42;
    EXPECT_EQ(StringUtils::StringToInt(text, number),
              expected == 42 ? STATUS_INVALID_PARAM : STATUS_SUCCESS);
    EXPECT_EQ(StringUtils::StringToUll(text, wide),
              expectedWide == 42 ? STATUS_INVALID_PARAM : STATUS_SUCCESS);
    EXPECT_EQ(number, expected);
    EXPECT_EQ(wide, expectedWide);
    const size_t refusals = (expected == 42 ? 1U : 0U) + (expectedWide == 42 ? 1U : 0U);
    EXPECT_EQ(log.Count(DLOG_ERROR, std::string("Value [").append(text).append(message)), refusals);
  }
}

TEST(StringUtilsTest, StopsAtTheFirstPieceOfAListThatIsNoNumber) {
  const LogCapture log(DLOG_ERROR);
  std::vector<unsigned long> values = {9};
  EXPECT_EQ(StringUtils::StringToUllVec("", ',', values), STATUS_SUCCESS);
  EXPECT_EQ(StringUtils::StringToUllVec("1,224,", ',', values), STATUS_SUCCESS);
  EXPECT_THAT(log.Messages(), IsEmpty());
  EXPECT_EQ(StringUtils::StringToUllVec("3,x,4", ',', values), STATUS_INVALID_PARAM);
  EXPECT_TRUE(log.Contains(DLOG_ERROR, "String to Int failed, itemStr = x"));
  EXPECT_EQ(StringUtils::StringToUllVec("5,,6", ',', values), STATUS_INVALID_PARAM);
  EXPECT_THAT(values, ElementsAre(9, 1, 224, 3, 5));
}

TEST(StringUtilsTest, SplitsWithAndWithoutAnEmptyLastPiece) {
  EXPECT_THAT(StringUtils::StrSplit("", ','), IsEmpty());
  EXPECT_THAT(StringUtils::StrSplitEx("", ','), IsEmpty());
  EXPECT_THAT(StringUtils::StrSplit(",a,,b,", ','), ElementsAre("", "a", "", "b"));
  EXPECT_THAT(StringUtils::StrSplitEx(",a,,b,", ','), ElementsAre("", "a", "", "b", ""));
  EXPECT_THAT(StringUtils::StrSplitEx("a", ','), ElementsAre("a"));
}

TEST(StringUtilsTest, TrimsBlanksAndTheFirstOccurrenceOfAText) {
  EXPECT_EQ(StringUtils::Trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(StringUtils::Trim("\xc3\xa9 "), "\xc3\xa9");
  EXPECT_EQ(StringUtils::Trim(" \n "), "");
  EXPECT_EQ(StringUtils::TrimPrefix("x_ab_x_ab", "ab"), "x__x_ab");
  EXPECT_EQ(StringUtils::TrimPrefix("kernel", ".json"), "kernel");
  EXPECT_EQ(StringUtils::TrimPrefix("kernel", ""), "kernel");
}

}  // namespace
}  // namespace Ormo::Testing
