#include "containers/strlist.h"

#include "base/memory.h"

void utStrListFree(ZutStrList *list) {
  while (list) {
    ZutStrList *next = list->next;
    Z_FREE(list->string, "(one_str_copy->string)");
    Z_FREE(list, "one_str_copy");
    list = next;
  }
}
