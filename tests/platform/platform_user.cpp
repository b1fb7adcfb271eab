#include "platform/platform_user.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "error_manager/error_manager.h"
#include "mm/mm.h"
#include "ormo_host/control.h"
#include "ox/types.h"
#include "zel/zel.h"
#include "zel/zel_mdl.h"
#include "zel/zel_prof.h"
#include "zelnn/zelnn_flash_attention_score.h"

namespace {

// Leaves the thread with an executor that is not executed.
bool LeaveExecutor() {
  void* memory = nullptr;
  const int64_t shape[] = {1, 1, 1};
  char layout[] = "BSH";
  uint64_t size = 0;
  zelOpExecutor* executor = nullptr;
  if (zelrtMalloc(&memory, sizeof(float), ZEL_MEM_MALLOC_POLICY_2) != 0) {
    return false;
  }
  const zelTensor* t = zelCreateTensor(shape, 3, ox::DT_FLOAT, nullptr, 0, 0, shape, 3, memory);
  return zelnnFlashAttentionScoreGetWorkspaceSize(t, t, t, nullptr, nullptr, nullptr, nullptr,
                                                  nullptr, 1, 1, 1, 1, 1, layout, 0, 0, t, t,
                                                  nullptr, t, &size, &executor) == 0;
}

}  // namespace

bool UsePlatform() {
  const std::string graph =
      R"({"format": "ox-graph", "version": 1, "name": "spin", "nodes": [{"name": "spin", "type":
      "Spin", "outputs": [{"shape": [1], "dtype": "float32"}], "attrs": {"ns": 0}}]})";
  OrmoHost::CaptureLog(0);
  OrmoHost::RecordCalls();
  zelrtContext context = nullptr;
  uint32_t id = 0;
  int pipeEnds[2] = {};
  void* memory = nullptr;
  bool works = zelInit("") == 0 && zelrtSetDevice(0) == 0 && zelrtCreateContext(&context, 0) == 0 &&
               zelmdlLoadFromMem("{}", 2, &id) != 0 &&
               zelmdlLoadFromMem(graph.data(), graph.size(), &id) == 0 &&
               zelmdlExecute(id, nullptr, nullptr) != 0 && pipe2(pipeEnds, O_CLOEXEC) == 0 &&
               zelrtMalloc(&memory, 4, ZEL_MEM_MALLOC_HUGE_FIRST) == 0;
  zelprofSubscribeConfig* config =
      zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &pipeEnds[1]);
  works = works && zelprofModelSubscribe(id, config) == 0;
  zelmdlDataset* input = zelmdlCreateDataset();
  zelmdlDataset* output = zelmdlCreateDataset();
  works = works && zelmdlAddDatasetBuffer(output, zelCreateDataBuffer(memory, 4)) == 0;
  for (int i = 0; i < 1000; ++i) {
    works = works && zelmdlExecute(id, input, output) == 0;
  }
  zelTensor* tensor = zelCreateTensor(nullptr, 0, 0, nullptr, 0, 0, nullptr, 0, memory);
  zelIntArray* array = zelCreateIntArray(nullptr, 0);
  return works && tensor != nullptr && array != nullptr && LeaveExecutor() &&
         ProfOpSubscribe(0, config) == 0;
}

bool IsPlatformClosed() {
  void* memory = nullptr;
  uint32_t id = 0;
  int32_t output = 1;
  ErrorManager::GetInstance().SetErrorContext({});
  ErrorManager::GetInstance().GetErrorManagerContext();
  return zelInit("") != 0 && zelrtSetDevice(0) != 0 && zelrtResetDevice(0) != 0 &&
         zelrtMalloc(&memory, 1, ZEL_MEM_MALLOC_HUGE_FIRST) != 0 &&
         zelmdlLoadFromMem("{}", 2, &id) != 0 && zelmdlExecute(1, nullptr, nullptr) != 0 &&
         zelprofModelUnSubscribe(1) != 0 && zelmdlCreateDataset() == nullptr &&
         ProfOpUnSubscribe(0) != 0 && zelCreateIntArray(nullptr, 0) == nullptr &&
         zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &output) == nullptr &&
         zelFinalize() != 0 && zelrtGetSocName() == nullptr && mmGetTickCount().tv_sec > 0;
}
