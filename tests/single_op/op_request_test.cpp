#include "single_op/op_request.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ormo/status.h"
#include "single_op/platform_context.h"
#include "single_op/request_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

constexpr char BAD_TEXT[] = "ZelnnParamter construct failed, json str: ";
constexpr char BAD_TYPE[] = "ZelnnParamter construct failed, errMsg: [json.exception.type_error.";
constexpr char NO_OP_TYPE[] = "Can not find op_type in json or op_type is not str!";
constexpr char REFUSED[] = "ZelnnParamter construct failed!";

// A text and the line of its refusal.
using Refusal = std::pair<std::string, std::string>;

class OpRequest : public PlatformContext {
 protected:
  // Refused with -1 and that error line, and nothing to release.
  void ExpectRefusal(const std::string& text, const std::string& line) {
    SCOPED_TRACE(text.substr(0, 200));
    const LogCapture log(DLOG_ERROR);
    ZelnnParamterInner inner;
    EXPECT_EQ(ZelnnParamterConstructor(text, inner), STATUS_FAILED);
    EXPECT_TRUE(log.Contains(DLOG_ERROR, line)) << PrintToString(log.Messages());
    EXPECT_THAT(inner.inputs, IsEmpty());
    EXPECT_THAT(inner.attrs, IsEmpty());
    EXPECT_EQ(Left(), "");
  }
};

TEST_F(OpRequest, TextThatIsNoJsonIsRefused) {
  const std::string texts[] = {
      "",
      "{} x",
      "{\"op_type\":\"a\",}",
      "{} // a comment",
      "[1e999]",
      "nul",
      "\"\\ud800\"",
      "\"\xff\"",
      Repeat("[", 10000),
      Repeat("{\"a\":", 10000),
  };
  for (const std::string& text : texts) {
    ExpectRefusal(text, BAD_TEXT + text);
  }
  const std::string request = Request(ONE_FLOAT, "{}", Attr("list_int", "[1, -2]"));
  for (size_t length = 0; length < request.size(); ++length) {
    ExpectRefusal(request.substr(0, length), BAD_TEXT);
  }
}

TEST_F(OpRequest, MissingAndWrongKeysAndShapesAreRefused) {
  const std::string noInputs = "Can not find inputs in json or inputs is not array!";
  const std::string noOutputs = "Can not find outputs in json or inputs is not array!";
  const std::string manyOnes = "[1" + Repeat(",1", 25) + "]}";
  const Refusal refusals[] = {
      {Request(ONE_FLOAT, R"({"dtype":"float","origin_shape":)" + manyOnes, ""),
       "origin_shape has 26 dimensions, more than 25!"},
      {Request(ONE_FLOAT, R"({"dtype":"float","shape":)" + manyOnes, ""),
       "shape has 26 dimensions, more than 25!"},
      {Request(ONE_FLOAT, R"({"dtype":"float","origin_shape":["1"]})", ""), BAD_TYPE},
      {"null", NO_OP_TYPE},
      {"{}", NO_OP_TYPE},
      {"\xef\xbb\xbf{}", NO_OP_TYPE},
      {Repeat("[", 10000) + Repeat("]", 10000), NO_OP_TYPE},
      {Repeat("{\"a\":", 10000) + "0" + Repeat("}", 10000), NO_OP_TYPE},
      {R"({"op_type":"a"})", noInputs},
      {R"({"op_type":"a","inputs":{}})", noInputs},
      {R"({"op_type":"a","inputs":[null]})", noOutputs},
      {R"({"op_type":"a","inputs":[],"outputs":7})", noOutputs},
      {R"({"op_type":"a","inputs":[],"outputs":[],"attrs":{}})", REFUSED},
      {R"({"op_type":"a","op_type":[[1],{"b":[2]}],"inputs":[]})", NO_OP_TYPE},
      // What was built of the inputs is released again.
      {std::string(R"({"op_type":"a","inputs":[)") + ONE_FLOAT + "]}", noOutputs},
      {std::string(R"({"op_type":"a","outputs":[)") + ONE_FLOAT + R"(],"inputs":[)" + ONE_FLOAT +
           "]}",
       REFUSED},
  };
  for (const auto& [text, line] : refusals) {
    ExpectRefusal(text, line);
  }
}

