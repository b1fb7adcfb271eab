#include <string>
#include <tuple>
#include <vector>

#include "model/fake_device.h"
#include "model/model_manager.h"
#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

constexpr size_t GIB = size_t{1} << 30;
constexpr char CLEAN_CACHE[] = "popen echo 3 > /proc/sys/vm/drop_caches";

class ModelLoadingTest : public ::testing::Test {
 protected:
  void SetUp() override { Device() = {}; }

  int Load(RunMode mode, const std::string& socVersion = "TarnLake1") {
    ModelInfo info;
    info.modelData.data = &image_;
    info.modelData.size = sizeof(image_);
    info.runMode = mode;
    const int status = ModelManager::LoadModel(info, socVersion);
    modelId_ = info.modelId;
    return status;
  }

  char image_ = 0;
  uint32_t modelId_ = 0;
};

TEST_F(ModelLoadingTest, AFileGoesBeforeAnImageAndWithoutBothThereIsNothingToLoad) {
  ModelInfo info;
  EXPECT_EQ(ModelManager::LoadModel(info, "TarnLake1"), STATUS_FAILED);
  EXPECT_THAT(Device().calls, IsEmpty());
  info.modelPath = "model";
  info.modelData.data = &image_;
  EXPECT_EQ(ModelManager::LoadModel(info, "TarnLake1"), STATUS_SUCCESS);
  EXPECT_THAT(Device().calls, ElementsAre("load file model"));
  EXPECT_EQ(info.modelId, 12U);
}

TEST_F(ModelLoadingTest, EachRunModeTakesItsPathByTheSizeOfTheWeights) {
  const std::tuple<RunMode, size_t, std::vector<std::string>> cases[] = {
      {RunMode::PREVIOUS_MEMORY, 4095, {"query", "load"}},
      {RunMode::PREVIOUS_MEMORY,
       4096,
       {"query", "malloc huge-first 64", "malloc huge-only 4096", "load into memory"}},
      {RunMode::PREVIOUS_MEMORY,
       1048576,
       {"query", "malloc huge-first 64", "malloc huge-only 1048576", "load into memory"}},
      {RunMode::PREVIOUS_MEMORY, 1048577, {"query", "load"}},
      {RunMode::NO_MEMORY_CHECK, 4096, {"load"}},
      {RunMode::DEFAULT, 4096, {"query", "memory hbm", "load"}},
      {static_cast<RunMode>(7), 4096, {"query", "memory hbm", "load"}},
  };
  for (const auto& [mode, weightSize, calls] : cases) {
    SCOPED_TRACE(weightSize);
    Device() = {};
    Device().workSize = 64;
    Device().weightSize = weightSize;
    Device().freeMemory = Device().totalMemory = GIB;
    EXPECT_EQ(Load(mode), STATUS_SUCCESS);
    EXPECT_EQ(Device().calls, calls);
    ModelManager::UnloadModel(modelId_);
    EXPECT_EQ(Device().allocated, 0);
  }
}

TEST_F(ModelLoadingTest, AllocationsFallBackFromHugePagesInTheirRange) {
  for (const size_t size : {size_t{4095}, size_t{4096}, size_t{1048576}, size_t{1048577}}) {
    Device() = {};
    Device().failingCalls = "malloc huge-only " + std::to_string(size);
    Device().code = 5;
    void* memory = nullptr;
    EXPECT_EQ(ModelManager::RtMalloc(&memory, size), STATUS_SUCCESS);
    ModelManager::RtMemFree(memory);
    const bool triesHugePages = size == 4096 || size == 1048576;
    EXPECT_EQ(Device().calls.front() == Device().failingCalls, triesHugePages) << size;
    EXPECT_EQ(Device().allocated, 0);
  }
  Device().failingCalls = "malloc huge-first 1";
  void* memory = nullptr;
  EXPECT_EQ(ModelManager::RtMalloc(&memory, 1), STATUS_DEVICE_MEMORY_FAILED);
  Device().code = 207001;
  EXPECT_EQ(ModelManager::RtMalloc(&memory, 1), STATUS_MEMORY_ALLOCATION_FAILED);
}

