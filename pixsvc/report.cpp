// Error and warning reports: the last report per thread and an optional
// host handler that sees every report.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "internal.hpp"

namespace {

struct LastReport {
  int code = 0;
  int warning = 0;
  char function[96] = "";
  char message[512] = "";
};

thread_local LastReport last;

// The host's handler. Reports are rare (failures only), so a mutex around
// the pair is cheap and keeps the function and its user pointer together.
std::mutex handler_mutex;
im_report_handler handler_fn = nullptr;
void *handler_user = nullptr;

int record(int warning, const char *func, int code, const char *fmt, va_list args) {
  last.code = code;
  last.warning = warning;
  std::snprintf(last.function, sizeof last.function, "%s", func ? func : "");
  if (fmt)
    std::vsnprintf(last.message, sizeof last.message, fmt, args);
  else
    last.message[0] = '\0';
  im_report_handler fn;
  void *user;
  {
    std::lock_guard<std::mutex> lock(handler_mutex);
    fn = handler_fn;
    user = handler_user;
  }
  if (fn) fn(warning, last.function, code, last.message, user);
  return code;
}

}  // namespace

extern "C" {

int im_error(const char *func, int code, const char *fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int r = record(0, func, code, fmt, args);
  va_end(args);
  return r;
}

int im_warn(const char *func, int code, const char *fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int r = record(1, func, code, fmt, args);
  va_end(args);
  return r;
}

int im_last_code(void) {
  return last.code;
}
const char *im_last_function(void) {
  return last.function;
}
const char *im_last_message(void) {
  return last.message;
}
int im_last_is_warning(void) {
  return last.warning;
}

void im_clear_report(void) {
  last = LastReport{};
}

im_report_handler im_set_report_handler(im_report_handler fn, void *user) {
  std::lock_guard<std::mutex> lock(handler_mutex);
  im_report_handler old = handler_fn;
  handler_fn = fn;
  handler_user = fn ? user : nullptr;
  return old;
}

}  // extern "C"
