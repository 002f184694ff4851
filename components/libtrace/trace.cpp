#include "libtrace/trace.h"

TraceObject* g_traceObject = nullptr;
