#include "common/string_utils.h"

#include <string>
#include <vector>

#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Test {
namespace {

TEST(StringUtilsTest, ParsesDigitsThatFitAndLeavesTheValueAloneOtherwise) {
  struct Case {
    std::string text;
    int number;           ///< 42 stands for a refusal
    unsigned long wide;   ///< likewise
    std::string message;  ///< of a refusal
  };

  const std::string notDigits = "] for index must be a digit.";
  const std::string tooLarge = "] catch out_of_range.";
  const std::vector<Case> cases = {
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
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const LogCapture log(DLOG_ERROR);
    int number = 42;
    unsigned long wide = 42;
    EXPECT_EQ(StringUtils::StringToInt(c.text, number),
              c.number == 42 ? STATUS_INVALID_PARAM : STATUS_SUCCESS);
    EXPECT_EQ(StringUtils::StringToUll(c.text, wide),
              c.wide == 42 ? STATUS_INVALID_PARAM : STATUS_SUCCESS);
    EXPECT_EQ(number, c.number);
    EXPECT_EQ(wide, c.wide);
    const size_t refusals = (c.number == 42 ? 1U : 0U) + (c.wide == 42 ? 1U : 0U);
    EXPECT_EQ(log.Count(DLOG_ERROR, "Value [" + c.text + c.message), refusals);
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
}  // namespace Ormo::Test
