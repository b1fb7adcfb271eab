// What scripts make of calls, and what is told of them and of everything alive.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "dlog/dlog.h"
#include "ox/session.h"
#include "platform/attention_call.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "zel/zel_prof.h"

namespace Ormo::Testing {
namespace {

using ControlTest = PlatformTest;

TEST_F(ControlTest, RulesActOnTheCallsThatTheyWaitFor) {
  void* memory = nullptr;
  auto allocate = [&] { return zelrtMalloc(&memory, 1, ZEL_MEM_MALLOC_HUGE_FIRST); };
  OrmoHost::Fail("zelrtMalloc", 2, 7);
  OrmoHost::Fail("zelrtFree", 1, 8);
  OrmoHost::Fail("zelrtGetSocName", OrmoHost::EVERY_CALL, 9);
  EXPECT_EQ(OrmoHost::PendingFaults(), 2U);
  EXPECT_EQ(OrmoHost::FailedCall(), "");
  EXPECT_EQ(allocate(), 0);
  EXPECT_EQ(zelrtFree(memory), 8);  // released all the same
  EXPECT_EQ(OrmoHost::Alive().deviceBlocks, 0U);
  EXPECT_EQ(allocate(), 7);
  EXPECT_EQ(OrmoHost::Alive().deviceBlocks, 0U);
  EXPECT_EQ(OrmoHost::FailedCall(), "zelrtMalloc");
  EXPECT_EQ(OrmoHost::PendingFaults(), 0U);
  EXPECT_EQ(zelrtGetSocName(), nullptr);
  EXPECT_EQ(zelrtGetSocName(), nullptr);
  OrmoHost::FailCall(2, 5);
  EXPECT_EQ(allocate(), 0);
  EXPECT_EQ(CheckLogLevel(60, DLOG_DEBUG), 0);  // has no way to fail
  EXPECT_EQ(zelrtFree(memory), 5);
  EXPECT_EQ(OrmoHost::FailedCall(), "zelrtFree");
  EXPECT_FALSE(OrmoHost::IsInsideHost());
  const auto before = std::chrono::steady_clock::now();
  OrmoHost::Delay("zelrtSynchronizeStream", 1, std::chrono::milliseconds(2));
  EXPECT_EQ(zelrtSynchronizeStream(nullptr), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(2));
  OrmoHost::Fail("zelrtMalloc", 1, 7);
  OrmoHost::Reset();
  EXPECT_EQ(OrmoHost::PendingFaults() + OrmoHost::FailedCall().size(), 0U);
  Start();
}

class AliveTest : public PlatformTest {
 protected:
  // Leaves memory, a model and both kinds of subscription on the current device.
  void UseDevice() {
    int32_t output = STDOUT_FILENO;
    if (config_ == nullptr) {
      config_ = zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &output);
    }
    ASSERT_EQ(zelrtMalloc(&memory_, 4, ZEL_MEM_MALLOC_HUGE_FIRST), 0);
    ASSERT_EQ(zelprofModelSubscribe(Load(graph_), config_), 0);
    ASSERT_EQ(ProfOpSubscribe(0, config_), 0);
    models_.clear();
  }

  const std::string graph_ = Graph({Node("spin", "Spin", "", {1}, "\"ns\": 0")});
  zelprofSubscribeConfig* config_ = nullptr;
  void* memory_ = nullptr;
};

TEST_F(AliveTest, TheLastResetOfADeviceReleasesWhatIsOnIt) {
  zelrtContext other = nullptr;
  UseDevice();
  ASSERT_EQ(zelrtSetDevice(1) + zelrtSetDevice(1), 0);
  ASSERT_EQ(zelrtCreateContext(&other, 1), 0);
  UseDevice();
  EXPECT_EQ(OrmoHost::Alive().ToString(),
            "deviceSets 3, contexts 2, deviceBlocks 2, deviceBytes 3072, models 2, "
            "subscribeConfigs 1, subscriptions 4");
  EXPECT_EQ(zelrtResetDevice(1), 0);
  EXPECT_EQ(zelrtMemset(memory_, 4, 0, 4), 0);  // still there
  std::thread([] { EXPECT_EQ(zelrtResetDevice(1), 0); }).join();
  EXPECT_EQ(zelrtFree(memory_), 400007);
  EXPECT_EQ(OrmoHost::Alive().ToString(),
            "deviceSets 1, contexts 1, deviceBlocks 1, deviceBytes 1536, models 1, "
            "subscribeConfigs 1, subscriptions 2, abandoned 4");
  OrmoHost::Reset();
  EXPECT_TRUE(OrmoHost::Alive().Empty());
  Start();
}

// One of everything that a user can hold.
TEST_F(AliveTest, EverythingIsToldAndWhatNobodyReleasesIsCounted) {
  UseDevice();
  const int64_t shape[] = {1, 1, 1};
  const zelTensor* tensor =
      zelCreateTensor(shape, 3, ox::DT_FLOAT, nullptr, 0, 0, shape, 3, memory_);
  ForwardCall call;
  std::fill_n(call.inputs, 3, tensor);
  std::fill_n(call.outputs, 2, tensor);
  call.outputs[3] = tensor;
  EXPECT_EQ(call.Query(), 0) << Reason();
  auto session = std::make_unique<ox::Session>();
  EXPECT_EQ(session->AddGraph(1, LoadGraph(graph_), {}), 0U);
  zelmdlCreateDesc();
  zelmdlCreateDataset();
  zelCreateDataBuffer(memory_, 4);
  zelCreateTensorDesc(0, 0, nullptr, 0);
  zelCreateIntArray(nullptr, 0);
  zelCreateFloatArray(nullptr, 0);
  zelCreateBoolArray(nullptr, 0);
  EXPECT_EQ(OrmoHost::Alive().ToString(),
            "deviceSets 1, contexts 1, deviceBlocks 1, deviceBytes 2560, models 1, descs 1, "
            "datasets 1, dataBuffers 1, tensorDescs 1, tensors 1, arrays 3, executors 1, "
            "subscribeConfigs 1, subscriptions 2, sessions 1, graphs 1");
  EXPECT_EQ(zelFinalize(), 0);
  EXPECT_EQ(OrmoHost::Alive().ToString(), "deviceBytes 1024, sessions 1, graphs 1, abandoned 14");
  EXPECT_FALSE(OrmoHost::Alive().Empty());
  uint32_t count = 0;
  EXPECT_EQ(zelrtGetDeviceCount(&count), 400002);
  EXPECT_EQ(zelrtSetDevice(0), 400002);
  EXPECT_EQ(zelFinalize(), 400002);
  OrmoHost::Reset();
  EXPECT_EQ(OrmoHost::Alive().ToString(), "sessions 1");
  session.reset();
  EXPECT_TRUE(OrmoHost::Alive().Empty());
  Start();
  EXPECT_EQ(zelrtGetDeviceCount(&count), 0);
  EXPECT_EQ(count, 2U);
}

}  // namespace
}  // namespace Ormo::Testing
