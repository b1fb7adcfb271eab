// Loaded models: sizes, memory, shapes and settings.
#include <cstddef>
#include <functional>
#include <tuple>

#include "platform/platform_test.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using ModelTest = PlatformTest;

TEST_F(ModelTest, RunsInMemoryThatItIsGiven) {
  const std::string graph = AddRelu({1, 2});
  size_t work = 0;
  size_t weights = 0;
  ASSERT_EQ(zelmdlQuerySizeFromMem(graph.data(), graph.size(), &work, &weights), 0);
  ASSERT_EQ(work, weights);
  FloatDataset memory({std::vector<float>(work / 2), std::vector<float>(weights / 4)});
  auto address = [&](size_t index) {
    return static_cast<std::byte*>(
        zelGetDataBufferAddr(zelmdlGetDatasetBuffer(memory.Get(), index)));
  };
  uint32_t id = 0;
  auto load = [&](size_t size, std::byte* weightMemory) {
    return zelmdlLoadFromMemWithMem(graph.data(), graph.size(), &id, address(0), size, weightMemory,
                                    weights);
  };
  const std::tuple<size_t, std::byte*, const char*> refused[] = {
      {work - 1, address(1), "expected 64 bytes of work memory and 64 of weight memory"},
      {work + 1, address(0) + work, "expected work and weight memory that do not overlap"},
      {work, address(0), "expected work and weight memory that do not overlap"},
      {work, address(1) + 1, "expected 64 bytes of memory of device 0 for weights"},
  };
  for (const auto& [size, weightMemory, reason] : refused) {
    EXPECT_NE(load(size, weightMemory), 0);
    EXPECT_EQ(Reason(), std::string("EH0001: model in memory: ") + reason);
  }
  OnDevice1([&] {
    EXPECT_NE(load(work, address(1)), 0);
    EXPECT_THAT(Reason(), HasSubstr("expected 64 bytes of memory of device 1 for work"));
  });
  ASSERT_EQ(load(work, address(0) + work), 0);
  FloatDataset input({{-3, 2}});
  FloatDataset output({{9, 9}});
  EXPECT_EQ(zelmdlExecute(id, input.Get(), output.Get()), 0);
  EXPECT_THAT(output.Read(0), ElementsAre(0, 3));
  EXPECT_EQ(zelmdlUnload(id), 0);
}

TEST_F(ModelTest, ItsMemoryIsAccountedUntilItIsUnloaded) {
  const std::string graph = AddRelu({64, 2});
  OrmoHost::SetMemorySize(1024);
  uint32_t id = Load(graph);
  uint32_t second = 0;
  EXPECT_EQ(FreeMemory(), 0U);
  EXPECT_EQ(zelmdlLoadFromMem(graph.data(), graph.size(), &second),
            ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION);
  EXPECT_EQ(Reason(), "EH0001: model in memory: expected room for 512 bytes on device 0");
  EXPECT_EQ(zelmdlUnload(id), 0);
  models_.clear();
  EXPECT_GT(Load(graph), id);
}

TEST_F(ModelTest, ASettingIsOfItsKindInTheLastInputAndHoldsForOneExecution) {
  uint32_t id = Load(AddRelu({-1, 2}, R"("dynamic": {"batch": [1, 3]})"));
  FloatDataset input({{1, 2}, {0, 0}});
  FloatDataset output({{0, 0}});
  EXPECT_NE(zelmdlSetDynamicBatchSize(id, input.Get(), 0, 1), 0);
  EXPECT_NE(zelmdlSetDynamicHWSize(id, input.Get(), 1, 1, 1), 0);
  EXPECT_EQ(zelmdlSetDynamicBatchSize(id, input.Get(), 1, 1), 0);
  EXPECT_EQ(zelmdlExecute(id, input.Get(), output.Get()), 0);
  EXPECT_NE(zelmdlExecute(id, input.Get(), output.Get()), 0);
}

TEST_F(ModelTest, AnExecutionThatIsRepeatedNoticesWhatHasChanged) {
  uint32_t id = Load(AddRelu({1, 2}));
  const FloatDataset* input = nullptr;
  void* memory = nullptr;
  zelDataBuffer* buffer = nullptr;
  zelmdlDataset* output = nullptr;
  const int64_t dims[] = {2, 2};
  zelTensorDesc* shape = zelCreateTensorDesc(0, 2, dims, 0);
  const std::vector<std::function<int32_t()>> changes = {
      [&] { return zelrtFree(memory); },
      [&] { return zelDestroyDataBuffer(buffer); },
      [&] { return zelmdlDestroyDataset(output); },
      [&] { return zelmdlAddDatasetBuffer(output, buffer); },
      [&] { return zelmdlSetDatasetTensorDesc(input->Get(), shape, 0); },
  };
  for (const auto& change : changes) {
    FloatDataset floats({{1, 2}});
    input = &floats;
    ASSERT_EQ(zelrtMalloc(&memory, 8, ZEL_MEM_MALLOC_HUGE_FIRST), 0);
    buffer = zelCreateDataBuffer(memory, 8);
    output = zelmdlCreateDataset();
    ASSERT_EQ(zelmdlAddDatasetBuffer(output, buffer), 0);
    for (int repetition = 0; repetition < 3; ++repetition) {
      EXPECT_EQ(zelmdlExecute(id, input->Get(), output), 0);
    }
    ASSERT_EQ(change(), 0);
    EXPECT_NE(zelmdlExecute(id, input->Get(), output), 0) << "change " << &change - &changes[0];
    zelrtFree(memory);
    zelDestroyDataBuffer(buffer);
    zelmdlDestroyDataset(output);
  }
  zelDestroyTensorDesc(shape);
}

}  // namespace
}  // namespace Ormo::Testing
