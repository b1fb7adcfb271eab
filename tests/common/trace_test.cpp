#include "ormo/trace.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <new>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "common/scripted_system.h"
#include "common/trace_inner.h"
#include "common/utils.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

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

// What a recorder that lives only for `record` leaves in its file.
template <typename Record>
std::string Recorded(Record record) {
  const TempDirectory directory;
  {
    TraceInner recorder(std::chrono::hours(1));  // its end does not wait for that
    recorder.StartDumpTrace(directory.Path().string());
    record(recorder);
  }
  return Content(directory);
}

// Reads the file until it is what is waited for; between two writes it must be complete.
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

TEST(TraceInnerTest, WritesEventsInTheOrderInWhichTheyWereRecorded) {
  std::string other;
  const std::string longName(200000, 'n');
  sigset_t ofWriter{};
  sigset_t ofCaller{};
  // The first write is interrupted, the second one short.
  onNextWrite = [&ofWriter](size_t) {
    pthread_sigmask(SIG_SETMASK, nullptr, &ofWriter);
    onNextWrite = [](size_t size) { return size / 2; };
    return size_t{0};
  };
  const std::string document = Recorded([&](TraceInner& recorder) {
    recorder.Begin("run model", "345", "12", 7);
    recorder.Begin("say \"hi\"\n\xff\xc3", "345", "13", 8);
    recorder.Begin(longName, "", "", 9);
    recorder.Begin({"", size_t{1} << 32}, "", "");  // refused unseen
    recorder.End("run model", "345", "12", 18446744073709551615U);
    scriptedTicks = {{1, 2999}, {2, 999999999}};
    recorder.Begin("now", "", "");
    std::thread([&] {
      recorder.End("now", "", "");
      other = std::to_string(gettid());
    }).join();
  });
  pthread_sigmask(SIG_SETMASK, nullptr, &ofCaller);
  EXPECT_EQ(sigismember(&ofWriter, SIGTERM), 1) << "a thread that takes no signals";
  EXPECT_EQ(sigismember(&ofCaller, SIGTERM), 0);
  const std::string own = std::to_string(getpid());
  EXPECT_EQ(document,
            R"({"displayTimeUnit":"ms","traceEvents":[)"
            R"({"name":"run model","ph":"B","pid":"345","tid":"12","ts":7},)"
            R"({"name":"say \"hi\"\n)"
            "\xef\xbf\xbd\xef\xbf\xbd"
            R"(","ph":"B","pid":"345","tid":"13","ts":8},)"
            R"({"name":")" +
                longName + R"(","ph":"B","pid":")" + own + R"(","tid":")" + own +
                R"(","ts":9},)"
                R"({"name":"run model","ph":"E","pid":"345","tid":"12","ts":18446744073709551615},)"
                R"({"name":"now","ph":"B","pid":")" +
                own + R"(","tid":")" + own + R"(","ts":1000002},{"name":"now","ph":"E","pid":")" +
                own + R"(","tid":")" + other + R"(","ts":2999999}]})");
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