TEST_F(ModelLoadingTest, ARequestOfExactlyTheAvailableMemoryFitsAndOneByteMoreDoesNot) {
  const std::tuple<const char*, size_t, size_t, bool, size_t> cases[] = {
      {"TarnLake1", 5 * GIB, 100 * GIB, true, 4 * GIB},
      {"TarnLake1", 5 * GIB, 100 * GIB, false, 5 * GIB},
      {"TarnRiverX", 5 * GIB, 100 * GIB, true, 4 * GIB},
      {"TarnStream1", 5 * GIB, 8 * GIB, true, 4 * GIB},
      {"TarnStream1", 5 * GIB, 8 * GIB, false, 5 * GIB},
      {"TarnPond1", GIB, 8 * GIB, true, 0},
      {"TarnLake1", 1000, 150, true, 999},  // 1.5 bytes of reserve count as 1
  };
  for (const auto& [chip, free, total, checkReserved, largest] : cases) {
    SCOPED_TRACE(std::string(chip) + " " + std::to_string(largest));
    Device().freeMemory = free;
    Device().totalMemory = total;
    EXPECT_EQ(ModelManager::CheckAllocMemSize(largest, chip, checkReserved), STATUS_SUCCESS);
    EXPECT_EQ(ModelManager::CheckAllocMemSize(largest + 1, chip, checkReserved),
              STATUS_NOT_ENOUGH_MEMORY);
  }
  // A reserve beyond the free memory leaves room for nothing.
  Device().freeMemory = GIB - 1;
  Device().totalMemory = 8 * GIB;
  EXPECT_EQ(ModelManager::CheckAllocMemSize(0, "TarnFen1", true), STATUS_NOT_ENOUGH_MEMORY);
}

TEST_F(ModelLoadingTest, OtherChipsAreNotChecked) {
  LogCapture log(DLOG_WARN);
  for (const char* socVersion :
       {"", "TarnLake", "TarnLake5", "TarnRive", "TarnCreek1", "TarnFen"}) {
    EXPECT_EQ(ModelManager::CheckAllocMemSize(GIB, socVersion, true), STATUS_SUCCESS);
  }
  EXPECT_THAT(Device().calls, IsEmpty());
  EXPECT_TRUE(log.Contains(DLOG_WARN, "Soc version[TarnCreek1] no need to check"));
}

TEST_F(ModelLoadingTest, TheCacheIsCleanedOnceAndOnlyWhereItHelps) {
  Device().weightSize = GIB;
  Device().totalMemory = 8 * GIB;
  Device().freeMemory = GIB;
  Device().cachedMemory = GIB;
  EXPECT_EQ(Load(RunMode::DEFAULT, "TarnStream1"), STATUS_SUCCESS);
  EXPECT_THAT(Device().calls,
              ElementsAre("query", "memory ddr", CLEAN_CACHE, "memory ddr", "load"));

  Device().calls.clear();
  Device().freeMemory = GIB;
  Device().cachedMemory = 1;
  EXPECT_EQ(Load(RunMode::DEFAULT, "TarnPond1"), STATUS_NOT_ENOUGH_MEMORY);
  EXPECT_THAT(Device().calls, ElementsAre("query", "memory ddr", CLEAN_CACHE, "memory ddr"));

  Device().calls.clear();
  EXPECT_EQ(Load(RunMode::DEFAULT, "TarnSpring1"), STATUS_NOT_ENOUGH_MEMORY);
  EXPECT_THAT(Device().calls, ElementsAre("query", "memory ddr"));
}

TEST_F(ModelLoadingTest, SizesThatWrapAroundDoNotFit) {
  Device().workSize = ~size_t{0};
  Device().weightSize = 2;
  Device().freeMemory = Device().totalMemory = GIB;
  EXPECT_EQ(Load(RunMode::DEFAULT), STATUS_NOT_ENOUGH_MEMORY);
  EXPECT_THAT(Device().calls, ElementsAre("query"));
}

}  // namespace
}  // namespace Ormo::Testing
