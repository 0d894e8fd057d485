// Calls of all exports with arguments drawn from any bytes: nothing outside the memory that a call was given is read or
// written, nothing leaks, and results are the same when a call is repeated.
#include <cstdio>
#include <cstdlib>

#include "support/exports.h"
#include "support/random_calls.h"

// Memory may be short, as it is for sizes that are given by mistake.
extern "C" MORV_API const char *__asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=256";
}

// The messages of the exports go nowhere.
static void SilenceMessages() {
  static const bool silent = [] { return std::freopen("/dev/null", "w", stdout) != nullptr; }();
  (void)silent;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  SilenceMessages();
  for (const ExportCall &call : DrawCalls({data, size})) {
    const std::string fault = FaultOf(call, FunctionOf(call.name));
    if (!fault.empty()) {
      std::fprintf(stderr, "%s: %s\n", call.name.c_str(), fault.c_str());
      std::abort();
    }
  }
  return 0;
}
