/* A first look at zev: vector functions at their accuracy levels, the mode word
   and the error callback. */
#include <stdio.h>

#include "zev/zev_vqm.h"

static int on_error(zev_vqm_error_record* e) {
  printf("  callback: %s element %d status %d\n", e->name, e->index, e->status);
  return 0; /* go on with the default handling */
}

int main(void) {
  const double x[6] = {-2.5, -0.5, 0.49999999999999994, 1.5, 2.5, 1e300};
  double r[6];
  printf("zev module, processor level %d, mode 0x%X\n", dll_cpu_version(), zev_vqm_kernel_GetMode());

  _vqmdRound(6, x, r);
  printf("dRound:");
  for (int i = 0; i < 6; ++i) printf(" %g", r[i]);
  printf("\ndRint: ");
  _vqmdRint(6, x, r);
  for (int i = 0; i < 6; ++i) printf(" %g", r[i]);
  printf("\n");

  zev_vqm_kernel_SetErrorCallBack(on_error);
  zev_vqm_kernel_ClearErrStatus();
  _vqmdCeil(6, x, r);
  printf("status after dCeil: %d\n", zev_vqm_kernel_GetErrStatus());
  return 0;
}
