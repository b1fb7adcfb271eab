// Subscriptions and their records.
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <future>

#include "platform/attention_call.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "zel/zel_prof.h"

namespace Ormo::Testing {
namespace {

// Looks at the raw clock while it is coarse; every eleventh sees it move.
std::atomic<uint64_t> looks{0};
std::atomic<bool> isCoarse{false};

struct ReadRecord {
  std::string name;
  std::string type;
  uint64_t start;
  uint64_t end;
  uint64_t duration;
  uint64_t core;
  size_t id;
};

class ProfilingTest : public PlatformTest {
 protected:
  ProfilingTest() {
    EXPECT_EQ(pipe2(pipe_, O_CLOEXEC), 0);
    EXPECT_EQ(zelprofGetOpDescSize(&recordSize_), 0);
  }

  void TearDown() override {
    close(pipe_[0]);
    close(pipe_[1]);
  }

  void Subscribe() {
    int32_t writeEnd = pipe_[1];
    config_ = zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &writeEnd);
    writeEnd = -1;  // read only by the creation
    ASSERT_EQ(zelprofModelSubscribe(id_, config_), 0);
  }

  void Execute(int count = 1) {
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(zelmdlExecute(id_, input_.Get(), output_.Get()), 0);
    }
  }

  int32_t Unsubscribe() {
    int32_t code = zelprofModelUnSubscribe(id_);
    EXPECT_EQ(zelprofDestroySubscribeConfig(config_), 0);
    return code;
  }

