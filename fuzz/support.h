/// \file
/// What the fuzz targets share. With it, every log line is made.
#ifndef ORMO_FUZZ_SUPPORT_H
#define ORMO_FUZZ_SUPPORT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Ormo::Fuzz {

/// Ends the process with `what` when the condition does not hold.
void Require(bool condition, const char* what);

/// Makes device 0 current, with so little memory that nothing has much to do, and has every log
/// line made. What is alive then.
std::string PreparePlatform(size_t deviceMemory);

/// Forgets what one input left in the log and with the error manager, and holds that it left
/// nothing else.
void CleanPlatform(const std::string& atRest);

/// A file in memory whose content is replaced for each input.
class MemoryFile {
 public:
  MemoryFile();

  void Write(std::string_view text) const;

  const std::string& Path() const { return path_; }

 private:
  int fd_;  // for as long as the process lives
  std::string path_;
};

}  // namespace Ormo::Fuzz

#endif  // ORMO_FUZZ_SUPPORT_H
