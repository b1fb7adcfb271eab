// Single operators measured as a tuner does it.
#include "support/zelnn_test.h"

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>
#include <tuple>

#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using OrmoHost::CallCount;

void ExpectStale(const RunnerResult& result) {
  EXPECT_EQ(result.totalCostTime, 1U);
  EXPECT_EQ(result.runCostTime, 2U);
  EXPECT_THAT(result.opCostTimes, ElementsAre(Pair("stale", 3)));
  EXPECT_THAT(result.aicoreCostTimes, ElementsAre(Pair("stale", 4)));
}

class ZelnnMeasurementTest : public ZelnnTest {
 protected:
  int Run(const std::string& request, uint32_t loop = 1) {
    return OrmoZelnnRun(MakeOpConfig(request, loop), result_);
  }

  RunnerResult result_ = MakeStaleResult();
};

TEST_F(ZelnnMeasurementTest, FiguresAreThoseOfThePlatformsOwnAccountWithEitherEnding) {
  Init();
  for (const auto& [name, request, ending] :
       {std::tuple("FlashAttentionScore", AttentionRequest(), ""),
        {"FlashAttentionScoreGrad", AttentionGradRequest(), "close"}}) {
    SCOPED_TRACE(name);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", ending, 1);
    OrmoHost::KeepAccount();
    OrmoHost::RecordCalls();
    ASSERT_EQ(Run(request, 5), STATUS_SUCCESS);
    EXPECT_EQ(CallCount("ProfOpSubscribe"), 1U);
    const auto account = OrmoHost::Account();
    ASSERT_THAT(account, ElementsAre(Key(name)));
    EXPECT_EQ(account.at(name).executions, 5U);
    EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair(name, account.at(name).duration / 5)));
    EXPECT_THAT(result_.aicoreCostTimes, ElementsAre(Pair(name, account.at(name).core / 5)));
    EXPECT_EQ(result_.totalCostTime, result_.opCostTimes.at(name))
        << "one operator is all there is";
    EXPECT_EQ(result_.runCostTime, 0U);
  }
}

TEST_F(ZelnnMeasurementTest, EveryTensorAndAttributeTakesItsPlaceOnTheDeviceThatIsLocked) {
  const auto bytesOf = [](const std::vector<float>& values) {
    const auto* data = reinterpret_cast<const uint8_t*>(values.data());
    return std::vector<uint8_t>(data, data + values.size() * sizeof(float));
  };
  const auto tensor = [](const std::string& type, const std::string& shape) {
    return R"({"dtype":")" + type + R"(","origin_shape":)" + shape + "}";
  };
  const std::string keys = tensor("float", "[1,2,4]");
  const std::string query = tensor("float", "[1,1,4]");
  const std::string softmax = tensor("float", "[1,2,1]");
  const std::string request =
      Request(query + "," + keys + "," + keys + ",null,null,[]," + tensor("uint8", "[1,2]"),
              softmax + "," + softmax + ",{}," + query,
              Attr("list_int", "[]") + "," + Attr("float", "0.5") + "," + Attr("float", "1") + "," +
                  Attr("int", "3") + "," + Attr("int", "4") + "," + Attr("int", "2") + "," +
                  Attr("string", R"("BSH")") + "," + Attr("int", "0") + "," + Attr("int", "0"),
              "FlashAttentionScore");
  OrmoHost::SetDeviceCount(2);
  OrmoHost::SetOperatorTensor(0, bytesOf({1, 2, 3, 4}));
  OrmoHost::SetOperatorTensor(1, bytesOf({0, 0, 0, 0, 5, 6, 7, 8}));
  OrmoHost::SetOperatorTensor(2, bytesOf({0, 0, 0, 0, 9, 10, 11, 12}));
  OrmoHost::SetOperatorTensor(6, {1, 0});  // the first key does not count
  OrmoHost::KeepOperatorOutputs();
  // Open until the run has ended: a process gives its locks back with any descriptor of the file.
  int lockFile = -1;
  struct flock held = {};
  held.l_type = F_WRLCK;
  OrmoHost::OnCall("zelnnFlashAttentionScore", 2, [&] {
    lockFile = open((directory_ / "ormo_data/Tarn/.ormo_dev_1.lock").c_str(), O_RDWR | O_CLOEXEC);
    fcntl(lockFile, F_OFD_GETLK, &held);
  });
  Init({1});
  EXPECT_EQ(Run(request, 2), STATUS_SUCCESS);
  EXPECT_EQ(held.l_pid, getpid());
  close(lockFile);
  EXPECT_EQ(OrmoHost::OperatorOutput(16), bytesOf({8.5F, 26.5F}));
  EXPECT_EQ(OrmoHost::OperatorOutput(17), bytesOf({1, 1}));
  EXPECT_EQ(OrmoHost::OperatorOutput(19), bytesOf({9, 10, 11, 12}));
}

