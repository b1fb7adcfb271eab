// What is refused, and with which code.
#include <unistd.h>

#include <functional>
#include <thread>

#include "annex_k/annex_k.h"
#include "platform/attention_call.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "zel/zel_prof.h"

namespace Ormo::Testing {
namespace {

struct Refused {
  const char* what;
  int32_t code;
  std::function<int32_t()> call;
};

class CodesTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    ASSERT_EQ(zelrtMalloc(&memory_, 16, ZEL_MEM_MALLOC_HUGE_FIRST), 0);
    id_ = Load(graph_);
    desc_ = zelmdlCreateDesc();
    data_ = zelmdlCreateDataset();
    buffer_ = zelCreateDataBuffer(memory_, 8);
    ASSERT_EQ(zelmdlGetDesc(desc_, id_), 0);
    ASSERT_EQ(zelmdlAddDatasetBuffer(data_, buffer_), 0);
    config_ = zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &output_);
    ASSERT_EQ(zelprofGetOpDescSize(&recordSize_), 0);
  }

  void TearDown() override {
    EXPECT_EQ(zelrtFree(memory_), 0);
    EXPECT_EQ(zelmdlDestroyDesc(desc_), 0);
    EXPECT_EQ(zelmdlDestroyDataset(data_), 0);
    EXPECT_EQ(zelDestroyDataBuffer(buffer_), 0);
    EXPECT_EQ(zelprofDestroySubscribeConfig(config_), 0);
    PlatformTest::TearDown();
  }

  static void Expect(const std::vector<Refused>& calls) {
    for (const Refused& refused : calls) {
      EXPECT_EQ(refused.call(), refused.code) << refused.what;
    }
  }

  char* Device() const { return static_cast<char*>(memory_); }

  const std::string graph_ = Graph({Node("x", "Data", "", {2}), Node("y", "Relu", "\"x\"", {2})});
  void* memory_ = nullptr;
  uint32_t id_ = 0;
  zelmdlDesc* desc_ = nullptr;
  zelmdlDataset* data_ = nullptr;
  zelDataBuffer* buffer_ = nullptr;
  int32_t output_ = 1;
  zelprofSubscribeConfig* config_ = nullptr;
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
  Expect({
      {"init", ZEL_ERROR_REPEAT_INITIALIZE, [] { return zelInit(""); }},
      {"count", 400001, [] { return zelrtGetDeviceCount(nullptr); }},
      {"set", 400003, [] { return zelrtSetDevice(2); }},
      {"reset", 400004, [] { return zelrtResetDevice(1); }},
      {"context nowhere", 400001, [] { return zelrtCreateContext(nullptr, 0); }},
      {"context", 400004, [&] { return zelrtCreateContext(&other_, 1); }},
      {"current", 400006, [&] { return zelrtSetCurrentContext(stale); }},
      {"destroy", 400006, [&] { return zelrtDestroyContext(stale); }},
      {"malloc nowhere", 400001, [&] { return zelrtMalloc(nullptr, 1, first); }},
      {"free inside", 400007, [&] { return zelrtFree(Device() + 1); }},
      {"set too much", 400008, [&] { return zelrtMemset(memory_, 15, 0, 16); }},
      {"set past the end", 400007, [&] { return zelrtMemset(Device() + 1, 16, 0, 16); }},
      {"set before", 400007, [&] { return zelrtMemset(Device() - 1, 16, 0, 1); }},
      {"copy too much", 400008, [&] { return zelrtMemcpy(host_, 8, memory_, 9, toHost); }},
      {"copy past the end", 400007,
       [&] { return zelrtMemcpy(host_, 16, Device() + 8, 9, toHost); }},
      {"copy to nowhere", 400001, [&] { return zelrtMemcpy(nullptr, 1, memory_, 1, toHost); }},
      {"copy nothing", 400001, [&] { return zelrtMemcpy(memory_, 1, nullptr, 1, toDevice); }},
      {"copy", 400001,
       [&] { return zelrtMemcpy(memory_, 1, host_, 1, static_cast<zelrtMemcpyKind>(7)); }},
      {"host to host", 400007, [&] { return zelrtMemcpy(host_, 8, host_ + 8, 8, toHost); }},
      // The host's side is no device memory, not even where it ends.
      {"in place", 400001, [&] { return zelrtMemcpy(memory_, 8, Device() + 8, 8, toDevice); }},
      {"overlap", 400001, [&] { return zelrtMemcpy(Device() + 8, 8, Device() - 4, 8, toDevice); }},
      {"free memory", 400001, [&] { return zelrtGetMemInfo(ZEL_HBM_MEM, nullptr, &size_); }},
      {"all memory", 400001, [&] { return zelrtGetMemInfo(ZEL_HBM_MEM, &size_, nullptr); }},
      {"other memory", 400009, [&] { return zelrtGetMemInfo(ZEL_DDR_MEM, &size_, &size_); }},
      {"stream", 400006, [&] { return zelrtSynchronizeStream(memory_); }},
  });
  OnDevice1([&] {
    Expect({{"set", 410003, [&] { return zelrtMemset(memory_, 16, 0, 16); }},
            {"from", 410003, [&] { return zelrtMemcpy(host_, 16, memory_, 16, toHost); }},
            {"to", 410003, [&] { return zelrtMemcpy(memory_, 16, host_, 16, toDevice); }}});
  });
  std::thread([&] {
    Expect({{"time-out", 400005, [] { return zelrtSetOpExecuteTimeOut(1); }},
            {"malloc", 400005, [&] { return zelrtMalloc(&other_, 1, first); }},
            {"set", 400005, [&] { return zelrtMemset(memory_, 1, 0, 1); }},
            {"copy", 400005, [&] { return zelrtMemcpy(host_, 1, memory_, 1, toHost); }},
            {"stream", 400005, [] { return zelrtSynchronizeStream(nullptr); }},
            {"sizes", 400005,
             [&] { return zelmdlQuerySizeFromMem(graph_.data(), graph_.size(), &size_, &size_); }},
            {"load", 400005,
             [&] { return zelmdlLoadFromMem(graph_.data(), graph_.size(), &number_); }},
            {"execute", 400005, [&] { return zelmdlExecute(id_, data_, data_); }},
            {"memory", 400004, [&] { return zelrtGetMemInfo(ZEL_HBM_MEM, &size_, &size_); }}});
  }).join();
}

