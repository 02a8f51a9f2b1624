// What every exported function does around its handler: it configures the trace log at the first
// call of the process, traces the call, its arguments and its result, and lets no exception out.
#ifndef KXL_API_ENTRY_FRAME_H
#define KXL_API_ENTRY_FRAME_H

#include <kxl/kxl.h>

#include <cstdint>
#include <string_view>

#include "api/request_preferences.h"
#include "platform/thread_guards.h"

namespace kxl {

// Configures the log once a process, from the preferences; of several first calls at once, one does
// and the others wait. A failure is not reported: the process then goes on without a log.
void EnsureLogConfigured(RequestPreferences& preferences);

// Writes "In <function>(...)".
void TraceCall(std::string_view function);

// Write "<name> = <value>", with the value "= NULL" for a null text and "= true" or "= false" for
// a boolean: the doubled sign sets them apart from texts of that content.
void TraceText(std::string_view name, const char* value);
void TraceBoolean(std::string_view name, bool value);

// Writes "return code = 3(ESD_ERR_INVALIDDATA)", to be flushed with the next line.
void TraceResult(std::int32_t code);

// Writes "exception failure".
void TraceException() noexcept;

// Runs body. When it throws, that is traced, and result keeps the value that it has by then.
template <typename Result, typename Body>
void GuardEntry(Result& result, Body body) noexcept {
  const CancellationBlock noCancellation;
  try {
    body(result);
  } catch (...) {
    TraceException();
  }
}

// Runs what follows a change that is on the disk: nothing that it throws takes that back.
template <typename Body>
void AfterSuccess(Body body) noexcept {
  try {
    body();
  } catch (...) {
    TraceException();
  }
}

// The frame of the functions that answer a result code: trace writes the arguments, handler answers
// the code and is given the request's preferences.
template <typename Trace, typename Handler>
std::int32_t TracedRequest(std::string_view function, Trace trace, Handler handler) noexcept {
  std::int32_t code = ESD_ERR_FAILURE;
  GuardEntry(code, [&](std::int32_t& result) {
    RequestPreferences preferences;
    EnsureLogConfigured(preferences);
    TraceCall(function);
    trace();
    result = handler(preferences);
    TraceResult(result);
  });
  return code;
}

}  // namespace kxl

#endif  // KXL_API_ENTRY_FRAME_H
