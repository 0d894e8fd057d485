// Messages kept instead of printed.
#pragma once

#include <string>
#include <vector>

#include "algebra/messages.h"

// Must outlive the objects that its sink is given to.
struct Messages {
  std::vector<std::string> texts;  // "Error: ..." and "Warning: ..."

  tessel::MessageSink Sink() { return {Keep, this}; }

 private:
  static void Keep(void *owner, tessel::MessageKind kind, const char *text) {
    const std::string label = kind == tessel::MessageKind::Error ? "Error: " : "Warning: ";
    static_cast<Messages *>(owner)->texts.push_back(label + text);
  }
};
