// What a caller is told when there is nothing to measure.
#include <string>

#include "ormo/ormo_error_manager.h"
#include "support/graph_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/offline_test.h"
#include "zel/zel.h"

namespace Ormo::Testing {
namespace {

constexpr uint32_t UNTOUCHED = 4711;

class RefusalTest : public OfflineTest {
 protected:
  static std::string Reason() { return OrmoErrorManager::GetInstance().OrmoGetErrorMessage(); }

  uint32_t modelId_ = UNTOUCHED;
};

TEST_F(RefusalTest, ADamagedModelIsNamedWithItsFaultyNode) {
  std::string graph = SpinGraph({1000, 1000});
  graph.replace(graph.rfind("\"ns\""), 4, "\"us\"");
  const std::string path = directory_ / "damaged.json";
  WriteFile(path, graph);
  Init();
  OrmoErrorManager::GetInstance().OrmoGenWorkStreamIdDefault();
  EXPECT_EQ(OrmoOfflineLoadFromFile(path, modelId_), STATUS_PLATFORM_FAILED);
  EXPECT_EQ(modelId_, UNTOUCHED);
  EXPECT_THAT(Reason(), AllOf(HasSubstr("damaged.json"), HasSubstr("spin1"), HasSubstr("us")));
  OrmoErrorManager::GetInstance().OrmoGenWorkStreamIdDefault();
  RunnerConfig config = MakeConfig(graph, true);
  RunnerResult result;
  EXPECT_EQ(OrmoOfflineRun(config, result), STATUS_PLATFORM_FAILED);
  EXPECT_THAT(Reason(), AllOf(HasSubstr("spin1"), HasSubstr("us")));
}

TEST_F(RefusalTest, AnEnvironmentThatIsNotDeployedIsReported) {
  OrmoHost::Fail("zelInit", 1, 507008);
  EXPECT_EQ(OrmoOfflineRunnerInit({}), STATUS_FAILED);
  EXPECT_THAT(Reason(), AllOf(HasSubstr("EG0013"), HasSubstr("is not deployed correctly")));
}

TEST_F(RefusalTest, APlatformThatOthersInitialisedStaysTheirs) {
  ASSERT_EQ(zelInit(""), 0);
  OrmoHost::RecordCalls();
  Init();
  OrmoOfflineRunnerFinalize();
  EXPECT_EQ(OrmoHost::CallCount("zelFinalize"), 0U);
  EXPECT_EQ(zelFinalize(), 0);
}

TEST_F(RefusalTest, OutsideInitialisationEverythingIsRefused) {
  const std::string graph = SpinGraph({1000});
  RunnerConfig config = MakeConfig(graph, false);
  Init();
  OrmoOfflineRunnerFinalize();
  LogCapture log(DLOG_ERROR);
  RunnerResult result;
  EXPECT_EQ(OrmoOfflineLoadFromMem(AsBuffer(graph), modelId_), STATUS_FAILED);
  EXPECT_EQ(OrmoOfflineRun(config, result), STATUS_FAILED);
  OrmoOfflineUnloadModel(1);
  OrmoOfflineRunnerFinalize();
  EXPECT_EQ(log.Messages().size(), 4U);
  EXPECT_THAT(log.Messages(), Each("Offline runner has not been initialized"));
}

}  // namespace
}  // namespace Ormo::Testing
