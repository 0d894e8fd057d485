// Messages to the user of an object.
//
// Whoever makes an object that may have something to say gives it a sink. The engine itself prints nothing.
#pragma once

#include <cstdio>

namespace tessel {

enum class MessageKind { Error, Warning };

// Where messages go. `write` is called with the sink's owner, in the thread that works on the object; the text lives as
// long as the call. A null `write` is silence.
struct MessageSink {
  void (*write)(void *owner, MessageKind kind, const char *text) = nullptr;
  void *owner = nullptr;

  void operator()(MessageKind kind, const char *text) const {
    if (write != nullptr) write(owner, kind, text);
  }
};

inline constexpr int kMessageBytes = 512;  // the longest message with its final zero; longer ones are cut

// A sink with the text of the last error.
struct MessageLog {
  MessageSink sink;
  char last[kMessageBytes] = "";  // empty when the last work ended without an error

  void Clear() { last[0] = '\0'; }
  // Keeps the text of an error and passes it on.
  void Error(const char *text) {
    std::snprintf(last, sizeof last, "%s", text);
    sink(MessageKind::Error, last);
  }
};

}  // namespace tessel
