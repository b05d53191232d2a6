#include "foundation/debug_log.h"
#include "support/seams.h"

namespace ovn {
namespace {

class TraceTest : public test::SeamsTest {
 protected:
  TraceTest() { kw_trace_reset(); }
};

TEST_F(TraceTest, TraceStampsEachLineWithTheTimeSinceThePreviousOne) {
  // 2026-11-23 10:00:00 in base 64, field by field: 2026 "vG", 11 "b", 23 "n", 10 "a", 0, 0.
  EXPECT_EQ(kw_trace("open"), "*****Debug  init\r\nvGbna00 000.000 open");
  seams.clock.advance(1250);
  EXPECT_EQ(kw_trace("send ", true), "vGbna01 001.250 send ");
  seams.clock.advance(3000);
  EXPECT_EQ(kw_trace("DT*"), "DT*");  // continues the open line
  seams.clock.advance(61000);
  EXPECT_EQ(kw_trace("reply"), "vGbna15 064.000 reply");
  seams.clock.advance(1000.0 * 1000);
  EXPECT_EQ(kw_trace("late").substr(8), "1000.000 late");
  EXPECT_TRUE(seams.log.lines.empty()) << "the trace line is written nowhere";
}

}  // namespace
}  // namespace ovn
