#include "card.h"

#include "counted.h"

BENCH_CALLER bool bench::Card::answers(std::string& request, int length) {
  putMessageId(request, nextMessageId());
  engine.answerLength = 0;
  const int sent = engine.handleTrelMsg(static_cast<int>(request.size()), request.data(), "127.0.0.1");
  return sent == 1 && engine.answerLength == length && engine.answer[8] == RESULT_OK;
}
