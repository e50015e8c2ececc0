// Child processes, temporary directories and captured output for the tests.
//
// A child is a function of the same test program, run by starting the program again:
//   CHILD(fatal) { ZutFatalError("gone"); }
//   const Result result = runChild("fatal", {{"VN_FATAL_ERROR_ABORT", "1"}});
#pragma once

#include "zut.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

struct Result {
  int code = -1;        // exit code; 128 + signal when a signal ended it
  std::string out;      // standard output, line ends as "\n"
  std::string err;      // standard error
  bool aborted() const; // ended by abort()
};

using Environment = std::vector<std::pair<std::string, std::string>>;

// Runs a CHILD of this program. An environment value of "-" removes the variable.
Result runChild(const std::string &name, const Environment &environment = {},
                const std::string &input = "");
// Runs a program of the build's bin directory, such as "zutsh", with a command line.
Result runProgram(const std::string &program, const std::vector<std::string> &arguments,
                  const Environment &environment = {}, const std::string &input = "");

struct ChildEntry {
  ChildEntry(const char *name, void (*function)());
};
#define CHILD(name)                                                                                \
  static void child_##name();                                                                      \
  static const ChildEntry entry_##name{#name, child_##name};                                       \
  static void child_##name()

// A fresh directory, the working directory while the object lives, removed with it.
class TempDir {
public:
  TempDir();
  ~TempDir();
  const std::filesystem::path &path() const { return path_; }

private:
  std::filesystem::path path_;
  std::filesystem::path before_;
};

// The bytes of a file; "" when it cannot be read.
std::string readFile(const std::filesystem::path &name);
void writeFile(const std::filesystem::path &name, const std::string &bytes);

// While it lives, what the library prints through its output function is kept instead.
class Capture {
public:
  Capture();
  ~Capture();
  std::string text() const; // what was printed so far
  std::string take();       // the same, then forgets it
};
