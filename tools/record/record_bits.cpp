// Records what every accuracy entry of every row does on a fixed input set, so
// that a change meant to keep results can be checked bit for bit.
//
// For each row of the row list and each of its entries (_21/_50, _HA, _11/_26
// and the bare name), under four mode words and caller environments, it calls
// the entry on counts that reach every tail length, on moved alignments, in
// place, with strides other than one (and zero for inputs), and with negative
// counts (in a child process, since a kernel that takes the count as unsigned
// runs off its buffers). It hashes the output arrays with their surroundings,
// the status, errno, MXCSR, the x87 words and every callback record.
//
// usage: record_bits rows.txt            one line "row entry mode hash" each
//        record_bits rows.txt ROW [MODE] the raw outputs of ROW's calls
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

struct Hash {
  uint64_t h = 1469598103934665603ull;
  bool raw = false;
  void bytes(const void* p, size_t n) {
    const auto* b = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 1099511628211ull;
  }
  template <class T>
  void value(const T& v) {
    bytes(&v, sizeof v);
  }
};

struct Mode;

struct Ctx {
  Hash h;
  bool raw = false;
  const Mode* mode = nullptr;
};


Hash* g_hash = nullptr;

int record_callback(zev_vqm_error_record* e) {
  Hash& h = *g_hash;
  h.value(e->status);
  h.value(e->index);
  // The argument and result fields of a status -1 or -2 report, and the
  // imaginary parts of a real row's report, are not filled in.
  if (e->status != -1 && e->status != -2) {
    h.value(e->a1);
    h.value(e->a2);
    h.value(e->r1);
    h.value(e->r2);
  }
  h.value(e->name_length);
  h.bytes(e->name, strnlen(e->name, 64));
  if (h.raw) {
    uint64_t u[8];
    memcpy(u, &e->a1, 32);
    memset(u + 4, 0, 32);
    if (e->status == -1 || e->status == -2) memset(u, 0, 32);
    printf("    callback st=%d i=%d name=%s len=%d", e->status, e->index, e->name, e->name_length);
    for (uint64_t v : u) printf(" %016" PRIx64, v);
    printf("\n");
  }
  return 0;
}

