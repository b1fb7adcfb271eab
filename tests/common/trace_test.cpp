#include "ormo/trace.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "common/trace_inner.h"
#include "common/utils.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace {

std::function<void()> onNextWrite;
bool areModesRefused = false;

}  // namespace

// They take the place of the system's, which cannot be brought to fail at will.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's are reserved
extern "C" ssize_t pwrite(int fd, const void* bytes, size_t size, off_t offset) {
  if (const auto action = std::exchange(onNextWrite, nullptr)) {
    action();
  }
  return syscall(SYS_pwrite64, fd, bytes, size, offset);
}

extern "C" int fchmod(int fd, mode_t mode) noexcept {
  return areModesRefused ? -1 : static_cast<int>(syscall(SYS_fchmod, fd, mode));
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace Ormo::Testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using std::chrono::milliseconds;

constexpr milliseconds SHORT_PERIOD{1};

std::string OnlyFile(const TempDirectory& directory) {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(directory.Path())) {
    files.push_back(entry.path().string());
  }
  EXPECT_EQ(files.size(), 1U);
  return files.size() == 1 ? files.front() : "";
}

std::string Content(const TempDirectory& directory) {
  return ReadFile(OnlyFile(directory));
}

json Events(const std::string& document) {
  return json::parse(document).at("traceEvents");
}

/// What a recorder that lives only for `record` leaves in its file.
template <typename Record>
std::string Recorded(Record record) {
  const TempDirectory directory;
  {
    TraceInner recorder;
    recorder.StartDumpTrace(directory.Path().string());
    record(recorder);
  }
  return Content(directory);
}

/// Reads the file until it is what is waited for; between two writes it must be complete.
template <typename Condition>
json WaitForEvents(const TempDirectory& directory, Condition condition) {
  while (true) {
    if (!fs::is_empty(directory.Path())) {
      const json document = json::parse(Content(directory), nullptr, false);
      if (!document.is_discarded() && condition(document.at("traceEvents"))) {
        return document.at("traceEvents");
      }
    }
    std::this_thread::yield();
  }
}

/// Files cannot grow beyond `size` from now on. The signal that tells of it ends a thread that
/// takes signals, and the process with it.
void LimitFileSize(rlim_t size) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = std::min(size, limit.rlim_max);
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(TraceInnerTest, WritesEventsInTheOrderInWhichTheyWereRecorded) {
  EXPECT_EQ(Recorded([](TraceInner& recorder) {
              recorder.Begin("run model", "345", "12", 7);
              recorder.Begin("say \"hi\"\n", "345", "13", 8);
              recorder.End("run model", "345", "12", 18446744073709551615U);
            }),
            R"({"displayTimeUnit":"ms","traceEvents":[)"
            R"({"name":"run model","ph":"B","pid":"345","tid":"12","ts":7},)"
            R"({"name":"say \"hi\"\n","ph":"B","pid":"345","tid":"13","ts":8},)"
            R"({"name":"run model","ph":"E","pid":"345","tid":"12","ts":18446744073709551615}]})");
}

TEST(TraceInnerTest, LeavesAReadOnlyDocumentAlsoWithoutEvents) {
  const LogCapture log(DLOG_INFO);
  const TempDirectory directory;
  const TempDirectory tooLate;
  const TempDirectory other;
  std::string path;
  {
    TraceInner recorder;
    recorder.StartDumpTrace(directory.Path().string());
    recorder.StartDumpTrace(tooLate.Path().string());
    TraceInner closed;
    closed.Close();
    closed.StartDumpTrace(tooLate.Path().string());
    WaitForEvents(directory, [](const json& events) { return events.empty(); });
    path = OnlyFile(directory);
    fs::rename(path, other / "moved");
    WriteFile(path, "of somebody else");
  }
  EXPECT_TRUE(fs::is_empty(tooLate.Path()));
  EXPECT_EQ(Content(other), R"({"displayTimeUnit":"ms","traceEvents":[]})");
  EXPECT_EQ(fs::status(other / "moved").permissions(), fs::perms::owner_read);
  EXPECT_NE(fs::status(path).permissions(), fs::perms::owner_read);
  EXPECT_THAT(path,
              MatchesRegex(".*/ormo_trace_[0-9]{20}_pid" + std::to_string(getpid()) + "\\.json"));
  EXPECT_THAT(log.Messages(), ElementsAre("No trace to dump."));
  EXPECT_EQ(log.Lines().front().tag, "ACG");
}

