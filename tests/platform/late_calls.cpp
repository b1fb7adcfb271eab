// Ends with everything still alive: what a subscription has queued for a full pipe included.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "zel/zel.h"
#include "zel/zel_mdl.h"
#include "zel/zel_prof.h"

extern "C" void KeepLateCaller();

int main() {
  KeepLateCaller();
  const std::string graph =
      R"({"format": "ox-graph", "version": 1, "name": "spin", "nodes": [{"name": "spin", "type":
      "Spin", "outputs": [{"shape": [1], "dtype": "float32"}], "attrs": {"ns": 0}}]})";
  zelrtContext context = nullptr;
  uint32_t id = 0;
  int descriptors[2] = {};
  void* memory = nullptr;
  bool isSetUp = zelInit("") == 0 && zelrtSetDevice(0) == 0 &&
                 zelrtCreateContext(&context, 0) == 0 &&
                 zelmdlLoadFromMem(graph.data(), graph.size(), &id) == 0 &&
                 pipe(descriptors) == 0 && zelrtMalloc(&memory, 4, ZEL_MEM_MALLOC_HUGE_FIRST) == 0;
  int32_t writeEnd = descriptors[1];
  zelprofSubscribeConfig* config = zelprofCreateSubscribeConfig(1, ZEL_AICORE_NONE, &writeEnd);
  isSetUp = isSetUp && zelprofModelSubscribe(id, config) == 0;
  zelmdlDataset* input = zelmdlCreateDataset();
  zelmdlDataset* output = zelmdlCreateDataset();
  isSetUp = isSetUp && zelmdlAddDatasetBuffer(output, zelCreateDataBuffer(memory, 4)) == 0;
  for (int i = 0; i < 1000; ++i) {
    isSetUp = isSetUp && zelmdlExecute(id, input, output) == 0;
  }
  std::puts(isSetUp ? "set up" : "not set up");
  return isSetUp ? 0 : 1;
}
