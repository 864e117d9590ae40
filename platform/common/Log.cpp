#include "platform/Log.h"

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "platform/LightweightString.h"
#include "platform/common/Mutex.h"
#include "platform/common/TextFormat.h"

namespace {

// SinkHolder: the sinks of the process. A text takes a reference to them and is passed on with no
// lock held, so that a sink may itself log.
class SinkHolder {
public:
  std::shared_ptr<const DiagnosticSinks> get() {
    MutexLock lock(lock_);
    return sinks_;
  }
  std::shared_ptr<const DiagnosticSinks> exchange(std::shared_ptr<const DiagnosticSinks> sinks) {
    MutexLock lock(lock_);
    return std::exchange(sinks_, std::move(sinks));
  }

private:
  Mutex lock_;
  std::shared_ptr<const DiagnosticSinks> sinks_ GUARDED_BY(lock_) =
      std::make_shared<DiagnosticSinks>();
};

// Never destroyed: diagnostics are written before main and after it.
SinkHolder& holder() {
  static SinkHolder& only = *new SinkHolder;
  return only;
}

// One call, so that texts of several threads do not mix.
void write(std::FILE* stream, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

// None without memory. Who has something to say is often at the end of something and must not fail
// there: then the format itself is written, as it stands.
std::optional<std::string> formatted(const char* format, va_list arguments) try {
  return formatText(format, arguments);
} catch (const std::bad_alloc&) {
  std::fputs(format, stderr);
  return std::nullopt;
}

}  // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): `text` is declared
#define FORMAT_INTO(text, format)                                          \
  va_list arguments;                                                       \
  va_start(arguments, format);                                             \
  std::optional<std::string> formattedText = formatted(format, arguments); \
  va_end(arguments);                                                       \
  if (!formattedText) return;                                              \
  const std::string& text = *formattedText
// NOLINTEND(bugprone-macro-parentheses)

void Log(const char* format, ...) {
  FORMAT_INTO(text, format);
  auto sinks = holder().get();
  sinks->log ? sinks->log(text) : write(stderr, text);
}

void LogBoth(const char* format, ...) {
  FORMAT_INTO(text, format);
  auto sinks = holder().get();
  if (sinks->logBoth) return sinks->logBoth(text);
  write(stderr, text);
  write(stdout, text);
}

void qa_splat(int level, const char* format, ...) {
  FORMAT_INTO(text, format);
  auto sinks = holder().get();
  sinks->splat ? sinks->splat(level, text) : write(stderr, text);
}

void putOut(const char* format, ...) {
  FORMAT_INTO(text, format);
  auto sinks = holder().get();
  sinks->out ? sinks->out(text) : write(stdout, text);
}

void herc_putstr(int column, int row, const wchar_t* text) {
  std::wstring shown = text ? text : L"";
  auto sinks = holder().get();
  if (sinks->display) return sinks->display(column, row, shown);
  LightweightString<char> bytes = toUTF8(LightweightString<wchar_t>(std::wstring_view(shown)));
  write(stderr, std::string(bytes.view()) + "\n");
}

DiagnosticSinks setDiagnosticSinks(DiagnosticSinks sinks) {
  return *holder().exchange(std::make_shared<const DiagnosticSinks>(std::move(sinks)));
}
