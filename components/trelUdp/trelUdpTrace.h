// Private: the transport's own lines in the system log, behind the same switch and thresholds as the engine's.
//
//   TREL_UDP_ERROR("[ERROR] %s:%d (%s) - %s", TREL_UDP_HERE, text.c_str());
//
// A line that is not written evaluates none of its arguments. The format stands whole at the line's own place, because
// operators search for it.
#ifndef TREL_TRELUDPTRACE_H
#define TREL_TRELUDPTRACE_H

#include <libtrace/trace.h>

// Declared here instead of including <syslog.h>, which turns the call into one of another name when it is fortified: a
// program that stands in for the system log is found under this one. Every format is a literal, so nothing is lost.
extern "C" void syslog(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

namespace trelUdpTrace {

// The level above which a line of this kind is written.
inline constexpr int ERROR_THRESHOLD = 2;
inline constexpr int WARNING_THRESHOLD = 3;
inline constexpr int DEBUG1_THRESHOLD = 6;
// The priority that the system log is given.
inline constexpr int ERROR_PRIORITY = 3;
inline constexpr int WARNING_PRIORITY = 4;
inline constexpr int DEBUG_PRIORITY = 7;

inline bool isAbove(int threshold) {
  return g_traceObject != nullptr && g_traceObject->level != nullptr && *g_traceObject->level > threshold;
}

}  // namespace trelUdpTrace

#define TREL_UDP_HERE __FILE__, __LINE__, __func__

#define TREL_UDP_TRACE(threshold, priority, ...)                         \
  do {                                                                   \
    if (trelUdpTrace::isAbove(threshold)) syslog(priority, __VA_ARGS__); \
  } while (false)

#define TREL_UDP_ERROR(...) TREL_UDP_TRACE(trelUdpTrace::ERROR_THRESHOLD, trelUdpTrace::ERROR_PRIORITY, __VA_ARGS__)
#define TREL_UDP_WARNING(...) \
  TREL_UDP_TRACE(trelUdpTrace::WARNING_THRESHOLD, trelUdpTrace::WARNING_PRIORITY, __VA_ARGS__)
#define TREL_UDP_DEBUG1(...) TREL_UDP_TRACE(trelUdpTrace::DEBUG1_THRESHOLD, trelUdpTrace::DEBUG_PRIORITY, __VA_ARGS__)

#endif
