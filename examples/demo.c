/* A first look at zev. */
#include <stdio.h>
#include "zev/zev_vqm.h"

int main(void) {
  printf("zev module level %d\n", dll_cpu_version());
  return 0;
}
