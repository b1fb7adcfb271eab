/// \file
/// JSON text that may be anything: hostile, damaged, or nested without end.
#ifndef ORMO_SINGLE_OP_REQUEST_JSON_H
#define ORMO_SINGLE_OP_REQUEST_JSON_H

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Ormo {

/// A parsed text. Neither its making nor its end recurses, and its end allocates nothing: the JSON
/// library's own does, and where that fails it can only end the process.
class RequestJson {
 public:
  /// Parses strictly: the whole text, nothing behind the value. A text that is not valid is only
  /// looked at: a value takes many times its text's memory. Throws only std::bad_alloc.
  explicit RequestJson(const std::string& text);
  ~RequestJson();
  RequestJson(const RequestJson&) = delete;
  RequestJson& operator=(const RequestJson&) = delete;

  /// Whether the text is JSON.
  bool IsValid() const;

  /// The value; null when the text is not valid.
  const nlohmann::json& Root() const;

 private:
  class Tree;
  std::unique_ptr<Tree> tree_;
  bool isValid_ = false;
};

/// As the JSON library prints it without blanks, whatever the depth.
std::string CompactText(const nlohmann::json& value);

/// A number without its fraction; the nearest 64-bit one when it lies outside. Throws the JSON
/// library's type error for everything else.
int64_t ToInt64(const nlohmann::json& value);

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_REQUEST_JSON_H
