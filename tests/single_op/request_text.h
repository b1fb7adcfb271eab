/// \file
/// Texts of requests.
#ifndef ORMO_TESTS_SINGLE_OP_REQUEST_TEXT_H
#define ORMO_TESTS_SINGLE_OP_REQUEST_TEXT_H

#include <cstddef>
#include <string>

namespace Ormo::Testing {

/// A tensor of one float32 element.
constexpr char ONE_FLOAT[] = R"({"dtype":"float","origin_shape":[1]})";

inline std::string Request(const std::string& inputs, const std::string& outputs,
                           const std::string& attrs, const std::string& opType = "Any") {
  return R"({"op_type":")" + opType + R"(","inputs":[)" + inputs + R"(],"outputs":[)" + outputs +
         R"(],"attrs":[)" + attrs + "]}";
}

inline std::string Attr(const std::string& type, const std::string& value) {
  return R"({"name":"a","dtype":")" + type + R"(","value":)" + value + "}";
}

/// `text` `count` times.
inline std::string Repeat(const std::string& text, size_t count) {
  std::string result;
  for (size_t i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

/// One attention call of a query, a key and a value of one element each, nothing optional.
inline std::string AttentionRequest() {
  const std::string element = R"({"dtype":"float","origin_shape":[1,1,1]})";
  const std::string inputs = element + "," + element + "," + element + ",null,null,null,null";
  const std::string attrs = Attr("list_int", "[]") + "," + Attr("float", "1") + "," +
                            Attr("float", "1") + "," + Attr("int", "1") + "," + Attr("int", "1") +
                            "," + Attr("int", "1") + "," + Attr("string", R"("BSH")") + "," +
                            Attr("int", "0") + "," + Attr("int", "0");
  const std::string outputs = element + "," + element + ",null," + element;
  return Request(inputs, outputs, attrs, "FlashAttentionScore");
}

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SINGLE_OP_REQUEST_TEXT_H
