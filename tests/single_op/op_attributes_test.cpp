// Attributes, and what becomes of a request when one cannot be made. A program of its own: it
// replaces malloc.

#include "ormo/status.h"
#include "single_op/op_request.h"
#include "single_op/platform_context.h"
#include "single_op/request_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace {

// Blocks of this size are refused; 0: none.
size_t refusedSize = 0;

}  // namespace

// The linker's names for malloc and for what is called in its place.
void* RealMalloc(size_t size) asm("__real_malloc");
void* Malloc(size_t size) asm("__wrap_malloc");

// What stands in for malloc in the sources of this program.
void* Malloc(size_t size) {
  return size == refusedSize ? nullptr : RealMalloc(size);
}

namespace Ormo::Testing {
namespace {

class OpAttributes : public PlatformContext {};

TEST_F(OpAttributes, AnAttributeThatCannotBeMadeFailsTheRequest) {
  const std::string text = "\"" + std::string(40, 't') + "\"";
  // The function of the platform, or none for malloc of so many bytes; type and value; the line.
  const std::tuple<std::string, size_t, std::string, std::string, std::string> faults[] = {
      {"", 41, "string", text, "malloc for str attr failed!"},
      {"", 6009, "list_int", "[1" + Repeat(",1", 750) + "]", "] is malloc failed!"},
      {"memset_s", 0, "string", text, "memset_s or memcpy_s for str attr failed!"},
      {"memcpy_s", 0, "list_int", "[1]", "memcpy_s for int attr failed!"},
      {"zelCreateFloatArray", 0, "list_float", "[1]", "zelCreateFloatArray failed!"},
      {"zelCreateBoolArray", 0, "list_bool", "[true]", "zelCreateBoolArray failed!"},
  };
  for (const auto& [function, size, type, value, line] : faults) {
    SCOPED_TRACE(line);
    const std::string request = Request(ONE_FLOAT, "", Attr(type, value));
    const LogCapture log(DLOG_ERROR);
    ZelnnParamterInner inner;
    if (!function.empty()) {
      OrmoHost::Fail(function, 1, 9);
    }
    refusedSize = size;
    EXPECT_EQ(ZelnnParamterConstructor(request, inner), STATUS_FAILED);
    refusedSize = 0;
    EXPECT_TRUE(log.Contains(DLOG_ERROR, line)) << PrintToString(log.Messages());
    EXPECT_TRUE(log.Contains(DLOG_ERROR, "Parse attr[a][" + type + "] failed!"));
    EXPECT_EQ(Left(), "");
  }
}

}  // namespace
}  // namespace Ormo::Testing
