// Abtract streams: the numbers come from a caller's buffer, and the caller's
// callback refill it. The stream does not own the buffer.
//
// The index i where the next new number goes (the callback's write
// poition); the unused count is how many numbers behind it are still unread.
// The read poition is therefore index - unused, modulo the buffer size. A
// new tream's buffer counts as full: index 0, unused = buffer size.
//
// On x86-64 the buffer and callback pointer take 8 bytes each, so the states
// are 32, 48 and 40 byte (streams of 48, 64 and 56 bytes).
#include <type_traits>

#include "generators/common/init.h"
#include "streams/stream.h"

namespace {

template <class V, class Range>
struct AbstractState {
  uint32_t size;
  uint32_t index;
  uint32_t unused;
  Range range;
  V* buf;
  void* cb;
};

struct NoRange {};
struct DRange { double lo, hi; };
struct SRange { float lo, hi; };

using IState = AbstractState<unsigned int, NoRange>;
using DState = AbstractState<double, DRange>;
using SState = AbstractState<float, SRange>;
static_assert(sizeof(IState) + 16 == 48);
static_assert(sizeof(DState) + 16 == 64);
static_assert(sizeof(SState) + 16 == 56);

// What the constructors hand to the init function (operation 0, n = 6).
struct InitRecord {
  const unsigned int* size;
  void* const* buf;
  const double* lo;
  const double* hi;
  void* const* cb;
  int kind;  // 0 integer, 1 double, 2 single
};

typedef int (*RawCallback)(void*, unsigned int*, void*, unsigned int*, unsigned int*,
                           unsigned int*);

// Reads n numbers, refilling through the callback; put(k, v) stores one.
template <class St, class Put>
int draw(void* stream, int n, Put put) {
  St* st = zev::vqs::state<St>(stream);
  if (!st->buf) return ZEV_VQS_ERR_NULL;
  if (n <= 0) return ZEV_VQS_OK;
  uint32_t size = st->size;
  uint32_t pos = uint32_t((uint64_t(size - st->unused) + st->index) % size);
  int k = 0;
  while (k < n) {
    while (k < n && st->unused > 0) {
      put(k++, st->buf[pos]);
      pos = pos + 1 == size ? 0 : pos + 1;
      --st->unused;
    }
    if (k == n) break;
    unsigned int want = unsigned(n - k) < size ? unsigned(n - k) : size;
    unsigned int unusedArg = st->unused, indexArg = st->index, sizeArg = size;
    int got = reinterpret_cast<RawCallback>(st->cb)(stream, &sizeArg, st->buf, &want, &unusedArg,
                                                    &indexArg);
    if (got < 0 || unsigned(got) > size) return ZEV_VQS_ERR_ABSTRACT_BAD_COUNT;
    if (got == 0) return ZEV_VQS_ERR_ABSTRACT_ZERO_COUNT;
    pos = st->index;  // the new numbers start where the index stood
    st->index = uint32_t((uint64_t(st->index) + unsigned(got)) % size);
    st->unused = unsigned(got);
  }
  return ZEV_VQS_OK;
}

template <class St>
int init(int op, void* stream, int n, const unsigned int* params, int kind) {
  if (const int refused = zev::gen::refuse_unless_new(op)) return refused;
  const auto* rec = reinterpret_cast<const InitRecord*>(params);
  if (!rec || n != 6 || rec->kind != kind) return ZEV_VQS_ERR_BAD_ARG;
  St* st = zev::vqs::state<St>(stream);
  st->size = *rec->size;
  st->index = 0;
  st->unused = *rec->size;
  st->buf = static_cast<decltype(st->buf)>(*rec->buf);
  st->cb = *rec->cb;
  if constexpr (!std::is_same_v<decltype(st->range), NoRange>) {
    st->range.lo = decltype(st->range.lo)(*rec->lo);
    st->range.hi = decltype(st->range.hi)(*rec->hi);
  }
  return ZEV_VQS_OK;
}

int make(void** stream, int id, unsigned int size, void* buf, double lo, double hi, void* cb,
         int kind) {
  if (!stream) return ZEV_VQS_ERR_BAD_ARG;
  *stream = nullptr;
  if (size == 0 || !buf || !cb) return ZEV_VQS_ERR_BAD_ARG;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(id, &index, &offset);
  int st = __vqsAllocateStream(stream, table, id, index, offset);
  if (st != ZEV_VQS_OK) return st;
  InitRecord rec{&size, &buf, &lo, &hi, &cb, kind};
  return table[index].initFn(ZEV_VQS_INIT_NEW, *stream, 6,
                             reinterpret_cast<const unsigned int*>(&rec));
}

}  // namespace