TEST(TraceInnerTest, KeepsTheLatestEventsUntilADirectoryIsNamedAndAllFromThenOn) {
  constexpr uint64_t dropped = 1234;
  constexpr uint64_t withoutFile = dropped + TraceInner::MAX_EVENTS_WITHOUT_FILE;
  const LogCapture log(DLOG_WARN);
  const TempDirectory directory;
  std::promise<void> writing;
  std::promise<void> mayWrite;
  std::atomic<bool> isWritten{false};
  const std::function<size_t(size_t)> onWrite = [&](size_t size) {
    if (isWritten) {
      writing.set_value();
      mayWrite.get_future().wait();
    } else {
      onNextWrite = onWrite;
    }
    return size;
  };
  onNextWrite = onWrite;
  TraceInner recorder(SHORT_PERIOD);
  std::string expected = R"({"displayTimeUnit":"ms","traceEvents":[)";
  for (uint64_t ts = 0; ts < 2 * withoutFile; ++ts) {
    if (ts == withoutFile) {
      recorder.StartDumpTrace(directory.Path().string());
      while (fs::is_empty(directory.Path()) ||
             fs::file_size(OnlyFile(directory)) <= expected.size()) {
        std::this_thread::yield();
      }
      isWritten = true;
    } else if (ts == withoutFile + 1) {
      writing.get_future().wait();  // for long
    }
    recorder.Begin("event", "1", "2", ts);
    expected += ts < dropped ? ""
                             : R"({"name":"event","ph":"B","pid":"1","tid":"2","ts":)" +
                                   std::to_string(ts) + "},";
  }
  mayWrite.set_value();
  recorder.Close();
  expected.back() = ']';
  EXPECT_TRUE(Content(directory) == expected + "}") << "nothing is dropped once there is a file";
  EXPECT_EQ(log.Messages(DLOG_WARN).size(), 1U) << "one warning, not one an event";
}

TEST(TraceInnerTest, KeepsTheBoundWhenThereCanBeNoFileOrNoMoreOfIt) {
  const TempDirectory directory;
  const auto descriptors = OpenDescriptors();
  // Below the directory, room in the file, error lines, and whether a document is left.
  for (const auto& [name, room, lines, isLeft] :
       {std::tuple("/missing", RLIM_INFINITY, "Open .*/missing/ormo_trace_.*\\.json failed", false),
        std::tuple("", rlim_t{10}, "Write trace file failed\\.", false),
        std::tuple("", rlim_t{50}, "Write trace file failed\\.", true)}) {
    const LogCapture log(DLOG_WARN);
    LimitFileSize(room);
    TraceInner recorder(SHORT_PERIOD);
    recorder.StartDumpTrace(directory.Path().string() + name);
    // The bound comes back only after the line, so that the first warning may stay away a little.
    while (!log.Contains(DLOG_WARN, "No trace file")) {
      for (int i = 0; i < 10000; ++i) {
        recorder.Begin("event", "", "");
      }
    }
    recorder.Close();
    LimitFileSize(RLIM_INFINITY);
    EXPECT_THAT(log.Messages(DLOG_ERROR), Each(MatchesRegex(lines)));
    EXPECT_FALSE(log.Messages(DLOG_ERROR).empty());
    EXPECT_EQ(log.Messages(DLOG_ERROR).size() > 1, isLeft) << "tried again";
    EXPECT_EQ(fs::is_empty(directory.Path()), !isLeft);
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
}

TEST(TraceInnerTest, LosesNothingToManyThreadsAndAWriter) {
  constexpr size_t threads = 4;
  constexpr uint64_t each = 300;
  const TempDirectory directory;
  {
    TraceInner recorder(SHORT_PERIOD);
    recorder.StartDumpTrace(directory.Path().string());
    std::vector<std::future<void>> workers;
    for (size_t t = 0; t < threads; ++t) {
      workers.push_back(std::async(std::launch::async, [&recorder, t] {
        for (uint64_t ts = 0; ts < each; ++ts) {
          recorder.Begin("event", "", std::to_string(t), ts);
        }
      }));
    }
    workers.clear();  // waits for them
  }
  std::vector<uint64_t> next(threads, 0);
  for (const json& event : Events(Content(directory))) {
    const size_t thread = std::stoul(event.at("tid").get<std::string>());
    ASSERT_EQ(event.at("ts"), next.at(thread)++);
  }
  EXPECT_THAT(next, Each(each));
}

TEST(TraceInnerTest, RemovesItsFileWithoutADocumentAndNoOther) {
  for (const bool isReplaced : {false, true}) {
    const LogCapture log(DLOG_ERROR);
    const TempDirectory directory;
    onNextWrite = [&](size_t) -> size_t {
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

// Of a child that traces and exits.
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