TEST_F(ZelnnMeasurementTest, WithoutInitialisationAndWithoutRecordsTheResultStays) {
  EXPECT_EQ(Run(AttentionRequest()), STATUS_FAILED);
  ExpectStale(result_);
  Init();
  OrmoHost::RecordCalls();
  EXPECT_EQ(Run(AttentionRequest(), 0), STATUS_SUCCESS);
  EXPECT_EQ(CallCount("zelCreateTensor"), 0U);
  ExpectStale(result_);
}

TEST_F(ZelnnMeasurementTest, AFailureEndsTheLoopAndResetsTheResult) {
  const std::tuple<std::string, const char*, const char*> cases[] = {
      {AttentionRequest(), "zelnn_run_manager.cpp", "Execute zelnn failed, index = 2"},
      {"{", "zelnn_manager.cpp", "ZelnnParamterConstructor failed!"},
      {Request("", "", "", "Unknown"), "zelnn_manager.cpp", "Can not create Unknown zelnn run"},
  };
  Init();
  OrmoHost::Fail("zelnnFlashAttentionScore", 3, 9);
  for (const auto& [request, file, line] : cases) {
    const LogCapture log(DLOG_ERROR);
    result_ = MakeStaleResult();
    EXPECT_EQ(Run(request, 5), STATUS_FAILED);
    ExpectReset(result_);
    EXPECT_EQ(log.Find(line).file, file) << line;
    EXPECT_EQ(log.Count(DLOG_ERROR, "Execute zelnn failed"), 1U);
  }
  OrmoHost::Throw("zelnnFlashAttentionScore", 1);
  result_ = MakeStaleResult();
  EXPECT_THROW(Run(AttentionRequest()), std::runtime_error);
  ExpectReset(result_);
}

TEST_F(ZelnnMeasurementTest, SeveralCallersMeasureAtOnceOnTwoDevicesAndWithTwoWorkersOfOne) {
  for (const std::vector<uint32_t>& devices : {std::vector<uint32_t>{0, 1}, {0, 0}}) {
    Init(devices);
    std::vector<std::thread> callers;
    for (const bool isGradient : {false, true, false, true}) {
      callers.emplace_back([isGradient] {
        const std::string request = isGradient ? AttentionGradRequest() : AttentionRequest();
        const char* name = isGradient ? "FlashAttentionScoreGrad" : "FlashAttentionScore";
        for (int round = 0; round < 10; ++round) {
          RunnerResult result = MakeStaleResult();
          EXPECT_EQ(OrmoZelnnRun(MakeOpConfig(request, 3), result), STATUS_SUCCESS);
          EXPECT_THAT(result.opCostTimes, ElementsAre(Pair(name, result.totalCostTime)));
        }
      });
    }
    for (std::thread& caller : callers) {
      caller.join();
    }
    OrmoZelnnRunnerFinalize();
  }
}

}  // namespace
}  // namespace Ormo::Testing
