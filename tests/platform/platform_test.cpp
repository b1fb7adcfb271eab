#include "platform/platform_test.h"

#include <cstring>
#include <memory>

#include "error_manager/error_manager.h"
#include "ox/graph_utils.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {

ox::Graph LoadGraph(const std::string& text) {
  const TempDirectory directory;
  WriteFile(directory / "graph", text);
  std::shared_ptr<ox::ComputeGraph> graph;
  EXPECT_TRUE(ox::GraphUtils::LoadOXGraph((directory / "graph").c_str(), graph));
  return ox::Graph(graph);
}

std::vector<uint8_t> ToBytes(const std::vector<float>& values) {
  std::vector<uint8_t> bytes(values.size() * sizeof(float));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

FloatDataset::FloatDataset(const std::vector<std::vector<float>>& buffers)
    : dataset_(zelmdlCreateDataset()) {
  for (const std::vector<float>& values : buffers) {
    size_t size = values.size() * sizeof(float);
    void* memory = nullptr;
    EXPECT_EQ(zelrtMalloc(&memory, size, ZEL_MEM_MALLOC_HUGE_FIRST), 0);
    EXPECT_EQ(zelrtMemcpy(memory, size, values.data(), size, ZEL_MEMCPY_HOST_TO_DEVICE), 0);
    EXPECT_EQ(zelmdlAddDatasetBuffer(dataset_, zelCreateDataBuffer(memory, size)), 0);
  }
}

FloatDataset::~FloatDataset() {
  for (size_t i = 0; i < zelmdlGetDatasetNumBuffers(dataset_); ++i) {
    zelDataBuffer* buffer = zelmdlGetDatasetBuffer(dataset_, i);
    EXPECT_EQ(zelrtFree(zelGetDataBufferAddr(buffer)), 0);
    EXPECT_EQ(zelDestroyDataBuffer(buffer), 0);
  }
  EXPECT_EQ(zelmdlDestroyDataset(dataset_), 0);
}

std::vector<float> FloatDataset::Read(size_t index) const {
  zelDataBuffer* buffer = zelmdlGetDatasetBuffer(dataset_, index);
  size_t size = zelGetDataBufferSizeV2(buffer);
  std::vector<float> values(size / sizeof(float));
  EXPECT_EQ(zelrtMemcpy(values.data(), size, zelGetDataBufferAddr(buffer), size,
                        ZEL_MEMCPY_DEVICE_TO_HOST),
            0);
  return values;
}

void PlatformTest::Start() {
  OrmoHost::Reset();
  ASSERT_EQ(zelInit(""), 0);
  ASSERT_EQ(zelrtSetDevice(0), 0);
  ASSERT_EQ(zelrtCreateContext(&context_, 0), 0);
}

PlatformTest::~PlatformTest() {
  for (uint32_t id : models_) {
    EXPECT_EQ(zelmdlUnload(id), 0);
  }
  EXPECT_EQ(zelrtDestroyContext(context_), 0);
  EXPECT_EQ(zelrtResetDevice(0), 0);
  EXPECT_EQ(zelFinalize(), 0);
  EXPECT_EQ(OrmoHost::Alive().ToString(), "");
}

uint32_t PlatformTest::Load(const std::string& graph) {
  uint32_t id = 0;
  if (zelmdlLoadFromMem(graph.data(), graph.size(), &id) == 0) {
    models_.push_back(id);
  }
  return id;
}

void PlatformTest::OnDevice1(const std::function<void()>& work) const {
  zelrtContext other = nullptr;
  ASSERT_EQ(zelrtSetDevice(1), 0);
  ASSERT_EQ(zelrtCreateContext(&other, 1), 0);
  work();
  EXPECT_EQ(zelrtDestroyContext(other), 0);
  EXPECT_EQ(zelrtResetDevice(1), 0);
  EXPECT_EQ(zelrtSetCurrentContext(context_), 0);
}

size_t PlatformTest::FreeMemory() {
  size_t free = 0;
  size_t total = 0;
  EXPECT_EQ(zelrtGetMemInfo(ZEL_HBM_MEM, &free, &total), 0);
  return free;
}

std::string PlatformTest::Reason() {
  return ErrorManager::GetInstance().GetErrorMessage();
}

}  // namespace Ormo::Testing
