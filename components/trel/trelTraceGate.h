// Private: the gate in front of the system log.
//
// A line is written only while the platform's trace object exists and its level is above the line's threshold. Shut, a
// line costs the comparison: no argument is evaluated, no text is built. Every line starts with its tag and "%s:%d (%s)
// - ", which TREL_HERE fills with file, line and function:
//
//   TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Property == NULL", TREL_HERE, name.c_str());
//
// The format stands at the line's own place in the source, whole, because operators search for it.
#ifndef TREL_TRELTRACEGATE_H
#define TREL_TRELTRACEGATE_H

#include <libtrace/trace.h>

// Declared here instead of including <syslog.h>, which turns the call into one of another name when it is fortified: a
// program that stands in for the system log is found under this one. Every format is a literal, so nothing is lost.
// Cold: what builds a line lies apart from what answers a datagram.
extern "C" void syslog(int priority, const char* format, ...) __attribute__((format(printf, 2, 3), cold));

namespace trelTrace {

// tag         threshold   syslog priority
// [ERROR]     2           3
// [WARNING]   3           4
// [DEBUG1]    6           7
// [DEBUG2]    7           7
// [DEBUG3]    8           7
inline constexpr int ERROR_THRESHOLD = 2;
inline constexpr int WARNING_THRESHOLD = 3;
inline constexpr int DEBUG1_THRESHOLD = 6;
inline constexpr int DEBUG2_THRESHOLD = 7;
inline constexpr int DEBUG3_THRESHOLD = 8;
inline constexpr int ERROR_PRIORITY = 3;
inline constexpr int WARNING_PRIORITY = 4;
inline constexpr int DEBUG_PRIORITY = 7;

// The level now: below every threshold while there is no trace object.
inline int level() {
  if (g_traceObject == nullptr || g_traceObject->level == nullptr) return 0;
  return *g_traceObject->level;
}

inline bool above(int threshold, int level) { return __builtin_expect(level > threshold, 0) != 0; }
inline bool above(int threshold) { return above(threshold, level()); }

// Where a line comes from, for lines that a helper writes in the name of the operation that called it.
struct Site {
  const char* file;
  int line;
  const char* function;
};

}  // namespace trelTrace

#define TREL_HERE __FILE__, __LINE__, __func__
#define TREL_SITE \
  trelTrace::Site { TREL_HERE }
#define TREL_AT(site) (site).file, (site).line, (site).function

#define TREL_TRACE(threshold, priority, ...)                        \
  do {                                                              \
    if (trelTrace::above(threshold)) syslog(priority, __VA_ARGS__); \
  } while (false)

#define TREL_ERROR(...) TREL_TRACE(trelTrace::ERROR_THRESHOLD, trelTrace::ERROR_PRIORITY, __VA_ARGS__)
#define TREL_WARNING(...) TREL_TRACE(trelTrace::WARNING_THRESHOLD, trelTrace::WARNING_PRIORITY, __VA_ARGS__)
#define TREL_DEBUG1(...) TREL_TRACE(trelTrace::DEBUG1_THRESHOLD, trelTrace::DEBUG_PRIORITY, __VA_ARGS__)
#define TREL_DEBUG2(...) TREL_TRACE(trelTrace::DEBUG2_THRESHOLD, trelTrace::DEBUG_PRIORITY, __VA_ARGS__)
#define TREL_DEBUG3(...) TREL_TRACE(trelTrace::DEBUG3_THRESHOLD, trelTrace::DEBUG_PRIORITY, __VA_ARGS__)

// The same where the level has just been looked at, for lines that follow each other with no hook between them.
#define TREL_TRACE_AT(level, threshold, ...)                                                \
  do {                                                                                      \
    if (trelTrace::above(threshold, level)) syslog(trelTrace::DEBUG_PRIORITY, __VA_ARGS__); \
  } while (false)

#define TREL_DEBUG2_AT(level, ...) TREL_TRACE_AT(level, trelTrace::DEBUG2_THRESHOLD, __VA_ARGS__)
#define TREL_DEBUG3_AT(level, ...) TREL_TRACE_AT(level, trelTrace::DEBUG3_THRESHOLD, __VA_ARGS__)

#endif
