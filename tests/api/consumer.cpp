// The same in C++20.
#include <zut.h>

#include <cstdio>
#include <memory>

int main() {
  const std::unique_ptr<ZutHashTable, void (*)(ZutHashTable *)> table(
      ZutHashCreateInt(4), [](ZutHashTable *t) { ZutHashDestroy(t, nullptr, 0); });
  ZutHashInsert(table.get(), 7, 1);
  std::puts(ZutHashLookup(table.get(), 7) == 1 ? ZutErrNumToStr(3) : "lost");
}