TEST(TraceInnerTest, KeepsTheLatestEventsUntilADirectoryIsNamed) {
  constexpr uint64_t dropped = 1234;
  constexpr uint64_t withoutFile = TraceInner::MAX_EVENTS_WITHOUT_FILE + dropped;
  constexpr uint64_t recorded = withoutFile + 1000;
  const LogCapture log(DLOG_WARN);
  const TempDirectory directory;
  {
    TraceInner recorder(std::chrono::hours(1));  // its end does not wait for that
    for (uint64_t ts = 0; ts < withoutFile; ++ts) {
      recorder.Begin("event", "1", "2", ts);
    }
    recorder.StartDumpTrace(directory.Path().string());
    for (uint64_t ts = withoutFile; ts < recorded; ++ts) {
      recorder.Begin("event", "1", "2", ts);
    }
  }
  std::string expected = R"({"displayTimeUnit":"ms","traceEvents":[)";
  for (uint64_t ts = dropped; ts < recorded; ++ts) {
    expected += R"({"name":"event","ph":"B","pid":"1","tid":"2","ts":)" + std::to_string(ts) + "},";
  }
  expected.back() = ']';
  EXPECT_TRUE(Content(directory) == expected + "}") << "nothing is dropped once there is a file";
  EXPECT_EQ(log.Messages(DLOG_WARN).size(), 1U) << "one warning, not one an event";
}

TEST(TraceInnerTest, KeepsTheBoundWhenThereCanBeNoFile) {
  const TempDirectory directory;
  const auto descriptors = OpenDescriptors();
  for (const auto& [name, room, lines] :
       {std::tuple("/missing", RLIM_INFINITY, "Open .*/missing/ormo_trace_.*\\.json failed"),
        std::tuple("", rlim_t{10}, "Write trace file failed\\.")}) {
    const LogCapture log(DLOG_WARN);
    LimitFileSize(room);
    TraceInner recorder;
    recorder.StartDumpTrace(directory.Path().string() + name);
    // The bound comes back only after the line, so that the first warning may stay away a little.
    while (!log.Contains(DLOG_WARN, "No trace file")) {
      recorder.Begin("event", "", "");
    }
    LimitFileSize(RLIM_INFINITY);
    EXPECT_THAT(log.Messages(DLOG_ERROR), ElementsAre(MatchesRegex(lines)));
    EXPECT_TRUE(fs::is_empty(directory.Path()));
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
}

TEST(TraceInnerTest, RemovesItsFileWithoutADocumentAndNoOther) {
  for (const bool isReplaced : {false, true}) {
    const LogCapture log(DLOG_ERROR);
    const TempDirectory directory;
    onNextWrite = [&] {
      if (isReplaced) {
        const std::string path = OnlyFile(directory);
        fs::remove(path);
        WriteFile(path, "of somebody else");
      }
      throw std::bad_alloc();
    };
    areModesRefused = true;
    TraceInner recorder;
    recorder.StartDumpTrace(directory.Path().string());
    recorder.Close();
    areModesRefused = false;
    EXPECT_EQ(fs::is_empty(directory.Path()), !isReplaced);
    EXPECT_EQ(log.Lines().size(), 2U);
    const auto refused = log.Find("Chmod failed, path : " + directory.Path().string());
    EXPECT_EQ(refused.file + refused.tag, "file_utils.cppORMO");
  }
}

TEST(TraceInnerTest, WritesNamesThatAreNoUtf8AndNamesOfAnyLength) {
  const std::string longName(200000, 'n');
  const json events = Events(Recorded([&longName](TraceInner& recorder) {
    recorder.Begin("key [\xff\xc3]", "", "");
    recorder.Begin(longName, "", "");
    recorder.Begin({"", size_t{1} << 32}, "", "");  // refused unseen
    recorder.Begin("after", "", "");
  }));
  const std::vector<std::string> names = {"key [\xef\xbf\xbd\xef\xbf\xbd]", longName, "after"};
  ASSERT_EQ(events.size(), names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(events[i].at("name"), names[i]);
  }
}

TEST(TraceInnerTest, LosesNothingToManyThreadsAndAWriter) {
  constexpr size_t threads = 4;
  constexpr uint64_t each = 300;
  const TempDirectory directory;
  {
    TraceInner recorder(SHORT_PERIOD);
    recorder.StartDumpTrace(directory.Path().string());
    std::vector<std::thread> workers;
    for (size_t t = 0; t < threads; ++t) {
      workers.emplace_back([&recorder, t] {
        for (uint64_t ts = 0; ts < each; ++ts) {
          recorder.Begin("event", "", std::to_string(t), ts);
        }
      });
    }
    for (std::thread& worker : workers) {
      worker.join();
    }
  }
  std::vector<uint64_t> next(threads, 0);
  for (const json& event : Events(Content(directory))) {
    const size_t thread = std::stoul(event.at("tid").get<std::string>());
    ASSERT_EQ(event.at("ts"), next.at(thread)++);
  }
  EXPECT_THAT(next, Each(each));
}

TEST(TraceInnerTest, SurvivesADiskThatIsFullForAWhile) {
  const LogCapture log(DLOG_ERROR);
  const TempDirectory directory;
  TraceInner recorder(SHORT_PERIOD);
  recorder.StartDumpTrace(directory.Path().string());
  recorder.Begin("first", "", "", 0);
  WaitForEvents(directory, [](const json& events) { return events.size() == 1; });

  LimitFileSize(150);
  const std::string name(70000, 'n');  // fills a block, so that several blocks go back
  recorder.Begin(name, "", "", 1);
  recorder.Begin(name, "", "", 2);
  while (!log.Contains(DLOG_ERROR, "Write trace file failed.")) {
    std::this_thread::yield();
  }
  WaitForEvents(directory, [](const json& events) { return events.size() == 1; });
  LimitFileSize(RLIM_INFINITY);
  const json events = WaitForEvents(directory, [](const json& found) { return found.size() == 3; });
  for (size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i].at("ts"), i);
  }
}

