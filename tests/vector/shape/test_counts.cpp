// Negative counts. The plain rounding kernels and the plain polynomial kernels
// read a negative count as unsigned (a huge count); every other kernel, every
// strided form and the x87 loop of dExpm1 read it as empty. The empty readers
// are called with negative counts on arrays of no element behind which every
// page faults: they must touch nothing and report nothing. The unsigned readers
// are not called; their rows must be the ones the shape allows that reading.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/fp.h"
#include "tests/support/guarded.h"
#include "vector/shape.h"

namespace {

using zevtest::Guarded;

// Row stems whose plain kernels read a negative count as unsigned: the
// rounding rows and the rows computed by polynomial approximations.
const std::set<std::string> kUnsignedStems = {
    "Ceil", "Floor", "Frac", "NearbyInt", "Rint", "Round", "Trunc",                       // rounding
    "Exp", "Exp2", "Exp10", "Expm1", "Ln", "Log2", "Log10", "Log1p",                        // polynomial
    "Cbrt", "InvCbrt", "Pow2o3", "Pow3o2", "Pow", "Powr", "Powx",
    "Sin", "Cos", "Tan", "SinCos", "Sinpi", "Cospi", "Tanpi", "Sind", "Cosd", "Tand",
    "Asin", "Acos", "Atan", "Atan2", "Asinpi", "Acospi", "Atanpi", "Atan2pi",
    "Sinh", "Cosh", "Tanh", "Asinh", "Acosh", "Atanh",
    "Erf", "Erfc", "CdfNorm", "ErfInv", "ErfcInv", "CdfNormInv", "LGamma", "TGamma", "ExpInt1"};

struct Row {
  std::string name, form;  // form: u, b, 2r, powx, lf
  int id;
};

// The built real rows of the row list, with their index in the row table.
std::vector<Row> built_rows() {
  std::ifstream in(ZEV_ROWS_FILE);
  std::vector<Row> rows;
  std::string line;
  int id = 0;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream ss(line);
    std::string name, form, sharing, c1, c2, c3, family;
    ss >> name >> form >> sharing >> c1 >> c2 >> c3 >> family;
    if ((form[0] == 's' || form[0] == 'd') && form[1] == '_' && family != "-") rows.push_back({name, form.substr(2), id});
    ++id;
  }
  return rows;
}

const char* suffix(char prec, int slot) {
  return slot == 0 ? (prec == 's' ? "_21" : "_50") : slot == 1 ? "_HA" : (prec == 's' ? "_11" : "_26");
}

// One call with count n on empty guarded arrays; strided forms with strides
// other than one, so that they do not hand over to the plain kernel.
template <class T>
void call(void* fn, const std::string& form, bool strided, int n) {
  Guarded<T> a(0, 4), b(0, 4), r(0, 4), r2(0, 4);
  const T s = T(0.5);
  if (form == "u") {
    if (strided) reinterpret_cast<void (*)(int, const T*, int, T*, int)>(fn)(n, a.data(), 2, r.data(), 3);
    else reinterpret_cast<void (*)(int, const T*, T*)>(fn)(n, a.data(), r.data());
  } else if (form == "b") {
    if (strided)
      reinterpret_cast<void (*)(int, const T*, int, const T*, int, T*, int)>(fn)(n, a.data(), 2, b.data(), 0, r.data(), 3);
    else reinterpret_cast<void (*)(int, const T*, const T*, T*)>(fn)(n, a.data(), b.data(), r.data());
  } else if (form == "2r") {
    if (strided)
      reinterpret_cast<void (*)(int, const T*, int, T*, int, T*, int)>(fn)(n, a.data(), 2, r.data(), 3, r2.data(), 1);
    else reinterpret_cast<void (*)(int, const T*, T*, T*)>(fn)(n, a.data(), r.data(), r2.data());
  } else if (form == "powx") {
    if (strided) reinterpret_cast<void (*)(int, const T*, int, T, T*, int)>(fn)(n, a.data(), 2, s, r.data(), 3);
    else reinterpret_cast<void (*)(int, const T*, T, T*)>(fn)(n, a.data(), s, r.data());
  } else {
    ASSERT_EQ(form, "lf");
    if (strided)
      reinterpret_cast<void (*)(int, const T*, int, const T*, int, T, T, T, T, T*, int)>(fn)(
          n, a.data(), 2, b.data(), 0, s, s, s, s, r.data(), 3);
    else
      reinterpret_cast<void (*)(int, const T*, const T*, T, T, T, T, T*)>(fn)(n, a.data(), b.data(), s, s, s, s,
                                                                              r.data());
  }
  EXPECT_TRUE(r.lead_intact() && r2.lead_intact()) << "written below the result";
}

TEST(Shape, NegativeCountsAsTheRowsRead) {
  zevtest::ModeScope mode(VQM_HA | VQM_ERRMODE_DEFAULT);
  const std::vector<Row> rows = built_rows();
  ASSERT_GE(rows.size(), 150u);
  int empty_calls = 0;
  for (const Row& row : rows) {
    const std::string stem = row.name.substr(1);
    const bool polynomial_or_rounding = kUnsignedStems.count(stem) != 0;
    EXPECT_EQ(zev::vk::unsigned_count_row(row.id), polynomial_or_rounding) << row.name;
    for (int strided = 0; strided < 2; ++strided) {
      for (int slot = 0; slot < 3; ++slot) {
        // dExpm1 at HA, the x87 loop, reads a negative count as empty.
        const bool x87_loop = row.name == "dExpm1" && slot == 1;
        if (!strided && polynomial_or_rounding && !x87_loop) continue;  // unsigned: not called
        const std::string entry = "_vqm" + row.name + (strided ? "I" : "") + suffix(row.name[0], slot);
        void* fn = dlsym(RTLD_DEFAULT, entry.c_str());
        ASSERT_NE(fn, nullptr) << entry;
        for (int n : {-1, -7, INT_MIN}) {
          SCOPED_TRACE(entry + " n=" + std::to_string(n));
          zev_vqm_kernel_ClearErrStatus();
          errno = 0;
          if (row.name[0] == 's') call<float>(fn, row.form, strided, n);
          else call<double>(fn, row.form, strided, n);
          EXPECT_EQ(zev_vqm_kernel_GetErrStatus(), 0);
          EXPECT_EQ(errno, 0);
          ++empty_calls;
        }
      }
    }
  }
  EXPECT_GT(empty_calls, 1000);
}

}  // namespace
