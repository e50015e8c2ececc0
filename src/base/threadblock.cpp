// The library's block of each thread and the result buffers that hang off it. Only the thread
// itself touches its block, so nothing here is locked.
#include "base/threadblock.h"

#include "base/check.h"
#include "base/memory.h"
#include "base/text.h"
#include "platform/platform_thread.h"

namespace {

struct Buffer {
  char *text;
  int32_t size;
};

struct NamedBuffer {
  NamedBuffer *next;
  char *name;
  Buffer buffer;
};

} // namespace

struct ThreadTexts {
  Buffer buffers[static_cast<int>(TextSlot::count)];
  NamedBuffer *named;
};

namespace {

void freeTexts(ThreadTexts *texts) {
  if (!texts) return;
  for (Buffer &buffer : texts->buffers) Z_FREE(buffer.text, "thread text");
  while (NamedBuffer *named = texts->named) {
    texts->named = named->next;
    Z_FREE(named->buffer.text, "thread text");
    Z_FREE(named->name, "thread text name");
    Z_FREE(named, "thread text");
  }
  Z_FREE(texts, "thread texts");
}

ThreadTexts &threadTexts() {
  ThreadBlock &block = utThreadBlock();
  if (!block.texts) block.texts = utNew<ThreadTexts>("thread texts");
  return *block.texts;
}

char *withRoom(Buffer &buffer, int32_t size) {
  utCheck(size > 0 && (buffer.text != nullptr) == (buffer.size > 0));
  if (buffer.size < size) {
    buffer.text = static_cast<char *>(Z_REALLOC(buffer.text, size, "thread text"));
    buffer.size = size;
  }
  return buffer.text;
}

} // namespace

ThreadBlock &utThreadBlockMake() {
  utCheck(!utPlatThreadBlockGet());
  ThreadBlock *block = utNew<ThreadBlock>("tsd");
  utPlatThreadBlockSet(block);
  utPlatThreadAtEnd(utThreadBlockEnd, block);
  return *block;
}

// The command's part first: what a command held when it ended its thread may use the others.
void utThreadBlockEnd(void *argument) {
  auto &block = *static_cast<ThreadBlock *>(argument);
  const auto end = [&block](auto &part) {
    if (part.end) part.end(block);
  };
  end(block.command);
  end(block.callback);
  end(block.rwmutex);
  end(block.thread);
  freeTexts(block.texts);
  utPlatThreadBlockSet(nullptr);
  Z_FREE(&block, "tsd");
}

char *utThreadText(TextSlot slot, int32_t size) {
  utCheck(slot < TextSlot::count);
  return withRoom(threadTexts().buffers[static_cast<int>(slot)], size);
}

char *utThreadNamedText(const char *name, int32_t size) {
  ThreadTexts &texts = threadTexts();
  NamedBuffer *named = texts.named;
  while (named && !utSame(named->name, name)) named = named->next;
  if (!named) {
    named = utNew<NamedBuffer>("thread text");
    named->name = utDup(name, "thread text name");
    named->next = texts.named;
    texts.named = named;
  }
  return withRoom(named->buffer, size);
}
