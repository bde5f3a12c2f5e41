// Two builds of the module side by side in one benchmark run: every entry of
// every built row (plain and strided, each level) from library A and from
// library B, interleaved, at an in-cache and a memory-bound size.
//
// usage: zev_bench_ab A.so B.so rows.txt [benchmark options]
// Names are <row>/<entry suffix>/<A|B>/<n>; bench/ab/ratios.py prints B over A.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Lib {
  const char* tag;
  void* handle;
};

struct Row {
  std::string name, form;
};

template <class T>
struct Data {
  std::vector<T> a, b, r, r2;
  explicit Data(long n) : a(2 * n), b(2 * n), r(2 * n), r2(2 * n) {
    std::mt19937_64 g(7);
    std::uniform_real_distribution<double> u(0.5, 4.0);
    for (auto& x : a) x = static_cast<T>(u(g));
    for (auto& x : b) x = static_cast<T>(u(g));
  }
};

template <class T>
void run(benchmark::State& s, void* fn, const std::string& form, bool strided, long n) {
  Data<T> d(n);
  const int in = static_cast<int>(n);
  const int inc = strided ? 2 : 1;
  for (auto _ : s) {
    if (form == "u") {
      if (strided)
        reinterpret_cast<void (*)(int, const T*, int, T*, int)>(fn)(in, d.a.data(), inc, d.r.data(), inc);
      else
        reinterpret_cast<void (*)(int, const T*, T*)>(fn)(in, d.a.data(), d.r.data());
    } else if (form == "b") {
      if (strided)
        reinterpret_cast<void (*)(int, const T*, int, const T*, int, T*, int)>(fn)(in, d.a.data(), inc, d.b.data(),
                                                                                   inc, d.r.data(), inc);
      else
        reinterpret_cast<void (*)(int, const T*, const T*, T*)>(fn)(in, d.a.data(), d.b.data(), d.r.data());
    } else if (form == "powx") {
      if (strided)
        reinterpret_cast<void (*)(int, const T*, int, T, T*, int)>(fn)(in, d.a.data(), inc, T(2.5), d.r.data(), inc);
      else
        reinterpret_cast<void (*)(int, const T*, T, T*)>(fn)(in, d.a.data(), T(2.5), d.r.data());
    } else if (form == "2r") {
      if (strided)
        reinterpret_cast<void (*)(int, const T*, int, T*, int, T*, int)>(fn)(in, d.a.data(), inc, d.r.data(), inc,
                                                                             d.r2.data(), inc);
      else
        reinterpret_cast<void (*)(int, const T*, T*, T*)>(fn)(in, d.a.data(), d.r.data(), d.r2.data());
    } else if (form == "lf") {
      if (strided)
        reinterpret_cast<void (*)(int, const T*, int, const T*, int, T, T, T, T, T*, int)>(fn)(
            in, d.a.data(), inc, d.b.data(), inc, T(2), T(1), T(3), T(-1), d.r.data(), inc);
      else
        reinterpret_cast<void (*)(int, const T*, const T*, T, T, T, T, T*)>(fn)(in, d.a.data(), d.b.data(), T(2),
                                                                                T(1), T(3), T(-1), d.r.data());
    }
    benchmark::ClobberMemory();
  }
  s.SetItemsProcessed(s.iterations() * n);
}

const char* suffix(char p, int s) {
  const bool single = p == 's';
  return s == 0 ? (single ? "_21" : "_50") : s == 1 ? "_HA" : (single ? "_11" : "_26");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    fprintf(stderr, "usage: zev_bench_ab A.so B.so rows.txt [benchmark options]\n");
    return 2;
  }
  Lib libs[2] = {{"A", dlopen(argv[1], RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND)},
                 {"B", dlopen(argv[2], RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND)}};
  for (const Lib& l : libs)
    if (l.handle == nullptr) {
      fprintf(stderr, "zev_bench_ab: %s\n", dlerror());
      return 1;
    }
  std::vector<Row> rows;
  {
    std::ifstream in(argv[3]);
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::stringstream ss(line);
      std::string name, kind, pattern, c1, c2, c3, family;
      ss >> name >> kind >> pattern >> c1 >> c2 >> c3 >> family;
      // Real rows of a built family (the family column, where the list has one).
      if (name[0] != 's' && name[0] != 'd') continue;
      if (kind.size() < 3 || kind[1] != '_') continue;
      if (family == "-") continue;
      rows.push_back({name, kind.substr(2)});
    }
  }
  // Rows not built report -2; their entries are left out by a probe call.
  using GetErr = int (*)();
  using ClrErr = int (*)();
  auto get_err = reinterpret_cast<GetErr>(dlsym(libs[1].handle, "_vqmGetErrStatus"));
  auto clr_err = reinterpret_cast<ClrErr>(dlsym(libs[1].handle, "_vqmClearErrStatus"));
  for (const Row& row : rows) {
    for (int strided = 0; strided < 2; ++strided) {
      const std::string rname = row.name + (strided ? "I" : "");
      for (int s = 0; s < 3; ++s) {
        const std::string entry = "_vqm" + rname + suffix(row.name[0], s);
        void* fb = dlsym(libs[1].handle, entry.c_str());
        if (fb == nullptr) continue;
        clr_err();
        {
          float a[4] = {1, 1, 1, 1}, r[4], r2[4];
          if (row.form == "u")
            strided ? reinterpret_cast<void (*)(int, const float*, int, float*, int)>(fb)(1, a, 1, r, 1)
                    : reinterpret_cast<void (*)(int, const float*, float*)>(fb)(1, a, r);
          else if (row.form == "b")
            strided ? reinterpret_cast<void (*)(int, const float*, int, const float*, int, float*, int)>(fb)(
                          1, a, 1, a, 1, r, 1)
                    : reinterpret_cast<void (*)(int, const float*, const float*, float*)>(fb)(1, a, a, r);
          else if (row.form == "2r")
            strided ? reinterpret_cast<void (*)(int, const float*, int, float*, int, float*, int)>(fb)(1, a, 1, r, 1,
                                                                                                      r2, 1)
                    : reinterpret_cast<void (*)(int, const float*, float*, float*)>(fb)(1, a, r, r2);
        }
        if (get_err() == -2) continue;
        for (long n : {1000L, 1000000L})
          for (const Lib& l : libs) {
            void* fn = dlsym(l.handle, entry.c_str());
            if (fn == nullptr) continue;
            const std::string name = rname + "/" + suffix(row.name[0], s) + "/" + l.tag + "/" + std::to_string(n);
            const std::string form = row.form;
            const bool st = strided != 0;
            if (row.name[0] == 's')
              benchmark::RegisterBenchmark(name.c_str(),
                                           [=](benchmark::State& bs) { run<float>(bs, fn, form, st, n); });
            else
              benchmark::RegisterBenchmark(name.c_str(),
                                           [=](benchmark::State& bs) { run<double>(bs, fn, form, st, n); });
          }
      }
    }
  }
  int bargc = argc - 3;
  std::vector<char*> bargv{argv[0]};
  for (int i = 4; i < argc; ++i) bargv.push_back(argv[i]);
  benchmark::Initialize(&bargc, bargv.data());
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
