// The table of open files: one node for each name and mode, with one stream that all openers of
// it share. The table, its nodes and the two hooks are guarded by the process mutex, which is held
// over the opening and closing of the streams too: an open never waits (platform_file.h), and a
// slow hook delays every thread, which is the program's responsibility.
#include "file/filetable.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "base/report.h"
#include "base/text.h"
#include "file/file.h"
#include "platform/platform_file.h"

namespace {

ZutDqNode *files; // the sentinel, made by the first open
ZutFileOpenFunc openHook;
ZutFileCloseFunc closeHook;

ZutFileNode *nodeAt(ZutDqNode *links) {
  return links == files ? nullptr : reinterpret_cast<ZutFileNode *>(links);
}
ZutFileNode *firstNode() { return files ? nodeAt(files->right) : nullptr; }
ZutFileNode *nextNode(ZutFileNode *node) { return nodeAt(node->links.right); }

// Names that differ in case only are one file, unless the file system shows two.
ZutFileNode *nodeNamed(const char *name) {
  ZutFileNode *alike = nullptr;
  for (ZutFileNode *node = firstNode(); node; node = nextNode(node)) {
    utCheck(node->fname && node->mode && node->stream);
    if (utSame(node->fname, name)) return node;
    if (!alike && utSameName(node->fname, name) && !utPlatFilesDiffer(node->fname, name)) {
      alike = node;
    }
  }
  return alike;
}

void addNode(const char *name, const char *mode, FILE *stream) {
  utCheck(files && stream);
  auto *node = utNew<ZutFileNode>("file_node");
  node->fname = utDup(name, "file_node->fname");
  node->mode = utDup(mode, "file_node->mode");
  node->stream = stream;
  node->ref_count = 1;
  ZutDqRightInsert(&node->links, files->left);
}

void freeNode(ZutFileNode *node) {
  utCheck(node->ref_count == 0);
  Z_FREE(node->fname, "file_node->fname");
  Z_FREE(node->mode, "file_node->mode");
  Z_FREE(node, "file_node");
}

// A caller that wants no backup uses one of the other modes that truncate.
bool wantsBackup(const char *mode) { return utSame(mode, "w") || utSame(mode, "w+b"); }

FILE *openStream(const char *name, const char *mode) {
  const KeepMode keep(mode);
  if (wantsBackup(mode) && !ZutBackupFile(name)) {
    utReport<Msg::backupFailed>(Z_TRACE_LEVEL_WARNING, name);
    mode = keep.text;
  }
  return openHook ? openHook(name, mode) : ZutFOpen(name, mode);
}

void closeStream(const ZutFileNode &node) {
  const int32_t result = closeHook ? closeHook(node.stream) : std::fclose(node.stream);
  if (result != 0) utReport<Msg::closeFailed>(Z_TRACE_LEVEL_WARNING, node.fname, result);
}

} // namespace

ZutFileNode *utFileNodeOf(const FILE *stream) {
  ZutFileNode *node = firstNode();
  while (node && node->stream != stream) node = nextNode(node);
  return node;
}

KeepMode::KeepMode(const char *mode) : text{} {
  char *end = text;
  *end++ = mode[0] == 'w' ? 'a' : mode[0];
  for (const char letter : {'+', 'b', 't', 'n'}) {
    if (std::strchr(mode, letter)) *end++ = letter;
  }
  utCheck(end < text + sizeof text);
}

FileRotation utFileRotate(FILE *stream, const char *name, const char *mode) {
  std::fflush(stream);
  const bool moved = ZutBackupFile(name) && utPlatFileKind(name) == PlatFileKind::none;
  if (!moved) return FileRotation::kept;
  if (utPlatFileReopen(stream, name, mode)) return FileRotation::done;
  utFailC();
  return FileRotation::failed;
}

extern "C" {

FILE *Z_CALL ZutOpenFile(const char *name, const char *mode) {
  if (!name || !mode) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  if (!files) ZutDqOpen(&files);
  if (ZutFileNode *node = nodeNamed(name)) {
    if (!utSame(node->mode, mode)) return utFailNull(Err::typeMismatch);
    utCheck(node->ref_count > 0);
    ++node->ref_count;
    return node->stream;
  }
  FILE *stream = openStream(name, mode);
  if (stream) addNode(name, mode, stream);
  return stream;
}

FILE *Z_CALL ZutLookupFile(const char *name) {
  if (!name) return utFailNull(Err::nullPointer);
  const ProcessGuard guard;
  const ZutFileNode *node = nodeNamed(name);
  return node ? node->stream : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutCloseFile(FILE *stream) {
  if (!stream) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  ZutFileNode *node = utFileNodeOf(stream);
  if (!node) return utFail(Err::notFound);
  utCheck(node->ref_count > 0);
  if (--node->ref_count > 0) return 1;
  ZutDqDetach(files, &node->links); // first: a close hook may open the same name again
  closeStream(*node);
  freeNode(node);
  return 1;
}

int32_t Z_CALL ZutFileTraverse(ZutFileTraverseFunc function, ZutWord argument) {
  if (!function) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  for (ZutFileNode *node = firstNode(); node;) {
    ZutFileNode *next = nextNode(node); // the function may close this one
    if (const int32_t result = function(node, argument)) return result;
    node = next;
  }
  return utFail(Err::none);
}

int32_t Z_CALL ZutSetFileOpenFunc(ZutFileOpenFunc function) {
  if (!function) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  openHook = function;
  return 1;
}

int32_t Z_CALL ZutSetFileCloseFunc(ZutFileCloseFunc function) {
  if (!function) return utFail(Err::nullPointer);
  const ProcessGuard guard;
  closeHook = function;
  return 1;
}

} // extern "C"
