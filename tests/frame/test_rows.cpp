// The row table, its data exports and entries, read from outside the module.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "zev/zev_vqm.h"

namespace {

struct RowInfo {
  std::string name, kind, pattern;
  float cost[3];
  std::string family;  // folder under vector/
};

// The 440 rows: the file's 232 and the 208 strided repeats.
std::vector<RowInfo> read_rows() {
  std::vector<RowInfo> rows;
  std::ifstream in(ZEV_ROWS_FILE);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream ss(line);
    RowInfo r;
    ss >> r.name >> r.kind >> r.pattern >> r.cost[0] >> r.cost[1] >> r.cost[2] >> r.family;
    rows.push_back(r);
  }
  for (int i = 0; i < 208; ++i) {
    RowInfo r = rows[i];
    r.name += "I";
    rows.push_back(r);
  }
  return rows;
}

void* sym(const char* name) {
  void* p = dlsym(RTLD_DEFAULT, name);
  EXPECT_NE(p, nullptr) << name;
  return p;
}

const char* suffix(char p, int s) {
  const bool single = p == 's' || p == 'c';
  return s == 0 ? (single ? "_21" : "_50") : s == 1 ? "_HA" : (single ? "_11" : "_26");
}

TEST(Rows, LayoutAndOrder) {
  const std::vector<RowInfo> rows = read_rows();
  ASSERT_EQ(rows.size(), 440u);
  EXPECT_EQ(rows[232].name, "sCeilI");
  EXPECT_EQ(rows[439].name, "dLinearFracI");
  char* base = static_cast<char*>(sym("zev_vqm_kernel_sCeil_ttab"));
  for (size_t i = 0; i < rows.size(); ++i) {
    const std::string t = "zev_vqm_kernel_" + rows[i].name + "_ttab", c = "zev_vqm_kernel_" + rows[i].name + "_ctab";
    char* tp = static_cast<char*>(sym(t.c_str()));
    char* cp = static_cast<char*>(sym(c.c_str()));
    ASSERT_EQ(tp, base + 40 * i) << rows[i].name;
    ASSERT_EQ(cp, tp + 24) << rows[i].name;
    float cost[3];
    memcpy(cost, cp, sizeof cost);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(cost[k], rows[i].cost[k]) << rows[i].name;
  }
}

// Slots that share a kernel hold one address and equal costs; slots with
// different kernels differ in both. Strided rows share like their plain rows.
TEST(Rows, SharingAndCosts) {
  const std::vector<RowInfo> rows = read_rows();
  std::map<std::string, int> patterns;
  for (const RowInfo& r : rows) {
    ++patterns[r.pattern];
    const bool eq01 = r.pattern == "ONE" || r.pattern == "LAHA", eq02 = r.pattern == "ONE" || r.pattern == "LAEP",
               eq12 = r.pattern == "ONE";
    EXPECT_EQ(r.cost[0] == r.cost[1], eq01) << r.name;
    EXPECT_EQ(r.cost[0] == r.cost[2], eq02) << r.name;
    EXPECT_EQ(r.cost[1] == r.cost[2], eq12) << r.name;
    void** slots = static_cast<void**>(sym(("zev_vqm_kernel_" + r.name + "_ttab").c_str()));
    EXPECT_EQ(slots[0] == slots[1], eq01) << r.name;
    EXPECT_EQ(slots[0] == slots[2], eq02) << r.name;
    EXPECT_EQ(slots[1] == slots[2], eq12) << r.name;
    // Each entry name jumps through its own slot: the entries of shared slots
    // behave alike, and the bare name is the HA entry.
    for (int k = 0; k < 3; ++k) sym(("_vqm" + r.name + suffix(r.name[0], k)).c_str());
    EXPECT_EQ(sym(("_vqm" + r.name).c_str()), sym(("_vqm" + r.name + "_HA").c_str())) << r.name;
  }
  EXPECT_EQ(patterns["ONE"], 232);
  EXPECT_EQ(patterns["THREE"], 138);
  EXPECT_EQ(patterns["LAHA"], 40);
  EXPECT_EQ(patterns["LAEP"], 30);
}

// The family column names a folder under vector/ for every row, and the
// row's kernels compute: a call on one element reports no -2.
TEST(Rows, FamilyColumnMatchesTheKernels) {
  const std::vector<RowInfo> rows = read_rows();
  for (int i = 0; i < 232; ++i) {
    const RowInfo& r = rows[i];
    ASSERT_FALSE(r.family.empty()) << r.name << ": no family column";
    EXPECT_TRUE(std::filesystem::is_directory(std::string(ZEV_SOURCE_DIR) + "/vector/" + r.family)) << r.name;
    if (r.kind.find("ack") != std::string::npos || r.name[0] == 'c' || r.name[0] == 'z') continue;
    for (const std::string& name : {r.name, r.name + "I"}) {
      void* e = sym(("_vqm" + name).c_str());
      zev_vqm_kernel_ClearErrStatus();
      double buf[8] = {1.5, 1.5, 1.5, 1.5, 1.5, 1.5, 1.5, 1.5};
      if (r.kind.find("lf") != std::string::npos || r.kind.find("powx") != std::string::npos) continue;
      if (name.back() == 'I')
        reinterpret_cast<void (*)(int, double*, int, double*, int, double*, int)>(e)(1, buf, 1, buf + 2, 1, buf + 4,
                                                                                     1);
      else
        reinterpret_cast<void (*)(int, double*, double*, double*)>(e)(1, buf, buf + 2, buf + 4);
      EXPECT_NE(zev_vqm_kernel_GetErrStatus(), -2) << name << " (" << r.family << ")";
    }
  }
  zev_vqm_kernel_ClearErrStatus();
}

TEST(Rows, IndexFunctions) {
  EXPECT_EQ(zev_vqm_kernel_GetTTableIndexM(12345, 0x1A02), 1);
  EXPECT_EQ(zev_vqm_kernel_GetTTableIndexM(-1, 0), -1);
  EXPECT_EQ(zev_vqm_kernel_GetTTableIndexM(0, 0x3), 2);
  EXPECT_EQ(dll_cpu_version(), 3);
  EXPECT_EQ(zev_vqm_kernel_GetTTableIndex(), static_cast<int>(zev_vqm_kernel_GetMode() & 0xF) - 1);
  EXPECT_EQ(reinterpret_cast<void*>(&_vqmsExp), reinterpret_cast<void*>(&_vqmsExp_HA));
}

}  // namespace