  // What is in the pipe now, or comes until the last write end is closed.
  std::string ReadPipe() {
    std::string bytes;
    std::string part(recordSize_, '\0');
    for (ssize_t count = 1; count > 0;) {
      count = read(pipe_[0], part.data(), part.size());
      bytes.append(part, 0, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    return bytes;
  }

  std::string ReadAll() {
    close(pipe_[1]);
    return ReadPipe();
  }

  static std::vector<ReadRecord> Decode(const std::string& bytes) {
    uint32_t count = 0;
    EXPECT_EQ(zelprofGetOpNum(bytes.data(), bytes.size(), &count), 0);
    std::vector<ReadRecord> records;
    for (uint32_t i = 0; i < count; ++i) {
      auto arguments = [&](auto function, auto... rest) {
        return function(bytes.data(), bytes.size(), i, rest...);
      };
      auto text = [&](auto function) {
        char value[256];
        EXPECT_EQ(arguments(function, value, sizeof(value)), 0);
        EXPECT_NE(arguments(function, value, std::strlen(value)), 0);
        return std::string(value);
      };
      records.push_back(
          {text(zelprofGetOpName), text(zelprofGetOpType), arguments(zelprofGetOpStart),
           arguments(zelprofGetOpEnd), arguments(zelprofGetOpDuration),
           ProfGetOpExecutionTime(bytes.data(), static_cast<uint32_t>(bytes.size()), i),
           arguments(zelprofGetModelId)});
    }
    return records;
  }

  int pipe_[2] = {-1, -1};
  size_t recordSize_ = 0;
  const uint32_t id_ = Load(Graph({Node("one", "Const", "", {1}, "\"fill\": 1"),
                                   Node("spin", "Spin", "\"one\"", {1}, "\"ns\": 20000"),
                                   Node("relu", "Relu", "\"spin\"", {1})}));
  zelprofSubscribeConfig* config_ = nullptr;
  const FloatDataset input_{std::vector<std::vector<float>>{}};
  const FloatDataset output_{std::vector<std::vector<float>>{{0}}};
};

// Executions come one after the other, with their operators in order and then their bounds.
void ExpectOrder(const std::vector<ReadRecord>& records, size_t operators, size_t id) {
  uint64_t stepEnd = 0;
  uint64_t end = 0;
  for (size_t i = 0; i < records.size(); ++i) {
    SCOPED_TRACE(i);
    const ReadRecord& record = records[i];
    EXPECT_EQ(record.id, id);
    if (i % (operators + 1) == operators) {
      EXPECT_EQ(record.type, "na");
      EXPECT_GE(record.start, stepEnd);
      EXPECT_LE(record.start, records[i - operators].start);
      EXPECT_GE(record.end, end);
      stepEnd = end = record.end;
      continue;
    }
    EXPECT_GE(record.start, end);
    EXPECT_EQ(record.duration, record.end - record.start);
    EXPECT_GT(record.core, 0U);
    EXPECT_LE(record.core, record.duration);
    end = record.end;
  }
}

TEST_F(ProfilingTest, ExecutionsContainTheirOperatorsWhenTheClockIsCoarse) {
  ASSERT_GT(fcntl(pipe_[1], F_SETPIPE_SZ, 1 << 18), 0);
  AttentionTensors attention({1, 1, 1, 1, 1, "BSH", ox::DT_FLOAT});
  isCoarse = true;
  Subscribe();
  ASSERT_EQ(ProfOpSubscribe(0, config_), 0);
  Execute(50);
  EXPECT_EQ(Unsubscribe(), 0);
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(attention.forward.Run(), 0) << Reason();
  }
  EXPECT_EQ(ProfOpUnSubscribe(0), 0);
  isCoarse = false;
  const std::vector<ReadRecord> records = Decode(ReadAll());
  ASSERT_EQ(records.size(), 250U);
  ExpectOrder({records.begin(), records.begin() + 150}, 2, id_);
  ExpectOrder({records.begin() + 150, records.end()}, 1, 0);
  EXPECT_TRUE(std::any_of(records.begin() + 150, records.end(), [](const ReadRecord& record) {
    return record.type != "na" && record.core < record.duration;
  }));
}

TEST_F(ProfilingTest, TheDescriptorIsKeptUntilTheConfigurationEnds) {
  const auto before = OpenDescriptors();
  Subscribe();
  Execute();
  close(pipe_[1]);
  EXPECT_EQ(Unsubscribe(), 0);
  EXPECT_EQ(Decode(ReadPipe()).size(), 3U);
  pipe_[1] = open("/dev/null", O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(OpenDescriptors().size(), before.size());
}

TEST_F(ProfilingTest, RecordsMeetTheFaultsThatWaitForThem) {
  Execute();
  Subscribe();
  OrmoHost::FaultRecord(1, OrmoHost::RecordFault::LOST);
  OrmoHost::FaultRecord(2, OrmoHost::RecordFault::WITHOUT_START);
  OrmoHost::FaultRecord(6, OrmoHost::RecordFault::TRUNCATED);
  Execute(2);
  EXPECT_EQ(Unsubscribe(), 0);
  const std::string bytes = ReadAll();
  ASSERT_EQ(bytes.size(), recordSize_ * 4 + recordSize_ / 2);
  const std::vector<ReadRecord> records = Decode(bytes.substr(0, recordSize_ * 4));
  std::string names;
  for (const ReadRecord& record : records) {
    names += record.name + record.type + (record.start == 0 ? "0 " : " ");
  }
  EXPECT_EQ(names, "reluRelu0 nana spinSpin reluRelu ");
  EXPECT_GE(records[2].core, 20000U);
  ExpectOrder({records[2], records[3]}, 2, id_);
}

TEST_F(ProfilingTest, RecordsGoThroughAPipeThatIsFullForAWhile) {
  constexpr int EXECUTIONS = 200;
  ASSERT_GT(fcntl(pipe_[1], F_SETPIPE_SZ, 4096), 0);
  Subscribe();
  Execute(EXECUTIONS);
  close(pipe_[1]);
  auto bytes = std::async(std::launch::async, [&] { return ReadPipe(); });
  EXPECT_EQ(Unsubscribe(), 0);
  EXPECT_EQ(Decode(bytes.get()).size(), 3U * EXECUTIONS);
}

TEST_F(ProfilingTest, APipeThatStaysFullEndsTheSubscriptionWithAnError) {
  OrmoHost::SetRecordWait(std::chrono::milliseconds(1));
  ASSERT_GT(fcntl(pipe_[1], F_SETPIPE_SZ, 4096), 0);
  Subscribe();
  Execute(20);
  EXPECT_NE(Unsubscribe(), 0);
  std::string bytes = ReadAll();
  EXPECT_EQ(bytes.size() % recordSize_, 0U);
  EXPECT_EQ(fcntl(pipe_[0], F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(ProfilingTest, APipeThatNobodyReadsDoesNotKillTheProcess) {
  Subscribe();
  close(pipe_[0]);
  Execute();
  EXPECT_NE(Unsubscribe(), 0);
}

}  // namespace
}  // namespace Ormo::Testing

// In place of the system's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): its names are reserved
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock == CLOCK_MONOTONIC_RAW && Ormo::Testing::isCoarse) {
    *time = {1, static_cast<long>(Ormo::Testing::looks++ / 11 * 100)};
    return 0;
  }
  return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}
