// Build-time generator of everything that exists once per function row.
//
// Reads frame/rows.txt (rows 0-231 in table order, each with the family folder
// that builds it, or - while none does) and writes:
//   rows_gen.h        row numbers, kernel types, the levels each row's kernels
//                     are named by, parameter lists, kernel declarations (internal)
//   table.S           the row table with its _ttab/_ctab exports, and the jumping entries
//   entries_gen.cpp   forwarding entries
//   zev/zev_vqm_functions.h  the public prototypes of every entry and table export
// With --index it writes instead the index of every kernel (row, levels,
// symbol, source file) as Markdown, from the family folders under vectordir.
//
// usage: rowgen rows.txt outdir includedir
//        rowgen --index rows.txt vectordir > docs/kernels.md
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

enum Pattern { ONE, THREE, LAHA, LAEP };

struct Row {
  std::string name;  // e.g. sExp, sExpI
  std::string kind;  // argument form of the plain row, e.g. s_u
  Pattern pattern;
  float cost[3];
  bool strided;
  std::string family;  // folder under vector/
  int plain;  // index of the plain row (itself for plain rows)
};

constexpr int kPlainRows = 208;
constexpr int kPackRows = 24;
constexpr int kRows = 440;

std::string elem(char p) {
  switch (p) {
    case 's': return "float";
    case 'd': return "double";
    case 'c': return "zev_complex8";
    default: return "zev_complex16";
  }
}
std::string real_of(char p) { return (p == 's' || p == 'c') ? "float" : "double"; }

// Parameter list (types and names) of a row's kernels.
std::string params(const Row& r) {
  const char p = r.name[0];
  const std::string& k = r.kind;
  const std::string T = elem(p), R = real_of(p);
  const bool I = r.strided;
  auto in = [&](const std::string& t, const char* a, const char* inc) {
    return "const " + t + "* " + a + (I ? std::string(", int ") + inc : "");
  };
  auto out = [&](const std::string& t, const char* a, const char* inc) {
    return t + "* " + a + (I ? std::string(", int ") + inc : "");
  };
  if (k.size() >= 2 && k[1] == '_') {
    const std::string f = k.substr(2);
    if (f == "u") return "int n, " + in(T, "a", "inca") + ", " + out(T, "r", "incr");
    if (f == "r") return "int n, " + in(T, "a", "inca") + ", " + out(R, "r", "incr");
    if (f == "cis") return "int n, " + in(R, "a", "inca") + ", " + out(T, "r", "incr");
    if (f == "b")
      return "int n, " + in(T, "a", "inca") + ", " + in(T, "b", "incb") + ", " + out(T, "r", "incr");
    if (f == "powx") return "int n, " + in(T, "a", "inca") + ", " + T + " b, " + out(T, "r", "incr");
    if (f == "2r")
      return "int n, " + in(T, "a", "inca") + ", " + out(T, "r1", "incr1") + ", " + out(T, "r2", "incr2");
    if (f == "lf")
      return "int n, " + in(T, "a", "inca") + ", " + in(T, "b", "incb") + ", " + T + " scalea, " + T +
             " shifta, " + T + " scaleb, " + T + " shiftb, " + out(T, "r", "incr");
  }
  const std::string n = "int64_t n, ";
  if (k == "packI") return n + "const " + T + "* a, int64_t inca, " + T + "* y, int width";
  if (k == "packM") return n + "const " + T + "* a, const void* ma, " + T + "* y, int width";
  if (k == "packV") return n + "const " + T + "* a, const void* ia, " + T + "* y, int width";
  if (k == "unpackI") return n + "const " + T + "* a, " + T + "* y, int64_t incy, int width";
  if (k == "unpackM") return n + "const " + T + "* a, " + T + "* y, const void* my, int width";
  if (k == "unpackV") return n + "const " + T + "* a, " + T + "* y, const void* iy, int width";
  std::cerr << "rowgen: unknown argument form " << k << "\n";
  exit(1);
}

// Argument names of a parameter list, for forwarding calls.
std::string arg_names(const std::string& plist) {
  std::string out;
  std::stringstream ss(plist);
  std::string item;
  while (std::getline(ss, item, ',')) {
    size_t e = item.find_last_not_of(' ');
    size_t b = item.find_last_of(" *", e);
    if (!out.empty()) out += ", ";
    out += item.substr(b + 1, e - b);
  }
  return out;
}

