// Initialisation, devices, contexts and memory.
#include <cstring>
#include <thread>
#include <utility>

#include "platform/platform_test.h"

namespace Ormo::Testing {
namespace {

using RuntimeTest = PlatformTest;

constexpr auto FIRST = ZEL_MEM_MALLOC_HUGE_FIRST;
constexpr auto ONLY = ZEL_MEM_MALLOC_HUGE_ONLY;
constexpr auto NO_ROOM = ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION;

TEST_F(RuntimeTest, EveryByteIsAccountedUntilThereIsNoMoreRoom) {
  OrmoHost::SetMemorySize(4096);
  void* memory[4] = {};
  const size_t sizes[] = {0, 1, 512 + 1, 2048};
  for (size_t i = 0; i < 4; ++i) {
    ASSERT_EQ(zelrtMalloc(&memory[i], sizes[i], FIRST), 0);
  }
  EXPECT_NE(memory[0], memory[1]);
  EXPECT_EQ(FreeMemory(), 0U);
  for (const size_t size : {size_t{1}, SIZE_MAX}) {
    EXPECT_EQ(zelrtMalloc(&memory[3], size, FIRST), NO_ROOM);
  }
  std::thread([] {
    EXPECT_EQ(zelrtSetDevice(1), 0);
    EXPECT_EQ(FreeMemory(), 4096U);
    EXPECT_EQ(zelrtResetDevice(1), 0);
  }).join();
  OrmoHost::SetMemorySize(4095);
  EXPECT_EQ(FreeMemory(), 0U);
  OrmoHost::SetMemorySize(4096);
  for (void* address : memory) {
    EXPECT_EQ(zelrtFree(address), 0);
    EXPECT_EQ(zelrtFree(address), 400007);
  }
  EXPECT_EQ(FreeMemory(), 4096U);
}

TEST_F(RuntimeTest, HugePagesCanRunOutBeforeTheMemoryDoes) {
  OrmoHost::SetHugePageSize(8192);
  void* memory[3] = {};
  EXPECT_EQ(zelrtMalloc(&memory[0], 8192, ZEL_MEM_MALLOC_POLICY_2), 0);
  EXPECT_EQ(zelrtMalloc(&memory[1], 4096, ONLY), 0);
  EXPECT_EQ(zelrtMalloc(&memory[2], 8192, ONLY), NO_ROOM);
  EXPECT_EQ(zelrtMalloc(&memory[2], 8192, FIRST), 0);
  EXPECT_EQ(zelrtFree(memory[1]), 0);
  EXPECT_EQ(zelrtMalloc(&memory[1], 8192, ONLY), 0);
  for (void* address : memory) {
    EXPECT_EQ(zelrtFree(address), 0);
  }
}

TEST_F(RuntimeTest, BytesAreSetAndCopiedWhereTheyShouldBe) {
  char host[] = "0123456789abcdef";
  void* memory = nullptr;
  ASSERT_EQ(zelrtMalloc(&memory, 16, ZEL_MEM_MALLOC_HUGE_FIRST), 0);
  char* device = static_cast<char*>(memory);
  EXPECT_EQ(zelrtMemcpy(device, 16, host, 16, ZEL_MEMCPY_HOST_TO_DEVICE), 0);
  EXPECT_EQ(zelrtMemset(device + 12, 4, 'x', 3), 0);
  EXPECT_EQ(zelrtMemcpy(host, 8, device + 8, 8, ZEL_MEMCPY_DEVICE_TO_HOST), 0);
  EXPECT_EQ(std::string(host), "89abxxxf89abcdef");
  EXPECT_EQ(zelrtFree(memory), 0);
}

TEST_F(RuntimeTest, AChipHasOneKindOfMemory) {
  size_t free = 0;
  size_t total = 0;
  for (const auto& [chip, kind] : {std::pair("TarnRiver2", ZEL_HBM_MEM),
                                   {"TarnPond1", ZEL_DDR_MEM},
                                   {"TarnPo", ZEL_HBM_MEM}}) {
    OrmoHost::SetSocName(chip);
    EXPECT_EQ(zelrtGetMemInfo(kind, &free, &total), 0) << chip;
    const zelrtMemAttr lacking = kind == ZEL_HBM_MEM ? ZEL_DDR_MEM : ZEL_HBM_MEM;
    EXPECT_NE(zelrtGetMemInfo(lacking, &free, &total), 0) << chip;
  }
}

}  // namespace
}  // namespace Ormo::Testing
