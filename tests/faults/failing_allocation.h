/// \file
/// Makes allocations of the program fail.
#ifndef ORMO_TESTS_FAULTS_FAILING_ALLOCATION_H
#define ORMO_TESTS_FAULTS_FAILING_ALLOCATION_H

#include <cstdint>

namespace Ormo::Testing {

/// While it lives, the `nth` allocation from now on, of whichever thread, fails, and with it
/// `count` in a row. Those that the platform makes within its functions do not count, or they alone
/// do. One at a time.
class FailingAllocation {
 public:
  explicit FailingAllocation(int64_t nth, int64_t count = 1, bool isPlatforms = false);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// Whether there were as many.
  bool HasFailed() const;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_FAULTS_FAILING_ALLOCATION_H
