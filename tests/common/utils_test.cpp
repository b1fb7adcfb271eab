#include "common/utils.h"

#include <fcntl.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common/file_descriptor.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace {

/// What the clock says next; empty: the true time.
std::vector<mmTimespec> scriptedTicks;

}  // namespace

// Takes the place of the platform's.
mmTimespec mmGetTickCount() {
  if (scriptedTicks.empty()) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return {now.tv_sec, now.tv_nsec};
  }
  const mmTimespec tick = scriptedTicks.front();
  scriptedTicks.erase(scriptedTicks.begin());
  return tick;
}

namespace Ormo::Testing {
namespace {

TEST(UtilsTest, AveragesWithoutTheSmallestAndTheLargestFifthOfManySamples) {
  const std::pair<std::multiset<uint64_t>, uint64_t> cases[] = {
      {{}, 0},
      {{7}, 7},
      {{9, 5}, 5},
      {{5, 5}, 5},
      {{1, 2, 3}, 2},
      {{1, 1, 3}, 1},
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

TEST(TimerTest, MeasuresAcrossAWrapOfTheCounter) {
  const std::tuple<mmTimespec, mmTimespec, uint64_t> cases[] = {
      {{1, 999999999}, {2, 1}, 2},
      {{5, 5}, {5, 5}, 0},
      {{0, 10}, {0, 4}, std::numeric_limits<uint64_t>::max() - 6},
  };
  for (const auto& [start, stop, elapsed] : cases) {
    scriptedTicks = {start, stop};
    Timer timer;
    timer.Start();
    timer.Stop();
    EXPECT_EQ(timer.Elapsed(), elapsed);
  }
}

TEST(UtilsTest, ReadsAFailingClockAsZero) {
  const LogCapture log(DLOG_ERROR);
  scriptedTicks = {{-1, 5}, {5, -1}};
  EXPECT_EQ(Utils::GetClockMonoRawTime(), 0U);
  EXPECT_EQ(Utils::GetClockMonoRawTime(), 0U);
  EXPECT_THAT(log.Messages(), ElementsAre("get tick count failed", "get tick count failed"));
  EXPECT_EQ(log.Lines().front().file, "utils.cpp");
}

TEST(UtilsTest, StampsTheTimeToTheMicrosecond) {
  EXPECT_THAT(Utils::GetTimeStamp(), MatchesRegex("20[0-9]{2}[01][0-9][0-3][0-9][0-9]{12}"));

  const LogCapture log(DLOG_ERROR);
  OrmoHost::Fail("mmGetTimeOfDay", 1, -1);
  EXPECT_THAT(Utils::GetTimeStamp(), MatchesRegex("19(69|70)[0-9]{10}000000"));
  OrmoHost::Fail("snprintf_s", 1, -1);
  EXPECT_EQ(Utils::GetTimeStamp(), "0");
  EXPECT_THAT(log.Messages(), ElementsAre("Call snprintf_s failed"));
  OrmoHost::Fail("mmLocalTimeR", 1, -1);
  EXPECT_EQ(Utils::GetTimeStamp(), "");
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

TEST(FileDescriptorTest, NoProgramThatIsStartedInheritsAPipe) {
  const Pipe pipe = Pipe::Open();
  EXPECT_EQ(fcntl(pipe.readEnd.Get(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(pipe.writeEnd.Get(), F_GETFD), FD_CLOEXEC);
}

}  // namespace
}  // namespace Ormo::Testing
