#include <gtest/gtest.h>
#include <libtrace/trace.h>

TEST(TraceObject, IsNullUntilTheApplicationSetsIt) { EXPECT_EQ(g_traceObject, nullptr); }

TEST(TraceObject, PointsToTheLevelThatTheApplicationOwns) {
  int level = 3;
  TraceObject trace = {&level};
  g_traceObject = &trace;
  level = 9;
  EXPECT_EQ(*g_traceObject->level, 9);
  g_traceObject = nullptr;
}
