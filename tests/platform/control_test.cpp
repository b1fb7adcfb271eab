// Scripted faults do what a sweep over all calls relies on.
#include <stdexcept>

#include "mm/mm.h"
#include "platform/platform_test.h"

namespace Ormo {
namespace {

using Test::PlatformTest;

constexpr int32_t CODE = 4711;

class ControlTest : public PlatformTest {
 protected:
  static int32_t Malloc(void** memory) { return zelrtMalloc(memory, 1, ZEL_MEM_MALLOC_HUGE_FIRST); }
};

TEST_F(ControlTest, WhatAcquiresAndFailsDoesNothingElse) {
  void* memory = nullptr;
  OrmoHost::Fail("zelrtMalloc", 2, CODE);
  ASSERT_EQ(Malloc(&memory), 0);
  EXPECT_EQ(zelrtFree(memory), 0);
  memory = nullptr;
  EXPECT_EQ(Malloc(&memory), CODE);
  EXPECT_EQ(memory, nullptr);
  EXPECT_EQ(OrmoHost::FailedCall(), "zelrtMalloc");
  EXPECT_EQ(OrmoHost::PendingFaults(), 0U);
  EXPECT_EQ(Malloc(&memory), 0);
  EXPECT_EQ(zelrtFree(memory), 0);
}

TEST_F(ControlTest, WhatReleasesAndFailsHasReleased) {
  void* memory = nullptr;
  ASSERT_EQ(Malloc(&memory), 0);
  OrmoHost::Fail("zelrtFree", 1, CODE);
  EXPECT_EQ(zelrtFree(memory), CODE);
  EXPECT_EQ(OrmoHost::Alive().deviceBlocks, 0U);
  zelmdlDataset* dataset = zelmdlCreateDataset();
  OrmoHost::Throw("zelmdlDestroyDataset", 1);
  EXPECT_THROW(zelmdlDestroyDataset(dataset), std::runtime_error);
  EXPECT_EQ(OrmoHost::Alive().datasets, 0U);
  EXPECT_FALSE(OrmoHost::IsInsideHost());
  int descriptor = mmOpen2("/dev/null", 0, 0);
  OrmoHost::Fail("mmClose", 1, -2);
  EXPECT_EQ(mmClose(descriptor), -2);
  EXPECT_EQ(mmClose(descriptor), -1);
}

TEST_F(ControlTest, FunctionsFailInTheWayOfTheirResult) {
  OrmoHost::Fail("zelmdlCreateDesc", OrmoHost::EVERY_CALL, CODE);
  OrmoHost::Fail("zelrtGetSocName", 1, CODE);
  OrmoHost::Fail("mmOpen2", 1, CODE);
  OrmoHost::Fail("mmGetTickCount", 1, CODE);
  EXPECT_EQ(zelmdlCreateDesc(), nullptr);
  EXPECT_EQ(zelmdlCreateDesc(), nullptr);
  EXPECT_EQ(zelrtGetSocName(), nullptr);
  EXPECT_EQ(mmOpen2("/dev/null", 0, 0), -1);
  EXPECT_EQ(mmGetErrorCode(), EIO);
  EXPECT_LT(mmGetTickCount().tv_sec, 0);
}

TEST_F(ControlTest, ASweepCountsOnlyCallsThatCanFail) {
  auto work = [&] {
    mmGetTid();
    mmGetTickCount();
    void* memory = nullptr;
    int32_t code = Malloc(&memory);
    return code != 0 ? code : zelrtFree(memory);
  };
  OrmoHost::RecordCalls();
  ASSERT_EQ(work(), 0);
  std::vector<OrmoHost::Call> calls = OrmoHost::Calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].thread, mmGetTid());
  for (size_t k = 0; k < calls.size(); ++k) {
    OrmoHost::FailCall(k + 1, CODE);
    EXPECT_EQ(work(), CODE);
    EXPECT_EQ(OrmoHost::FailedCall(), calls[k].function);
  }
  OrmoHost::FailCall(3, CODE);
  EXPECT_EQ(work(), 0);
  EXPECT_EQ(OrmoHost::PendingFaults(), 1U);
  EXPECT_EQ(work(), CODE);
  EXPECT_EQ(OrmoHost::CallCount("mmGetTickCount"), 5U);
}

TEST_F(ControlTest, AnActionRunsInsideTheCall) {
  bool wasInside = false;
  OrmoHost::OnCall("zelrtGetDeviceCount", 1, [&] { wasInside = OrmoHost::IsInsideHost(); });
  uint32_t count = 0;
  EXPECT_EQ(zelrtGetDeviceCount(&count), 0);
  EXPECT_EQ(count, 2U);
  EXPECT_TRUE(wasInside);
}

}  // namespace
}  // namespace Ormo
