#include <string>
#include <thread>
#include <vector>

#include "support/graph_text.h"
#include "support/matchers.h"
#include "support/offline_test.h"
#include "support/open_descriptors.h"

namespace Ormo::Testing {
namespace {

constexpr size_t CALLERS = 16;
constexpr size_t ROUNDS = 5;
constexpr size_t ELEMENTS = 16;

// One caller's work: every model has its own number of operators and adds its own number, so that a
// result that belongs to another caller is seen.
class Caller {
 public:
  explicit Caller(size_t number) : operators_(number + 1), addend_(static_cast<float>(number)) {}

  void Work() {
    for (size_t round = 0; round < ROUNDS; ++round) {
      uint32_t modelId = 0;
      EXPECT_EQ(OrmoOfflineLoadFromMem(AsBuffer(graph_), modelId), STATUS_SUCCESS);
      Measure([&](RunnerConfig& config) { return OrmoOfflineRunModel(modelId, config, result_); });
      OrmoOfflineUnloadModel(modelId);
      Measure([&](RunnerConfig& config) { return OrmoOfflineRun(config, result_); });
    }
  }

 private:
  template <typename Run>
  void Measure(Run run) {
    for (const bool prof : {false, true}) {
      std::vector<float> output(ELEMENTS, -1);
      RunnerConfig config = MakeConfig(graph_, prof, 2);
      config.inputs = {AsBuffer(input_)};
      config.outputs = {AsBuffer(output)};
      EXPECT_EQ(run(config), STATUS_SUCCESS);
      EXPECT_THAT(output, Each(addend_ * static_cast<float>(operators_) + 1));
      EXPECT_THAT(result_.opCostTimes, SizeIs(prof ? operators_ : 0));
      EXPECT_GE(result_.runCostTime, result_.totalCostTime);
    }
  }

  size_t operators_;
  float addend_;
  const std::string graph_ = AddGraph(ELEMENTS, addend_, operators_);
  const std::vector<float> input_ = std::vector<float>(ELEMENTS, 1);
  RunnerResult result_;
};

class CallersTest : public OfflineTest {};

TEST_F(CallersTest, SixteenCallersOnFourDevicesDoNotDisturbEachOther) {
  OrmoHost::SetDeviceCount(4);
  Init({0, 1, 2, 3});
  const auto descriptors = OpenDescriptors();
  std::vector<std::thread> threads;
  for (size_t number = 0; number < CALLERS; ++number) {
    threads.emplace_back([number] { Caller(number).Work(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(OrmoHost::Alive().models, 0U);
  EXPECT_EQ(OrmoHost::Alive().deviceBytes, 0U);
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

}  // namespace
}  // namespace Ormo::Testing
