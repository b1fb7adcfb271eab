// What is refused, and with which code.
#include <unistd.h>

#include <functional>
#include <thread>

#include "annex_k/annex_k.h"
#include "ox/session.h"
#include "platform/attention_call.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "zel/zel_mdl_info.h"
#include "zel/zel_prof.h"

namespace Ormo::Testing {
namespace {

using Codes = std::vector<int32_t>;

class CodesTest : public PlatformTest {
 protected:
  CodesTest() {
    EXPECT_EQ(zelmdlGetDesc(desc_, id_), 0);
    EXPECT_EQ(zelprofGetOpDescSize(&recordSize_), 0);
  }

  void TearDown() override {
    EXPECT_EQ(zelmdlDestroyDesc(desc_), 0);
    EXPECT_EQ(zelprofDestroySubscribeConfig(config_), 0);
  }

  char* Device() const { return static_cast<char*>(memory_); }

  const std::string graph_ = Graph({Node("x", "Data", "", {2}), Node("y", "Relu", "\"x\"", {2})});
  const uint32_t id_ = Load(graph_);
  zelmdlDesc* const desc_ = zelmdlCreateDesc();
  const FloatDataset floats_{{{0, 0, 0, 0}}};
  zelmdlDataset* const data_ = floats_.Get();
  zelDataBuffer* const buffer_ = zelmdlGetDatasetBuffer(data_, 0);
  void* const memory_ = zelGetDataBufferAddr(buffer_);
  int32_t output_ = 1;
  zelprofSubscribeConfig* const config_ =
      zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &output_);
  size_t recordSize_ = 0;
  size_t size_ = 0;
  uint32_t number_ = 0;
  void* other_ = nullptr;
  char host_[16] = {};
};

TEST_F(CodesTest, OfDevicesContextsAndMemory) {
  void* const stale = context_;
  ASSERT_EQ(zelrtDestroyContext(context_), 0);
  ASSERT_EQ(zelrtCreateContext(&context_, 0), 0);
  const auto toDevice = ZEL_MEMCPY_HOST_TO_DEVICE;
  const auto toHost = ZEL_MEMCPY_DEVICE_TO_HOST;
  const auto first = ZEL_MEM_MALLOC_HUGE_FIRST;
  EXPECT_EQ(zelInit(""), ZEL_ERROR_REPEAT_INITIALIZE);
  EXPECT_THAT((Codes{zelrtGetDeviceCount(nullptr), zelrtCreateContext(nullptr, 0),
                     zelrtMalloc(nullptr, 1, first), zelrtMemcpy(nullptr, 1, memory_, 1, toHost),
                     zelrtMemcpy(memory_, 1, nullptr, 1, toDevice),
                     zelrtMemcpy(memory_, 1, host_, 1, static_cast<zelrtMemcpyKind>(7)),
                     zelrtMemcpy(memory_, 8, Device() + 8, 8, toDevice),
                     zelrtMemcpy(Device() + 8, 8, Device() - 4, 8, toDevice),
                     zelrtGetMemInfo(ZEL_HBM_MEM, nullptr, &size_),
                     zelrtGetMemInfo(ZEL_HBM_MEM, &size_, nullptr)}),
              Each(400001));
  EXPECT_EQ(zelrtSetDevice(2), 400003);
  EXPECT_EQ(zelrtResetDevice(1), 400004);
  EXPECT_EQ(zelrtCreateContext(&other_, 1), 400004);
  EXPECT_THAT((Codes{zelrtSetCurrentContext(stale), zelrtDestroyContext(stale),
                     zelrtSynchronizeStream(memory_)}),
              Each(400006));
  EXPECT_THAT(
      (Codes{zelrtFree(Device() + 1), zelrtMemset(Device() + 1, 16, 0, 16),
             zelrtMemset(Device() - 1, 16, 0, 1), zelrtMemcpy(host_, 16, Device() + 8, 9, toHost),
             zelrtMemcpy(host_, 8, host_ + 8, 8, toHost)}),
      Each(400007));
  EXPECT_EQ(zelrtMemset(memory_, 15, 0, 16), 400008);
  EXPECT_EQ(zelrtMemcpy(host_, 8, memory_, 9, toHost), 400008);
  EXPECT_EQ(zelrtGetMemInfo(ZEL_DDR_MEM, &size_, &size_), 400009);
  OnDevice1([&] {
    EXPECT_THAT((Codes{zelrtMemset(memory_, 16, 0, 16), zelrtMemcpy(host_, 16, memory_, 16, toHost),
                       zelrtMemcpy(memory_, 16, host_, 16, toDevice)}),
                Each(410003));
  });
}

TEST_F(CodesTest, OfAThreadWithoutAContext) {
  std::thread([&] {
    EXPECT_THAT(
        (Codes{zelrtSetOpExecuteTimeOut(1), zelrtMalloc(&other_, 1, ZEL_MEM_MALLOC_HUGE_FIRST),
               zelrtMemset(memory_, 1, 0, 1),
               zelrtMemcpy(host_, 1, memory_, 1, ZEL_MEMCPY_DEVICE_TO_HOST),
               zelrtSynchronizeStream(nullptr),
               zelmdlQuerySizeFromMem(graph_.data(), graph_.size(), &size_, &size_),
               zelmdlLoadFromMem(graph_.data(), graph_.size(), &number_),
               zelmdlExecute(id_, data_, data_)}),
        Each(400005));
    EXPECT_EQ(zelrtGetMemInfo(ZEL_HBM_MEM, &size_, &size_), 400004);
    EXPECT_EQ(zelrtCreateContext(&other_, 0), 0);
    EXPECT_EQ(zelrtSetOpExecuteTimeOut(1), 0);
  }).join();
  EXPECT_EQ(zelrtSetCurrentContext(other_), 0);
  EXPECT_EQ(zelrtSetOpExecuteTimeOut(1), 0);
  EXPECT_EQ(zelrtDestroyContext(other_), 0);
  EXPECT_EQ(zelrtSetOpExecuteTimeOut(1), 400005);
  EXPECT_EQ(zelrtSetCurrentContext(context_), 0);
}

TEST_F(CodesTest, OfModelsAndTheirData) {
  const char* const text = graph_.data();
  const size_t length = graph_.size();
  zelmdlIODims dims = {};
  dims.dimCount = ZEL_MAX_DIM_CNT + 1;
  const int64_t one = 1;
  zelTensorDesc* shape = zelCreateTensorDesc(0, 1, &one, 0);
  zelmdlTensorInfo tensor = {};
  zelmdlDynamicInfo settings = {};
  EXPECT_THAT(
      (Codes{zelmdlQuerySizeFromMem(nullptr, 1, &size_, &size_),
             zelmdlQuerySizeFromMem(text, length, nullptr, &size_),
             zelmdlQuerySizeFromMem(text, length, &size_, nullptr),
             zelmdlLoadFromFile(nullptr, &number_), zelmdlLoadFromFile("missing", nullptr),
             zelmdlLoadFromMem(nullptr, 1, &number_), zelmdlLoadFromMem(text, length, nullptr),
             zelmdlLoadFromMemWithMem(text, length, nullptr, memory_, 8, memory_, 8),
             zelmdlGetInputIndexByName(desc_, nullptr, &size_),
             zelmdlGetInputIndexByName(desc_, "x", nullptr), zelmdlGetInputInfo(desc_, 0, nullptr),
             zelmdlGetOutputInfo(desc_, 0, nullptr), zelmdlGetDynamicInfo(desc_, nullptr),
             zelmdlGetMemoryInfo(desc_, nullptr, &size_),
             zelmdlGetMemoryInfo(desc_, &size_, nullptr),
             zelmdlSetInputDynamicDims(id_, data_, 0, nullptr),
             zelmdlSetInputDynamicDims(id_, data_, 0, &dims)}),
      Each(400001));
  EXPECT_EQ(zelmdlLoadFromFile("missing", &number_), 410001);
  EXPECT_EQ(zelmdlLoadFromMem(text, length - 1, &number_), 410001);
  EXPECT_THAT((Codes{zelmdlUnload(0), zelmdlGetDesc(desc_, 0),
                     zelmdlSetDynamicBatchSize(0, data_, 0, 1), zelmdlExecute(0, data_, data_)}),
              Each(410002));
  EXPECT_THAT(
      (Codes{zelmdlGetDesc(nullptr, id_), zelmdlGetInputInfo(nullptr, 0, &tensor),
             zelmdlGetOutputInfo(nullptr, 0, &tensor), zelmdlGetDynamicInfo(nullptr, &settings),
             zelmdlGetMemoryInfo(nullptr, &size_, &size_), zelmdlDestroyDesc(nullptr),
             zelmdlDestroyDataset(nullptr), zelmdlAddDatasetBuffer(data_, nullptr),
             zelmdlAddDatasetBuffer(nullptr, buffer_),
             zelmdlSetDatasetTensorDesc(data_, nullptr, 0), zelDestroyDataBuffer(nullptr),
             zelmdlExecute(id_, nullptr, data_), zelmdlExecute(id_, data_, nullptr),
             zelDestroyTensor(nullptr), zelDestroyIntArray(nullptr), zelDestroyFloatArray(nullptr),
             zelDestroyBoolArray(nullptr), ForwardCall().Execute(memory_),
             BackwardCall().Execute(memory_)}),
      Each(400006));
  EXPECT_THAT(
      (Codes{zelmdlGetInputInfo(desc_, 1, &tensor), zelmdlGetOutputInfo(desc_, 1, &tensor)}),
      Each(400008));
  EXPECT_THAT((Codes{zelmdlGetInputIndexByName(desc_, "z", &size_),
                     zelmdlSetDatasetTensorDesc(data_, shape, 1),
                     zelmdlSetDynamicBatchSize(id_, data_, 0, 1)}),
              Each(410005));
  zelDestroyTensorDesc(shape);
  OnDevice1([&] { EXPECT_EQ(zelmdlExecute(id_, data_, data_), 410003); });
}

TEST_F(CodesTest, OfWhatGivesNoCode) {
  const int64_t one = 1;
  ASSERT_EQ(zelmdlGetInputIndexByName(desc_, "x", &size_), 0);
  EXPECT_EQ(size_, 0U);
  EXPECT_THAT((std::vector<size_t>{
                  zelmdlGetNumInputs(desc_), zelmdlGetInputSizeByIndex(desc_, 0),
                  zelmdlGetInputSizeByIndex(desc_, 1), zelmdlGetNumOutputs(desc_),
                  zelmdlGetOutputSizeByIndex(desc_, 0), zelmdlGetOutputSizeByIndex(desc_, 1),
                  zelmdlGetDatasetNumBuffers(data_), zelmdlGetDatasetNumBuffers(nullptr),
                  zelGetDataBufferSizeV2(buffer_), zelGetDataBufferSizeV2(nullptr)}),
              ElementsAre(1, 8, 0, 1, 8, 0, 1, 0, 16, 0));
  EXPECT_THAT((std::vector<const void*>{
                  zelCreateDataBuffer(nullptr, 1), zelmdlGetDatasetBuffer(data_, 1),
                  zelGetDataBufferAddr(nullptr), zelCreateTensorDesc(0, -1, &one, 0),
                  zelCreateTensorDesc(0, 1, nullptr, 0),
                  zelprofCreateSubscribeConfig(0, ZEL_AICORE_NONE, &output_),
                  zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON,
                                               static_cast<zelprofAicoreMetrics>(1), &output_),
                  zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, nullptr),
                  zelCreateIntArray(nullptr, 1)}),
              Each(IsNull()));
}

