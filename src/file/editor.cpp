// Showing files: in an editor, or copied to the output.
#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/print.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/setting.h"
#include "base/text.h"
#include "file/file.h"
#include "file/filetable.h"
#include "platform/platform.h"
#include "platform/platform_file.h"

namespace {

constexpr char tableDump[] = "files.dmp";

// An empty text names no editor: the command would be the file itself.
char *editorName() {
  char *name = utOptionDup("editor");
  if (name && *name) return name;
  Z_FREE(name, "editor");
  name = utEnvDup("EDITOR");
  if (name && *name) return name;
  Z_FREE(name, "editor");
  return utDup(utPlatDefaultEditor, "editor");
}

// The number of the line that holds the byte at `offset`, 0 when it is unknown.
int32_t lineAt(const char *name, long offset) {
  FILE *stream = offset < 0 ? nullptr : utPlatFileOpen(name, "rb");
  if (!stream) return 0;
  int32_t line = 1;
  for (int c; offset > 0 && (c = std::getc(stream)) != EOF; --offset) {
    if (c == '\n') ++line;
  }
  std::fclose(stream);
  return line;
}

// The name is quoted as one word of the command. The offset is that of the byte to show, -1 for
// none.
int32_t runEditor(const char *editor, const char *name, long offset) {
  const int32_t wordLength = utPlatShellWord(name, nullptr);
  if (wordLength < 0) return utFail(Err::invalid);
  char *word = utNewArray<char>(wordLength + 1, "file name");
  utPlatShellWord(name, word);
  utCheck(std::strlen(word) == static_cast<size_t>(wordLength));
  const size_t size = std::strlen(editor) + sizeof " +2147483647 " + std::strlen(word);
  char *command = utNewArray<char>(static_cast<int64_t>(size), "editor command");
  const int32_t line = utSame(editor, "emacs") ? lineAt(name, offset) : 0;
  if (line > 0) {
    std::snprintf(command, size, "%s +%ld %s", editor, static_cast<long>(line), word);
  } else {
    std::snprintf(command, size, "%s %s", editor, word);
  }
  utCheck(std::strlen(command) < size - 1); // nothing was cut
  const int32_t result = ZutSystem(command);
  Z_FREE(command, "editor command");
  Z_FREE(word, "file name");
  if (result == -1) return utFail(Err::os);
  return utPlatCommandMissing(editor, result) ? utFail(Err::notFound) : 1;
}

int32_t show(const char *name, long offset) {
  char *editor = editorName();
  utCheck(*editor);
  const int32_t result =
      utSame(editor, "_cat") ? ZutCatFile(name) : runEditor(editor, name, offset);
  Z_FREE(editor, "editor");
  return result;
}

int32_t Z_CALL dumpNode(ZutFileNode *node, ZutWord argument) {
  auto *out = reinterpret_cast<FILE *>(argument);
  std::fprintf(out, "File Name: <%s>\nFile Mode: <%s>\nFile Ptr:  <%ld>\nFile Desc: <%d>\n",
               node->fname, node->mode, static_cast<long>(reinterpret_cast<intptr_t>(node->stream)),
               static_cast<int>(utPlatFileDescriptor(node->stream)));
  std::fprintf(out, "Ref Count: <%ld>\n\n", static_cast<long>(node->ref_count));
  return 0;
}

// One more opener of a stream, so that it stays open, and copies of its name and mode.
bool holdFile(FILE *stream, char **name, char **mode) {
  const ProcessGuard guard;
  ZutFileNode *node = utFileNodeOf(stream);
  if (!node) return false;
  utCheck(node->ref_count > 0);
  ++node->ref_count;
  *name = utDup(node->fname, "file_node->fname");
  *mode = utDup(node->mode, "file_node->mode");
  return true;
}

// An editor may have put a new file in the old one's place. A stream that reads goes on where it
// was, one that writes at the end.
void reopen(FILE *stream, const char *name, const char *mode, long position) {
  const ProcessGuard guard;
  const KeepMode keep(mode);
  if (!utPlatFileReopen(stream, name, keep.text)) {
    utFailC();
    utReport<Msg::viewReopen>(Z_TRACE_LEVEL_WARNING, name);
  } else if (position >= 0 && mode[0] == 'r') {
    std::fseek(stream, position, SEEK_SET);
  }
}

} // namespace

extern "C" {

int32_t Z_CALL ZutFileExamine(void) {
  FILE *out = ZutOpenFile(tableDump, "w+b");
  if (!out) {
    utReport<Msg::examineOpen>(Z_TRACE_LEVEL_WARNING);
    return 0;
  }
  std::fprintf(out, "     Open Files\n\n");
  ZutFileTraverse(dumpNode, reinterpret_cast<ZutWord>(out));
  ZutCloseFile(out);
  return ZutEditFile(tableDump, 1);
}

int32_t Z_CALL ZutCatFile(const char *name) {
  if (!name) return utFail(Err::nullPointer);
  FILE *stream = ZutOpenFile(name, "r+b");
  if (!stream) {
    utReport<Msg::catFileOpen>(Z_TRACE_LEVEL_WARNING, name);
    return 0;
  }
  const long position = std::ftell(stream); // others may share the stream
  std::rewind(stream);
  for (int c; (c = std::getc(stream)) != EOF;) ZutOut("%c", c);
  if (position >= 0) std::fseek(stream, position, SEEK_SET);
  return ZutCloseFile(stream);
}

int32_t Z_CALL ZutEditFile(const char *name, int32_t wait) {
  if (!name) return utFail(Err::nullPointer);
  if (wait != 0 && wait != 1) return utFail(Err::invalid);
  return show(name, -1);
}

FILE *Z_CALL ZutViewFilePtr(FILE *stream) {
  if (!stream) return utFailNull(Err::nullPointer);
  char *name = nullptr;
  char *mode = nullptr;
  if (!holdFile(stream, &name, &mode)) {
    utReport<Msg::viewUnknownStream>(Z_TRACE_LEVEL_WARNING, reinterpret_cast<intptr_t>(stream),
                                     utPlatFileDescriptor(stream));
    return stream;
  }
  std::fflush(stream);
  const long position = std::ftell(stream);
  show(name, position); // without the lock: an editor may run for hours
  reopen(stream, name, mode, position);
  ZutCloseFile(stream);
  Z_FREE(name, "file_node->fname");
  Z_FREE(mode, "file_node->mode");
  return stream;
}

} // extern "C"
