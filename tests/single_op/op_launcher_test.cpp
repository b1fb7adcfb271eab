#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "ormo/status.h"
#include "single_op/op_arguments.h"
#include "single_op/op_registry.h"
#include "single_op/platform_context.h"
#include "single_op/request_text.h"
#include "single_op/zelnn_run_manager.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

constexpr char QUERY[] = "zelnnFlashAttentionScoreGetWorkspaceSize";

// A request with an owner.
class BuiltRequest {
 public:
  explicit BuiltRequest(const std::string& text) {
    EXPECT_EQ(ZelnnParamterConstructor(text, inner), STATUS_SUCCESS) << text;
  }

  ~BuiltRequest() { ZelnnParamterDestructor(inner); }

  BuiltRequest(const BuiltRequest&) = delete;
  BuiltRequest& operator=(const BuiltRequest&) = delete;

  int Launch() {
    const std::unique_ptr<ReflectBase> launcher(CreateReflectedObjByName(inner.opType));
    return launcher == nullptr ? 0 : launcher->Run(inner, nullptr, "the tiling");
  }

  ZelnnParamterInner inner;
};

class OpLauncher : public PlatformContext {};

TEST_F(OpLauncher, ArgumentsAreTakenByPositionAndType) {
  BuiltRequest request(
      Request(std::string("{},") + ONE_FLOAT, ONE_FLOAT,
              Attr("float", "0.1") + "," + Attr("bool", "true") + "," + Attr("int", "-7.9") + "," +
                  Attr("string", R"("tex\u00e9")") + "," + Attr("list_int", "[1]") + "," +
                  Attr("list_float", "[1]") + "," + Attr("list_bool", "[true]") + "," +
                  Attr("list_int", "[]") + "," + Attr("int", "1e300") + "," +
                  Attr("int", "18446744073709551615") + "," + Attr("float", "1e300")));
  ZelnnParamterInner& inner = request.inner;
  EXPECT_THAT(inner.attrTypes, ElementsAre(0, 0, 0, 0, 1, 3, 2, 1, 0, 0, 0));
  std::tuple<const zelTensor*, const zelTensor*, double, bool, int64_t, char*, const zelIntArray*,
             zelFloatArray*, zelBoolArray*, zelIntArray*, int64_t, int64_t, double,
             const zelTensor*, uint64_t*, zelOpExecutor**>
      arguments;
  const auto indices = std::make_index_sequence<std::tuple_size_v<decltype(arguments)>>();
  ASSERT_TRUE(SetParamHelper(inner, indices, arguments));
  const std::tuple expected(inner.inputs[0], inner.inputs[1], static_cast<double>(0.1F), true,
                            int64_t{-7}, static_cast<char*>(inner.attrs[3]), inner.attrs[4],
                            inner.attrs[5], inner.attrs[6], inner.attrs[7], INT64_MAX, INT64_MAX,
                            HUGE_VAL, inner.outputs[0], &inner.workspaceSize, &inner.executor);
  EXPECT_TRUE(arguments == expected);
  EXPECT_STREQ(std::get<5>(arguments), "tex\u00e9");
  EXPECT_EQ(
      FuncExector([](const auto&... all) { return static_cast<int>(sizeof...(all)); }, arguments),
      16);
  // What stands in the places beside those of its kind is refused, and nothing is stored.
  const zelTensor* tensor = nullptr;
  for (const size_t index : {2U, 12U, 14U}) {
    EXPECT_FALSE(SetParamByZelnnRunParam(inner, index, &tensor)) << index;
  }
  EXPECT_EQ(tensor, nullptr);
}

TEST_F(OpLauncher, CountsThatDoNotFitAreRefusedBeforeAnythingIsCalled) {
  std::string text = AttentionRequest();
  text.erase(text.find(",null"), 5);  // six inputs: position 6 is an attribute, 16 an output
  BuiltRequest request(text);
  OrmoHost::RecordCalls();
  const LogCapture log(DLOG_ERROR);
  EXPECT_EQ(request.Launch(), STATUS_FAILED);
  EXPECT_THAT(log.Messages(),
              ElementsAre("Tensor idx[6] out of bounds!",
                          "SetParamByZelnnRunParam attrs idx[15];input size[6];attrs size[9]!",
                          "Tensor idx[19] out of bounds!",
                          "OrmoZelnnFlashAttentionScore run SetParam failed!"));
  EXPECT_THAT(OrmoHost::Calls(), IsEmpty());
}

TEST_F(OpLauncher, QueriesOfOneOperatorWaitForEachOther) {
  std::atomic<int> within{0};
  std::atomic<int> most{0};
  OrmoHost::OnCall(QUERY, OrmoHost::EVERY_CALL, [&within, &most] {
    most = std::max<int>(most, ++within);
    std::this_thread::yield();
    --within;
  });
  std::thread threads[4];
  for (std::thread& thread : threads) {
    thread = std::thread([this] {
      ASSERT_EQ(zelrtSetCurrentContext(Context()), 0);
      for (int run = 0; run < 50; ++run) {
        BuiltRequest request(AttentionRequest());
        EXPECT_EQ(request.Launch(), STATUS_SUCCESS);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(most, 1);
}

TEST_F(OpLauncher, ARunManagerHoldsItsDeviceFromOneInitialisationToOneEnd) {
  const LogCapture log(DLOG_WARN);
  ZelnnRunManager manager;
  manager.Finalize();
  EXPECT_EQ(manager.Init(1) + manager.Init(0), STATUS_SUCCESS);
  manager.Finalize();
  manager.Finalize();
  EXPECT_THAT(log.Messages(), ElementsAre("Run manager has not been initialized",
                                          "Run manager has been initialized",
                                          "Run manager has not been initialized"));
}

}  // namespace
}  // namespace Ormo::Testing
