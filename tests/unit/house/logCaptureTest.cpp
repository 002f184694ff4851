#include "support/logCapture.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdarg>
#include <string>
#include <vector>

#include "trel/trelObjectId.h"

using Lines = std::vector<std::string>;

namespace {

void callVsyslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

}  // namespace

// What fortified headers turn the calls into; no header declares them.
extern "C" {
void __syslog_chk(int priority, int flag, const char* format, ...);
void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments);
}

namespace {

void callFortifiedVsyslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  __vsyslog_chk(priority, 1, format, arguments);
  va_end(arguments);
}

}  // namespace

TEST(LogCapture, SplitsATraceLineIntoItsParts) {
  LogCapture log;
  syslog(3, "[ERROR] %s:%d (%s) - [%s] %d is too much", "components/trel/trelmsg.cpp", 120, "serialize", "temp", 7);
  ASSERT_EQ(log.lines().size(), 1u);
  const LogLine& line = log.lines()[0];
  EXPECT_EQ(line.priority, 3);
  EXPECT_EQ(line.format, "[ERROR] %s:%d (%s) - [%s] %d is too much");
  EXPECT_EQ(line.text, "[ERROR] components/trel/trelmsg.cpp:120 (serialize) - [temp] 7 is too much");
  EXPECT_EQ(line.tag, "[ERROR]");
  EXPECT_EQ(line.file, "components/trel/trelmsg.cpp");
  EXPECT_EQ(line.line, 120);
  EXPECT_EQ(line.function, "serialize");
  EXPECT_EQ(line.message, "[temp] 7 is too much");
}

TEST(LogCapture, BriefLeavesOutFolderExtensionAndLineNumber) {
  LogCapture log;
  syslog(7, "[DEBUG2] components/trel/trelProperty.h:9 (operator()) - a - b (c) - d");
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG2] trelProperty (operator()) - a - b (c) - d"});
}

TEST(LogCapture, KeepsALineOfAnotherFormWhole) {
  LogCapture log;
  syslog(5, "no trace line");
  syslog(5, "[ERROR] no file here");
  syslog(5, "[ERROR] file.cpp:x12 (f) - number is none");
  EXPECT_EQ(log.brief(),
            (Lines{"5 no trace line", "5 [ERROR] no file here", "5 [ERROR] file.cpp:x12 (f) - number is none"}));
  EXPECT_EQ(log.lines()[1].message, "[ERROR] no file here");
  EXPECT_EQ(log.lines()[1].tag, "");
  EXPECT_EQ(log.lines()[2].file, "");
  EXPECT_EQ(log.lines()[2].line, 0);
}

TEST(LogCapture, CatchesEveryNameOfTheSystemLog) {
  LogCapture log;
  syslog(3, "%s", "syslog");
  callVsyslog(4, "%s", "vsyslog");
  __syslog_chk(5, 1, "%s", "fortified syslog");
  callFortifiedVsyslog(6, "%s", "fortified vsyslog");
  EXPECT_EQ(log.brief(), (Lines{"3 syslog", "4 vsyslog", "5 fortified syslog", "6 fortified vsyslog"}));
}

TEST(LogCapture, KeepsALineOfAnyLength) {
  LogCapture log;
  const std::string much(5000, 'x');
  syslog(3, "%s!", much.c_str());
  EXPECT_EQ(log.lines().at(0).text, much + "!");
}

TEST(LogCapture, TellsTheLinesOfOnePriorityAndCountsMessages) {
  LogCapture log;
  syslog(3, "[ERROR] a.cpp:1 (f) - one bad thing");
  syslog(4, "[WARNING] a.cpp:2 (f) - another thing");
  EXPECT_EQ(log.brief(4), Lines{"4 [WARNING] a (f) - another thing"});
  EXPECT_EQ(log.count("thing"), 2u);
  EXPECT_EQ(log.count("bad"), 1u);
  EXPECT_EQ(log.count("ERROR"), 0u);
}

TEST(LogCapture, ClearForgetsTheLinesSoFar) {
  LogCapture log;
  syslog(3, "before");
  log.clear();
  syslog(3, "after");
  EXPECT_EQ(log.brief(), Lines{"3 after"});
}

TEST(LogCapture, SetsTheTraceLevelAndBringsBackTheFormerTraceObject) {
  int level = 1;
  TraceObject former = {&level};
  g_traceObject = &former;
  {
    LogCapture log(4);
    EXPECT_EQ(*g_traceObject->level, 4);
    log.setLevel(2);
    EXPECT_EQ(*g_traceObject->level, 2);
  }
  EXPECT_EQ(g_traceObject, &former);
  g_traceObject = nullptr;
}

TEST(LogCapture, LevelIsNineWhenNoneIsGiven) {
  const LogCapture log;
  EXPECT_EQ(*g_traceObject->level, 9);
}

TEST(LogCapture, GivesTheLinesToTheInnermostCapture) {
  LogCapture outer;
  {
    LogCapture inner(3);
    syslog(3, "inner");
    EXPECT_EQ(inner.brief(), Lines{"3 inner"});
  }
  syslog(3, "outer");
  EXPECT_EQ(outer.brief(), Lines{"3 outer"});
  EXPECT_EQ(*g_traceObject->level, 9);
}

TEST(LogCapture, DropsLinesOutsideOfEveryCapture) {
  syslog(3, "nobody sees this");
  const LogCapture log;
  EXPECT_EQ(log.lines().size(), 0u);
}

TEST(LogCapture, SeesTheLinesOfTheLibraryWithTheFileAsItLiesInTheTree) {
  LogCapture log;
  const TrelObjectId refused(0x80000000);
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelObjectId.cpp");
  EXPECT_EQ(log.lines()[0].priority, 3);
}

TEST(LogCapture, SeesNoLineOfTheLibraryAtLevelTwo) {
  LogCapture log(2);
  const TrelObjectId refused(0x80000000);
  EXPECT_EQ(log.lines().size(), 0u);
}
