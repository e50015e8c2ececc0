// The library's block of each thread and the result buffers that hang off it. Only the thread
// itself touches its block, so nothing here is locked.
#include "thread/threadblock.h"

#include "core/memory.h"
#include "platform/platform_thread.h"
#include "thread/utthread.h"

struct ThreadTexts {
  struct Buffer {
    char *text;
    int32_t size;
  } buffers[static_cast<int>(TextSlot::count)];
};

namespace {

void freeTexts(ThreadTexts *texts) {
  if (!texts) return;
  for (ThreadTexts::Buffer &buffer : texts->buffers) Z_FREE(buffer.text, "thread text");
  Z_FREE(texts, "thread texts");
}

} // namespace

ThreadBlock &utThreadBlockMake() {
  ThreadBlock *block = utNew<ThreadBlock>("tsd");
  utPlatThreadBlockSet(block);
  utPlatThreadAtEnd(utThreadBlockEnd, block);
  return *block;
}

void utThreadBlockEnd(void *argument) {
  auto *block = static_cast<ThreadBlock *>(argument);
  while (block->source) block->dropSource(*block); // a command ended the thread
  freeTexts(block->texts);
  Z_FREE(block->moreHolds, "holds");
  utThreadClosureEnd(block->closure);
  Z_FREE(block->lists.begin, "holds");
  utPlatThreadBlockSet(nullptr);
  Z_FREE(block, "tsd");
}

char *utThreadText(TextSlot slot, int32_t size) {
  ThreadBlock &block = utThreadBlock();
  if (!block.texts) block.texts = utNew<ThreadTexts>("thread texts");
  ThreadTexts::Buffer &buffer = block.texts->buffers[static_cast<int>(slot)];
  if (buffer.size < size) {
    buffer.text = static_cast<char *>(Z_REALLOC(buffer.text, size, "thread text"));
    buffer.size = size;
  }
  return buffer.text;
}
