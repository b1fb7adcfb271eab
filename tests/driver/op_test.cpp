// Single operators, from the command line to the ranking.

#include "driver/driver_process.h"

namespace Ormo::Testing {
namespace {

const std::string EXAMPLES = ORMO_EXAMPLES_PATH "/operators/";

class DriverOp : public DriverTest {
 protected:
  // A request that differs from an example in one place.
  std::string Request(const std::string& place, const json& value) const {
    json request = json::parse(ReadFile(EXAMPLES + "attention-small.json"));
    request[json::json_pointer(place)] = value;
    return File("request.json", request.dump());
  }

  static std::string ReasonFor(const std::string& file) {
    return Measure({"op", file}, 1)["candidates"][0]["reason"];
  }
};

TEST_F(DriverOp, TheExamplesAreRanked) {
  std::vector<std::string> arguments = {"op", "--loop", "2", "--devices", "0,1", "--tiling", "t"};
  for (const char* size : {"small", "medium", "large"}) {
    arguments.push_back(EXAMPLES + "attention-" + size + ".json");
    arguments.push_back(EXAMPLES + "attention-grad-" + size + ".json");
  }
  const json document = Measure(arguments);
  EXPECT_EQ(document["options"], json({{"loop", 2}, {"tiling", "t"}}));
  ASSERT_THAT(document["candidates"], SizeIs(6));
  for (const json& candidate : document["candidates"]) {
    EXPECT_EQ(candidate["outcome"], "measured");
    ASSERT_THAT(candidate["operators"], SizeIs(1));
    const bool isGradient = candidate["model"].get<std::string>().find("grad") != std::string::npos;
    EXPECT_EQ(candidate["operators"][0]["name"],
              isGradient ? "FlashAttentionScoreGrad" : "FlashAttentionScore");
    EXPECT_EQ(candidate["totalCostTime"], candidate["operators"][0]["costTime"]);
  }
}

TEST_F(DriverOp, AWrongRequestIsRefusedWithItsPlace) {
  const std::tuple<const char*, json, const char*> table[] = {
      {"/typ", "x", "the request: expected no key but \"attrs\", \"inputs\", \"op_type\", "},
      {"/inputs/3", {{"dtype", "float"}}, "inputs[3]: expected the key \"origin_shape\""},
      {"/inputs/2/dtype", "float17", "inputs[2].dtype: expected the name of a data type"},
      {"/outputs/0/origin_format", "XY", "outputs[0].origin_format: expected the name of a format"},
      {"/inputs/0/origin_shape/1", -1, "inputs[0].origin_shape[1]: expected an integer above 0"},
      {"/inputs/0/shape/2", 1ULL << 60, "inputs[0].shape: expected a product that 64 bits can"},
      {"/attrs/4/value", 1.5, "attrs[4].value: expected an integer of 64 bits"},
      {"/attrs/0/value/0", 1e3, "attrs[0].value[0]: expected an integer of 64 bits"},
      // What the library refuses has its reason.
      {"/op_type", 1, "Can not find op_type in json"},
      {"/inputs", {{"a", 1}}, "Can not find inputs in json or inputs is not array!"},
      {"/attrs", 1, "The operator's request has no array \"attrs\""},
      {"/attrs/4/dtype", "double", "Can not find support type[double] to attr!"},
      {"/attrs/6", {{"dtype", "int"}, {"name", "n"}}, "Can not find value in attr[6]!"},
      {"/op_type", "Unheard", "There is no operator \"Unheard\""},
  };
  for (const auto& [place, value, reason] : table) {
    EXPECT_THAT(ReasonFor(Request(place, value)), StartsWith(reason));
  }
  EXPECT_THAT(ReasonFor(File("no.json", "{} x")), HasSubstr("this is no JSON text: "));
  EXPECT_EQ(ReasonFor(File("deep.json", std::string(33, '['))),
            "the request: expected at most 32 levels of arrays and objects");
  // What the operator refuses has the platform's reason.
  EXPECT_THAT(ReasonFor(Request("/attrs/6/value", "SBH")), HasSubstr("\"BSH\" or \"BNSD\""));
}

}  // namespace
}  // namespace Ormo::Testing
