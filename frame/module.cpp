#include "zev/zev_vqm.h"

extern "C" ZEV_API int dll_cpu_version(void) { return 3; }
