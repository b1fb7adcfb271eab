// The host platform's cycle simulator, through its own functions.
#include <dlfcn.h>

#include <limits>
#include <optional>

#include "error_manager/error_manager.h"
#include "pelt/pelt.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

constexpr uint64_t MAX = std::numeric_limits<uint64_t>::max();
constexpr size_t MAX_FILE_SIZE = 1048576;

class Simulator : public testing::Test {
 protected:
  Simulator() {
    Find("PeltInit", init_);
    Find("CreatePeltCore", create_);
    Find("GetTotalTick", ticks_);
    Find("DestroyPeltCore", destroy_);
    init_("python3");
  }

  void TearDown() override { EXPECT_EQ(dlclose(handle_), 0); }

  // Without a value when there is no core.
  std::optional<uint64_t> Simulate(const std::string& file, const std::string& function = "k",
                                   const std::string& core = "tarn_lake_core") const {
    void* simulated = create_(file, function, std::vector<uint64_t>(21), core, {});
    if (simulated == nullptr) {
      return std::nullopt;
    }
    const uint64_t ticks = ticks_(simulated);
    destroy_(simulated);
    return ticks;
  }

  std::optional<uint64_t> SimulateText(const std::string& text) const {
    WriteFile(file_, text);
    return Simulate(file_);
  }

  static std::string TakeReason() { return ErrorManager::GetInstance().GetErrorMessage(); }

  TempDirectory directory_;
  std::string file_ = directory_ / "kernel.dux";

 private:
  template <typename Function>
  void Find(const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(handle_, name));
  }

  void* handle_ = dlopen(PELT_API, RTLD_NOW);
  PeltInitFunc init_ = nullptr;
  CreatePeltCoreFunc create_ = nullptr;
  GetTotalTickFunc ticks_ = nullptr;
  DestroyPeltCoreFunc destroy_ = nullptr;
};

// Loops inside each other.
std::string Loops(size_t depth, const std::string& count) {
  std::string text;
  for (size_t i = 0; i < depth; ++i) {
    text.insert(0, "loop " + count + "\n").append("end\n");
  }
  return text;
}

TEST_F(Simulator, TicksAreTheSumOfDocumentedCosts) {
  const std::pair<std::string, uint64_t> table[] = {
      {"", 100},
      {"scalar 5", 105},
      {"vector 5", 109},
      {"store 5", 135},
      {"load 1\nload 1 # again\n\n  # alone\n\tstore\t2\r\n", 100 + 41 + 41 + 32},
      {"loop 3\nscalar 4\nloop 5\ncube 1\nend\nend\nscalar 1",
       100 + 3 * (2 + 4 + 5 * (2 + 18)) + 1},
      // Up to the maximum, and not beyond.
      {"scalar 18446744073709551514", MAX - 1},
      {"scalar 18446744073709551515\nload 7", MAX},
      {"cube 9223372036854775808", MAX},
      {Loops(64, "18446744073709551615"), MAX},
      {"loop 1000000000000\nloop 1000000\nscalar 1\nend\nend", 100 + 1000000000000 * (2 + 3000000)},
  };
  for (const auto& [body, ticks] : table) {
    EXPECT_EQ(SimulateText("dux 1\nkernel k\n" + body + "\nend"), ticks) << body;
  }
}

TEST_F(Simulator, AFileHoldsSeveralKernels) {
  WriteFile(file_, "# two\n\ndux 1\nkernel k\nend\nkernel other\nscalar 7\nend\n");
  EXPECT_EQ(Simulate(file_), 100U);
  EXPECT_EQ(Simulate(file_, "other"), 107U);
  EXPECT_EQ(Simulate(file_, "third"), std::nullopt);
  EXPECT_EQ(TakeReason(), "EH0010: " + file_ + ": expected a kernel of the name third");
  EXPECT_EQ(Simulate(file_, "k", "other_core"), std::nullopt);
  EXPECT_THAT(TakeReason(), EndsWith(": expected the core tarn_lake_core"));
}

TEST_F(Simulator, ADamagedKernelGivesNoCoreAndTheLineAtFault) {
  const std::string count = "expected one count from 1 to 18446744073709551615";
  const std::string head = "dux 1\nkernel k\n";
  const std::pair<std::string, std::string> table[] = {
      {"", "line 1: expected \"dux 1\""},
      {"dux 1\nscalar 1", "line 2: expected \"kernel\" and a name"},
      {"dux 1\nkernel a b", "line 2: expected \"kernel\" and a name"},
      {head + "end\nkernel k\nend", "line 4: expected a name that no other kernel has"},
      {head + "loop 2\nend", "line 4: expected \"end\" for each loop and kernel"},
      {head + "end 1", "line 3: expected nothing behind \"end\""},
      {head + "sleep 1\nend",
       "line 3: expected one of loop, end, scalar, vector, cube, load, store"},
      {head + "load 1 2\nend", "line 3: " + count},
      {head + "load 0\nend", "line 3: " + count},
      {head + "loop 18446744073709551616\nend\nend", "line 3: " + count},
      {head + Loops(65, "1") + "end", "line 67: expected at most 64 loops inside each other"},
  };
  for (const auto& [text, reason] : table) {
    SCOPED_TRACE(text);
    EXPECT_EQ(SimulateText(text), std::nullopt);
    EXPECT_EQ(TakeReason(), "EH0010: " + file_ + ": " + reason);
  }
}

TEST_F(Simulator, OnlyAnOrdinaryFileOfBoundedSizeIsRead) {
  EXPECT_EQ(Simulate(directory_ / "missing.dux"), std::nullopt);
  EXPECT_THAT(TakeReason(), EndsWith("missing.dux: expected a readable file"));
  std::string text = "dux 1\nkernel k\nend\n";
  text.resize(MAX_FILE_SIZE, '#');
  EXPECT_EQ(SimulateText(text), 100U);
  EXPECT_THAT(TakeReason(), IsEmpty());
  std::filesystem::resize_file(file_, MAX_FILE_SIZE + 1);
  EXPECT_EQ(Simulate(file_), std::nullopt);
  EXPECT_THAT(TakeReason(), EndsWith("kernel.dux: expected at most 1048576 bytes"));
}

}  // namespace
}  // namespace Ormo::Testing
