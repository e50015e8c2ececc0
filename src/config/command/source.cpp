// When is a frame gone? Stacks grow downwards, so the frames of the callers lie above the one that
// asks, and a frame at its address or below is gone, unless one of the two is on another stack, to
// which a command has switched. A frame above is gone as well when the one that asks was called
// from deeper within the program: then its mark has as a rule been overwritten. Where it has not,
// the record, which lies in the heap, stays until an operation is called from further out. After a
// report has jumped, a source counts again only when its own frame has gone on.
#include "config/command/source.h"

#include "base/check.h"
#include "base/threadblock.h"
#include "config/command/command.h"
#include "platform/platform_thread.h"

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

bool isKnown(const CommandSource &source) { return source.jumps == utThreadBlock().jumps; }

void drop(ThreadBlock &block) {
  CommandThread &thread = utCommandThread(block);
  CommandSource *source = thread.source;
  utCheck(source && source->release);
  thread.source = source->outer;
  block.typed = source->typedBefore;
  source->release(*source);
}

// A command ended the thread.
void dropAll(ThreadBlock &block) {
  while (utCommandThread(block).source) drop(block);
}

} // namespace

CommandSource *utSourceInnermost(const void *frame) {
  ThreadBlock &block = utThreadBlock();
  const CommandThread &thread = utCommandThread(block);
  while (thread.source && isGone(*thread.source, frame)) drop(block);
  return thread.source;
}

CommandSource *utSourceKnown(const void *frame) {
  CommandSource *source = utSourceInnermost(frame);
  return source && isKnown(*source) ? source : nullptr;
}

const CommandSource *utSourceOuter(const CommandSource &source) {
  return source.outer && isKnown(*source.outer) ? source.outer : nullptr;
}

bool utSourceFits(const void *frame, const char *text) {
  const CommandSource *source = utSourceKnown(frame);
  if (!source || source->depth < utCommandDepthMax) return true;
  utCommandFail<Msg::parseTooDeep>(Z_TRACE_LEVEL_ERROR, utCommandDepthMax, text);
  return false;
}

void utSourceEnter(CommandSource &source, const void *frame, CommandSource *volatile &mark) {
  ThreadBlock &block = utThreadBlock();
  CommandThread &thread = utCommandThread(block);
  source.outer = thread.source;
  const CommandSource *outer = utSourceOuter(source);
  source.depth = (outer ? outer->depth : 0) + (source.file ? 0 : 1);
  source.jumps = block.jumps;
  utCheck(source.depth <= utCommandDepthMax);
  source.typedBefore = block.typed;
  source.frame = frame;
  mark = &source;
  source.mark = &mark;
  thread.source = &source;
  block.command.end = dropAll;
}

// With its frame those of the sources around it go on that were known when it was last known.
void utSourceSettle(CommandSource &source) {
  ThreadBlock &block = utThreadBlock();
  while (utCommandThread(block).source != &source) drop(block);
  const uint32_t before = source.jumps;
  if (before == block.jumps) return;
  for (CommandSource *known = &source; known && known->jumps == before; known = known->outer)
    known->jumps = block.jumps;
}

void utSourceLeave(CommandSource &source) {
  utCheck(isMarked(source));
  utSourceSettle(source);
  drop(utThreadBlock());
}