extern "C" {

ZEV_API int __vqsiNewAbstractStream(void** stream, int n, unsigned int* buf,
                                    zev_vqs_iabstract_cb cb) {
  return make(stream, ZEV_BRNG_IABSTRACT, unsigned(n), buf, 0, 0, reinterpret_cast<void*>(cb), 0);
}
ZEV_API int __vqsdNewAbstractStream(void** stream, int n, double* buf, double a, double b,
                                    zev_vqs_dabstract_cb cb) {
  return make(stream, ZEV_BRNG_DABSTRACT, unsigned(n), buf, a, b, reinterpret_cast<void*>(cb), 1);
}
ZEV_API int __vqssNewAbstractStream(void** stream, int n, float* buf, float a, float b,
                                    zev_vqs_sabstract_cb cb) {
  return make(stream, ZEV_BRNG_SABSTRACT, unsigned(n), buf, a, b, reinterpret_cast<void*>(cb), 2);
}

ZEV_API int __vqsBRngiAbstractInitStream(int op, void* stream, int n, const unsigned int* params) {
  return init<IState>(op, stream, n, params, 0);
}
ZEV_API int __vqsBRngdAbstractInitStream(int op, void* stream, int n, const unsigned int* params) {
  return init<DState>(op, stream, n, params, 1);
}
ZEV_API int __vqsBRngsAbstractInitStream(int op, void* stream, int n, const unsigned int* params) {
  return init<SState>(op, stream, n, params, 2);
}

ZEV_API int __vqsiBRngiAbstract(void* stream, int n, unsigned int* r) {
  return draw<IState>(stream, n, [r](int k, unsigned int v) { r[k] = v; });
}

ZEV_API int __vqsdBRngdAbstract(void* stream, int n, double* r, double a, double b) {
  const DState* st = zev::vqs::state<DState>(stream);
  double lo = st->range.lo, f = (b - a) / (st->range.hi - st->range.lo);
  return draw<DState>(stream, n, [=](int k, double v) { r[k] = (v - lo) * f + a; });
}

ZEV_API int __vqssBRngsAbstract(void* stream, int n, float* r, float a, float b) {
  const SState* st = zev::vqs::state<SState>(stream);
  float lo = st->range.lo, f = (b - a) / (st->range.hi - st->range.lo);
  return draw<SState>(stream, n, [=](int k, float v) { r[k] = (v - lo) * f + a; });
}

// One body for every generate slot an abstract stream does not fill.
int zev_vqs_abstract_wrong_type() { return ZEV_VQS_ERR_ABSTRACT_WRONG_TYPE; }

#pragma GCC diagnostic push
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wattribute-alias"
#endif
#define ZEV_ABSTRACT_STUB(name, ...) \
  ZEV_API int name(__VA_ARGS__) __attribute__((alias("zev_vqs_abstract_wrong_type")));
ZEV_ABSTRACT_STUB(__vqsdBRngiAbstract, void*, int, double*, double, double)
ZEV_ABSTRACT_STUB(__vqsdBRngsAbstract, void*, int, double*, double, double)
ZEV_ABSTRACT_STUB(__vqsiBRngdAbstract, void*, int, unsigned int*)
ZEV_ABSTRACT_STUB(__vqsiBRngsAbstract, void*, int, unsigned int*)
ZEV_ABSTRACT_STUB(__vqssBRngdAbstract, void*, int, float*, float, float)
ZEV_ABSTRACT_STUB(__vqssBRngiAbstract, void*, int, float*, float, float)
#pragma GCC diagnostic pop

}  // extern "C"
