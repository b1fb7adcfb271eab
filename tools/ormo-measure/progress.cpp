#include "progress.h"

#include <unistd.h>

#include <iostream>

namespace OrmoMeasure {
namespace {

constexpr char CLEAR_LINE[] = "\r\x1b[K";

}  // namespace

Progress::Progress(size_t total) : visible_(isatty(STDERR_FILENO) == 1), total_(total) {
  if (visible_) {
    std::cerr << "0 of " << total_ << " done" << std::flush;
  }
}

Progress::~Progress() {
  if (visible_) {
    std::cerr << CLEAR_LINE << std::flush;
  }
}

void Progress::Advance(const std::string& model) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++done_;
  if (visible_) {
    std::cerr << CLEAR_LINE << done_ << " of " << total_ << " done, last " << model << std::flush;
  }
}

}  // namespace OrmoMeasure