TEST_F(CodesTest, OfModelsAndTheirData) {
  const char* const text = graph_.data();
  const size_t length = graph_.size();
  zelmdlIODims dims = {};
  dims.dimCount = ZEL_MAX_DIM_CNT + 1;
  const int64_t one = 1;
  zelTensorDesc* shape = zelCreateTensorDesc(0, 1, &one, 0);
  Expect({
      {"sizes of null", 400001, [&] { return zelmdlQuerySizeFromMem(nullptr, 1, &size_, &size_); }},
      {"work", 400001, [&] { return zelmdlQuerySizeFromMem(text, length, nullptr, &size_); }},
      {"weights", 400001, [&] { return zelmdlQuerySizeFromMem(text, length, &size_, nullptr); }},
      {"null file", 400001, [&] { return zelmdlLoadFromFile(nullptr, &number_); }},
      {"file to null", 400001, [&] { return zelmdlLoadFromFile("missing", nullptr); }},
      {"missing file", 410001, [&] { return zelmdlLoadFromFile("missing", &number_); }},
      {"null model", 400001, [&] { return zelmdlLoadFromMem(nullptr, 1, &number_); }},
      {"model to null", 400001, [&] { return zelmdlLoadFromMem(text, length, nullptr); }},
      {"short model", 410001, [&] { return zelmdlLoadFromMem(text, length - 1, &number_); }},
      {"given memory", 400001,
       [&] { return zelmdlLoadFromMemWithMem(text, length, nullptr, memory_, 8, memory_, 8); }},
      {"unload", 410002, [] { return zelmdlUnload(0); }},
      {"describe", 410002, [&] { return zelmdlGetDesc(desc_, 0); }},
      {"describe to null", 400006, [&] { return zelmdlGetDesc(nullptr, id_); }},
      {"description", 400006, [] { return zelmdlDestroyDesc(nullptr); }},
      {"index", 410005, [&] { return zelmdlGetInputIndexByName(desc_, "z", &size_); }},
      {"index of null", 400001, [&] { return zelmdlGetInputIndexByName(desc_, nullptr, &size_); }},
      {"index to null", 400001, [&] { return zelmdlGetInputIndexByName(desc_, "x", nullptr); }},
      {"dataset", 400006, [] { return zelmdlDestroyDataset(nullptr); }},
      {"add null", 400006, [&] { return zelmdlAddDatasetBuffer(data_, nullptr); }},
      {"add to null", 400006, [&] { return zelmdlAddDatasetBuffer(nullptr, buffer_); }},
      {"shape", 410005, [&] { return zelmdlSetDatasetTensorDesc(data_, shape, 1); }},
      {"no shape", 400006, [&] { return zelmdlSetDatasetTensorDesc(data_, nullptr, 0); }},
      {"buffer", 400006, [] { return zelDestroyDataBuffer(nullptr); }},
      {"batch", 410005, [&] { return zelmdlSetDynamicBatchSize(id_, data_, 0, 1); }},
      {"batch of none", 410002, [&] { return zelmdlSetDynamicBatchSize(0, data_, 0, 1); }},
      {"no dims", 400001, [&] { return zelmdlSetInputDynamicDims(id_, data_, 0, nullptr); }},
      {"many dims", 400001, [&] { return zelmdlSetInputDynamicDims(id_, data_, 0, &dims); }},
      {"execute none", 410002, [&] { return zelmdlExecute(0, data_, data_); }},
      {"execute on none", 400006, [&] { return zelmdlExecute(id_, nullptr, data_); }},
      {"execute into none", 400006, [&] { return zelmdlExecute(id_, data_, nullptr); }},
      {"tensor", 400006, [] { return zelDestroyTensor(nullptr); }},
      {"integers", 400006, [] { return zelDestroyIntArray(nullptr); }},
      {"floats", 400006, [] { return zelDestroyFloatArray(nullptr); }},
      {"booleans", 400006, [] { return zelDestroyBoolArray(nullptr); }},
      {"executor", 400006, [&] { return ForwardCall().Execute(memory_); }},
      {"gradients' executor", 400006, [&] { return BackwardCall().Execute(memory_); }},
  });
  zelDestroyTensorDesc(shape);
  OnDevice1([&] {
    Expect({{"execute there", 410003, [&] { return zelmdlExecute(id_, data_, data_); }}});
  });
  ASSERT_EQ(zelmdlGetInputIndexByName(desc_, "x", &size_), 0);
  EXPECT_EQ(size_, 0U);
  EXPECT_THAT((std::vector<size_t>{
                  zelmdlGetNumInputs(desc_), zelmdlGetInputSizeByIndex(desc_, 0),
                  zelmdlGetInputSizeByIndex(desc_, 1), zelmdlGetNumOutputs(desc_),
                  zelmdlGetOutputSizeByIndex(desc_, 0), zelmdlGetOutputSizeByIndex(desc_, 1),
                  zelmdlGetDatasetNumBuffers(data_), zelmdlGetDatasetNumBuffers(nullptr),
                  zelGetDataBufferSizeV2(buffer_), zelGetDataBufferSizeV2(nullptr)}),
              ElementsAre(1, 8, 0, 1, 8, 0, 1, 0, 8, 0));
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
  ASSERT_EQ(zelprofModelSubscribe(id_, config_), 0);
  ASSERT_EQ(ProfOpSubscribe(0, config_), 0);
  Expect({
      {"config", 400006, [] { return zelprofDestroySubscribeConfig(nullptr); }},
      {"of none", 410002, [&] { return zelprofModelSubscribe(0, config_); }},
      {"with none", 400006, [&] { return zelprofModelSubscribe(id_, nullptr); }},
      {"twice", 420001, [&] { return zelprofModelSubscribe(id_, config_); }},
      {"end", 0, [&] { return zelprofModelUnSubscribe(id_); }},
      {"end again", 420002, [&] { return zelprofModelUnSubscribe(id_); }},
      {"end none", 410002, [&] { return zelprofModelUnSubscribe(0); }},
      {"no graph", 415002, [&] { return zelgrphProfGraphSubscribe(7, config_); }},
      {"end no graph", 415002, [&] { return zelgrphProfGraphUnSubscribe(7); }},
      {"operators", 400001, [&] { return ProfOpSubscribe(1, config_); }},
      {"with no config", 400006, [&] { return ProfOpSubscribe(0, nullptr); }},
      {"operators twice", 420001, [&] { return ProfOpSubscribe(0, config_); }},
      {"end others", 400001, [&] { return ProfOpUnSubscribe(1); }},
      {"end operators", 0, [&] { return ProfOpUnSubscribe(0); }},
      {"end them again", 420002, [&] { return ProfOpUnSubscribe(0); }},
      {"record size", 400001, [&] { return zelprofGetOpDescSize(nullptr); }},
      {"null records", 400001, [&] { return zelprofGetOpNum(nullptr, 1, &number_); }},
      {"no records", 0, [&] { return zelprofGetOpNum(nullptr, 0, &number_); }},
      {"to null", 400001, [&] { return zelprofGetOpNum(text, 0, nullptr); }},
      {"partial", 420004, [&] { return zelprofGetOpNum(zeros.data(), recordSize_ - 1, &number_); }},
      {"no record", 420004,
       [&] { return zelprofGetOpNameLen(zeros.data(), recordSize_, 0, &size_); }},
      {"beyond", 420004, [&] { return zelprofGetOpTypeLen(zeros.data(), recordSize_, 1, &size_); }},
      {"of null", 420004, [&] { return zelprofGetOpName(nullptr, recordSize_, 0, text, 8); }},
  });
  output_ = -1;
  EXPECT_EQ(zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &output_),
            nullptr);
  EXPECT_EQ(zelprofGetOpStart(zeros.data(), recordSize_, 0), 0U);
}

