// Reads a profiling stream whose records are damaged and cut, and whose reads end anywhere, and
// holds what the library makes of it against what stands in the bytes.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <future>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "common/file_descriptor.h"
#include "mm/mm.h"
#include "offline/offline_parser.h"
#include "online/online_parser.h"
#include "ormo/status.h"
#include "profiling/op_averages.h"
#include "profiling/profiling_parser.h"
#include "profiling/record.h"
#include "profiling/step_grouping.h"
#include "support.h"

namespace {

using Ormo::ModelOpInfo;
using Ormo::RunnerOpInfo;
using Ormo::RunnerRunResult;
using Ormo::Fuzz::Require;
using OrmoHost::Record;

// What a pipe holds.
constexpr size_t LONGEST_STREAM = 65536;

// Takes numbers from the input; 0 when it has come to its end.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : bytes_(reinterpret_cast<const char*>(data), size) {}

  bool IsEmpty() const { return bytes_.empty(); }

  template <typename Number>
  Number Take() {
    Number number = 0;
    const size_t size = std::min(sizeof(number), bytes_.size());
    std::memcpy(&number, bytes_.data(), size);
    bytes_.remove_prefix(size);
    return number;
  }

 private:
  std::string_view bytes_;
};

struct Stream {
  std::string bytes;
  std::set<size_t> readEnds;  // places that no read goes beyond
  bool isClosed = false;      // by its writer; else the run has ended with `runStatus`
  int runStatus = 0;
};

// What happens to a record.
enum Kind : uint8_t {
  IS_STEP = 1,
  HAS_ANY_TIMES = 2,
  IS_DAMAGED = 4,
  IS_CUT = 8,
  ENDS_A_READ = 16
};

Record MakeRecord(Input& input, uint8_t kind, uint64_t& clock) {
  Record record = {};
  record.mark = OrmoHost::RECORD_MARK;
  record.id = 7;
  record.core = 1;
  const bool isStep = (kind & IS_STEP) != 0;
  record.name[0] = static_cast<char>('a' + input.Take<uint8_t>() % 4);
  std::strcpy(record.type, isStep ? OrmoHost::STEP_TYPE : "Add");
  if ((kind & HAS_ANY_TIMES) != 0) {
    record.start = input.Take<uint64_t>();
    record.end = input.Take<uint64_t>();
  } else {  // mostly in order, and now and then the wrong way round
    clock += input.Take<uint8_t>();
    record.start = clock;
    record.end = clock + static_cast<uint64_t>(static_cast<int64_t>(input.Take<int8_t>()));
    clock += isStep ? 0 : 1;
  }
  return record;
}

Stream MakeStream(Input input) {
  constexpr int statuses[] = {Ormo::STATUS_SUCCESS, Ormo::STATUS_OUT_OF_BOUND,
                              Ormo::STATUS_NOT_ENOUGH_MEMORY, Ormo::STATUS_EXECUTE_FAILED};
  Stream stream;
  const auto ending = input.Take<uint8_t>();
  stream.isClosed = ending % 2 == 0;
  stream.runStatus = statuses[ending / 2 % 4];
  uint64_t clock = 1000;
  while (!input.IsEmpty() && stream.bytes.size() + sizeof(Record) <= LONGEST_STREAM) {
    const auto kind = input.Take<uint8_t>();
    const Record record = MakeRecord(input, kind, clock);
    std::string bytes(reinterpret_cast<const char*>(&record), sizeof(record));
    if ((kind & IS_DAMAGED) != 0) {
      const size_t place = input.Take<uint16_t>() % bytes.size();
      bytes[place] = static_cast<char>(input.Take<uint8_t>());
    }
    if ((kind & IS_CUT) != 0) {
      bytes.resize(input.Take<uint16_t>() % bytes.size());
    }
    if ((kind & ENDS_A_READ) != 0) {
      stream.readEnds.insert(stream.bytes.size() + input.Take<uint16_t>() % sizeof(record));
    }
    stream.bytes += bytes;
  }
  return stream;
}

// Where the reads of the stream end, and how far they are.
std::set<size_t> readEnds;  // NOLINT(cert-err58-cpp): nothing is in it yet
size_t readSoFar = 0;

// --- What must come out

bool IsSound(const Record& record) {
  return record.mark == OrmoHost::RECORD_MARK && record.name[sizeof(record.name) - 1] == '\0' &&
         record.type[sizeof(record.type) - 1] == '\0' && record.start != 0 && record.end != 0;
}

RunnerOpInfo MakeOperator(const Record& record) {
  RunnerOpInfo op;
  op.opName = record.name;
  op.opType = record.type;
  op.modelId = std::to_string(record.id);
  op.startTime = record.start;
  op.endTime = record.end;
  op.aicoreCostTime = record.end < record.start ? 0 : record.core;
  op.opCostTime = record.end < record.start ? 0 : record.end - record.start;
  return op;
}