TEST_F(CodesTest, OfSubscriptionsAndRecords) {
  const std::string zeros(recordSize_, '\0');
  char text[8];
  EXPECT_THAT((Codes{zelgrphProfGraphSubscribe(7, config_), zelgrphProfGraphUnSubscribe(7)}),
              Each(415002));
  ox::Session session;
  ASSERT_EQ(session.AddGraph(7, LoadGraph(graph_), {}), 0U);
  const auto subscribe = [&] {
    return Codes{zelprofModelSubscribe(id_, config_), zelgrphProfGraphSubscribe(7, config_),
                 ProfOpSubscribe(0, config_)};
  };
  const auto unsubscribe = [&] {
    return Codes{zelprofModelUnSubscribe(id_), zelgrphProfGraphUnSubscribe(7),
                 ProfOpUnSubscribe(0)};
  };
  EXPECT_THAT(unsubscribe(), Each(420002));
  EXPECT_THAT(subscribe(), Each(0));
  EXPECT_THAT(subscribe(), Each(420001));
  EXPECT_THAT(unsubscribe(), Each(0));
  EXPECT_THAT(unsubscribe(), Each(420002));
  EXPECT_THAT((Codes{zelprofModelSubscribe(0, config_), zelprofModelUnSubscribe(0)}), Each(410002));
  EXPECT_THAT((Codes{zelprofDestroySubscribeConfig(nullptr), zelprofModelSubscribe(id_, nullptr),
                     ProfOpSubscribe(0, nullptr)}),
              Each(400006));
  EXPECT_EQ(zelprofGetOpNum(nullptr, 0, &number_), 0);
  EXPECT_THAT(
      (Codes{ProfOpSubscribe(1, config_), ProfOpUnSubscribe(1), zelprofGetOpDescSize(nullptr),
             zelprofGetOpNum(nullptr, 1, &number_), zelprofGetOpNum(text, 0, nullptr)}),
      Each(400001));
  EXPECT_THAT((Codes{zelprofGetOpNum(zeros.data(), recordSize_ - 1, &number_),
                     zelprofGetOpNameLen(zeros.data(), recordSize_, 0, &size_),
                     zelprofGetOpTypeLen(zeros.data(), recordSize_, 1, &size_),
                     zelprofGetOpName(nullptr, recordSize_, 0, text, 8)}),
              Each(420004));
  output_ = -1;
  EXPECT_EQ(zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &output_),
            nullptr);
  EXPECT_EQ(zelprofGetOpStart(zeros.data(), recordSize_, 0), 0U);
}

