/// \file
/// A device to test on, and graphs to run on it.
#ifndef ORMO_TESTS_PLATFORM_PLATFORM_TEST_H
#define ORMO_TESTS_PLATFORM_PLATFORM_TEST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ormo_host/control.h"
#include "ox/graph.h"
#include "support/graph_text.h"
#include "zel/zel.h"
#include "zel/zel_mdl.h"

namespace Ormo::Testing {

/// A graph file's content for a session.
ox::Graph LoadGraph(const std::string& text);

std::vector<uint8_t> ToBytes(const std::vector<float>& values);

/// Buffers of float32 in device memory, released with this object.
class FloatDataset {
 public:
  explicit FloatDataset(const std::vector<std::vector<float>>& buffers);
  ~FloatDataset();
  FloatDataset(const FloatDataset&) = delete;
  FloatDataset& operator=(const FloatDataset&) = delete;

  zelmdlDataset* Get() const { return dataset_; }

  std::vector<float> Read(size_t index) const;

 private:
  zelmdlDataset* dataset_;
};

/// Device 0 with a context current on the test's thread; nothing may be left on it.
class PlatformTest : public ::testing::Test {
 public:
  PlatformTest(const PlatformTest&) = delete;
  PlatformTest& operator=(const PlatformTest&) = delete;

 protected:
  PlatformTest() { Start(); }

  ~PlatformTest() override;

  /// Again, after a reset.
  void Start();

  /// Loads a graph and counts on it; 0 when it was refused.
  uint32_t Load(const std::string& graph);
  /// Does `work` with a context of another device, and comes back.
  void OnDevice1(const std::function<void()>& work) const;
  /// Bytes free on the device.
  static size_t FreeMemory();
  /// The messages of the error manager.
  static std::string Reason();

  zelrtContext context_ = nullptr;
  std::vector<uint32_t> models_;  ///< unloaded at the end
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_PLATFORM_PLATFORM_TEST_H
