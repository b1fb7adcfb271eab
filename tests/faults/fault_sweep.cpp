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
                           "RemoveGraph", "SetCurrentContext", "GetDataset", "GetDataBufferAddr"}) {
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
      "((# |([Mm]odel|mdoel) ?[Ii]d|, id|Model|graph|fd|ptr|[Tt]ime|start|end)[ :=[]*)[0-9]+"
      "|0x[0-9a-f]+|/tmp/[^/ ]*");
  return std::regex_replace(text, CHANCE, "$1*");
}

// How often the reader reads, and where a worker is when it is stopped.
bool DependsOnSpeed(const std::string& what) {
  return what == "mmRead" || what == "memset_s" || what.find("Stop thread [") == 0;
}

// What lines say, and how loudly: those of the calling thread or those of all others.
std::vector<std::string> Describe(const std::vector<LogLine>& lines, bool isCaller,
                                  int level = DLOG_INFO) {
  std::vector<std::string> texts;
  for (const LogLine& line : lines) {
    if ((line.thread == gettid()) == isCaller && line.level >= level &&
        !DependsOnSpeed(line.message)) {
      texts.push_back(std::to_string(line.level) + " " + line.file + " " +
                      WithoutChance(line.message) + "\n");
    }
  }
  return texts;
}

void PrintCount(size_t count, const std::string& what) {
  std::cout << "swept " << count << " " << what << std::endl;
}

}  // namespace

ExpectedStatuses All(int status, std::initializer_list<const char*> functions) {
  ExpectedStatuses all;
  for (const char* function : functions) {
    all[function] = {status};
  }
  return all;
}

ExpectedStatuses Join(std::initializer_list<ExpectedStatuses> tables) {
  ExpectedStatuses all;
  for (const ExpectedStatuses& table : tables) {
    for (const auto& [function, statuses] : table) {
      all[function] = statuses;
    }
  }
  return all;
}

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
  const LogCapture log;
  OrmoHost::RecordCalls();
  EXPECT_EQ(work(), STATUS_SUCCESS);
  std::string text;
  for (const bool isCaller : {true, false}) {
    text += isCaller ? "caller:\n" : "worker:\n";
    for (const OrmoHost::Call& call : OrmoHost::Calls()) {
      if ((call.thread == gettid()) == isCaller && !DependsOnSpeed(call.function)) {
        text += call.function + WithoutChance(call.arguments) + "\n";
      }
    }
    for (const std::string& line : Describe(log.Lines(), isCaller, DLOG_DEBUG)) {
      text += line;
    }
  }
  ExpectText(CLEAN_RUNS, name, text);
}

std::set<std::string> FaultSweepTest::UsualLines(const Work& work) {
  const LogCapture log;
  EXPECT_EQ(work(), STATUS_SUCCESS);
  std::set<std::string> usual;
  for (const bool isCaller : {true, false}) {
    const std::vector<std::string> lines = Describe(log.Lines(), isCaller);
    usual.insert(lines.begin(), lines.end());
  }
  return usual;
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

void FaultSweepTest::SweepFailures(const std::string& name, const std::vector<Work>& works,
                                   const ExpectedStatuses& expected, int32_t code) {
  std::map<std::string, uint64_t> met;
  std::map<std::pair<std::string, uint64_t>, std::string> told;  // threads take turns as it falls
  for (const Work& work : works) {
    const std::vector<Call> calls = ListCalls(work);
    const std::set<std::string> usual = UsualLines(work);
    std::set<std::string> known;
    for (const Call& call : calls) {
      SCOPED_TRACE(call.function + ", call " + std::to_string(call.nth));
      const auto row = expected.find(call.function);
      if (row == expected.end()) {
        ADD_FAILURE() << "the table does not name it";
        continue;
      }
      met[call.function] = std::max(met[call.function], call.nth);
      const std::string lines = FailCall(work, call, row->second, code, usual);
      if (!DependsOnSpeed(call.function) && known.insert(call.function + lines).second) {
        told[{call.function, call.nth}] += lines;
      }
    }
    PrintCount(calls.size(), "calls that fail");
  }
  for (const auto& [function, statuses] : expected) {
    EXPECT_GE(met[function], statuses.size())
        << "the table names calls of " << function << " that are never made";
  }
  if (code == FAILURE_CODE) {
    std::string text;
    for (const auto& [call, lines] : told) {
      text += call.first + ", call " + std::to_string(call.second) + "\n" + lines;
    }
    ExpectText(FAILURES, name, text);
  }
}

std::string FaultSweepTest::FailCall(const Work& work, const Call& call,
                                     const std::vector<int>& statuses, int32_t code,
                                     const std::set<std::string>& usual) {
  std::string lines;
  const auto faultyRun = [&] {
    const LogCapture log;
    OrmoHost::Fail(call.function, call.nth, code);
    int status = work();
    // How many records one read takes varies: the call may be one of the next run's.
    while (status == STATUS_SUCCESS && OrmoHost::PendingFaults() != 0) {
      status = work();
    }
    const int due = statuses[std::min(call.nth, statuses.size()) - 1];
    EXPECT_TRUE(status == due ||
                (due == FAILED_OR_NOT && (status == STATUS_SUCCESS || status == STATUS_FAILED)))
        << "ended with " << status << ", not " << due;
    for (const bool isCaller : {true, false}) {
      for (const std::string& line : Describe(log.Lines(), isCaller)) {
        lines += usual.count(line) == 0 ? "  " + line : "";
      }
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
  return lines;
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
