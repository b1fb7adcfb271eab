#include "faults/fault_sweep.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <new>
#include <regex>
#include <stdexcept>
#include <utility>

#include "faults/failing_allocation.h"
#include "ormo/status.h"
#include "support/expected_text.h"
#include "support/log_capture.h"
#include "support/open_descriptors.h"

namespace Ormo::Testing {
namespace {

// A worker names itself before it has a task whose caller could be told of an exception.
constexpr char WORKER_NAME_FUNCTION[] = "mmSetCurrentThreadName";

// Functions that give something back, and one that also prepares for that. What they throw must not
// keep anything else from being released.
bool MayThrowUnheard(const std::string& function) {
  for (const char* word : {"Free", "Destroy", "Unload", "UnSubscribe", "Reset", "Close", "Finalize",
                           "RemoveGraph", "SetCurrentContext", "GetDataset", "GetDataBufferAddr",
                           "GetErrorMessage", "GetWarningMessage"}) {
    if (function.find(word) != std::string::npos) {
      return true;
    }
  }
  return false;
}

// Where a dataset's buffer is found again. When these go wrong, nobody can free what they hide.
bool HidesBuffer(const std::string& function) {
  return function == "zelmdlGetDatasetBuffer" || function == "zelGetDataBufferAddr";
}

// When it fails, there are none; when it throws, their number is not known.
bool CountsBuffers(const std::string& function) {
  return function == "zelmdlGetDatasetNumBuffers";
}

// An operator's executor that was never executed ends with the worker's next query.
std::string AliveBesidesExecutors() {
  OrmoHost::AliveObjects alive = OrmoHost::Alive();
  alive.executors = 0;
  return alive.ToString();
}

// The work's status while allocations fail, from the `nth` on; STATUS_FAILED when it threw.
int RunWithoutMemory(const Work& work, int64_t nth, int64_t inARow, bool& hasFailed) {
  const FailingAllocation fault(nth, inARow);
  int status = STATUS_FAILED;
  try {
    status = work();
  } catch (const std::bad_alloc&) {
  }
  hasFailed = fault.HasFailed();
  return status;
}

// Ids, times, descriptors, addresses and directories are what they happen to be.
std::string WithoutChance(const std::string& text) {
  static const std::regex CHANCE(
      "((# |([Mm]odel|mdoel) ?[Ii]d|, id|Model|graph|fd|ptr|[Tt]ime| start| end)[ :=[]*)[0-9]+"
      "|0x[0-9a-f]+|/[^ ]*/ormo_test_[^/ ]*");
  return std::regex_replace(text, CHANCE, "$1*");
}

constexpr char READ[] = "mmRead";

// How often the reader reads and finds nothing, and where a worker is when it is stopped.
bool DependsOnSpeed(const std::string& what) {
  return what == READ || what == "memset_s" || what == "Wating for running finished" ||
         what.find("Stop thread [") == 0;
}

// What lines of `level` and above say, and how loudly: those of the test's thread, then those of
// the others.
std::vector<std::string> Describe(const std::vector<LogLine>& lines, int level) {
  std::vector<std::string> texts;
  for (const bool isCaller : {true, false}) {
    for (const LogLine& line : lines) {
      if ((line.thread == gettid()) == isCaller && line.level >= level &&
          !DependsOnSpeed(line.message)) {
        texts.push_back(std::to_string(line.level) + " " + line.file + " " +
                        WithoutChance(line.message) + "\n");
      }
    }
  }
  return texts;
}

std::vector<std::string> LinesOf(const Work& work) {
  const LogCapture log;
  EXPECT_EQ(work(), STATUS_SUCCESS);
  return Describe(log.Lines(), DLOG_DEBUG);
}

void PrintCount(size_t count, const std::string& what) {
  std::cout << "swept " << count << " " << what << std::endl;
}

}  // namespace

FaultSweepTest::FaultSweepTest(std::function<int()> init, std::function<void()> finalize)
    : init_(std::move(init)), finalize_(std::move(finalize)) {}

void FaultSweepTest::Init() const {
  ASSERT_EQ(init_(), STATUS_SUCCESS);
}

int FaultSweepTest::Live(const Work& work) const {
  for (const char* made : {"ormo_data/Tarn/.ormo_dev_1.lock", "ormo_data/Tarn", "ormo_data"}) {
    std::remove((directory_ / made).c_str());
  }
  const int status = init_();
  if (status != STATUS_SUCCESS) {
    return status;
  }
  try {
    const int workStatus = work();
    finalize_();
    return workStatus;
  } catch (...) {
    finalize_();
    throw;
  }
}

void FaultSweepTest::Restart() const {
  finalize_();
  OrmoHost::Reset();
  Init();
}

std::vector<FaultSweepTest::Call> FaultSweepTest::ListCalls(const Work& work) {
  EXPECT_EQ(work(), STATUS_SUCCESS);
  OrmoHost::RecordCalls();
  EXPECT_EQ(work(), STATUS_SUCCESS);
  std::map<std::string, uint64_t> counts;
  std::vector<Call> calls;
  for (const OrmoHost::Call& call : OrmoHost::Calls()) {
    calls.push_back({call.function, ++counts[call.function]});
  }
  return calls;
}

void FaultSweepTest::ExpectCleanRun(const std::string& name, const Work& work) {
  EXPECT_EQ(work(), STATUS_SUCCESS);
  OrmoHost::RecordCalls();
  const std::vector<std::string> lines = LinesOf(work);
  std::string text;
  for (const bool isCaller : {true, false}) {
    for (const OrmoHost::Call& call : OrmoHost::Calls()) {
      if ((call.thread == gettid()) == isCaller && !DependsOnSpeed(call.function)) {
        text += call.function + WithoutChance(call.arguments) + "\n";
      }
    }
  }
  for (const std::string& line : lines) {
    text += line;
  }
  ExpectText(CLEAN_RUNS, name, text);
}

template <typename FaultyRun>
void FaultSweepTest::ExpectNothingLeft(const Work& work, FaultyRun faultyRun) {
  const std::string alive = OrmoHost::Alive().ToString();
  const auto descriptors = OpenDescriptors();
  faultyRun();
  EXPECT_EQ(AliveBesidesExecutors(), alive);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_EQ(work(), STATUS_SUCCESS) << "the run after";
  EXPECT_EQ(OrmoHost::Alive().ToString(), alive) << "after the run after";
}

// What cannot be found is a buffer, with its memory or without.
template <typename FaultyRun>
void FaultSweepTest::ExpectOneBufferLeft(const Work& work, FaultyRun faultyRun) {
  const OrmoHost::AliveObjects before = OrmoHost::Alive();
  faultyRun();
  const OrmoHost::AliveObjects left = OrmoHost::Alive();
  EXPECT_LE(left.dataBuffers + left.deviceBlocks + left.abandoned,
            before.dataBuffers + before.deviceBlocks + 2);
  EXPECT_EQ(left.datasets, before.datasets);
  Restart();
  EXPECT_EQ(work(), STATUS_SUCCESS) << "the run after";
}

void FaultSweepTest::SweepFailures(const std::string& name, const Work& work, int32_t code) {
  const std::vector<Call> calls = ListCalls(work);
  const std::vector<std::string> usual = LinesOf(work);
  std::map<std::pair<std::string, uint64_t>, std::string> told;  // threads take turns as it falls
  std::set<std::string> known;
  for (const Call& call : calls) {
    SCOPED_TRACE(call.function + ", call " + std::to_string(call.nth));
    const std::string ending = FailCall(work, call, code, usual);
    const bool isCertain =
        !DependsOnSpeed(call.function) || (call.function == READ && call.nth == 1);
    if (isCertain && known.insert(call.function + ending).second) {
      told[{call.function, call.nth}] = ending;
    }
  }
  std::string text;
  for (const auto& [call, ending] : told) {
    text += call.first + ", call " + std::to_string(call.second) + ": " + ending;
  }
  ExpectText(FAILURES, name + ", " + std::to_string(code), text);
  PrintCount(calls.size(), "calls that fail");
}

std::string FaultSweepTest::FailCall(const Work& work, const Call& call, int32_t code,
                                     const std::vector<std::string>& usual) {
  std::string ending;
  const auto faultyRun = [&] {
    const LogCapture log;
    OrmoHost::Fail(call.function, call.nth, code);
    int status = work();
    // How many records one read takes varies: the call may be one of the next run's.
    while (status == STATUS_SUCCESS && OrmoHost::PendingFaults() != 0) {
      status = work();
    }
    ending = std::to_string(status) + "\n";
    for (const std::string& line : Describe(log.Lines(), DLOG_INFO)) {
      ending += std::count(usual.begin(), usual.end(), line) == 0 ? "  " + line : "";
    }
  };
  if (CountsBuffers(call.function)) {
    faultyRun();
    Restart();
    EXPECT_EQ(work(), STATUS_SUCCESS);
  } else if (HidesBuffer(call.function)) {
    ExpectOneBufferLeft(work, faultyRun);
  } else {
    ExpectNothingLeft(work, faultyRun);
  }
  return ending;
}

void FaultSweepTest::SweepExceptions(const Work& work) {
  size_t count = 0;
  for (const Call& call : ListCalls(work)) {
    if (call.function == WORKER_NAME_FUNCTION) {
      continue;
    }
    SCOPED_TRACE(call.function + ", call " + std::to_string(call.nth));
    ++count;
    const auto faultyRun = [&] {
      OrmoHost::Throw(call.function, call.nth);
      if (call.function == "zelGetDataBufferAddr") {  // one that is not found hides no other
        OrmoHost::Throw("zelmdlGetDatasetNumBuffers", 1);
      }
      bool isHeard = false;
      try {
        do {
          EXPECT_EQ(work(), STATUS_SUCCESS);
        } while (OrmoHost::PendingFaults() != 0);
      } catch (const std::runtime_error&) {
        isHeard = true;
      }
      EXPECT_TRUE(isHeard || MayThrowUnheard(call.function));
    };
    if (HidesBuffer(call.function)) {
      ExpectOneBufferLeft(work, faultyRun);
    } else {
      ExpectNothingLeft(work, faultyRun);
    }
  }
  PrintCount(count, "calls that throw");
}

void FaultSweepTest::SweepRecordFaults(const Work& work, uint64_t count) {
  EXPECT_EQ(work(), STATUS_SUCCESS);
  for (const auto fault :
       {OrmoHost::RecordFault::TRUNCATED, OrmoHost::RecordFault::WITHOUT_START}) {
    for (uint64_t nth = 1; nth <= count; ++nth) {
      SCOPED_TRACE(nth);
      ExpectNothingLeft(work, [&] {
        OrmoHost::FaultRecord(nth, fault);
        EXPECT_EQ(work(), STATUS_PROFILING_FAILED);
      });
    }
  }
}

void FaultSweepTest::SweepAllocations(const Work& work) {
  for (const int64_t inARow : {1, 50}) {
    SCOPED_TRACE(std::to_string(inARow) + " in a row");
    SweepAllocations(work, inARow);
  }
}

void FaultSweepTest::SweepAllocations(const Work& work, int64_t inARow) {
  EXPECT_EQ(work(), STATUS_SUCCESS);
  int64_t nth = 0;
  bool hasFailed = true;
  while (hasFailed) {
    SCOPED_TRACE("allocation " + std::to_string(++nth));
    ExpectNothingLeft(work, [&] {
      const int status = RunWithoutMemory(work, nth, inARow, hasFailed);
      EXPECT_TRUE(status == STATUS_SUCCESS ||
                  (hasFailed && (status == STATUS_FAILED || status == STATUS_PROFILING_FAILED)))
          << "ended with " << status;
    });
  }
  EXPECT_GT(nth, 1) << "no allocation to fail";
  PrintCount(static_cast<size_t>(nth - 1), "allocations");
}

}  // namespace Ormo::Testing
