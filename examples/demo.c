/* A first look at zev: vector functions at their accuracy levels, the error
   callback, and a random stream that is saved, skipped and drawn from. */
#include <stdio.h>

#include "zev/zev_vqm.h"
#include "zev/zev_vqs.h"

static int on_error(zev_vqm_error_record* e) {
  printf("  callback: %s element %d status %d (argument %g)\n", e->name, e->index, e->status, e->a1);
  return 0; /* go on with the default handling */
}

int main(void) {
  const double x[6] = {-2.5, -0.5, 0.5, 1.5, 2.5, 710.0};
  double r[6];
  printf("zev module, processor level %d, mode 0x%X\n", dll_cpu_version(), zev_vqm_kernel_GetMode());

  _vqmdRound(6, x, r);
  printf("dRound:   ");
  for (int i = 0; i < 6; ++i) printf(" %g", r[i]);
  printf("\n");

  /* The same function at its three levels; 710 overflows and is reported. */
  zev_vqm_kernel_SetErrorCallBack(on_error);
  _vqmdExp_50(6, x, r);
  printf("dExp LA:   %.17g\n", r[2]);
  _vqmdExp(6, x, r);
  printf("dExp HA:   %.17g (status %d)\n", r[2], zev_vqm_kernel_GetErrStatus());
  _vqmdExp_26(6, x, r);
  printf("dExp EP:   %.17g\n", r[2]);
  zev_vqm_kernel_ClearErrorCallBack();

  /* A Mersenne Twister stream: skip a million numbers, then draw five. */
  void* stream = NULL;
  const unsigned int seed[1] = {2026};
  if (__vqsNewStreamEx(&stream, ZEV_BRNG_MT19937, 1, seed) != 0) return 1;
  __vqsSkipAheadStream(stream, 1000000);
  double u[5];
  __vqsdBRngMT19937(stream, 5, u, 0.0, 1.0);
  printf("MT19937 after 10^6:");
  for (int i = 0; i < 5; ++i) printf(" %.6f", u[i]);
  printf("\n");
  __vqsDeleteStream(&stream);
  return 0;
}
