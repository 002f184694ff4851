#include "support/logCapture.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

// <syslog.h> is not included: with fortified headers it defines these names itself, as inline functions.

namespace {

LogCapture* innermost = nullptr;

// Takes the text up to `end` from the front of `rest`, and `end` with it. False: there is no `end`, nothing is taken.
bool takeUpTo(std::string_view& rest, std::string_view end, std::string& taken) {
  const std::size_t position = rest.find(end);
  if (position == std::string_view::npos) return false;
  taken = std::string(rest.substr(0, position));
  rest.remove_prefix(position + end.size());
  return true;
}

// Reads "[TAG] file:line (function) - message" into the fields. False: the text has another form.
bool readTraceLine(std::string_view text, LogLine& line) {
  std::string number;
  if (text.empty() || text.front() != '[') return false;
  if (!takeUpTo(text, "] ", line.tag)) return false;
  line.tag += ']';
  if (!takeUpTo(text, ":", line.file)) return false;
  if (!takeUpTo(text, " (", number)) return false;
  if (number.empty() || number.size() > 9 || number.find_first_not_of("0123456789") != std::string::npos) return false;
  line.line = std::stoi(number);
  if (!takeUpTo(text, ") - ", line.function)) return false;
  line.message = std::string(text);
  return true;
}

LogLine readLine(int priority, const char* format, std::string text) {
  LogLine read;
  const bool isTraceLine = readTraceLine(text, read);
  LogLine line = isTraceLine ? std::move(read) : LogLine();
  if (!isTraceLine) line.message = text;
  line.priority = priority;
  line.format = format;
  line.text = std::move(text);
  return line;
}

std::string moduleOf(const std::string& file) {
  const std::size_t slash = file.rfind('/');
  const std::string name = slash == std::string::npos ? file : file.substr(slash + 1);
  return name.substr(0, name.rfind('.'));
}

std::string briefOf(const LogLine& line) {
  const std::string priority = std::to_string(line.priority) + " ";
  if (line.tag.empty()) return priority + line.text;
  return priority + line.tag + " " + moduleOf(line.file) + " (" + line.function + ") - " + line.message;
}

std::string textOf(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return std::string("(unprintable: ") + format + ")";
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

}  // namespace

LogCapture::LogCapture(int level)
    : level_(level), trace_{&level_}, formerTrace_(g_traceObject), formerCapture_(innermost) {
  g_traceObject = &trace_;
  innermost = this;
}

LogCapture::~LogCapture() {
  g_traceObject = formerTrace_;
  innermost = formerCapture_;
}

void LogCapture::keep(int priority, const char* format, std::string text) {
  if (innermost == nullptr) return;
  innermost->lines_.push_back(readLine(priority, format, std::move(text)));
  if (innermost->whileWriting) innermost->whileWriting(innermost->lines_.back());
}

std::vector<std::string> LogCapture::brief() const {
  std::vector<std::string> texts;
  for (const LogLine& line : lines_)
    texts.push_back(briefOf(line));
  return texts;
}

std::vector<std::string> LogCapture::brief(int priority) const {
  std::vector<std::string> texts;
  for (const LogLine& line : lines_) {
    if (line.priority == priority) texts.push_back(briefOf(line));
  }
  return texts;
}

std::size_t LogCapture::count(std::string_view partOfMessage) const {
  std::size_t found = 0;
  for (const LogLine& line : lines_) {
    if (line.message.find(partOfMessage) != std::string::npos) ++found;
  }
  return found;
}

// The four names under which a program reaches the system log: the two documented ones and the two that fortified
// headers turn them into. Defined in the test program, they are found before the C library's, by shared libraries too.
extern "C" {

[[gnu::visibility("default"), gnu::format(printf, 2, 0)]] void vsyslog(int priority, const char* format,
                                                                       va_list arguments) {
  LogCapture::keep(priority, format, textOf(format, arguments));
}

[[gnu::visibility("default"), gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

[[gnu::visibility("default"), gnu::format(printf, 3, 0)]] void __vsyslog_chk(int priority, int /*flag*/,
                                                                             const char* format, va_list arguments) {
  vsyslog(priority, format, arguments);
}

[[gnu::visibility("default"), gnu::format(printf, 3, 4)]] void __syslog_chk(int priority, int /*flag*/,
                                                                            const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}
}