// Which kernel serves slot s, named after every level it serves.
std::string kernel_level(Pattern p, int s) {
  switch (p) {
    case ONE: return "lahaep";
    case THREE: return s == 0 ? "la" : s == 1 ? "ha" : "ep";
    case LAHA: return s == 2 ? "ep" : "laha";
    case LAEP: return s == 1 ? "ha" : "laep";
  }
  return "lahaep";
}

// The bit of a kernel name in kKernelLevels (the shape's kLevel_<name>).
unsigned level_bit(const std::string& lv) {
  const char* names[] = {"la", "ha", "ep", "laha", "laep", "lahaep"};
  for (unsigned i = 0; i < 6; ++i)
    if (lv == names[i]) return 1u << i;
  return 0;
}

std::string kernel_symbol(const Row& r, int s) {
  return "zev_k_" + r.name + "_" + kernel_level(r.pattern, s);
}

std::set<std::string> kernel_levels(const Row& r) {
  std::set<std::string> out;
  for (int s = 0; s < 3; ++s) out.insert(kernel_level(r.pattern, s));
  return out;
}

const char* suffix(char p, int s) {
  const bool single = (p == 's' || p == 'c');
  if (s == 0) return single ? "_21" : "_50";
  if (s == 1) return "_HA";
  return single ? "_11" : "_26";
}

bool forwarding(const Row& r) {
  return r.name == "zPowx" || r.name == "zPowxI" || r.kind.rfind("pack", 0) == 0 ||
         r.kind.rfind("unpack", 0) == 0;
}

uint32_t float_bits(float f) {
  uint32_t u;
  memcpy(&u, &f, 4);
  return u;
}

std::vector<Row> read_rows(const char* rows_path) {
  std::vector<Row> rows;
  std::ifstream in(rows_path);
  if (!in) {
    std::cerr << "rowgen: cannot read " << rows_path << "\n";
    exit(1);
  }
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::stringstream ss(line);
    Row r{};
    std::string pat;
    ss >> r.name >> r.kind >> pat >> r.cost[0] >> r.cost[1] >> r.cost[2] >> r.family;
    if (r.family.empty() || r.family == "-") {
      std::cerr << "rowgen: row " << r.name << " names no family (the folder under vector/ of its kernels)\n";
      exit(1);
    }
    r.pattern = pat == "ONE" ? ONE : pat == "THREE" ? THREE : pat == "LAHA" ? LAHA : LAEP;
    r.strided = false;
    r.plain = static_cast<int>(rows.size());
    rows.push_back(r);
  }
  if (rows.size() != kPlainRows + kPackRows) {
    std::cerr << "rowgen: expected " << kPlainRows + kPackRows << " rows, read " << rows.size() << "\n";
    exit(1);
  }
  for (int i = 0; i < kPlainRows; ++i) {
    Row r = rows[i];
    r.name += "I";
    r.strided = true;
    r.plain = i;
    rows.push_back(r);
  }
  return rows;
}

void write_file(const std::string& path, const std::string& text) {
  // Leave an unchanged file alone so that dependants are not rebuilt.
  std::ifstream in(path);
  if (in) {
    std::stringstream old;
    old << in.rdbuf();
    if (old.str() == text) return;
  }
  std::ofstream out(path);
  out << text;
  if (!out) {
    std::cerr << "rowgen: cannot write " << path << "\n";
    exit(1);
  }
}

