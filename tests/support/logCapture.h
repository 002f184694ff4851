// The system log, caught. What the library writes is seen as the system would see it: the calls of syslog are caught at
// the border of the process, not by a hook in the library.

#ifndef TESTS_SUPPORT_LOGCAPTURE_H
#define TESTS_SUPPORT_LOGCAPTURE_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <libtrace/trace.h>

// One line as it was handed to the system log. The fields from `tag` on are read from the text of a trace line,
// "[ERROR] components/trel/trelmsg.cpp:120 (serialize) - buffer too small"; a text of another form leaves them empty (`line`
// 0) and is, as a whole, the message.
struct LogLine {
  int priority = 0;      // as given: 3 error, 4 warning, 7 debug
  std::string format;    // the format, before the arguments were put in
  std::string text;      // the line with the arguments put in
  std::string tag;       // "[ERROR]"
  std::string file;      // "components/trel/trelmsg.cpp"
  int line = 0;          // 120
  std::string function;  // "serialize"
  std::string message;   // "buffer too small"
};

// While it lives, g_traceObject points to a trace object of its own at the level given, and every line that anything in
// this process hands to the system log is kept here instead. The end brings back the g_traceObject from before. Outside
// of every capture lines are dropped: no test writes to the log of the machine it runs on.
//
//     LogCapture log;                                    // everything
//     message.serialize(block.data(), 3);
//     EXPECT_EQ(log.brief(3), std::vector<std::string>{"3 [ERROR] trelmsg (serialize) - buffer too small"});
//
// Captures may be nested, last made first ended; the innermost gets the lines. For one thread.
class LogCapture {
 public:
  // Above 2 errors are written, above 3 warnings, above 6, 7 and 8 the three grades of debug lines.
  explicit LogCapture(int level = 9);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Every line so far, oldest first.
  const std::vector<LogLine>& lines() const { return lines_; }
  // The same without what moves with every edit: "3 [ERROR] trelmsg (serialize) - message", that is priority, tag, the
  // file's name without folder and extension, function, message. A line of another form: priority and text.
  std::vector<std::string> brief() const;
  // Those of one priority.
  std::vector<std::string> brief(int priority) const;
  // How many lines have this in their message.
  std::size_t count(std::string_view partOfMessage) const;
  // From the next line on.
  void setLevel(int level) { level_ = level; }
  // Forgets the lines so far.
  void clear() { lines_.clear(); }
  // Called with each line, while the library writes it.
  std::function<void(const LogLine& line)> whileWriting;

  // For the functions that stand in for the system log: keeps the line, by the innermost capture, if there is one.
  static void keep(int priority, const char* format, std::string text);

 private:
  int level_;
  TraceObject trace_;
  TraceObject* formerTrace_;
  LogCapture* formerCapture_;
  std::vector<LogLine> lines_;
};

#endif
