// zev_ulp: the accuracy checker of the vector-math entries.
//
// Each function family registers its rows in a file of its own
// (funcs_<family>.cpp) with a static Registrar; nothing else lists them.
// For every registered row and accuracy level the runner resolves the entry
// (_vqm<row>_21/_50, _vqm<row>, _vqm<row>_11/_26), runs it on arrays of
// inputs of varying length and alignment, and compares every lane with an
// MPFR reference.
#pragma once

#include <mpfr.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vector/common/level.h"

namespace zev::ulp {

// How a row's kernels take their arguments.
enum class Arity { Unary, Binary, Powx, First2, Second2 };
// First2, Second2: a row of one input and two results (SinCos), measured on
// its first or its second result; register the row once for each.

// The MPFR reference: y = f(a[, b]) with y's own precision, round to nearest.
// The working precision of y is at least 128 bits (see FuncDesc::work_bits).
using RefFn = void (*)(mpfr_t y, const mpfr_t a, const mpfr_t b);

// An interval of inputs, closed; sampled uniformly over its bit patterns
// (every binade equally) and partly uniformly over its values.
struct Range {
  double lo, hi;
};

// A random number source with a fixed seed (xoshiro256**).
class Rng {
 public:
  explicit Rng(uint64_t seed);
  uint64_t next();
  double uniform();                   // [0, 1)
  uint64_t below(uint64_t n);         // [0, n)
 private:
  uint64_t s_[4];
};

// Optional generator of argument pairs for binary rows whose useful inputs
// are tied together (pow: b chosen so that b * log2(a) stays in range).
// `single` tells the target precision; results are rounded to it by the caller.
using PairGen = void (*)(Rng& rng, bool single, double& a, double& b);

struct LevelResult;
struct Options;
struct Env;

// A family file fills these with designated initializers; every member has a
// default, so a row names only what it needs.
struct FuncDesc {
  const char* row = nullptr;            // "sExp"
  Arity arity = Arity::Unary;
  RefFn ref = nullptr;
  std::vector<Range> a = {};            // ranges of the first argument
  std::vector<Range> b = {};            // ranges of the second (binary) or of the Powx scalar
  std::vector<double> points = {};      // special points: dense steps around each
  std::vector<double> b_values = {};    // Powx: the scalars tried; binary: extra b points
  bool exact = false;       // lane-wise exact (correctly rounded) at every level: 0 ulp
  int work_bits = 0;        // precision of the reference; 0 means 128
  PairGen pair = nullptr;   // binary only: a generator of related pairs
  double bound_la = 4.0, bound_ha = 1.0;  // ulp bounds of LA and HA
  // A family that measures its rows itself (complex: each part and normwise).
  std::vector<LevelResult> (*measure)(const FuncDesc&, const Options&, const Env&) = nullptr;
  const void* data = nullptr;  // what such a family's measure needs of the row
};

// Every funcs_<family>.cpp holds one of these at namespace scope.
struct Registrar {
  Registrar(std::initializer_list<FuncDesc> funcs);
};
const std::vector<FuncDesc>& registry();

// The project's accuracy levels (vector/common/level.h); the runner and the
// family files index slots and results by them as ints.
using zev::vk::Level;
inline constexpr int kLA = static_cast<int>(Level::LA), kHA = static_cast<int>(Level::HA),
                     kEP = static_cast<int>(Level::EP);
const char* level_name(int level);
// Entry name of a row at a level: _vqmsExp_21, _vqmsExp, _vqmdExp_26.
std::string entry_name(const std::string& row, int level);

// ---- Error measure --------------------------------------------------------

// Properties of the target format.
struct Format {
  int p;          // significand bits, 24 or 53
  int emin;       // exponent of the least normal, -126 or -1022
  int emax;       // exponent of the largest finite, 127 or 1023
  bool single;
};
Format format_of(bool single);

// The reference of one point, reduced to what the comparisons need.
struct Ref {
  double cr;         // correctly rounded to the target (float values widened)
  double y_hi, y_lo; // the exact value divided by its ulp, as a double pair
  int ulp_exp;       // ulp of the exact value is 2^ulp_exp (subnormals: the least)
  bool nan;          // the exact value is NaN
  bool inf;          // the exact value is an infinity (not an overflow at the target)
  bool zero;         // the exact value is zero
};

// Fills `out` from an MPFR value of any precision.
void make_ref(const mpfr_t y, const Format& f, Ref& out);

// Compare one lane's result with its reference.
struct Compare {
  enum Kind { kOk, kNaN, kZeroSign, kInfinity } special = kOk;  // special-value mismatch
  double ulp = 0.0;   // signed error in ulps of the exact value
  double rel = 0.0;   // relative error (subnormal results: against the least normal)
};
Compare compare(double got, const Ref& ref, const Format& f, bool exact);
const char* special_kind_name(int kind);

// Correct bits of a relative error: -log2(rel), capped at the significand.
double correct_bits(double rel, const Format& f);

// ---- Measuring one level --------------------------------------------------

struct Point {
  double a, b;
};

// The entry points the runner calls; tests substitute their own.
struct Env {
  void* (*resolve)(const char* name);
  int (*clear_status)();
  int (*get_status)();
};
Env module_env();  // entries of the loaded module, by dynamic symbol lookup

struct Options {
  uint64_t seed = 0x7a65765f756c7021ull;
  long random_points = 20000;  // random points per function (plus specials and steps)
  int dense = 24;              // consecutive neighbours each side of a special point
  int crosstalk_inputs = 48;   // inputs whose lane independence is checked
  bool verbose = false;
};

enum class State { Measured, Missing };

struct Example {
  Point in;
  double got, want;
  bool strided = false;  // seen in the strided (I) entry
};

struct LevelResult {
  std::string row, entry;
  int level = 0;
  State state = State::Missing;
  bool exact = false;
  double bound = 0.0;        // ulps (LA, HA, exact rows) or correct bits (EP)
  bool bits_bound = false;   // bound is in correct bits
  double worst_ulp = 0.0;    // largest |error| in ulps
  Example worst_ulp_at{};
  double worst_rel = 0.0;
  Example worst_rel_at{};
  long points = 0;
  long special_mismatches = 0;
  std::vector<std::pair<int, Example>> special_examples;  // kind, example
  long crosstalk_failures = 0;
  std::vector<Example> crosstalk_examples;
  long outside_writes = 0;   // calls that wrote outside r[0..n-1] (or between strided results)
  std::string outside_example;  // the first such call: its length, offsets or strides
  double worst_part = 0.0, part_bound = 0.0;  // complex rows: worst part in ulps of that part, and its bound
  std::string note;          // a line of the family's own, printed under the result
  std::string strided_entry; // _vqm<row>I..., measured on the same points when built
  long strided_points = 0;
  bool pass() const;
};

// Inputs of a function: specials, dense steps and random points, shuffled.
std::vector<Point> make_inputs(const FuncDesc& fd, const Options& opt);

// Measures every level of one function. Levels whose entry is missing are
// returned as such; references are computed only when some level has one.
std::vector<LevelResult> measure_function(const FuncDesc& fd, const Options& opt, const Env& env);

// Reports.
void print_result(const LevelResult& r, FILE* out);
std::string format_value(double v, bool single);
void write_markdown(const std::vector<LevelResult>& results, const Options& opt,
                    const std::string& mode, FILE* out);

}  // namespace zev::ulp