auto Times(const RunnerOpInfo& op) {
  return std::tie(op.startTime, op.endTime);
}

// The status that the stream is read with.
int Expect(const Stream& stream, ModelOpInfo& info) {
  bool isSound = true;
  size_t at = 0;
  for (; isSound && at + sizeof(Record) <= stream.bytes.size(); at += sizeof(Record)) {
    Record record;  // NOLINT(cppcoreguidelines-pro-type-member-init): written by the next line
    std::memcpy(&record, &stream.bytes[at], sizeof(record));
    isSound = IsSound(record);
    if (isSound && std::strcmp(record.type, OrmoHost::STEP_TYPE) == 0) {
      info.steps.insert({record.start, record.end});
    } else if (isSound) {
      info.opInfos.push_back(MakeOperator(record));
    }
  }
  std::stable_sort(info.opInfos.begin(), info.opInfos.end(),
                   [](const auto& left, const auto& right) { return Times(left) < Times(right); });
  if (!isSound) {
    return Ormo::STATUS_PROFILING_FAILED;
  }
  const bool isRun = stream.isClosed || stream.runStatus == Ormo::STATUS_SUCCESS ||
                     stream.runStatus == Ormo::STATUS_OUT_OF_BOUND;
  if (!isRun) {
    return stream.runStatus;
  }
  return at == stream.bytes.size() ? Ormo::STATUS_SUCCESS : Ormo::STATUS_PROFILING_FAILED;
}

bool IsSameOperator(const RunnerOpInfo& left, const RunnerOpInfo& right) {
  const auto fields = [](const RunnerOpInfo& op) {
    return std::tie(op.opName, op.opType, op.modelId, op.startTime, op.endTime, op.opCostTime,
                    op.aicoreCostTime);
  };
  return fields(left) == fields(right);
}

bool IsSameStep(const Ormo::StepOpInfo& left, const Ormo::StepOpInfo& right) {
  return left.start == right.start && left.end == right.end;
}

int Read(const Stream& stream, ModelOpInfo& info) {
  Ormo::Pipe pipe = Ormo::Pipe::Open();
  const auto size = static_cast<ssize_t>(stream.bytes.size());
  Require(write(pipe.writeEnd.Get(), stream.bytes.data(), stream.bytes.size()) == size,
          "a pipe holds the stream");
  if (stream.isClosed) {
    pipe.writeEnd.Reset();
  }
  readEnds = stream.readEnds;
  readSoFar = 0;
  std::promise<int> run;
  run.set_value(stream.runStatus);
  std::future<int> future = run.get_future();
  return Ormo::ProfilingParser(std::chrono::milliseconds(0))
      .ReadModelOpInfo(pipe.readEnd.Get(), future, info);
}

// --- What is made of it

void Group(const ModelOpInfo& info) {
  std::vector<RunnerRunResult> results;
  const int status = Ormo::GetRunnerRunResultByStep(info, results);
  std::multiset<uint64_t> totals;
  Require(Ormo::CalcTotalCostTimeByStep(info, totals) == status, "totals fail as results do");
  if (status == Ormo::STATUS_SUCCESS) {
    std::multiset<uint64_t> costs;
    for (const RunnerRunResult& result : results) {
      costs.insert(result.modelInfos.at(0).costTime);
    }
    Require(costs == totals, "an execution costs the same without its operators");
  }
  Ormo::RunnerResult result;
  Require(Ormo::OfflineParser::GetRunnerResult(info, result) == status, "so does the result");
  std::vector<RunnerRunResult> online;
  Ormo::OnlineParser::GetRunnerRunResult(info, online);
}

}  // namespace

// In place of the platform's: ends where the input says that a read ends.
int64_t mmRead(int fd, void* buffer, uint32_t length) {
  const auto end = readEnds.upper_bound(readSoFar);
  const size_t room = end == readEnds.end() ? length : std::min<size_t>(length, *end - readSoFar);
  const ssize_t size = read(fd, buffer, room);
  readSoFar += size > 0 ? static_cast<size_t>(size) : 0;
  return size;
}

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzing library's
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string atRest = Ormo::Fuzz::PreparePlatform(0);
  const Stream stream = MakeStream(Input(data, size));
  ModelOpInfo expected;
  ModelOpInfo info;
  Require(Read(stream, info) == Expect(stream, expected), "the status is the stream's");
  Require(std::equal(info.opInfos.begin(), info.opInfos.end(), expected.opInfos.begin(),
                     expected.opInfos.end(), IsSameOperator),
          "all operators are read");
  Require(std::equal(info.steps.begin(), info.steps.end(), expected.steps.begin(),
                     expected.steps.end(), IsSameStep),
          "all executions are read");
  if (!info.opInfos.empty()) {
    Group(info);
  }
  Ormo::Fuzz::CleanPlatform(atRest);
  return 0;
}