TEST_F(OpRequest, WrongAttributesAreRefused) {
  const std::string failed = "Parse attr[a]";
  const std::string deepArray = Repeat("[", 100000) + Repeat("]", 100000);
  const std::string deepObject = Repeat("{\"\\u0001k\":[0,", 50000) + "1.50" + Repeat("]}", 50000);
  const Refusal refusals[] = {
      {"null", BAD_TYPE},
      {"{}", "Can not find name in attr[3]!"},
      {R"({"name":"a","value":1})", "Can not find dtype in attr[3]!"},
      {R"({"name":"a","dtype":"int"})", "Can not find value in attr[3]!"},
      {R"({"name":"a","dtype":5,"value":1})", BAD_TYPE},
      {R"({"name":5,"dtype":"list_int","value":1})", BAD_TYPE},
      {Attr("double", "1"), "Can not find support type[double] to attr!"},
      {Attr("bool", "1"), BAD_TYPE},
      {Attr("int", "\"1\""), BAD_TYPE},
      {Attr("int", deepArray), BAD_TYPE},
      {Attr("float", "\"1\""), BAD_TYPE},
      {Attr("string", "1"), BAD_TYPE},
      {Attr("list_int", "5"), "attrValue[5] is not int array!"},
      {Attr("list_int", R"({"b": [1, 2.0], "a" : {"c": null}})"),
       R"(attrValue[{"a":{"c":null},"b":[1,2.0]}] is not int array!)"},
      {Attr("list_int", "\"\u00fc\\n\""), "attrValue[\"\u00fc\\n\"] is not int array!"},
      {Attr("list_int", "null"), failed + "[list_int] failed!"},
      {Attr("list_float", "\"1\""), "attrValue[\"1\"] is not float array!"},
      {Attr("list_bool", deepObject),
       "attrValue[" + Repeat("{\"\\u0001k\":[0,", 50000) + "1.5" + Repeat("]}", 50000) + "]"},
      {Attr("list_int", "[1,\"2\"]"), BAD_TYPE},
      {Attr("list_float", "[1,null]"), BAD_TYPE},
      {Attr("list_bool", "[true,1]"), BAD_TYPE},
  };
  // Something of every kind stands before it, and is released.
  const std::string before = Attr("list_bool", "[true]") + "," + Attr("list_float", "[1]") + "," +
                             Attr("string", "\"\"") + ",";
  for (const auto& [attr, line] : refusals) {
    ExpectRefusal(Request(ONE_FLOAT, ONE_FLOAT, before + attr), line);
  }
}

TEST_F(OpRequest, TensorsTakeDefaultsForWhatIsMissingOrWrong) {
  const std::string large = "9223372036854775807";
  const std::string noType = "TensorSize[1]GetSizeInBytes[28] failed!";
  // The element, what the platform makes a tensor of or none for a null slot, the bytes that are
  // accounted on the device, and the only error line or none.
  const std::tuple<std::string, std::string, uint64_t, std::string> cases[] = {
      {"null", "", 0, ""},
      {"{}", "", 0, ""},
      {"5", "", 0, noType},
      {R"({"dtype":"floaty"})", "", 0, noType},
      {R"({"origin_shape":[2,3]})", "", 0, "TensorSize[6]GetSizeInBytes[28] failed!"},
      {R"({"dtype":"float16"})", "1 48 none none", 512, ""},
      {R"({"dtype":"fLoat16","origin_shape":[]})", "1 48 [] none", 512, ""},
      {R"({"dtype":"float","origin_shape":{}})", "0 48 none none", 512, ""},
      {R"({"dtype":"float","origin_shape":[2,3],"shape":[6,1],"origin_format":"ND"})",
       "0 2 [2, 3] [6, 1]", 512, ""},
      {R"({"dtype":"float","origin_format":"nd","shape":"6"})", "0 48 none none", 512, ""},
      {R"({"dtype":"float","origin_shape":[128],"dtype":"double","origin_format":2})",
       "11 48 [128] none", 1024, ""},
      {R"({"dtype":"float","origin_shape":[4611686018427387904,0,4]})",
       "0 48 [4611686018427387904, 0, 4] none", 0, ""},
      {R"({"dtype":"int8","origin_shape":[2.9,3e0,-1e-3]})", "2 48 [2, 3, 0] none", 0, ""},
      {R"({"dtype":"int8","origin_shape":[2],"shape":[1e300,-1e300,18446744073709551615]})",
       "2 48 [2] [" + large + ", -9223372036854775808, " + large + "]", 512, ""},
      {R"({"dtype":"int8","origin_shape":[1)" + Repeat(",1", 24) + "]}",
       "2 48 [1" + Repeat(", 1", 24) + "] none", 512, ""},
      {R"({"dtype":"float","origin_shape":[-2]})", "", 0,
       "TensorSize[18446744073709551614]GetSizeInBytes[0] failed!"},
      {R"({"dtype":"int8","origin_shape":[4294967296,4294967296]})", "", 0,
       "TensorSize[18446744073709551615]GetSizeInBytes[2] failed!"},
      {R"({"dtype":"float","origin_shape":[)" + large + "]}", "", 0,
       "TensorSize[" + large + "]GetSizeInBytes[0] failed!"},
      {R"({"dtype":"float","origin_shape":[1099511627776]})", "", 0,
       "zelrtMalloc[1099511627776] failed!"},
  };
  for (const auto& [element, created, bytes, line] : cases) {
    SCOPED_TRACE(element);
    const LogCapture log(DLOG_ERROR);
    const uint64_t before = OrmoHost::Alive().deviceBytes;
    ZelnnParamterInner inner;
    OrmoHost::RecordCalls();
    ASSERT_EQ(ZelnnParamterConstructor(Request(element, "", ""), inner), STATUS_SUCCESS);
    EXPECT_EQ(CallsTo("zelCreateTensor"),
              std::vector<std::string>(created.empty() ? 0 : 1, "zelCreateTensor " + created));
    ASSERT_EQ(inner.inputs.size(), 1U);
    EXPECT_EQ(inner.deviceBuffers.size(), created.empty() ? 0U : 1U);
    EXPECT_EQ(OrmoHost::Alive().deviceBytes - before, bytes);
    EXPECT_EQ(log.Messages(), std::vector<std::string>(line.empty() ? 0 : 1, line));
    EXPECT_EQ(ZelnnParamterDestructor(inner), STATUS_SUCCESS);
    EXPECT_EQ(Left(), "");
  }
}

