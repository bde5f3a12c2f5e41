/* A user's program against the installed headers and libraries. */
#include <stdio.h>
#include <zev/zev_core.h>
#include <zev/zev_vqm.h>

int main(void) {
  const double a[5] = {-2.5, -0.5, 0.5, 1.5, 2.5};
  double r[5];
  _vqmdRound(5, a, r);
  if (r[0] != -3.0 || r[2] != 1.0 || r[4] != 3.0) return 1;
  if (dll_cpu_version() != 3 || zev_vqm_kernel_GetMode() != 0x1A02u) return 2;
  void* p = zev_serv_allocate(100, 128);
  if (p == NULL || ((unsigned long)p & 127) != 0) return 3;
  zev_serv_deallocate(p);
  printf("consumer: ok\n");
  return 0;
}
