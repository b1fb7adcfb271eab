#include "common/utils.h"

#include <unistd.h>

#include <cstdlib>
#include <limits>
#include <optional>
#include <set>

#include "common/scripted_system.h"
#include "common/status_translation.h"
#include "common/string_utils.h"
#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

TEST(UtilsTest, AveragesWithoutTheSmallestAndTheLargestFifthOfManySamples) {
  const std::pair<std::multiset<uint64_t>, uint64_t> cases[] = {
      {{7}, 7},
      {{5, 5}, 5},
      {{1, 2, 3}, 2},
      {{1, 2, 3, 4, 5, 6, 7, 8, 1000}, 115},
      {{0, 0, 3, 4, 5, 6, 7, 8, 1000, 9000}, 5},
      {{0, 0, 20, 20, 20, 20, 20, 20, 20, 20, 20, 30, 900, 900}, 21},
  };
  for (const auto& [times, average] : cases) {
    EXPECT_EQ(Utils::CalcAvgExecuteTime(times), average) << PrintToString(times);
  }
  EXPECT_THAT(Utils::CalcAvgExecuteTime({{"a", {9, 5}}, {"b", {}}}),
              ElementsAre(Pair("a", 5), Pair("b", 0)));
}

TEST(TimerTest, MeasuresAcrossAWrapOfTheCounterAndReadsAFailingClockAsZero) {
  const std::tuple<mmTimespec, mmTimespec, uint64_t> cases[] = {
      {{1, 999999999}, {2, 1}, 2},
      {{0, 10}, {0, 4}, std::numeric_limits<uint64_t>::max() - 6},
      {{-1, 5}, {0, 9}, 9},
      {{5, -1}, {0, 0}, 0},
  };
  const LogCapture log(DLOG_ERROR);
  for (const auto& [start, stop, elapsed] : cases) {
    scriptedTicks = {start, stop};
    Timer timer;
    timer.Start();
    timer.Stop();
    EXPECT_EQ(timer.Elapsed(), elapsed);
  }
  EXPECT_EQ(log.Text(), "3 utils.cpp get tick count failed\n3 utils.cpp get tick count failed\n");
}

TEST(UtilsTest, StampsTheTimeToTheMicrosecond) {
  setenv("TZ", "UTC0", 1);  // NOLINT(concurrency-mt-unsafe)
  EXPECT_THAT(Utils::GetTimeStamp(), MatchesRegex("20[0-9]{2}[01][0-9][0-3][0-9][0-9]{12}"));

  const LogCapture log(DLOG_ERROR);
  OrmoHost::Fail("mmGetTimeOfDay", 1, -1);
  EXPECT_EQ(Utils::GetTimeStamp(), "19700101000000000000");
  OrmoHost::Fail("snprintf_s", 1, -1);
  EXPECT_EQ(Utils::GetTimeStamp(), "0");
  EXPECT_THAT(log.Messages(), ElementsAre("Call snprintf_s failed"));
  OrmoHost::Fail("mmLocalTimeR", 1, -1);
  EXPECT_EQ(Utils::GetTimeStamp(), "");
}

TEST(UtilsTest, CountsSerialIdsAndTellsOfTheProcess) {
  EXPECT_EQ(Utils::GetSerialId(), 2100000001U);
  EXPECT_EQ(Utils::GetSerialId(), 2100000002U);
  EXPECT_EQ(Utils::GetPid() + Utils::GetTid(), std::to_string(getpid()) + std::to_string(gettid()));
  OrmoHost::Fail("mmGetPid", 1, -1);
  EXPECT_EQ(Utils::GetPid(), "");
}

TEST(UtilsTest, TellsUnsetVariablesFromEmptyAndLongOnes) {
  const std::string longest(511, 'x');
  setenv("ORMO_TEST_LONGEST", longest.c_str(), 1);           // NOLINT(concurrency-mt-unsafe)
  setenv("ORMO_TEST_TOO_LONG", (longest + 'x').c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
  setenv("ORMO_TEST_EMPTY", "", 1);                          // NOLINT(concurrency-mt-unsafe)
  EXPECT_EQ(Utils::GetEnv("ORMO_TEST_LONGEST"), longest);
  EXPECT_EQ(Utils::GetEnv("ORMO_TEST_TOO_LONG"), "");
  EXPECT_EQ(Utils::GetEnv("ORMO_TEST_UNSET"), "");
  EXPECT_EQ(Utils::FindEnv("ORMO_TEST_TOO_LONG"), longest + 'x');
  EXPECT_EQ(Utils::FindEnv("ORMO_TEST_EMPTY"), "");
  EXPECT_EQ(Utils::FindEnv("ORMO_TEST_UNSET"), std::nullopt);
}

TEST(StatusTest, OnlyFailedAllocationsHaveAStatusOfTheirOwn) {
  EXPECT_EQ(TranslateStatus(245000, 203), 3001);
  EXPECT_EQ(TranslateStatus(207001), 3001);
  EXPECT_EQ(TranslateStatus(507008), 3000);
  EXPECT_EQ(TranslateStatus(-1, 203), 203);
}

TEST(StringUtilsTest, ParsesDigitsThatFitAndLeavesTheValueAloneOtherwise) {
  const std::string notDigits = "] for index must be a digit.";
  const std::string tooLarge = "] catch out_of_range.";
  // The text, both numbers or 42 for a refusal, and the message of a refusal.
  const std::tuple<std::string, int, unsigned long, std::string> cases[] = {
      {"0007", 7, 7, ""},
      {"2147483648", 42, 2147483648, tooLarge},
      {"18446744073709551615", 42, 18446744073709551615UL, tooLarge},
      {"18446744073709551616", 42, 42, tooLarge},
      {"", 42, 42, notDigits},
      {" 7", 42, 42, notDigits},
      {"7\n", 42, 42, notDigits},
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

TEST(UtilsTest, LooksThroughMapsAndTexts) {
  EXPECT_EQ(Utils::GetValueFromMapBykey({{"a", "1"}, {"b", "2"}}, "b"), "2");
  EXPECT_EQ(Utils::GetValueFromMapBykey({{"a", "1"}}, "b"), "");
  EXPECT_TRUE(Utils::IsDoubleZeroAll({{"a", 0.0}, {"b", -1e-16}}));
  EXPECT_FALSE(Utils::IsDoubleZeroAll({{"a", 0.0}, {"b", 2.220446049250313e-16}}));
  EXPECT_FALSE(Utils::IsDoubleZeroAll({{"a", -1.0}, {"b", 0.0}}));
  EXPECT_THAT(StringUtils::StrSplit(",a,,b,", ','), ElementsAre("", "a", "", "b"));
  EXPECT_THAT(StringUtils::StrSplitEx(",a,,b,", ','), ElementsAre("", "a", "", "b", ""));
  EXPECT_THAT(StringUtils::StrSplitEx("", ','), IsEmpty());
  EXPECT_EQ(StringUtils::Trim(" \t \xc3\xa9 b\r\n"), "\xc3\xa9 b");
  EXPECT_EQ(StringUtils::Trim(" \n "), "");
  EXPECT_EQ(StringUtils::TrimPrefix("x_ab_x_ab", "ab"), "x__x_ab");
  EXPECT_EQ(StringUtils::TrimPrefix("kernel", ".json"), "kernel");
}

}  // namespace
}  // namespace Ormo::Testing
