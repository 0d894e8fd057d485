// Standard output led elsewhere for a while: the library prints its messages there.
#pragma once

#include <unistd.h>

#include <cstdio>

#include "failure.h"

// Standard output goes to the file descriptor `to` as long as this object lives.
class Diversion {
 public:
  explicit Diversion(int to) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    if (saved_ < 0 || dup2(to, STDOUT_FILENO) < 0) Fail("standard output", "it cannot be diverted");
  }
  Diversion(const Diversion &) = delete;
  Diversion &operator=(const Diversion &) = delete;
  ~Diversion() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

 private:
  int saved_ = -1;
};
