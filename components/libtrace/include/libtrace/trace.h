// Stand-in for the platform's trace library: the one switch that says how much a process writes to the system log.
//
// The platform sets the switch while the process runs; libraries only look at it. This stand-in has the same interface
// and nothing behind it: an application (or a test) that wants trace lines makes a TraceObject of its own.
//
//     int level = 3;                         // errors
//     TraceObject trace = {&level};
//     g_traceObject = &trace;                // from now on; back to nullptr before `trace` goes out of scope
//     level = 9;                             // everything, at once and for every library of the process

#ifndef LIBTRACE_TRACE_H
#define LIBTRACE_TRACE_H

struct TraceObject {
  // The current trace level; a line is written when the level exceeds the line's threshold. Errors have threshold 2,
  // warnings 3, the three grades of debug lines 6, 7 and 8, so 0 to 2 is silence and 9 is everything. Null: silence.
  // Not owned. The level it points to may change at any time between two lines.
  int* level;
};

// The trace object of this process. Null, which means silence, until the application sets it. Not owned: whoever sets
// it keeps the object alive for as long as it is set.
extern TraceObject* g_traceObject;

#endif
