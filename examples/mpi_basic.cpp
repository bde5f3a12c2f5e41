// Moments and covariance of data split across MPI ranks.
//
// Every rank holds a slice of the observations (here each makes the same
// data set from one seed and keeps its slice), computes its partial result
// with _vqsdSSBasic (one-pass method, accumulated_weights set so that the
// partial result is complete), and the partial results are reduced to rank 0
// by an MPI operation that calls zev_ss_dMergePartial, the same pairwise
// merge the module uses to join its threads. Rank 0 then compares the merged
// result with one call over all the data and exits 1 when any mean, central
// sum or cross product differs by more than 1e-12 relative.
//
//   mpirun -np 2 build/examples/zev_mpi_basic
#include <mpi.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "zev/zev_ss.h"

namespace {

constexpr int32_t kP = 10;
constexpr int64_t kN = 400000;

// One partial result packed in one array: W, W2, then mean, raw moments 2 to
// 4, central sums 2 to 4 (p each) and the p by p cross products.
constexpr int kPacked = 2 + 7 * kP + kP * kP;

struct View {  // the partial result over a packed array
  zev_ss_dpartial part;
  explicit View(double* a)
      : part{a[0],          a[1],          a + 2,          a + 2 + kP,     a + 2 + 2 * kP,
             a + 2 + 3 * kP, a + 2 + 4 * kP, a + 2 + 5 * kP, a + 2 + 6 * kP, a + 2 + 7 * kP} {}
};

// Basic over observations [lo, hi) of the data, into a packed array.
int partial(const std::vector<double>& x, int64_t lo, int64_t hi, double* out) {
  const int32_t p = kP, n = static_cast<int32_t>(hi - lo), layout = ZEV_SS_MATRIX_STORAGE_COLS,
                full = ZEV_SS_MATRIX_STORAGE_FULL;
  std::fill(out, out + kPacked, 0.0);
  View v(out);
  zev_ss_task task = nullptr;
  int s = __vqsdSSNewTask(&task, &p, &n, &layout, x.data() + lo * kP, nullptr, nullptr, 0);
  if (s) return s;
  __vqsdSSEditTask(task, ZEV_SS_ED_ACCUM_WEIGHT, out);
  __vqsdSSEditMoments(task, v.part.mean, v.part.raw2, v.part.raw3, v.part.raw4, nullptr, nullptr,
                      nullptr);
  __vqsdSSEditSums(task, nullptr, nullptr, nullptr, nullptr, v.part.central_sum2,
                   v.part.central_sum3, v.part.central_sum4);
  __vqsdSSEditCP(task, nullptr, nullptr, v.part.cross, &full);
  s = _vqsdSSBasic(task,
                   ZEV_SS_MEAN | ZEV_SS_2R_MOM | ZEV_SS_3R_MOM | ZEV_SS_4R_MOM | ZEV_SS_2C_SUM |
                       ZEV_SS_3C_SUM | ZEV_SS_4C_SUM | ZEV_SS_CP,
                   ZEV_SS_METHOD_1PASS, nullptr);
  __vqsSSDeleteTask(&task);
  return s;
}

// The MPI reduction: inout = in merged with inout, in rank order (the
// operation is declared non-commutative, so MPI keeps that order).
void merge_op(void* in, void* inout, int* len, MPI_Datatype*) {
  for (int k = 0; k < *len; ++k) {
    double* a = static_cast<double*>(in) + k * kPacked;
    double* b = static_cast<double*>(inout) + k * kPacked;
    View va(a), vb(b);
    zev_ss_dMergePartial(kP, nullptr, 0, &va.part, &vb.part);
    a[0] = va.part.w, a[1] = va.part.w2;
    std::copy(a, a + kPacked, b);
  }
}

}  // namespace

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  int rank = 0, size = 1;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);

  // The data set: mean 10, one observation's variables together.
  std::vector<double> x(static_cast<size_t>(kN) * kP);
  std::mt19937_64 g(2026);
  std::normal_distribution<double> z(10, 1);
  for (double& v : x) v = z(g);

  std::vector<double> mine(kPacked), merged(kPacked);
  const int64_t lo = kN * rank / size, hi = kN * (rank + 1) / size;
  int status = partial(x, lo, hi, mine.data());
  MPI_Datatype packed;
  MPI_Type_contiguous(kPacked, MPI_DOUBLE, &packed);
  MPI_Type_commit(&packed);
  MPI_Op op;
  MPI_Op_create(merge_op, 0, &op);
  MPI_Reduce(mine.data(), merged.data(), 1, packed, op, 0, MPI_COMM_WORLD);
  MPI_Allreduce(MPI_IN_PLACE, &status, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);

  int fail = status != 0;
  if (rank == 0 && !fail) {
    std::vector<double> one(kPacked);
    fail = partial(x, 0, kN, one.data()) != 0;
    double worst = 0;
    for (int k = 0; k < kPacked; ++k) {
      const double d = std::fabs(merged[k] - one[k]) / std::max(std::fabs(one[k]), 1e-300);
      if (k >= 2 + 5 * kP && k < 2 + 6 * kP) continue;  // third central sums: near 0, judged below
      if (k >= 2 + 7 * kP) continue;  // cross products: judged below
      worst = std::max(worst, d);
    }
    // The third central sums are sums of cubes of deviations, near zero for
    // symmetric data: judge them against the scale n sigma^3.
    double worst3 = 0;
    for (int k = 2 + 5 * kP; k < 2 + 6 * kP; ++k) {
      const double sigma = std::sqrt(one[k - kP] / double(kN));  // from the second central sum
      worst3 = std::max(worst3, std::fabs(merged[k] - one[k]) / (double(kN) * sigma * sigma * sigma));
    }
    // Cross products of nearly independent variables are near zero too: judge
    // entry (i, k) of the upper triangle (the merged one) against
    // sqrt(C_ii C_kk), the scale of a correlation.
    double worst_cp = 0;
    const double* C1 = one.data() + 2 + 7 * kP;
    const double* Cm = merged.data() + 2 + 7 * kP;
    for (int i = 0; i < kP; ++i)
      for (int k = i; k < kP; ++k)
        worst_cp = std::max(worst_cp, std::fabs(Cm[i * kP + k] - C1[i * kP + k]) /
                                          std::sqrt(C1[i * kP + i] * C1[k * kP + k]));
    std::printf("%d ranks, %lld observations of %d variables: largest relative difference %.3g "
                "(third central sums %.3g of n sigma^3, cross products %.3g of sqrt(C_ii C_kk))\n",
                size, static_cast<long long>(kN), kP, worst, worst3, worst_cp);
    fail = fail || !(worst <= 1e-12) || !(worst3 <= 1e-12) || !(worst_cp <= 1e-12);
  }
  MPI_Bcast(&fail, 1, MPI_INT, 0, MPI_COMM_WORLD);
  MPI_Op_free(&op);
  MPI_Type_free(&packed);
  MPI_Finalize();
  return fail;
}
