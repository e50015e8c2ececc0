// zutsh: the shell. A program around the command interpreter of the library, whose every behaviour
// is the library's; here are the command line, the exit code, the standard streams and the
// reports of failures.
#include "zut.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int exitFailed = 1, exitUsage = 64;

constexpr char usage[] =
    "usage: zutsh [-ein] [-d FILE] [-c TEXT | -f FILE]...\n"
    "  -c TEXT    run the commands of TEXT, then leave\n"
    "  -f FILE    run the commands of FILE, then leave\n"
    "  -i         stay at the prompt after -c and -f\n"
    "  -n         do not read the start-up files (zutsh.cm)\n"
    "  -e         stop at the first command that fails\n"
    "  -d FILE    write a debug file\n"
    "  --help     print this\n"
    "  --version  print the version\n"
    "Without -c and -f commands are read from the standard input.\n"
    "Exit codes: 0, 1 when a command failed or output was lost, 2 after a fatal error, 64 for bad\n"
    "usage.\n";

// A stream that is closed at the start would be opened again by the next file that anything opens.
// A file that refuses what the stream is for takes its place.
void keepPlace(FILE *stream, const char *otherMode) {
  constexpr bool posix = std::filesystem::path::preferred_separator == '/';
  errno = 0;
  if (std::ftell(stream) != -1 || errno != EBADF) return;
  if (!std::freopen(posix ? "/dev/null" : "NUL", otherMode, stream)) std::exit(exitFailed);
}

// Says so, once, when not all of the standard output could be written.
bool isOutputLost() {
  static bool lost = false;
  if (lost || (std::fflush(stdout) == 0 && !std::ferror(stdout))) return lost;
  lost = true;
  std::fputs("zutsh: cannot write to the standard output\n", stderr);
  return true;
}

int exitCode() { return isOutputLost() || ZutCommandGetFailures() > 0 ? exitFailed : 0; }

void Z_CALL failed(const char *file, int32_t line, const char *command) {
  std::fflush(stdout);
  if (!file) return;
  std::fprintf(stderr, "%s:%ld: command failed%s%s\n", file, static_cast<long>(line),
               *command ? ": " : "", command);
  std::fflush(stderr);
}

// The command quit ends a process with 0; a script needs to know that a command failed before.
void Z_CALL leaving(void *, void *, ZutWord) {
  ZutCommandPrintFeedback("This process is now exiting.\n");
  ZutExit(exitCode());
}

// What -c and -f ask for, in the order given.
struct Job {
  char kind;
  const char *text;
};

struct CommandLine {
  std::vector<Job> jobs;
  const char *debugFile = nullptr;
  bool staysAtPrompt = false;
  bool skipsStartup = false;
  bool stopsAtFailure = false;
};

[[noreturn]] void leaveWith(FILE *stream, const char *text, int code) {
  std::fputs(text, stream);
  std::exit(code == 0 && isOutputLost() ? exitFailed : code);
}

[[noreturn]] void refuse(const char *argument, const char *why) {
  std::fprintf(stderr, "zutsh: <%s>: %s\n", argument, why);
  leaveWith(stderr, usage, exitUsage);
}

CommandLine readArguments(int argc, char **argv) {
  CommandLine line;
  for (int i = 1; i < argc; ++i) {
    const char *argument = argv[i];
    if (std::strcmp(argument, "--help") == 0) leaveWith(stdout, usage, 0);
    if (std::strcmp(argument, "--version") == 0) leaveWith(stdout, "zutsh " ZUT_VERSION "\n", 0);
    if (argument[0] != '-' || !argument[1]) refuse(argument, "not an option");
    for (const char *letter = argument + 1; *letter; ++letter) {
      switch (*letter) {
      case 'i': line.staysAtPrompt = true; break;
      case 'n': line.skipsStartup = true; break;
      case 'e': line.stopsAtFailure = true; break;
      case 'c':
      case 'f':
      case 'd':
        if (i + 1 == argc) refuse(argument, "an argument is missing");
        ++i;
        if (*letter == 'd') line.debugFile = argv[i];
        else line.jobs.push_back({*letter, argv[i]});
        break;
      default: refuse(argument, "no such option");
      }
    }
  }
  return line;
}

// Starts the library without leaving a debug file in the working directory, unless one is wanted.
void start(const char *debugFile) {
  const char *given = nullptr;
  ZutGetenv("VNDEBUGFILENAME", &given);
  const bool sets = debugFile || !given;
  if (sets) ZutPutenv(("VNDEBUGFILENAME=" + std::string(debugFile ? debugFile : "stderr")).c_str());
  ZutInit("zutsh");
  if (sets) ZutPutenv("VNDEBUGFILENAME="); // so that _debug_set may choose another
  ZutInitThreads();
  ZutOutInit();
  ZutPerrorSetEnable(1);
}

// Without its catalog the library prints no message, so the shell reports that. A file that the
// library has read is shared, not read again.
void checkCatalog(const char *name) {
  ZutCatalog *catalog = ZutCatCreate(name);
  const char *read = nullptr;
  if (!ZutCatFilenameGet(catalog, &read)) {
    std::fflush(stdout);
    std::fprintf(stderr, "zutsh: cannot read the message catalog %s: messages are not printed\n",
                 name ? name : "(none)");
  }
  ZutCatDestroy(catalog);
}

void Z_CALL catalogChanged(void *, void *data, ZutWord) {
  checkCatalog(static_cast<const char *>(static_cast<ZutOptionChangeData *>(data)->value));
}

void watchCatalog() {
  ZutOption *option = ZutOptionLookup("catalog_file");
  const char *name = nullptr;
  ZutOptionGetStr(option, &name);
  checkCatalog(name);
  ZutOptionChangeCbCreate(option, catalogChanged, 0);
}

void run(const CommandLine &line) {
  const auto stops = [&line] { return line.stopsAtFailure && ZutCommandGetFailures() > 0; };
  if (!line.skipsStartup) ZutCommandParseStd2("zutsh", 0, "zutsh.cm", 0);
  for (const Job &job : line.jobs) {
    if (stops()) return;
    if (job.kind == 'c') ZutCommandParseTypedStr(job.text);
    else ZutCommandParseFile(job.text);
  }
  if ((line.jobs.empty() || line.staysAtPrompt) && !stops()) ZutCommandMainLoop();
}

} // namespace

int main(int argc, char **argv) {
  keepPlace(stdin, "w");
  keepPlace(stdout, "r");
  keepPlace(stderr, "r");
  const CommandLine line = readArguments(argc, argv);
  start(line.debugFile);
  watchCatalog();
  ZutCommandSetFailureFunc(failed);
  ZutCommandSetStopAtFailure(line.stopsAtFailure ? 1 : 0);
  ZutQuitCbCreate(leaving, 0);
  run(line);
  ZutExit(exitCode());
}