/// Threads that block the signals of programs.
size_t CountBlockingThreads() {
  size_t count = 0;
  for (const auto& task : fs::directory_iterator("/proc/self/task")) {
    const std::string status = ReadFile(task.path() / "status");
    const uint64_t blocked = std::stoull(status.substr(status.find("SigBlk:") + 7), nullptr, 16);
    count += blocked >> (SIGTERM - 1) & blocked >> (SIGUSR1 - 1) & 1;
  }
  return count;
}

TEST(TraceInnerTest, WritesOnAThreadThatTakesNoSignals) {
  std::thread([] {}).join();  // with the first one, sanitizers start one of their own
  const size_t others = CountBlockingThreads();
  const TempDirectory directory;
  TraceInner recorder;
  recorder.StartDumpTrace(directory.Path().string());
  WaitForEvents(directory, [](const json& events) { return events.empty(); });
  EXPECT_EQ(CountBlockingThreads(), others + 1) << "the writer, and not the caller";
}

/// Of a child that traces and exits.
int StatusOfForkedChild() {
  const pid_t child = fork();
  if (child == 0) {
    Trace span("in the child");
    span.Start();
    Trace::StartDumpTraceToPath("");
    std::exit(0);  // NOLINT(concurrency-mt-unsafe)
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

#ifndef __SANITIZE_THREAD__  // allows handlers next to nothing
void ExitOnSignal(int /*signal*/) {
  std::exit(0);  // NOLINT(concurrency-mt-unsafe)
}

TEST(TraceDeathTest, EndsInHandlersOfSignalsThatComeWhileItIsLocked) {
  const TempDirectory directory;
  EXPECT_EXIT(
      {
        signal(SIGTERM, ExitOnSignal);
        OrmoHost::OnCall("mmGetTimeOfDay", 1, [] { raise(SIGTERM); });
        Trace::StartDumpTraceToPath(directory.Path().string());
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_TRUE(Events(Content(directory)).empty());
  EXPECT_EXIT(
      {
        signal(SIGSEGV, ExitOnSignal);
        const void* unreadable = mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        TraceInner::Instance().Begin({static_cast<const char*>(unreadable), 1}, "", "");
      },
      ::testing::ExitedWithCode(0), "");
}
#endif

// The process's own recorder writes at exit; only a process of its own shows that.
TEST(TraceDeathTest, ClosesSpansAndWritesThemWhenTheProcessEnds) {
  const TempDirectory directory;
  EXPECT_EXIT(
      {
        fs::current_path(directory.Path());
        // While the recorder is at work, which the child finds as it is.
        int ended = -1;
        OrmoHost::OnCall("mmGetTimeOfDay", 1, [&ended] { ended = StatusOfForkedChild(); });
        Trace::StartDumpTraceToPath("");
        Trace span("again and again");
        span.Stop();
        span.Start();
        span.Start();
        span.Stop();
        span.Stop();
        span.Start();
        try {
          Trace left("left by an exception", "7", "8");
          left.Start();
          throw std::runtime_error("out");
        } catch (const std::runtime_error&) {
          Trace never("never started");
        }
        std::exit(ended);  // NOLINT(concurrency-mt-unsafe)
      },
      ::testing::ExitedWithCode(0), "");

  const std::string path = OnlyFile(directory);
  const size_t process = path.rfind("_pid") + 4;
  const std::string id = path.substr(process, path.rfind('.') - process);
  std::vector<std::string> spans;
  for (const json& event : Events(ReadFile(path))) {
    spans.push_back(event.at("ph").get<std::string>() + event.at("name").get<std::string>() +
                    event.at("pid").get<std::string>() + event.at("tid").get<std::string>());
  }
  const std::string own = "again and again" + id + id;
  const std::string given = "left by an exception78";
  EXPECT_THAT(spans, ElementsAre("B" + own, "E" + own, "B" + own, "B" + given, "E" + given));
}

}  // namespace
}  // namespace Ormo::Testing
