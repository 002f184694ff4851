// The datagrams that tests handle, kept as inputs for the fuzz targets.

#ifndef TESTS_SUPPORT_CORPUSDUMP_H
#define TESTS_SUPPORT_CORPUSDUMP_H

#include <string_view>

// When the environment variable TREL_CORPUS_DUMP names a folder, writes what is given below it, in the form of the targets of
// tests/fuzz that take such a thing, as <target>/<suite>.<test>; a number tells the second and the following of a test. Without
// the variable nothing happens. What is long or one of many in its test is left out: a corpus is small.

// A datagram that an engine received: one input by itself, and a step of a sequence.
void dumpReceived(std::string_view datagram);
// The reply that a transport gave for a request.
void dumpReply(std::string_view request, std::string_view reply);

#endif