TEST_F(CodesTest, OfFunctionsThatWatchOverSizes) {
  char text[8] = "1234567";
  Expect({{"fits", 7, [&] { return snprintf_s(text, 8, 7, "%d", 1234567); }},
          {"too long", -1, [&] { return snprintf_s(text, 8, 7, "%d", 12345678); }},
          {"longer than asked for", -1, [&] { return snprintf_s(text, 8, 3, "%d", 1234); }},
          {"as asked for", 3, [&] { return snprintf_s(text, 8, 3, "%d", 123); }},
          {"nowhere", -1, [&] { return snprintf_s(nullptr, 8, 7, "%d", 1); }},
          {"no room", -1, [&] { return snprintf_s(text, 0, 7, "%d", 1); }},
          {"set", 0, [&] { return memset_s(text, 8, 'x', 8); }},
          {"set too much", 400008, [&] { return memset_s(text, 8, 0, 9); }},
          {"set nothing", 400008, [&] { return memset_s(nullptr, 8, 0, 1); }},
          {"copy", 0, [&] { return memcpy_s(text, 8, "abc", 4); }},
          {"copy too much", 400008, [&] { return memcpy_s(text, 8, "123456789", 9); }},
          {"copy to nowhere", 400008, [&] { return memcpy_s(nullptr, 8, "1", 1); }},
          {"copy nothing", 400008, [&] { return memcpy_s(text, 8, nullptr, 1); }}});
  EXPECT_EQ(std::string(text, 8), std::string("abc\0xxxx", 8));
  EXPECT_EQ(snprintf_s(text, 8, 3, "%d", 1234), -1);
  EXPECT_EQ(text[0], '\0');
}

}  // namespace
}  // namespace Ormo::Testing