// The Markdown index of every kernel: which file under vectordir/<family>
// defines zev_k_<row>_<levels> (found by the row and level in a kernel macro,
// or the symbol itself), so that a kernel is found from its row in one step.
int write_index(const std::vector<Row>& rows, const std::string& vectordir) {
  namespace fs = std::filesystem;
  std::cout << "# Kernel index\n\nGenerated by `rowgen --index frame/rows.txt vector > docs/kernels.md`; do not edit.\n"
               "Each kernel is `zev_k_<row>_<levels>` (its strided twin `zev_k_<row>I_<levels>` is in the same\n"
               "file), named after the levels it serves.\n\n"
               "| Row | Levels | Kernel | Source |\n|---|---|---|---|\n";
  for (int i = 0; i < kPlainRows + kPackRows; ++i) {
    const Row& r = rows[i];
    const fs::path dir = fs::path(vectordir) / r.family;
    if (!fs::is_directory(dir)) {
      std::cerr << "rowgen: row " << r.name << ": no folder " << dir.string() << "\n";
      return 1;
    }
    std::vector<fs::path> files;
    for (const auto& f : fs::directory_iterator(dir))
      if (f.path().extension() == ".cpp") files.push_back(f.path());
    std::sort(files.begin(), files.end());
    std::vector<std::string> levels;  // in slot order
    for (int k = 0; k < 3; ++k)
      if (std::find(levels.begin(), levels.end(), kernel_level(r.pattern, k)) == levels.end())
        levels.push_back(kernel_level(r.pattern, k));
    for (const std::string& lv : levels) {
      std::string where;
      for (const fs::path& f : files) {
        std::ifstream in(f);
        std::stringstream text;
        text << in.rdbuf();
        const std::string t = text.str();
        if (t.find("(" + r.name + ", " + lv + ",") != std::string::npos ||
            t.find("zev_k_" + r.name + "_" + lv) != std::string::npos)
          where = f.lexically_relative(fs::path(vectordir).parent_path()).string();
      }
      if (where.empty() && files.size() == 1)
        where = files[0].lexically_relative(fs::path(vectordir).parent_path()).string();
      std::cout << "| " << r.name << " | " << lv << " | `zev_k_" << r.name << "_" << lv << "` | "
                << (where.empty() ? dir.string() : where) << " |\n";
    }
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--index") return write_index(read_rows(argv[2]), argv[3]);
  if (argc != 4) {
    std::cerr << "usage: rowgen rows.txt outdir includedir\n       rowgen --index rows.txt vectordir\n";
    return 2;
  }
  const std::vector<Row> rows = read_rows(argv[1]);
  const std::string outdir = argv[2], incdir = argv[3];

  // rows_gen.h
  std::ostringstream h;
  h << "// Generated by rowgen from rows.txt. Do not edit.\n#pragma once\n"
       "#include <cstdint>\n#include \"zev/zev_config.h\"\n\nnamespace zev::row {\n"
       "enum : int {\n";
  for (int i = 0; i < kRows; ++i) h << "  " << rows[i].name << " = " << i << ",\n";
  h << "};\ninline constexpr int kCount = " << kRows << ";\n}  // namespace zev::row\n\n";
  h << "namespace zev::kt {  // kernel types, one per row\n";
  for (int i = 0; i < kRows; ++i) h << "using " << rows[i].name << " = void(" << params(rows[i]) << ");\n";
  h << "}  // namespace zev::kt\n\n";
  // The names of each row's kernels (bits: la 1, ha 2, ep 4, laha 8, laep 16,
  // lahaep 32), for the kernel macro's check. A forwarding row's entry calls
  // its slot's kernel, which is named alike.
  h << "namespace zev::row {\ninline constexpr unsigned kKernelLevels[kCount] = {\n";
  for (int i = 0; i < kRows; ++i) {
    unsigned bits = 0;
    for (const std::string& lv : kernel_levels(rows[i])) bits |= level_bit(lv);
    h << "  " << bits << ",  // " << rows[i].name << "\n";
  }
  h << "};\n}  // namespace zev::row\n\n";
  // Parameter and argument lists of each row's kernels, for the kernel macro.
  for (int i = 0; i < kRows; ++i) {
    const std::string pl = params(rows[i]);
    h << "#define ZEV_PARAMS_" << rows[i].name << " " << pl << "\n#define ZEV_ARGS_" << rows[i].name << " "
      << arg_names(pl) << "\n";
  }
  h << "\nextern \"C\" {\n";
  for (int i = 0; i < kRows; ++i) {
    for (const std::string& lv : kernel_levels(rows[i]))
      h << "__attribute__((visibility(\"hidden\"))) void zev_k_" << rows[i].name << "_" << lv << "("
        << params(rows[i]) << ");\n";
  }
  h << "}\n";
  write_file(outdir + "/rows_gen.h", h.str());

  // table.S
  std::ostringstream s;
  s << "# Generated by rowgen from rows.txt. Do not edit.\n"
       "# The row table: three kernel pointers and three float costs a row, 40 bytes.\n"
       "\t.data\n\t.balign 64\n\t.globl zev_vqm_rows\n\t.hidden zev_vqm_rows\n"
       "\t.type zev_vqm_rows, @object\n\t.size zev_vqm_rows, "
    << kRows * 40 << "\nzev_vqm_rows:\n";
  for (int i = 0; i < kRows; ++i) {
    const Row& r = rows[i];
    const std::string t = "zev_vqm_kernel_" + r.name + "_ttab", c = "zev_vqm_kernel_" + r.name + "_ctab";
    s << "\t.globl " << t << "\n\t.type " << t << ", @object\n\t.size " << t << ", 24\n" << t << ":\n";
    for (int k = 0; k < 3; ++k) s << "\t.quad " << kernel_symbol(r, k) << "\n";
    s << "\t.globl " << c << "\n\t.type " << c << ", @object\n\t.size " << c << ", 12\n" << c << ":\n";
    for (int k = 0; k < 3; ++k) {
      char buf[64];
      snprintf(buf, sizeof buf, "\t.long 0x%08X\t# %.3f\n", float_bits(r.cost[k]), r.cost[k]);
      s << buf;
    }
    s << "\t.zero 4\n";
  }
  s << "\n# Jumping entries: one load and one indirect jump, arguments untouched.\n\t.text\n";
  for (int i = 0; i < kRows; ++i) {
    const Row& r = rows[i];
    if (forwarding(r)) continue;
    for (int k = 0; k < 3; ++k) {
      const std::string e = std::string("_vqm") + r.name + suffix(r.name[0], k);
      s << "\t.balign 16\n\t.globl " << e << "\n\t.type " << e << ", @function\n";
      if (k == 1) {
        const std::string bare = "_vqm" + r.name;
        s << "\t.globl " << bare << "\n\t.type " << bare << ", @function\n" << bare << ":\n";
      }
      s << e << ":\n\tjmp *zev_vqm_rows+" << i * 40 + k * 8 << "(%rip)\n\t.size " << e << ", .-" << e << "\n";
      if (k == 1) s << "\t.size _vqm" << r.name << ", .-" << e << "\n";
    }
  }
  s << "\t.section .note.GNU-stack,\"\",@progbits\n";
  write_file(outdir + "/table.S", s.str());

  // entries_gen.cpp: forwarding entries.
  std::ostringstream e;
  e << "// Generated by rowgen from rows.txt. Do not edit.\n"
       "#include \"rows_gen.h\"\n#include \"frame/table.h\"\n#include \"frame/report.h\"\n\n";
  for (int i = 0; i < kRows; ++i) {
    const Row& r = rows[i];
    if (!forwarding(r)) continue;
    const std::string pl = params(r), an = arg_names(pl);
    for (int k = 0; k < 3; ++k) {
      const std::string en = std::string("_vqm") + r.name + suffix(r.name[0], k);
      e << "extern \"C\" ZEV_API void " << en << "(" << pl << ") {\n  zev::slot<zev::kt::" << r.name
        << ">(zev::row::" << r.name << ", " << k << ")(" << an << ");\n}\n";
      if (k == 1)
        e << "extern \"C\" ZEV_API void _vqm" << r.name << "(" << pl << ") __attribute__((alias(\"" << en
          << "\")));\n";
    }
  }
  write_file(outdir + "/entries_gen.cpp", e.str());

  // Public prototypes.
  std::ostringstream p;
  p << "/* Generated from the row list of the vector-math table. Do not edit.\n"
       "   Every function row has the table exports zev_vqm_kernel_<row>_ttab (its three\n"
       "   kernel slots, LA HA EP) and zev_vqm_kernel_<row>_ctab (their costs), and three\n"
       "   accuracy entries: _vqm<row>_21 (_50 for d and z) LA, _vqm<row> and\n"
       "   _vqm<row>_HA HA, _vqm<row>_11 (_26 for d and z) EP. */\n"
       "#ifndef ZEV_VQM_FUNCTIONS_H\n#define ZEV_VQM_FUNCTIONS_H\n#include \"zev/zev_config.h\"\n"
       "ZEV_EXTERN_C_BEGIN\n\n";
  for (int i = 0; i < kRows; ++i) {
    const Row& r = rows[i];
    const std::string pl = params(r);
    p << "/* " << r.name << " */\n";
    p << "ZEV_API extern void (*zev_vqm_kernel_" << r.name << "_ttab[])(void);\n";
    p << "ZEV_API extern float zev_vqm_kernel_" << r.name << "_ctab[];\n";
    for (int k = 0; k < 3; ++k)
      p << "ZEV_API void _vqm" << r.name << suffix(r.name[0], k) << "(" << pl << ");\n";
    p << "ZEV_API void _vqm" << r.name << "(" << pl << ");\n";
  }
  p << "\nZEV_EXTERN_C_END\n#endif\n";
  write_file(incdir + "/zev/zev_vqm_functions.h", p.str());
  return 0;
}
