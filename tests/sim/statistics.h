// What a run has reached. A run that reached nothing has shown nothing.

#ifndef TESTS_SIM_STATISTICS_H
#define TESTS_SIM_STATISTICS_H

namespace sim {

enum Counted : unsigned int {
  STEPS,
  SENT,
  DELIVERED,
  LOST,
  DOUBLED,
  OVERTAKEN,
  TRUNCATED,
  FLIPPED,
  SPOOFED,
  HOSTILE,
  REQUESTS_SERVED,
  REQUESTS_REFUSED,
  CUT_REQUESTS,
  TOO_LONG,
  DUPLICATES,
  GAPS,
  NO_CONTEXT,
  READS_ACKNOWLEDGED,
  WRITES_ACKNOWLEDGED,
  RETRIES,
  TIMED_OUT,
  STALE_REPLIES,
  UNASKED_RESPONSES,
  AMIS_SENT,
  AMIS_FOR_SIZE,
  AMIS_RECEIVED,
  OLD_STYLE_SERVED,
  HOOKS_CALLED,
  HOOKS_REFUSED,
  HOOKS_THREW,
  NESTED_CALLS,
  RESTARTS,
  SETTLED,
  MIRRORS_COMPARED,
  COUNTED
};

inline constexpr const char* COUNTED_NAMES[COUNTED] = {"steps",
                                                       "datagrams sent",
                                                       "datagrams delivered",
                                                       "lost by the link",
                                                       "doubled",
                                                       "overtaken by later ones between the same two",
                                                       "truncated",
                                                       "with flipped bits",
                                                       "with a spoofed sender",
                                                       "hostile",
                                                       "requests served",
                                                       "requests refused",
                                                       "requests that end inside a TLV",
                                                       "answers too long",
                                                       "duplicates marked",
                                                       "gaps marked",
                                                       "senders without a context",
                                                       "reads acknowledged",
                                                       "writes acknowledged",
                                                       "retries",
                                                       "time-outs",
                                                       "old replies processed again",
                                                       "unasked responses handed over",
                                                       "autonomous messages sent",
                                                       "of these for their size",
                                                       "autonomous messages received",
                                                       "old-style variables served",
                                                       "hooks called",
                                                       "hooks that refused",
                                                       "hooks that threw",
                                                       "calls from inside a call",
                                                       "restarts",
                                                       "times both ends agreed",
                                                       "mirrored variables compared"};

struct Statistics {
  unsigned long long of[COUNTED] = {};

  void add(const Statistics& other) {
    for (unsigned int i = 0; i < COUNTED; ++i)
      of[i] += other.of[i];
  }
};

}  // namespace sim

#endif
