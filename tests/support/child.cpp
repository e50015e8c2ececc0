#include "support/child.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <mutex>
#include <sstream>
#include <thread>

#ifdef _WIN32
#  include <process.h>
#  include <windows.h>
#else
#  include <fcntl.h>
#  include <spawn.h>
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

struct Registered {
  std::string name;
  void (*function)();
};

std::vector<Registered> &children() {
  static std::vector<Registered> list;
  return list;
}

fs::path program; // of this test, absolute

fs::path freshName(const char *kind) {
  static std::atomic<int> count = 0; // children may run side by side
#ifdef _WIN32
  const int process = _getpid();
#else
  const int process = getpid();
#endif
  return fs::temp_directory_path() / (std::string("zut-") + kind + "-" + std::to_string(process) +
                                      "-" + std::to_string(count++));
}

void setVariable(const std::string &name, const std::string &value) {
#ifdef _WIN32
  _putenv((name + "=" + (value == "-" ? "" : value)).c_str());
#else
  if (value == "-") unsetenv(name.c_str());
  else setenv(name.c_str(), value.c_str(), 1);
#endif
}

using Arguments = std::vector<std::string>; // the program first

#ifdef _WIN32
// As the C runtime takes a command line apart again.
std::string commandLine(const Arguments &arguments) {
  std::string line;
  for (const std::string &argument : arguments) {
    size_t slashes = 0;
    line += line.empty() ? "\"" : " \"";
    for (char c : argument) {
      if (c == '"') line.append(slashes + 1, '\\');
      slashes = c == '\\' ? slashes + 1 : 0;
      line += c;
    }
    line.append(slashes, '\\') += '"';
  }
  return line;
}

HANDLE openStream(const fs::path &name, DWORD access, DWORD how) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  return CreateFileW(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, how,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Exit code of the program, its standard streams joined to the files; -1 if it cannot start.
int start(const Arguments &arguments, const fs::path &in, const fs::path &out,
          const fs::path &err) {
  STARTUPINFOA streams = {};
  streams.cb = sizeof streams;
  streams.dwFlags = STARTF_USESTDHANDLES;
  streams.hStdInput = openStream(in, GENERIC_READ, OPEN_EXISTING);
  streams.hStdOutput = openStream(out, GENERIC_WRITE, CREATE_ALWAYS);
  streams.hStdError = openStream(err, GENERIC_WRITE, CREATE_ALWAYS);
  PROCESS_INFORMATION process = {};
  std::string line = commandLine(arguments);
  DWORD code = static_cast<DWORD>(-1);
  if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &streams,
                     &process)) {
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  for (HANDLE file : {streams.hStdInput, streams.hStdOutput, streams.hStdError}) CloseHandle(file);
  return static_cast<int>(code);
}
#else
int start(const Arguments &arguments, const fs::path &in, const fs::path &out,
          const fs::path &err) {
  constexpr int create = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_t streams;
  posix_spawn_file_actions_init(&streams);
  posix_spawn_file_actions_addopen(&streams, 0, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&streams, 1, out.c_str(), create, 0600);
  posix_spawn_file_actions_addopen(&streams, 2, err.c_str(), create, 0600);
  std::vector<char *> list;
  for (const std::string &argument : arguments)
    list.push_back(const_cast<char *>(argument.c_str()));
  list.push_back(nullptr);
  pid_t process = 0;
  int status = 0;
  const int failed = posix_spawn(&process, list[0], &streams, nullptr, list.data(), environ);
  posix_spawn_file_actions_destroy(&streams);
  if (failed || waitpid(process, &status, 0) != process) return -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
#endif

Result run(const Arguments &arguments, const Environment &environment, const std::string &input) {
  const fs::path in = freshName("in"), out = freshName("out"), err = freshName("err");
  writeFile(in, input);
  Environment before;
  for (const auto &[name, value] : environment) {
    const char *old = std::getenv(name.c_str());
    before.emplace_back(name, old ? old : "-");
    setVariable(name, value);
  }
  Result result;
  result.code = start(arguments, in, out, err);
  std::reverse(before.begin(), before.end());
  for (const auto &[name, value] : before) setVariable(name, value);
  result.out = readFile(out);
  result.err = readFile(err);
  std::error_code ignored;
  for (const fs::path &name : {in, out, err}) fs::remove(name, ignored);
  return result;
}

std::string captured;
std::mutex captureLock;

int32_t Z_CALL captureOutput(const char *format, va_list args) {
  va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return length;
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, args);
  text.pop_back();
  const std::lock_guard guard(captureLock);
  captured += text;
  return length;
}

} // namespace

bool Result::aborted() const {
#ifdef _WIN32
  return code == 3;
#else
  return code == 128 + 6;
#endif
}

namespace {

// Does another thread get the process mutex within a second? Not if a path forgot to unlock.
bool processMutexIsFree() {
  std::promise<void> taken;
  std::future<void> done = taken.get_future();
  std::thread([taken = std::move(taken)]() mutable {
    ZutProcessMutexLock();
    ZutProcessMutexUnlock();
    taken.set_value();
  }).detach();
  return done.wait_for(std::chrono::seconds(1)) == std::future_status::ready;
}

class MutexListener : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo &) override {
    if (processMutexIsFree()) return;
    ADD_FAILURE() << "the case ended with the process mutex held";
    ZutProcessMutexUnlock();
  }
};

} // namespace

ChildEntry::ChildEntry(const char *name, void (*function)()) {
  children().push_back({name, function});
}

Result runChild(const std::string &name, const Environment &environment, const std::string &input) {
  return run({program.string(), "--child", name}, environment, input);
}

Result runProgram(const std::string &name, const std::vector<std::string> &arguments,
                  const Environment &environment, const std::string &input) {
  fs::path file = program.parent_path() / name;
  file += program.extension();
  Arguments line{file.string()};
  line.insert(line.end(), arguments.begin(), arguments.end());
  return run(line, environment, input);
}

TempDir::TempDir() : path_(freshName("dir")), before_(fs::current_path()) {
  fs::create_directories(path_);
  fs::current_path(path_);
}

TempDir::~TempDir() {
  fs::current_path(before_);
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string readFile(const fs::path &name) {
  std::ifstream file(name, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  std::string text = bytes.str();
#ifdef _WIN32
  std::erase(text, '\r');
#endif
  return text;
}

void writeFile(const fs::path &name, const std::string &bytes) {
  std::ofstream(name, std::ios::binary) << bytes;
}

Capture::Capture() {
  captured.clear();
  ZutSetOutputFunc(captureOutput);
}

Capture::~Capture() { ZutSetOutputFunc(nullptr); }

std::string Capture::text() const {
  const std::lock_guard guard(captureLock);
  return captured;
}

std::string Capture::take() {
  const std::lock_guard guard(captureLock);
  return std::exchange(captured, {});
}

int main(int argc, char **argv) {
  program = fs::absolute(argv[0]);
  if (argc == 3 && std::strcmp(argv[1], "--child") == 0) {
    for (const Registered &child : children()) {
      if (child.name == argv[2]) {
        child.function();
        if (processMutexIsFree()) return 0;
        std::fprintf(stderr, "the child ended with the process mutex held\n");
        return 98;
      }
    }
    std::fprintf(stderr, "no child %s\n", argv[2]);
    return 99;
  }
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new MutexListener);
  return RUN_ALL_TESTS();
}
