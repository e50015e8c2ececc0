/* A program outside the tree, in C: includes the header, links the library, finds its data. */
#include <zut.h>

#include <stdio.h>

int main(void) {
  ZutHashTable *table = ZutHashCreateStr(4);
  ZutHashInsert(table, (ZutWord) "one", 1);
  if (ZutHashLookup(table, (ZutWord) "one") != 1 || !ZutInit("consumer")) return 1;
  printf("%s\n", ZutErrNumToStr(3));
  return 0;
}
