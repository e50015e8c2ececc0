// From start to the prompt and out again, all options made and the catalog loaded: against lua
// reading the files that the shell reads, and against tclsh with nothing to do.
#include "support/row.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

Row::Function start(const std::vector<std::string> &command) {
  return [command](benchmark::State &state) {
    std::vector<char *> words;
    for (const std::string &word : command) words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);
    for (auto _ : state) {
      pid_t child = 0;
      int status = 0;
      if (posix_spawnp(&child, words[0], nullptr, nullptr, words.data(), environ) != 0 ||
          waitpid(child, &status, 0) < 0 || status != 0) {
        state.SkipWithError("the program failed");
        break;
      }
    }
  };
}

} // namespace

void addRows() {
  const Row::Function shell = start({BENCH_BIN "/zutsh", "-n", "-c", ""});
  const Row::Function lua =
      start({"lua5.4", "-e", "for line in io.lines('" BENCH_SHARE "/standard/orl_wl.cat') do end"});
  Row("start", "zutsh and lua").clock().ours(shell).peer("lua5.4", lua);
  Row("start", "zutsh and tclsh").clock().ours(shell).peer("tclsh", start({"tclsh", "/dev/null"}));
}
