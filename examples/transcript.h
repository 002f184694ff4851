// What a person sees of the demo, and the judgement: every value that is shown is compared with the one that is expected.
//
//   transcript.section("The whole scalar");
//   transcript.expect("slot", "7", valueText(slot));     // as many as the line shows
//   transcript.judged("slot   UINT8   7");               // the line, and "ok" or what was expected
//   return transcript.end();                             // what differed; the program's exit code
#ifndef EXAMPLES_TRANSCRIPT_H
#define EXAMPLES_TRANSCRIPT_H

#include <string>
#include <vector>

class Transcript {
 public:
  // Colours only when the standard output is a terminal.
  Transcript();

  void title(const std::string& text);
  // Numbered from 1.
  void section(const std::string& name);
  // A line that says something and shows no value of the card.
  void say(const std::string& text = "");

  // One comparison. Also returns whether it held.
  bool expect(const std::string& what, const std::string& expected, const std::string& got);
  // One condition, for a value that cannot be known beforehand.
  bool expectThat(bool holds, const std::string& what, const std::string& expectation, const std::string& got);
  // A line with the values of the comparisons made since the last one, and whether all of them held.
  void judged(const std::string& line);

  // The rest cannot be shown, and why.
  void giveUp(const std::string& why);
  // The list of what differed. 0 when nothing did, else 1.
  int end();

 private:
  void print(const std::string& text);
  std::string coloured(const char* colour, const std::string& text) const;

  bool colours_;
  unsigned int sections_ = 0;
  std::string section_;
  unsigned int comparisons_ = 0;
  std::vector<std::string> differences_;
  std::vector<std::string> notExpected_;  // of the line that comes next
};

#endif
