// What is told of releases that fail, and of objects used after their end.
#include <stdexcept>
#include <utility>

#include "common/platform_handles.h"
#include "common/scope_exit.h"
#include "common/singleton.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

class Once : public Singleton<Once> {};

TEST(ReleaseTest, TellsWhatFailedAsALineOfTheOwner) {
  const LogCapture log(DLOG_ERROR);
  {
    const ScopeExit throws("one", [] { throw std::runtime_error("thrown"); });
    const ScopeExit fails("two", [] { return 7; });
    ScopeExit dismissed("three", [] { return 8; });
    dismissed.Dismiss();
    char data = 0;
    DataBuffer buffer;
    buffer.Reset(zelCreateDataBuffer(&data, 1));
    OrmoHost::Fail("zelDestroyDataBuffer", 1, 9);
    const DataBuffer moved = std::move(buffer);
  }
  { const Once another; }
  Once::Instance();
  EXPECT_THAT(log.Messages(),
              ElementsAre("Release of a data buffer failed, ret : 9",
                          "Release of two failed, ret : 7", "Release of one threw an exception",
                          HasSubstr("that has already been deconstructed")));
  for (const OrmoHost::LogLine& line : log.Lines()) {
    EXPECT_EQ(line.file, "release_test.cpp") << line.text;
  }
}

}  // namespace
}  // namespace Ormo::Testing
