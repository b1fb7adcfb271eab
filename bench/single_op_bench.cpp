// What a single-operator measurement adds to the operator: reading the request and launching. The
// operator's own execution is replaced in this program by one that does nothing.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "compare.h"
#include "ormo_host/control.h"
#include "ox/types.h"
#include "single_op/op_registry.h"
#include "single_op/op_request.h"
#include "single_op/request_json.h"
#include "zel/zel.h"
#include "zel/zel_tensor.h"
#include "zelnn/zelnn_flash_attention_score.h"

int32_t zelnnFlashAttentionScore(void* /*workspace*/, uint64_t /*workspaceSize*/,
                                 zelOpExecutor* /*executor*/, zelrtStream /*stream*/) {
  return 0;
}

namespace Ormo::Bench {
namespace {

constexpr int ROUNDS = 3001;

// Of many tensors and long lists, 1 MiB in all.
std::string MakeLargeRequest() {
  const std::string tensor =
      R"({"dtype": "float16", "origin_shape": [1, 12, 512, 64], "shape": [1, 12, 512, 64], )"
      R"("origin_format": "ND"})";
  const std::string attr =
      R"({"name": "pre_tokens", "dtype": "list_int", "value": [1, 22, 333, 4444, 55555, 666666]},)"
      R"({"name": "scale", "dtype": "float", "value": 0.08838834764831845})";
  std::string request = R"({"op_type": "FlashAttentionScore", "outputs": [], "inputs": [)" + tensor;
  while (request.size() < size_t{1} << 19U) {
    request += ", " + tensor;
  }
  request += R"(], "attrs": [)" + attr;
  while (request.size() < size_t{1} << 20U) {
    request += ", " + attr;
  }
  return request + "]}";
}

// Checking and parsing, without building; target: at least 80 % of the JSON library's own speed.
void ReadLargeRequest(benchmark::State& state) {
  const std::string text = MakeLargeRequest();
  state.counters["bytes"] = static_cast<double>(text.size());
  Compare(
      state, 1, 1.25,
      [&text] {
        const RequestJson request(text);
        Require(request.IsValid());
      },
      [&text] {
        const auto request = nlohmann::json::parse(text);
        Require(request.is_object());
      });
}

BENCHMARK(ReadLargeRequest)->Iterations(101);

// Attention with one query, one key and one value of one element, and nothing optional.
constexpr char SMALLEST[] = R"({"op_type": "FlashAttentionScore",
  "inputs": [{"dtype": "float", "origin_shape": [1, 1, 1]},
             {"dtype": "float", "origin_shape": [1, 1, 1]},
             {"dtype": "float", "origin_shape": [1, 1, 1]}, null, null, null, null],
  "outputs": [{"dtype": "float", "origin_shape": [1, 1, 1]},
              {"dtype": "float", "origin_shape": [1, 1, 1]}, null,
              {"dtype": "float", "origin_shape": [1, 1, 1]}],
  "attrs": [{"name": "a", "dtype": "list_int", "value": []},
            {"name": "b", "dtype": "float", "value": 1}, {"name": "c", "dtype": "float", "value": 1},
            {"name": "d", "dtype": "int", "value": 1}, {"name": "e", "dtype": "int", "value": 1},
            {"name": "f", "dtype": "int", "value": 1},
            {"name": "g", "dtype": "string", "value": "BSH"},
            {"name": "h", "dtype": "int", "value": 0}, {"name": "i", "dtype": "int", "value": 0}]})";

// The thread's device and context.
class Device {
 public:
  Device() {
    OrmoHost::Reset();
    Require(zelInit("") == 0 && zelrtSetDevice(0) == 0 && zelrtCreateContext(&context_, 0) == 0);
  }

  ~Device() {
    zelrtDestroyContext(context_);
    zelrtResetDevice(0);
    zelFinalize();
  }

  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

 private:
  zelrtContext context_ = nullptr;
};

// Nanoseconds of the parts of one execution.
struct Split {
  std::vector<double> reading;
  std::vector<double> building;
  std::vector<double> launching;
  std::vector<double> releasing;
};

void ReadOnly() {
  const RequestJson request(SMALLEST);
  Require(request.IsValid());
}

