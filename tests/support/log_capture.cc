#include "support/log_capture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace vorel::test {
namespace {

std::mutex g_mutex;
std::vector<LogLine> g_lines;

int capture(int priority, const char *tag, const char *format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.push_back({priority, tag, text});
    return length;
}

}  // namespace

LogCapture::LogCapture() : before_(vorel_set_log_print(capture)) { take(); }

LogCapture::~LogCapture() { vorel_set_log_print(before_); }

std::vector<LogLine> LogCapture::take() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return std::exchange(g_lines, {});
}

std::string LogCapture::only() {
    const std::vector<LogLine> lines = take();
    if (lines.size() != 1) return std::to_string(lines.size()) + " lines";
    return lines[0].tag + "|" + lines[0].text;
}

}  // namespace vorel::test
