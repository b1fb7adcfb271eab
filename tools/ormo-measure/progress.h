/// \file
/// How far the measuring has come.
#ifndef ORMO_MEASURE_PROGRESS_H
#define ORMO_MEASURE_PROGRESS_H

#include <cstddef>
#include <mutex>
#include <string>

namespace OrmoMeasure {

/// One line on standard error that is written over and over, and removed at the end. Silent when
/// standard error is not a terminal. Any thread.
class Progress {
 public:
  explicit Progress(size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// One more candidate is done.
  void Advance(const std::string& model);

 private:
  const bool visible_;
  const size_t total_;
  std::mutex mutex_;
  size_t done_ = 0;
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_PROGRESS_H