TEST_F(OpRequest, ARequestBecomesThePlatformsObjectsAndEndsWithThem) {
  const std::string request =
      Request(R"({},{"dtype":"float16","origin_shape":[2,3],"shape":[2,3],"origin_format":"ND"},)"
              R"([],{"dtype":"int8","origin_shape":[5,0]},{"dtype":"int64","origin_shape":[4]})",
              std::string("null,") + ONE_FLOAT,
              Attr("list_int",
                   "[9223372036854775807,-9223372036854775808,-7.9,18446744073709551615,-1e30,"
                   "9223372036854775808.0]") +
                  "," + Attr("list_bool", "[true,false,true]") + "," + Attr("list_int", "[]") +
                  "," + Attr("bool", "true") + "," + Attr("int", "-9223372036854775808") + "," +
                  Attr("float", "-0.5") + "," + Attr("string", "\"text\"") + "," +
                  Attr("list_float", "[0.1,-3,1e300,16777217]") + "," + Attr("list_float", "[]") +
                  "," + Attr("list_bool", "[]"));
  const LogCapture log;
  OrmoHost::RecordCalls();
  ZelnnParamterInner inner;
  ASSERT_EQ(ZelnnParamterConstructor(request, inner), STATUS_SUCCESS);
  EXPECT_THAT(inner.inputs, ElementsAre(IsNull(), NotNull(), IsNull(), NotNull(), NotNull()));
  EXPECT_THAT(inner.outputs, ElementsAre(IsNull(), NotNull()));
  EXPECT_THAT(inner.attrTypes, ElementsAre(1, 2, 1, 0, 0, 0, 0, 3, 3, 2));
  EXPECT_THAT(
      CallsTo("zel"),
      ElementsAre("zelrtMalloc 12 2", "zelrtMemset 12 0 12", "zelCreateTensor 1 2 [2, 3] [2, 3]",
                  "zelCreateTensor 2 48 [5, 0] none", "zelrtMalloc 32 2", "zelrtMemset 32 0 32",
                  "zelCreateTensor 9 48 [4] none", "zelrtMalloc 4 2", "zelrtMemset 4 0 4",
                  "zelCreateTensor 0 48 [1] none",
                  "zelCreateIntArray 9223372036854775807 -9223372036854775808 -7 "
                  "9223372036854775807 -9223372036854775808 9223372036854775807",
                  "zelCreateBoolArray 1 0 1", "zelCreateIntArray",
                  "zelCreateFloatArray 0.1 -3 inf 1.67772e+07", "zelCreateFloatArray",
                  "zelCreateBoolArray"));
  EXPECT_THAT(log.Messages(),
              ElementsAre("GetListIntAttr : [9223372036854775807,-9223372036854775808,-7.9,"
                          "18446744073709551615,-1e+30,9.223372036854776e+18].",
                          "GetListBoolAttr[3] : [true,false,true].", "GetListIntAttr : [].",
                          MatchesRegex(R"(GetBoolAttr\[1\]\[0x[0-9a-f]+\] : 1\.)"),
                          "GetIntAttr : -9223372036854775808.",
                          MatchesRegex(R"(GetFloatAttr\[4\]\[0x[0-9a-f]+\] : -0\.500000\.)"),
                          "GetStrAttr : text.", "GetListFloatAttr : [0.1,-3,1e+300,16777217]!",
                          "GetListFloatAttr : []!", "GetListBoolAttr[0] : [].",
                          "ZelnnParamter construct success."));
  OrmoHost::RecordCalls();
  inner.stream = &inner;
  EXPECT_EQ(ZelnnParamterDestructor(inner), STATUS_SUCCESS);
  EXPECT_THAT(CallsTo("zel"),
              ElementsAre("zelDestroyTensor", "zelDestroyTensor", "zelDestroyTensor",
                          "zelDestroyTensor", "zelrtFree", "zelrtFree", "zelrtFree",
                          "zelDestroyIntArray", "zelDestroyBoolArray", "zelDestroyIntArray",
                          "zelDestroyFloatArray", "zelDestroyFloatArray", "zelDestroyBoolArray"));
  EXPECT_EQ(inner.opType, "Any");
  EXPECT_EQ(inner.stream, nullptr);
}

}  // namespace
}  // namespace Ormo::Testing

// As in a locale where the upper case of "i" is no "I".
extern "C" int toupper(int c) {
  return c >= 'a' && c <= 'z' && c != 'i' ? c - 'a' + 'A' : c;
}
