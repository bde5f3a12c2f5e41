// Records the words every generator gives, as one 64-bit FNV-1a hash per
// (generator, case), one line each: the first 2,000 integer, single and
// double outputs after NewStreamEx with several seeds, after leapfrog and
// skip-ahead (the status is hashed too, so an operation a generator refuses
// is recorded as refused), and the saved-stream bytes. Two builds that print
// the same lines give the same results.
//
//   zev_record_words > words.txt    (then diff against an earlier run)
//   zev_record_words --time [reps]  nanoseconds per element of each main
//                                   path, best of reps blocks of 10,000
//
// TRNG draws from the processor, so only its statuses are recorded.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <string>
#include <vector>

#include "zev/zev_vqs.h"

namespace {

constexpr int kCount = 2000;

struct Hash {
  uint64_t h = 0xCBF29CE484222325ull;
  void add(const void* p, size_t n) {
    auto* b = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 0x100000001B3ull;
  }
  void add_int(long long v) { add(&v, sizeof v); }
};

void emit(const std::string& gen, const std::string& c, const Hash& h) {
  std::printf("%-22s %-34s %016llx\n", gen.c_str(), c.c_str(), (unsigned long long)h.h);
}

BrngRow row(int id) {
  BrngRow r{};
  __vqsGetBrngProperties(id, &r);
  return r;
}

// The saved image of a stream, with the low words of its chunks' keys (drawn
// from the time stamp counter when a table is shared) cleared wherever they
// stand, so that two runs give the same bytes.
std::vector<char> saved_image(void* s, int* status) {
  std::vector<char> m(size_t(__vqsGetStreamSize(s)));
  *status = __vqsSaveStreamM(s, m.data());
  zev_vqs_chunk* c = nullptr;
  std::memcpy(&c, static_cast<char*>(s) + 8, sizeof c);  // header: chunk list head
  for (; c; c = c->next) {
    const uint64_t lo = c->key[0];
    if (lo == 0) continue;
    for (size_t i = 0; i + 8 <= m.size(); ++i)
      if (std::memcmp(m.data() + i, &lo, 8) == 0) std::memset(m.data() + i, 0, 8);
  }
  return m;
}

// Draws kCount outputs of one method into the hash (with the status).
void draw(void* s, int id, char method, bool random_bits, Hash& h) {
  BrngRow r = row(id);
  if (method == 'i') {
    std::vector<unsigned> w(size_t(kCount) * (r.wordBytes ? r.wordBytes : 4) / 4 + 4, 0);
    h.add_int(r.iGen(s, kCount, w.data()));
    if (random_bits) h.add(w.data(), w.size() * 4);
  } else if (method == 's' || method == 'S') {
    std::vector<float> f(kCount, 0.0f);
    float a = method == 's' ? 0.0f : -3.0f, b = method == 's' ? 1.0f : 5.0f;
    h.add_int(r.sGen(s, kCount, f.data(), a, b));
    if (random_bits) h.add(f.data(), f.size() * 4);
  } else {
    std::vector<double> d(kCount, 0.0);
    double a = method == 'd' ? 0.0 : -3.0, b = method == 'd' ? 1.0 : 5.0;
    h.add_int(r.dGen(s, kCount, d.data(), a, b));
    if (random_bits) h.add(d.data(), d.size() * 8);
  }
}

struct Gen {
  const char* name;
  int id;
  std::vector<std::vector<unsigned>> seeds;
  bool random_bits = true;
};

// "seed_w0_w1..." for short seeds, the first words and a hash for long ones.
std::string seed_name(const std::vector<unsigned>& seed) {
  char buf[64];
  int len = std::snprintf(buf, sizeof buf, "seed%s", seed.empty() ? "-" : "");
  for (size_t i = 0; i < seed.size() && len <= 20; ++i)
    len += std::snprintf(buf + len, sizeof buf - size_t(len), "_%u", seed[i]);
  if (len > 20) {
    Hash h;
    h.add(seed.data(), seed.size() * 4);
    std::snprintf(buf + 11, sizeof buf - 11, "~%08x", unsigned(h.h));
  }
  return buf;
}

void record(const Gen& g) {
  {  // the registry row's fields
    Hash h;
    BrngRow r{};
    h.add_int(__vqsGetBrngProperties(g.id, &r));
    const int32_t f[5] = {r.stateBytes, r.seedWords, r.zeroFlag, r.wordBytes, r.bitCount};
    h.add(f, sizeof f);
    emit(g.name, "row", h);
  }
  const char methods[] = {'i', 's', 'S', 'd', 'D'};
  for (const auto& seed : g.seeds) {
    const std::string sn = seed_name(seed);
    auto fresh = [&](void** s) {
      return __vqsNewStreamEx(s, g.id, int(seed.size()), seed.empty() ? nullptr : seed.data());
    };
    for (char m : methods) {
      Hash h;
      void* s = nullptr;
      int st = fresh(&s);
      h.add_int(st);
      if (st == 0) draw(s, g.id, m, g.random_bits, h);
      if (s) __vqsDeleteStream(&s);
      emit(g.name, sn + " new " + m, h);
    }
    // Leapfrog: member 1 of 3, and member 0 of 5.
    for (int k : {0, 1}) {
      Hash h;
      void* s = nullptr;
      h.add_int(fresh(&s));
      if (s) {
        int st = __vqsLeapfrogStream(s, k, k ? 3 : 5);
        h.add_int(st);
        if (st == 0) {
          draw(s, g.id, 'i', g.random_bits, h);
          draw(s, g.id, 'd', g.random_bits, h);
        }
        __vqsDeleteStream(&s);
      }
      emit(g.name, sn + " leapfrog " + std::to_string(k), h);
    }
    // Skip-ahead by a short, a long and a multi-word count.
    const unsigned long long skips[] = {1, 1000, 123456789ull, 0x123456789ABCull};
    for (unsigned long long k : skips) {
      Hash h;
      void* s = nullptr;
      h.add_int(fresh(&s));
      if (s) {
        int st = __vqsSkipAheadStream(s, (long long)k);
        h.add_int(st);
        if (st == 0) {
          draw(s, g.id, 'i', g.random_bits, h);
          draw(s, g.id, 's', g.random_bits, h);
        }
        __vqsDeleteStream(&s);
      }
      emit(g.name, sn + " skip " + std::to_string(k), h);
    }
    {
      Hash h;
      void* s = nullptr;
      h.add_int(fresh(&s));
      if (s) {
        const unsigned long long ex[2] = {7, 1};  // 2^64 + 7
        int st = __vqsSkipAheadStreamEx(s, 2, ex);
        h.add_int(st);
        if (st == 0) draw(s, g.id, 'i', g.random_bits, h);
        __vqsDeleteStream(&s);
      }
      emit(g.name, sn + " skipex", h);
    }
    // Saved bytes, fresh and after some draws; the loaded copy goes on as
    // the original would.
    {
      Hash h;
      void* s = nullptr;
      h.add_int(fresh(&s));
      if (s) {
        for (int round = 0; round < 2; ++round) {
          int st = 0;
          std::vector<char> m = saved_image(s, &st);
          h.add_int(st);
          if (g.random_bits) h.add(m.data(), m.size());
          else h.add_int(int(m.size()));
          if (round == 0) draw(s, g.id, 'i', g.random_bits, h);
        }
        std::vector<char> m(size_t(__vqsGetStreamSize(s)));
        __vqsSaveStreamM(s, m.data());
        void* t = nullptr;
        h.add_int(__vqsLoadStreamM(&t, m.data()));
        if (t) {
          draw(t, g.id, 'd', g.random_bits, h);
          __vqsDeleteStream(&t);
        }
        __vqsDeleteStream(&s);
      }
      emit(g.name, sn + " saved", h);
    }
  }
}

// Abstract streams: the words are the callback's, so what is recorded is how
// the stream hands them out across refills.
unsigned g_next = 1;
int icb(void*, unsigned* n, unsigned* buf, unsigned* nreq, unsigned* nunused, unsigned*) {
  (void)nreq;
  unsigned k = *n - *nunused;
  for (unsigned i = 0; i < k; ++i) buf[i] = g_next = g_next * 69069u + 1u;
  return int(k);
}
int dcb(void*, unsigned* n, double* buf, unsigned*, unsigned* nunused, unsigned*) {
  unsigned k = *n - *nunused;
  for (unsigned i = 0; i < k; ++i) buf[i] = (g_next = g_next * 69069u + 1u) / 4294967296.0;
  return int(k);
}
int scb(void*, unsigned* n, float* buf, unsigned*, unsigned* nunused, unsigned*) {
  unsigned k = *n - *nunused;
  for (unsigned i = 0; i < k; ++i) buf[i] = float((g_next = g_next * 69069u + 1u) >> 8) / 16777216.0f;
  return int(k);
}

void record_abstract() {
  for (int size : {1, 7, 100}) {
    {
      Hash h;
      g_next = 1;
      std::vector<unsigned> buf(size_t(size), 0);
      void* s = nullptr;
      h.add_int(__vqsiNewAbstractStream(&s, size, buf.data(), icb));
      if (s) {
        for (int n : {1, 3, 250, 17}) {
          std::vector<unsigned> r(static_cast<size_t>(n));
          h.add_int(__vqsiBRngiAbstract(s, n, r.data()));
          h.add(r.data(), r.size() * 4);
        }
        __vqsDeleteStream(&s);
      }
      emit("IABSTRACT", "buffer " + std::to_string(size), h);
    }
    {
      Hash h;
      g_next = 1;
      std::vector<double> buf(size_t(size), 0);
      void* s = nullptr;
      h.add_int(__vqsdNewAbstractStream(&s, size, buf.data(), 0.0, 1.0, dcb));
      if (s) {
        for (int n : {1, 3, 250, 17}) {
          std::vector<double> r(static_cast<size_t>(n));
          h.add_int(__vqsdBRngdAbstract(s, n, r.data(), -2.0, 3.0));
          h.add(r.data(), r.size() * 8);
        }
        __vqsDeleteStream(&s);
      }
      emit("DABSTRACT", "buffer " + std::to_string(size), h);
    }
    {
      Hash h;
      g_next = 1;
      std::vector<float> buf(size_t(size), 0);
      void* s = nullptr;
      h.add_int(__vqssNewAbstractStream(&s, size, buf.data(), 0.0f, 1.0f, scb));
      if (s) {
        for (int n : {1, 3, 250, 17}) {
          std::vector<float> r(static_cast<size_t>(n));
          h.add_int(__vqssBRngsAbstract(s, n, r.data(), -2.0f, 3.0f));
          h.add(r.data(), r.size() * 4);
        }
        __vqsDeleteStream(&s);
      }
      emit("SABSTRACT", "buffer " + std::to_string(size), h);
    }
  }
}

// Best time per element of the integer and double paths of one generator.
void time_gen(const char* name, int id, int reps) {
  const int n = 10000;
  const unsigned seed[1] = {12345};
  void* s = nullptr;
  if (__vqsNewStreamEx(&s, id, 1, seed) != 0) return;
  BrngRow r = row(id);
  std::vector<unsigned> w(static_cast<size_t>(n) * (r.wordBytes ? r.wordBytes : 4) / 4);
  std::vector<double> d(static_cast<size_t>(n));
  std::vector<float> f(static_cast<size_t>(n));
  double best[3] = {1e30, 1e30, 1e30};
  for (int k = 0; k < reps; ++k) {
    for (int m = 0; m < 3; ++m) {
      auto t0 = std::chrono::steady_clock::now();
      if (m == 0) r.iGen(s, n, w.data());
      else if (m == 1) r.sGen(s, n, f.data(), 0.0f, 1.0f);
      else r.dGen(s, n, d.data(), 0.0, 1.0);
      auto t1 = std::chrono::steady_clock::now();
      double ns = std::chrono::duration<double, std::nano>(t1 - t0).count() / n;
      if (ns < best[m]) best[m] = ns;
    }
  }
  std::printf("%-22s int %7.3f  float %7.3f  double %7.3f ns/element\n", name, best[0], best[1],
              best[2]);
  __vqsDeleteStream(&s);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--time") == 0) {
    const int reps = argc > 2 ? std::atoi(argv[2]) : 200;
    const std::pair<const char*, int> ids[] = {
        {"MCG31M1", ZEV_BRNG_MCG31M1},   {"R250", ZEV_BRNG_R250},
        {"MRG32K3A", ZEV_BRNG_MRG32K3A}, {"MCG59", ZEV_BRNG_MCG59},
        {"WH", ZEV_BRNG_WH},             {"SOBOL(dim 1)", ZEV_BRNG_SOBOL},
        {"NIEDERR(dim 1)", ZEV_BRNG_NIEDERR}, {"MT19937", ZEV_BRNG_MT19937},
        {"MT2203", ZEV_BRNG_MT2203},     {"SFMT19937", ZEV_BRNG_SFMT19937},
        {"ARS5", ZEV_BRNG_ARS5},         {"PHILOX4X32X10", ZEV_BRNG_PHILOX4X32X10}};
    for (const auto& [name, id] : ids) time_gen(name, id, reps);
    return 0;
  }
  const std::vector<std::vector<unsigned>> seeds = {
      {}, {1}, {12345, 678, 90}, {0xFFFFFFFFu, 0x80000000u, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}};
  const std::vector<std::vector<unsigned>> dims = {{}, {1}, {3}, {40}, {318}, {5, 0}};
  // The user forms of the quasi-random generators: polynomials, initial
  // numbers, both (from dimension 2, and from dimension 1), whole tables.
  std::vector<unsigned> table(3 + 64);
  table[0] = 2, table[1] = 1, table[2] = 4;
  for (int i = 0; i < 64; ++i) table[size_t(3 + i)] = 0x80000000u >> (i % 32) | unsigned(i) << 7;
  const std::vector<std::vector<unsigned>> sobol_user = {
      {3, 1, 1, 7, 11},
      {3, 1, 2, 2, 1, 3, 1, 1},
      {3, 1, 3, 7, 11, 2, 1, 3, 1, 1},
      {2, 1, 0xB, 3, 7, 2, 1, 1, 1, 3},
      table};
  const std::vector<std::vector<unsigned>> niederr_user = {{3, 1, 1, 3, 7, 11}, table};
  std::vector<Gen> gens = {
      {"SOBOL-user", ZEV_BRNG_SOBOL, sobol_user},
      {"NIEDERR-user", ZEV_BRNG_NIEDERR, niederr_user},
      {"MCG31M1", ZEV_BRNG_MCG31M1, seeds},
      {"R250", ZEV_BRNG_R250, seeds},
      {"MRG32K3A", ZEV_BRNG_MRG32K3A, seeds},
      {"MCG59", ZEV_BRNG_MCG59, seeds},
      {"WH+0", ZEV_BRNG_WH, seeds},
      {"WH+1", ZEV_BRNG_WH + 1, seeds},
      {"WH+100", ZEV_BRNG_WH + 100, {{7}}},
      {"WH+272", ZEV_BRNG_WH + 272, {{7}}},
      {"SOBOL", ZEV_BRNG_SOBOL, dims},
      {"NIEDERR", ZEV_BRNG_NIEDERR, dims},
      {"MT19937", ZEV_BRNG_MT19937, seeds},
      {"MT2203+0", ZEV_BRNG_MT2203, seeds},
      {"MT2203+1", ZEV_BRNG_MT2203 + 1, seeds},
      {"MT2203+2", ZEV_BRNG_MT2203 + 2, {{5}}},
      {"MT2203+1000", ZEV_BRNG_MT2203 + 1000, {{5}}},
      {"MT2203+6023", ZEV_BRNG_MT2203 + 6023, {{5}}},
      {"SFMT19937", ZEV_BRNG_SFMT19937, seeds},
      {"TRNG", ZEV_BRNG_TRNG, {{}}, false},
      {"ARS5", ZEV_BRNG_ARS5, seeds},
      {"PHILOX4X32X10", ZEV_BRNG_PHILOX4X32X10, seeds},
  };
  for (const auto& g : gens) record(g);
  record_abstract();
  return 0;
}
