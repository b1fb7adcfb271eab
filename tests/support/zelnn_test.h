/// \file
/// What tests of the single-operator entry points share. Only for programs that link the shared
/// library.
#ifndef ORMO_TESTS_SUPPORT_ZELNN_TEST_H
#define ORMO_TESTS_SUPPORT_ZELNN_TEST_H

#include "ormo/ormo_runner.h"
#include "single_op/request_text.h"
#include "support/runner_test.h"

namespace Ormo::Testing {

/// The gradients of the call of AttentionRequest.
inline std::string AttentionGradRequest() {
  const std::string element = R"({"dtype":"float","origin_shape":[1,1,1]})";
  const std::string three = element + "," + element + "," + element;
  const std::string one = Attr("float", "1") + "," + Attr("float", "1");
  const std::string sizes = Attr("int", "1") + "," + Attr("int", "1") + "," + Attr("int", "1");
  const std::string modes = Attr("int", "0") + "," + Attr("int", "0");
  return Request(three + "," + element + ",null,null,null,null," + element + "," + element +
                     ",null," + element,
                 three + ",null",
                 Attr("list_int", "[]") + "," + one + "," + sizes + "," +
                     Attr("string", R"("BSH")") + "," + modes,
                 "FlashAttentionScoreGrad");
}

/// A request for `loop` executions of that call.
inline ZelnnRunConfig MakeOpConfig(const std::string& opJson, uint32_t loop = 1) {
  ZelnnRunConfig config;
  config.opJson = opJson;
  config.loop = loop;
  return config;
}

class ZelnnTest : public RunnerTest {
 protected:
  void Finalize() override { OrmoZelnnRunnerFinalize(); }

  static void Init(const std::vector<uint32_t>& deviceIds = {0}) {
    ASSERT_EQ(OrmoZelnnRunnerInit({deviceIds}), STATUS_SUCCESS);
  }
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_ZELNN_TEST_H
