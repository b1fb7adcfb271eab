/// \file
/// The graph engine's text.
#ifndef OX_TARN_STRING_H
#define OX_TARN_STRING_H

#include <string>

namespace ox {

/// A value, ordered by its characters; without zero bytes.
class TarnString {
 public:
  TarnString() = default;

  /// Up to the first zero byte; null makes an empty text.
  // NOLINTNEXTLINE(google-explicit-constructor): keys are written as they stand
  TarnString(const char* text) : text_(text == nullptr ? "" : text) {}

  /// Valid while the object lives unchanged.
  const char* GetString() const { return text_.c_str(); }

  bool operator<(const TarnString& other) const { return text_ < other.text_; }

 private:
  std::string text_;
};

}  // namespace ox

#endif  // OX_TARN_STRING_H
