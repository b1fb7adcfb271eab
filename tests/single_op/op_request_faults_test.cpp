// Whatever fails while a request is built, all of it is released.
#include <new>
#include <stdexcept>

#include "faults/failing_allocation.h"
#include "ormo/status.h"
#include "single_op/op_request.h"
#include "single_op/platform_context.h"
#include "single_op/request_text.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

class OpRequestFaults : public PlatformContext {};

// A tensor each way and an attribute of every type.
std::string FullRequest() {
  return Request(ONE_FLOAT, ONE_FLOAT,
                 Attr("int", "1") + "," + Attr("float", "1") + "," + Attr("bool", "true") + "," +
                     Attr("string", "\"a text too long to be kept in place\"") + "," +
                     Attr("list_int", "[1,2]") + "," + Attr("list_float", "[1,2]") + "," +
                     Attr("list_bool", "[true,false]"));
}

TEST_F(OpRequestFaults, OtherExceptionsComeOutWithEverythingReleased) {
  const std::string requests[] = {
      FullRequest(),
      // Levels that the JSON library would need memory to destroy.
      R"({"op_type":"a","op_type":[[[1],[2]],{"b":{"c":[]}}],"inputs":[[[[1]],{"d":[2]}]]})",
      "[[[[[{\"a\":[[[",
      Request("", "", Attr("list_int", R"({"a":[[1],2],"b":{}})")),
  };
  for (const std::string& request : requests) {
    SCOPED_TRACE(request);
    ZelnnParamterInner plain;
    const int expected = ZelnnParamterConstructor(request, plain);
    ZelnnParamterDestructor(plain);
    int64_t nth = 0;
    bool hasFailed = true;
    while (hasFailed) {
      ZelnnParamterInner inner;
      bool hasThrown = false;
      {
        const FailingAllocation failing(++nth);
        try {
          EXPECT_EQ(ZelnnParamterConstructor(request, inner), expected);
        } catch (const std::bad_alloc&) {
          hasThrown = true;
        }
        hasFailed = failing.HasFailed();
      }
      EXPECT_EQ(hasThrown, hasFailed) << nth;
      EXPECT_TRUE(!hasThrown || (inner.inputs.empty() && inner.attrs.empty())) << nth;
      ZelnnParamterDestructor(inner);
      EXPECT_EQ(Left(), "") << nth;
    }
    EXPECT_GT(nth, 5);
  }
  OrmoHost::Throw("zelCreateFloatArray", 1);
  ZelnnParamterInner inner;
  EXPECT_THROW(ZelnnParamterConstructor(FullRequest(), inner), std::runtime_error);
}

}  // namespace
}  // namespace Ormo::Testing