TEST_F(CodesTest, OfFunctionsThatWatchOverSizes) {
  char text[8] = "1234567";
  EXPECT_THAT((Codes{snprintf_s(text, 8, 7, "%s", ""), snprintf_s(text, 8, 7, "%d", 1234567),
                     snprintf_s(text, 8, 3, "%d", 123)}),
              ElementsAre(0, 7, 3));
  EXPECT_THAT((Codes{memset_s(text, 8, 'x', 8), memcpy_s(text, 8, "abc", 4)}), Each(0));
  EXPECT_THAT(
      (Codes{memset_s(text, 8, 0, 9), memset_s(nullptr, 8, 0, 1), memcpy_s(text, 8, "123456789", 9),
             memcpy_s(nullptr, 8, "1", 1), memcpy_s(text, 8, nullptr, 1)}),
      Each(400008));
  EXPECT_EQ(std::string(text, 8), std::string("abc\0xxxx", 8));
  EXPECT_THAT((Codes{snprintf_s(nullptr, 8, 7, "%d", 1), snprintf_s(text, 0, 7, "%d", 1),
                     snprintf_s(text, 8, 7, "%d", 12345678), snprintf_s(text, 8, 3, "%d", 1234)}),
              Each(-1));
  EXPECT_EQ(text[0], '\0');
}

}  // namespace
}  // namespace Ormo::Testing
