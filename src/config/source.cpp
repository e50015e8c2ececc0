// When is a frame gone? Stacks grow downwards, so the frames of the callers lie above the one that
// asks, and a frame at its address or below is gone, unless one of the two is on another stack, to
// which a command has switched. A frame above is gone as well when the one that asks was called
// from deeper within the program: then its mark has as a rule been overwritten. Where it has not,
// the record stays until an operation is called from further out, and is safe to read.
#include "config/source.h"

#include "config/command.h"
#include "platform/platform_thread.h"
#include "thread/threadblock.h"

namespace {

// The mark may lie in memory that belongs to other frames by now, which an instrumented read would
// take for a fault.
[[gnu::noinline, gnu::no_sanitize_address]] bool isMarked(const CommandSource &source) {
  return *source.mark == &source;
}

bool liesBelow(const void *frame, const void *limit) {
  return reinterpret_cast<uintptr_t>(frame) <= reinterpret_cast<uintptr_t>(limit);
}

bool isGone(const CommandSource &source, const void *frame) {
  if (!liesBelow(source.frame, frame)) return !isMarked(source);
  return utPlatThreadStackHolds(source.frame) && utPlatThreadStackHolds(frame);
}

void drop(ThreadBlock &thread) {
  CommandSource *source = thread.source;
  thread.source = source->outer;
  thread.typed = source->typedBefore;
  source->release(*source);
}

} // namespace

CommandSource *utSourceInnermost(const void *frame) {
  ThreadBlock &thread = utThreadBlock();
  while (thread.source && isGone(*thread.source, frame)) drop(thread);
  return thread.source;
}

bool utSourceFits(const void *frame, const char *text) {
  const CommandSource *source = utSourceInnermost(frame);
  if (!source || source->depth < utCommandDepthMax) return true;
  utCommandFail<Msg::parseTooDeep>(Z_TRACE_LEVEL_ERROR, utCommandDepthMax, text);
  return false;
}

void utSourceEnter(CommandSource &source, const void *frame, CommandSource *volatile &mark) {
  ThreadBlock &thread = utThreadBlock();
  source.outer = thread.source;
  source.depth = (source.outer ? source.outer->depth : 0) + (source.file ? 0 : 1);
  source.typedBefore = thread.typed;
  source.frame = frame;
  mark = &source;
  source.mark = &mark;
  thread.source = &source;
  thread.dropSource = drop;
}

void utSourceSettle(const CommandSource &source) {
  ThreadBlock &thread = utThreadBlock();
  while (thread.source != &source) drop(thread);
}

void utSourceLeave(CommandSource &source) {
  utSourceSettle(source);
  drop(utThreadBlock());
}
