// The environment. Reads and writes go through one lock and copy at the read, so that a putenv in
// another thread cannot take the text away. In a set-id process the VN variables read as unset.
#pragma once

#include "zut.h"

// A copy to free with Z_FREE, or null when the variable is not set.
char *utEnvDup(const char *name);
bool utEnvIsSet(const char *name);

// Holds such a copy for a scope. Not in a frame that a jump can skip.
class EnvText {
public:
  explicit EnvText(const char *name) : text_(utEnvDup(name)) {}
  ~EnvText() { ZutFree(text_); }
  EnvText(const EnvText &) = delete;
  EnvText &operator=(const EnvText &) = delete;
  explicit operator bool() const { return text_ != nullptr; }
  const char *get() const { return text_; }

private:
  char *text_;
};