uint32_t csr_get() {
  uint32_t v;
  __asm__ volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
void csr_set(uint32_t v) { __asm__ volatile("ldmxcsr %0" ::"m"(v) : "memory"); }
uint16_t x87_cw() {
  uint16_t v;
  __asm__ volatile("fnstcw %0" : "=m"(v)::"memory");
  return v;
}
uint16_t x87_sw() {
  uint16_t v;
  __asm__ volatile("fnstsw %0" : "=m"(v)::"memory");
  return v;
}
void x87_set(uint16_t cw) {
  __asm__ volatile("fnclex" ::: "memory");
  __asm__ volatile("fldcw %0" ::"m"(cw) : "memory");
}

struct Mode {
  const char* name;
  unsigned word;
  uint32_t caller_csr;
  uint16_t caller_cw;
};
// After each call: the environment and the status it leaves, then the
// caller's state again.
void begin(const Mode& m) {
  _vqmSetMode(m.word);
  _vqmSetErrorCallBack(record_callback);
  _vqmClearErrStatus();
  errno = 0;
  x87_set(m.caller_cw);
  csr_set(m.caller_csr);
}

void settle(Ctx& c) {
  const uint32_t csr = csr_get();
  const uint16_t cw = x87_cw(), sw = x87_sw();
  const int err = errno;
  csr_set(0x1F80);
  x87_set(0x37F);
  const int status = _vqmGetErrStatus();
  const unsigned mode = _vqmGetMode();
  c.h.value(csr);
  c.h.value(cw);
  c.h.value(sw);
  c.h.value(err);
  c.h.value(status);
  c.h.value(mode);
  if (c.raw) printf("  csr=%08x cw=%04x sw=%04x errno=%d status=%d\n", csr, cw, sw, err, status);
  begin(*c.mode);
}

const Mode kModes[] = {
    {"ha-default", VQM_HA | VQM_ERRMODE_DEFAULT, 0x1F80, 0x37F},
    {"la-noerr-ftz", VQM_LA | VQM_ERRMODE_NOERR | VQM_FTZDAZ_ON, 0x1F80, 0x37F},
    {"ep-ignore-rz", VQM_EP | VQM_ERRMODE_IGNORE | VQM_FTZDAZ_OFF, 0xFFC0, 0x27F},
    {"ha-errno-cb", VQM_HA | VQM_ERRMODE_ERRNO | VQM_ERRMODE_CALLBACK | VQM_FTZDAZ_ON, 0x1F80 | 0x8040, 0x37F},
};

// ---- the input set ----------------------------------------------------------

template <class R>
std::vector<R> specials() {
  using L = std::numeric_limits<R>;
  std::vector<R> s = {R(0),       -R(0),      L::denorm_min(), -L::denorm_min(), L::min() / 2, -L::min() / 3,
                      L::min(),   -L::min(),  L::max(),        -L::max(),        L::infinity(), -L::infinity(),
                      R(1),       R(-1),      R(0.5),          R(-0.5),          R(1.5),        R(-2.5),
                      R(2),       R(3),       R(-3),           R(10),            R(0.75),       R(1e-3),
                      R(88.72),   R(-87.33),  R(-103.97),      R(709.78),        R(-708.4),     R(-745.13),
                      R(38.5),    R(-45.2),   R(308.25),       R(-323.3),        R(127.5),      R(-149.5),
                      R(1023.5),  R(-1074.5), R(1e30),         R(-1e-30)};
  s.push_back(std::nextafter(R(1), R(2)));
  s.push_back(std::nextafter(R(1), R(0)));
  s.push_back(R(1) / L::epsilon() + R(0.5));
  s.push_back(-R(1) / L::epsilon() - R(0.5));
  // NaNs: quiet and signalling, with payloads and both signs.
  if constexpr (sizeof(R) == 4) {
    for (uint32_t u : {0x7FC00000u, 0xFFC00000u, 0x7FC12345u, 0x7F800001u, 0xFFA00005u}) {
      R f;
      memcpy(&f, &u, 4);
      s.push_back(f);
    }
  } else {
    for (uint64_t u : {0x7FF8000000000000ull, 0xFFF8000000000000ull, 0x7FF8000012345678ull, 0x7FF0000000000001ull,
                       0xFFF4000000000005ull}) {
      R f;
      memcpy(&f, &u, 8);
      s.push_back(f);
    }
  }
  return s;
}

struct Lcg {
  uint64_t s;
  uint64_t next() {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    return s >> 11;
  }
};

// Pool a holds every special against every special of pool b, then values
// spread over all binades, then raw bit patterns.
template <class R>
void make_pools(std::vector<R>& a, std::vector<R>& b) {
  const std::vector<R> s = specials<R>();
  for (R x : s)
    for (R y : s) {
      a.push_back(x);
      b.push_back(y);
    }
  Lcg g{12345};
  const int emax = sizeof(R) == 4 ? 128 : 1024;
  for (int i = 0; i < 1500; ++i) {
    const int e = static_cast<int>(g.next() % (2 * emax + 40)) - emax - 40;
    const R m = R(1) + R(g.next() % 1000000) / R(1000000);
    R x = std::ldexp(m, e);
    if (g.next() & 1) x = -x;
    const int e2 = static_cast<int>(g.next() % 16) - 8;
    R y = std::ldexp(R(1) + R(g.next() % 1000) / R(1000), e2) * ((g.next() & 1) ? R(-1) : R(1));
    if (i % 5 == 0) {
      // near integers and halves, for the rounding and remainder rows
      x = R(static_cast<int>(g.next() % 2000) - 1000) / R(2) + R(g.next() % 3) * R(1e-4);
    }
    if (i % 7 == 0) {
      // raw bits
      if constexpr (sizeof(R) == 4) {
        uint32_t u = static_cast<uint32_t>(g.next());
        memcpy(&x, &u, 4);
      } else {
        uint64_t u = g.next() ^ (g.next() << 40);
        memcpy(&x, &u, 8);
      }
    }
    a.push_back(x);
    b.push_back(i % 3 == 0 ? x * R(1.25) : y);
  }
}

// ---- buffers ------------------------------------------------------------------

constexpr int kPad = 8;  // elements hashed beyond the last one a call may touch

struct Buf {
  std::vector<unsigned char> mem;
  size_t elem;
  unsigned char* at(long i) { return mem.data() + (i + kPad) * elem; }
  void fill(unsigned char v) { memset(mem.data(), v, mem.size()); }
  Buf(size_t elems, size_t el) : mem((elems + 2 * kPad) * el), elem(el) {}
};



// Raw pool of n elements of `bytes` each from a real pool (complex elements
// take two reals).
std::vector<unsigned char> pool_bytes(const void* pool, size_t pool_reals, size_t real_size, size_t elem,
                                      size_t n) {
  std::vector<unsigned char> out(n * elem);
  const size_t per = elem / real_size;
  for (size_t i = 0; i < n * per; ++i)
    memcpy(out.data() + i * real_size, static_cast<const unsigned char*>(pool) + (i % pool_reals) * real_size,
           real_size);
  return out;
}

// ---- calling the entries ------------------------------------------------------

enum Form { U, RFORM, CIS, B, POWX, TWO, LF, PACKI, PACKM, PACKV, UNPACKI, UNPACKM, UNPACKV, BAD };

Form form_of(const std::string& k) {
  if (k.size() > 2 && k[1] == '_') {
    const std::string f = k.substr(2);
    if (f == "u") return U;
    if (f == "r") return RFORM;
    if (f == "cis") return CIS;
    if (f == "b") return B;
    if (f == "powx") return POWX;
    if (f == "2r") return TWO;
    if (f == "lf") return LF;
  }
  if (k == "packI") return PACKI;
  if (k == "packM") return PACKM;
  if (k == "packV") return PACKV;
  if (k == "unpackI") return UNPACKI;
  if (k == "unpackM") return UNPACKM;
  if (k == "unpackV") return UNPACKV;
  return BAD;
}

struct Row {
  std::string name;
  Form form;
  char prec;
};

template <class T>
T scalar_of(const unsigned char* p) {
  T v;
  memcpy(&v, p, sizeof v);
  return v;
}

// Runs one call of `row`'s entry `fn` with count n and strides ia, ib, ir
// (ignored for plain rows), offset `off` elements, optionally in place.
template <class E, class Rl>
void run_one(Ctx& c, const Row& row, bool strided, void* fn, long n, int ia, int ib, int ir, int off, bool in_place,
             const unsigned char* sc, const std::vector<unsigned char>& pa, const std::vector<unsigned char>& pb) {
  const size_t el = sizeof(E);
  const long cnt = n > 0 ? n : 0;
  auto span = [&](int inc) { return static_cast<size_t>(cnt == 0 ? 1 : (cnt - 1) * (inc < 0 ? -inc : inc) + 1); };
  const size_t sa = span(ia) + off + 4, sb = span(ib) + off + 4, sr = span(ir) + off + 4;
  Buf A(sa, el), Bv(sb, el), R1(sr, el), R2(sr, el);
  for (size_t i = 0; i < sa; ++i) memcpy(A.at(i), pa.data() + (i % (pa.size() / el)) * el, el);
  for (size_t i = 0; i < sb; ++i) memcpy(Bv.at(i), pb.data() + (i % (pb.size() / el)) * el, el);
  R1.fill(0x5A);
  R2.fill(0xC3);
  const E* a = reinterpret_cast<const E*>(A.at(off));
  const E* b = reinterpret_cast<const E*>(Bv.at(off));
  E* r1 = reinterpret_cast<E*>(in_place ? A.at(off) : R1.at(off));
  E* r2 = reinterpret_cast<E*>(R2.at(off));
  const int ni = static_cast<int>(n);
  const E s0 = scalar_of<E>(sc), s1 = scalar_of<E>(sc + el), s2 = scalar_of<E>(sc + 2 * el),
          s3 = scalar_of<E>(sc + 3 * el);
  switch (row.form) {
    case U:
      if (strided)
        reinterpret_cast<void (*)(int, const E*, int, E*, int)>(fn)(ni, a, ia, r1, ir);
      else
        reinterpret_cast<void (*)(int, const E*, E*)>(fn)(ni, a, r1);
      break;
    case RFORM:
      if (strided)
        reinterpret_cast<void (*)(int, const E*, int, Rl*, int)>(fn)(ni, a, ia, reinterpret_cast<Rl*>(r1), ir);
      else
        reinterpret_cast<void (*)(int, const E*, Rl*)>(fn)(ni, a, reinterpret_cast<Rl*>(r1));
      break;
    case CIS:
      if (strided)
        reinterpret_cast<void (*)(int, const Rl*, int, E*, int)>(fn)(ni, reinterpret_cast<const Rl*>(a), ia, r1, ir);
      else
        reinterpret_cast<void (*)(int, const Rl*, E*)>(fn)(ni, reinterpret_cast<const Rl*>(a), r1);
      break;
    case B:
      if (strided)
        reinterpret_cast<void (*)(int, const E*, int, const E*, int, E*, int)>(fn)(ni, a, ia, b, ib, r1, ir);
      else
        reinterpret_cast<void (*)(int, const E*, const E*, E*)>(fn)(ni, a, b, r1);
      break;
    case POWX:
      if (strided)
        reinterpret_cast<void (*)(int, const E*, int, E, E*, int)>(fn)(ni, a, ia, s0, r1, ir);
      else
        reinterpret_cast<void (*)(int, const E*, E, E*)>(fn)(ni, a, s0, r1);
      break;
    case TWO:
      if (strided)
        reinterpret_cast<void (*)(int, const E*, int, E*, int, E*, int)>(fn)(ni, a, ia, r1, ir, r2, ib);
      else
        reinterpret_cast<void (*)(int, const E*, E*, E*)>(fn)(ni, a, r1, r2);
      break;
    case LF:
      if (strided)
        reinterpret_cast<void (*)(int, const E*, int, const E*, int, E, E, E, E, E*, int)>(fn)(ni, a, ia, b, ib, s0,
                                                                                             s1, s2, s3, r1, ir);
      else
        reinterpret_cast<void (*)(int, const E*, const E*, E, E, E, E, E*)>(fn)(ni, a, b, s0, s1, s2, s3, r1);
      break;
    default: {
      // pack and unpack: width 1 (32-bit mask and index elements) and 2 (64-bit)
      const int width = ia;
      std::vector<int64_t> m64(cnt + 1);
      std::vector<int32_t> m32(cnt + 1);
      for (long i = 0; i < cnt; ++i) {
        m64[i] = (i * 7 % 3 != 0) ? (i % 2 ? 1 : (int64_t(1) << 40)) : 0;
        m32[i] = static_cast<int32_t>((i * 5) % cnt);
        if (width != 1) m64[i] = (i * 3) % cnt | (row.form == PACKV || row.form == UNPACKV ? 0 : 0);
      }
      std::vector<int32_t> mm32(cnt + 1);
      for (long i = 0; i < cnt; ++i) mm32[i] = (i * 7 % 3 != 0);
      const void* mask = width == 1 ? static_cast<const void*>(mm32.data()) : static_cast<const void*>(m64.data());
      const void* idx = width == 1 ? static_cast<const void*>(m32.data()) : static_cast<const void*>(m64.data());
      const int64_t n64 = n;
      switch (row.form) {
        case PACKI:
          reinterpret_cast<void (*)(int64_t, const E*, int64_t, E*, int)>(fn)(n64, a, 2, r1, width);
          break;
        case PACKM:
          reinterpret_cast<void (*)(int64_t, const E*, const void*, E*, int)>(fn)(n64, a, mask, r1, width);
          break;
        case PACKV:
          reinterpret_cast<void (*)(int64_t, const E*, const void*, E*, int)>(fn)(n64, a, idx, r1, width);
          break;
        case UNPACKI:
          reinterpret_cast<void (*)(int64_t, const E*, E*, int64_t, int)>(fn)(n64, a, r1, 1, width);
          break;
        case UNPACKM:
          reinterpret_cast<void (*)(int64_t, const E*, E*, const void*, int)>(fn)(n64, a, r1, mask, width);
          break;
        case UNPACKV:
          reinterpret_cast<void (*)(int64_t, const E*, E*, const void*, int)>(fn)(n64, a, r1, idx, width);
          break;
        default:
          break;
      }
    }
  }
  settle(c);
  c.h.bytes(R1.mem.data(), R1.mem.size());
  c.h.bytes(R2.mem.data(), R2.mem.size());
  if (in_place) c.h.bytes(A.mem.data(), A.mem.size());
  if (c.raw) {
    printf("  n=%ld inc=%d,%d,%d off=%d%s\n", n, ia, ib, ir, off, in_place ? " in-place" : "");
    unsigned char* out = in_place ? A.at(off) : R1.at(off);
    for (long i = 0; i < cnt; ++i) {
      printf("    %ld:", i);
      for (int k = static_cast<int>(el) - 1; k >= 0; --k) {
        const long pos = i * (strided ? (ir < 0 ? -ir : ir) : 1);
        printf("%02x", out[pos * el + k]);
      }
      printf("\n");
    }
  }
}

template <class E, class Rl>
void run_entry(Ctx& c, const Row& row, bool strided, void* fn, const std::vector<unsigned char>& pa,
               const std::vector<unsigned char>& pb) {
  const long full = static_cast<long>(pa.size() / sizeof(E));
  // scalar argument sets: Powx's exponent, LinearFrac's scales and shifts
  std::vector<std::vector<Rl>> scal;
  if (row.form == POWX) {
    for (Rl x : {Rl(2), Rl(0.5), Rl(-1), Rl(3), Rl(0), -Rl(0), Rl(1) / Rl(3), Rl(-3.5), Rl(1e10),
                 std::numeric_limits<Rl>::infinity(), std::numeric_limits<Rl>::quiet_NaN(), Rl(-2)})
      scal.push_back({x, Rl(0.25), x, Rl(0.25), x, Rl(0.25), x, Rl(0.25)});
  } else if (row.form == LF) {
    scal = {{1, 0, 1, 0, 1, 0, 1, 0},       {2, 1, 3, -1, 2, 1, 3, -1},  {0, 0, 0, 0, 0, 0, 0, 0},
            {-1.5, 4, 0, 1, -1.5, 4, 0, 1}, {1e30, 1, 1e-30, 0, 1e30, 1, 1e-30, 0}};
  } else {
    scal = {{0, 0, 0, 0, 0, 0, 0, 0}};
  }
  for (const auto& sv : scal) {
    // for complex elements each scalar is a (re, im) pair of consecutive reals
    std::vector<unsigned char> sc(4 * sizeof(E));
    for (int k = 0; k < 4; ++k) memcpy(sc.data() + k * sizeof(E), &sv[k * (sizeof(E) / sizeof(Rl))], sizeof(E));
    if (row.form >= PACKI) {
      for (int width : {1, 2})
        for (long n : {0L, 1L, 5L, 37L}) run_one<E, Rl>(c, row, false, fn, n, width, 1, 1, 0, false, sc.data(), pa, pb);
      continue;
    }
    if (!strided) {
      for (long n : {0L, 1L, 2L, 3L, 4L, 5L, 6L, 7L, 8L, 9L, 11L, 13L, 15L, 16L, 17L, 31L, 33L, 63L, 65L, full})
        run_one<E, Rl>(c, row, false, fn, n, 1, 1, 1, 0, false, sc.data(), pa, pb);
      run_one<E, Rl>(c, row, false, fn, full - 3, 1, 1, 1, 1, false, sc.data(), pa, pb);
      run_one<E, Rl>(c, row, false, fn, 37, 1, 1, 1, 3, true, sc.data(), pa, pb);
    } else {
      const int incs[][3] = {{1, 1, 1}, {2, 1, 1}, {1, 2, 3}, {3, 2, 2}, {0, 1, 1}, {1, 0, 2}, {5, 4, 3}};
      for (const auto& in : incs)
        for (long n : {0L, 1L, 3L, 5L, 7L, 9L, 17L, 33L, full / 5})
          run_one<E, Rl>(c, row, true, fn, n, in[0], in[1], in[2], 0, false, sc.data(), pa, pb);
      run_one<E, Rl>(c, row, true, fn, full, 1, 1, 1, 1, false, sc.data(), pa, pb);
    }
  }
}

// The pools of one element type, made once under the default environment.
template <class E, class Rl>
struct Pools {
  std::vector<unsigned char> a, b;
  Pools() {
    std::vector<Rl> ra, rb;
    make_pools(ra, rb);
    a = pool_bytes(ra.data(), ra.size(), sizeof(Rl), sizeof(E), ra.size());
    b = pool_bytes(rb.data(), rb.size(), sizeof(Rl), sizeof(E), rb.size());
  }
};
template <class E, class Rl>
const Pools<E, Rl>& pools() {
  static const Pools<E, Rl> p;
  return p;
}

template <class E, class Rl>
void dispatch(Ctx& c, const Row& row, bool strided, void* fn, const Mode&) {
  run_entry<E, Rl>(c, row, strided, fn, pools<E, Rl>().a, pools<E, Rl>().b);
}

void run_any(Ctx& c, const Row& row, bool strided, void* fn, const Mode& m) {
  switch (row.prec) {
    case 's': dispatch<float, float>(c, row, strided, fn, m); break;
    case 'd': dispatch<double, double>(c, row, strided, fn, m); break;
    case 'c': dispatch<zev_complex8, float>(c, row, strided, fn, m); break;
    default: dispatch<zev_complex16, double>(c, row, strided, fn, m); break;
  }
}

// A negative count, in a child: "exit <hash byte>" or "signal <n>".
std::string negative_count(const Row& row, bool strided, void* fn, int n) {
  fflush(stdout);
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(20);
    static Hash quiet;
    g_hash = &quiet;
    const size_t bytes = 1 << 16;
    void* p = mmap(nullptr, 3 * bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    mprotect(p, bytes, PROT_NONE);
    mprotect(static_cast<char*>(p) + 2 * bytes, bytes, PROT_NONE);
    unsigned char* mem = static_cast<unsigned char*>(p) + bytes;
    memset(mem, 0x3C, bytes);
    unsigned char* a = mem;
    unsigned char* r = mem + bytes / 2;
    const int64_t n64 = n;
    switch (row.form) {
      case PACKI: case PACKM: case PACKV: case UNPACKI: case UNPACKM: case UNPACKV:
        reinterpret_cast<void (*)(int64_t, const void*, const void*, void*, int)>(fn)(n64, a, a, r, 1);
        break;
      case B:
        if (strided)
          reinterpret_cast<void (*)(int, const void*, int, const void*, int, void*, int)>(fn)(n, a, 1, a, 1, r, 1);
        else
          reinterpret_cast<void (*)(int, const void*, const void*, void*)>(fn)(n, a, a, r);
        break;
      case TWO:
        if (strided)
          reinterpret_cast<void (*)(int, const void*, int, void*, int, void*, int)>(fn)(n, a, 2, r, 1, r + 64, 1);
        else
          reinterpret_cast<void (*)(int, const void*, void*, void*)>(fn)(n, a, r, r + 64);
        break;
      default:
        // unary forms, Powx and LinearFrac: their scalars are left as they come
        if (strided)
          reinterpret_cast<void (*)(int, const void*, int, void*, int)>(fn)(n, a, 2, r, 1);
        else
          reinterpret_cast<void (*)(int, const void*, void*)>(fn)(n, a, r);
        break;
    }
    Hash h;
    h.bytes(mem, bytes);
    h.value(_vqmGetErrStatus());
    _exit(static_cast<int>(h.h & 0x7F));
  }
  int st = 0;
  waitpid(pid, &st, 0);
  char buf[64];
  if (WIFSIGNALED(st))
    snprintf(buf, sizeof buf, "signal %d", WTERMSIG(st));
  else
    snprintf(buf, sizeof buf, "exit %d", WEXITSTATUS(st));
  return buf;
}

const char* level_suffix(char prec, int s) {
  const bool single = prec == 's' || prec == 'c';
  if (s == 0) return single ? "_21" : "_50";
  if (s == 1) return "_HA";
  if (s == 2) return single ? "_11" : "_26";
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: record_bits rows.txt [ROW [MODE]]\n");
    return 2;
  }
  std::vector<Row> rows;
  {
    std::ifstream in(argv[1]);
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::stringstream ss(line);
      Row r;
      std::string kind;
      ss >> r.name >> kind;
      r.form = form_of(kind);
      r.prec = r.name[0];
      if (r.form == BAD) {
        fprintf(stderr, "record_bits: unknown form %s\n", kind.c_str());
        return 1;
      }
      rows.push_back(r);
    }
  }
  pools<float, float>();
  pools<double, double>();
  pools<zev_complex8, float>();
  pools<zev_complex16, double>();
  const std::string only = argc > 2 ? argv[2] : "";
  const std::string only_mode = argc > 3 ? argv[3] : "";
  const size_t plain_rows = rows.size();
  for (size_t i = 0; i < plain_rows; ++i) {
    if (rows[i].form >= PACKI) continue;
    Row r = rows[i];
    r.name += "I";
    rows.push_back(r);
  }
  for (size_t ri = 0; ri < rows.size(); ++ri) {
    const Row& row = rows[ri];
    const bool strided = ri >= plain_rows;
    if (!only.empty() && row.name != only) continue;
    for (int s = 0; s < 4; ++s) {
      const std::string entry = "_vqm" + row.name + level_suffix(row.prec, s);
      void* fn = dlsym(RTLD_DEFAULT, entry.c_str());
      if (fn == nullptr) {
        printf("%s %s missing\n", row.name.c_str(), entry.c_str());
        continue;
      }
      for (const Mode& m : kModes) {
        if (!only_mode.empty() && only_mode != m.name) continue;
        Ctx c;
        c.raw = !only.empty();
        c.h.raw = c.raw;
        g_hash = &c.h;
        if (c.raw) printf("%s %s %s\n", row.name.c_str(), entry.c_str(), m.name);
        c.mode = &m;
        begin(m);
        run_any(c, row, strided, fn, m);
        csr_set(0x1F80);
        x87_set(0x37F);
        std::string neg;
        if (&m == &kModes[0]) {
          neg = negative_count(row, strided, fn, -1) + "," + negative_count(row, strided, fn, INT_MIN);
        }
        printf("%s %s %s %016" PRIx64 "%s%s\n", row.name.c_str(), entry.c_str(), m.name, c.h.h,
               neg.empty() ? "" : " neg:", neg.c_str());
      }
    }
  }
  return 0;
}