// One execution of the library; what reading alone takes is asked for beside it.
double ExecuteOnce(Split& split) {
  const double reading = NanosecondsOf(ReadOnly);
  ZelnnParamterInner request;
  const double constructing =
      NanosecondsOf([&request] { Require(ZelnnParamterConstructor(SMALLEST, request) == 0); });
  const double launching = NanosecondsOf([&request] {
    const std::unique_ptr<ReflectBase> launcher(CreateReflectedObjByName(request.opType));
    Require(launcher->Run(request, nullptr, "") == 0);
  });
  const double releasing = NanosecondsOf([&request] { ZelnnParamterDestructor(request); });
  split.reading.push_back(reading);
  split.building.push_back(constructing - reading);
  split.launching.push_back(launching);
  split.releasing.push_back(releasing);
  return constructing + launching + releasing;
}

constexpr size_t TENSORS = 6;
constexpr size_t ELEMENT = sizeof(float);

struct PlainTensor {
  void* memory = nullptr;
  zelTensor* tensor = nullptr;
};

PlainTensor MakePlainTensor() {
  const int64_t dims[] = {1, 1, 1};
  PlainTensor made;
  Require(zelrtMalloc(&made.memory, ELEMENT, ZEL_MEM_MALLOC_POLICY_2) == 0 &&
          zelrtMemset(made.memory, ELEMENT, 0, ELEMENT) == 0);
  made.tensor =
      zelCreateTensor(dims, 3, ox::DT_FLOAT, nullptr, 0, ox::FORMAT_NULL, nullptr, -1, made.memory);
  return made;
}

// The same platform calls, with nothing to find out.
void CallPlainly() {
  PlainTensor t[TENSORS];
  for (PlainTensor& tensor : t) {
    tensor = MakePlainTensor();
  }
  zelIntArray* array = zelCreateIntArray(nullptr, 0);
  char layout[] = "BSH";
  uint64_t size = 0;
  zelOpExecutor* executor = nullptr;
  Require(zelnnFlashAttentionScoreGetWorkspaceSize(t[0].tensor, t[1].tensor, t[2].tensor, nullptr,
                                                   nullptr, nullptr, nullptr, array, 1, 1, 1, 1, 1,
                                                   layout, 0, 0, t[3].tensor, t[4].tensor, nullptr,
                                                   t[5].tensor, &size, &executor) == 0);
  void* workspace = nullptr;
  Require(zelrtMalloc(&workspace, size, ZEL_MEM_MALLOC_POLICY_2) == 0);
  Require(zelnnFlashAttentionScore(workspace, size, executor, nullptr) == 0);
  zelrtSynchronizeStream(nullptr);
  zelrtFree(workspace);
  for (const PlainTensor& tensor : t) {
    zelDestroyTensor(tensor.tensor);
  }
  for (const PlainTensor& tensor : t) {
    zelrtFree(tensor.memory);
  }
  zelDestroyIntArray(array);
}

// The same, as one execution has to: the request is parsed each time.
double ExecutePlainly(std::vector<double>& calls) {
  const double parsing =
      NanosecondsOf([] { Require(nlohmann::json::parse(SMALLEST).is_object()); });
  calls.push_back(NanosecondsOf(CallPlainly));
  return parsing + calls.back();
}

// One execution of the smallest request; target: at most 3 times parsing and its platform calls in
// a row.
void ExecuteSmallestRequest(benchmark::State& state) {
  const Device device;
  Split split;
  std::vector<double> calls;
  CompareTimes(
      state, 1, 3, [&split] { return ExecuteOnce(split); },
      [&calls] { return ExecutePlainly(calls); });
  state.counters["calls_ns"] = Quantile(calls, 0.5);
  state.counters["reading_ns"] = Quantile(split.reading, 0.5);
  state.counters["building_ns"] = Quantile(split.building, 0.5);
  state.counters["launching_ns"] = Quantile(split.launching, 0.5);
  state.counters["releasing_ns"] = Quantile(split.releasing, 0.5);
}

BENCHMARK(ExecuteSmallestRequest)->Iterations(ROUNDS);

}  // namespace
}  // namespace Ormo::Bench
