// zev_ulp: measures every registered vector-math function at its three levels
// against MPFR and reports the worst error, special-value mismatches and lane
// crosstalk. Exit status 1 when a built function breaks its bound.
//
//   zev_ulp [--quick | --full] [--points N] [--seed S] [--only ROW[,ROW...]] [--skip ROW[,ROW...]]
//           [--markdown FILE] [--list]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tools/ulp/ulp.h"

using namespace zev::ulp;

static void usage() {
  fprintf(stderr,
          "usage: zev_ulp [--quick | --full] [--points N] [--seed S] [--only ROW[,ROW...]]\n"
          "               [--skip ROW[,ROW...]] [--markdown FILE] [--list]\n"
          "  --quick     about 30,000 random points per function (default)\n"
          "  --full      400,000 random points per function\n"
          "  --only      measure only the named rows (e.g. sExp,dExp)\n"
          "  --skip      leave the named rows out\n"
          "  --markdown  also write the accuracy table to FILE\n");
}

int main(int argc, char** argv) {
  Options opt;
  opt.random_points = 30000;
  std::string mode = "quick", markdown, only, skip;
  bool list = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> const char* {
      if (i + 1 >= argc) {
        usage();
        exit(2);
      }
      return argv[++i];
    };
    if (a == "--quick") {
      mode = "quick";
      opt.random_points = 30000;
    } else if (a == "--full") {
      mode = "full";
      opt.random_points = 400000;
      opt.dense = 200;
      opt.crosstalk_inputs = 256;
    } else if (a == "--points") {
      opt.random_points = strtol(value(), nullptr, 0);
    } else if (a == "--seed") {
      opt.seed = strtoull(value(), nullptr, 0);
    } else if (a == "--only") {
      only.assign(",").append(value()).append(",");
    } else if (a == "--skip") {
      skip.assign(",").append(value()).append(",");
    } else if (a == "--markdown") {
      markdown = value();
    } else if (a == "--list") {
      list = true;
    } else if (a == "--verbose") {
      opt.verbose = true;
    } else {
      usage();
      return 2;
    }
  }

  const Env env = module_env();
  std::vector<LevelResult> all;
  int failures = 0, measured = 0, missing = 0;
  const auto t0 = std::chrono::steady_clock::now();
  for (const FuncDesc& fd : registry()) {
    std::string key(",");
    key.append(fd.row).append(",");
    if (!only.empty() && only.find(key) == std::string::npos) continue;
    if (skip.find(key) != std::string::npos) continue;
    if (list) {
      printf("%s\n", fd.row);
      continue;
    }
    const auto t = std::chrono::steady_clock::now();
    for (const LevelResult& r : measure_function(fd, opt, env)) {
      print_result(r, stdout);
      if (r.state == State::Measured) {
        ++measured;
        failures += !r.pass();
      } else {
        ++missing;
      }
      all.push_back(r);
    }
    if (opt.verbose)
      printf("    (%.2f s)\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count());
    fflush(stdout);
  }
  if (list) return 0;
  const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  if (!markdown.empty()) {
    FILE* f = fopen(markdown.c_str(), "w");
    if (!f) {
      perror(markdown.c_str());
      return 2;
    }
    write_markdown(all, opt, mode, f);
    fclose(f);
  }
  printf("%d levels measured, %d without an entry, %d over their bound (%.1f s)\n", measured, missing, failures,
         secs);
  return failures || missing ? 1 : 0;
}
