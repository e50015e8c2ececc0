/* A program outside the tree, in C: includes the header and links the library. */
#include <zut.h>

#include <stdio.h>

int main(void) {
  ZutHashTable *table = ZutHashCreateStr(4);
  ZutHashInsert(table, (ZutWord) "one", 1);
  puts(ZutHashLookup(table, (ZutWord) "one") == 1 ? ZutErrNumToStr(3) : "lost");
  return 0;
}
