// Gaussian numbers drawn on several MPI ranks, two ways of giving each rank
// its own numbers:
//   - blocks of one MT19937 sequence: rank k skips k*B uniforms ahead and
//     draws B variates by the inverse method (one uniform a variate), so the
//     ranks' blocks put together are the sequence one process would draw;
//   - one MT2203 member a rank (member k): independent sequences.
// Rank 0 gathers both and checks them against what it draws itself; the
// program exits 1 on any difference.
//
//   mpirun -np 2 build/examples/zev_mpi_gaussian
#include <mpi.h>

#include <cstdio>
#include <vector>

#include "zev/zev_vqs.h"
#include "zev/zev_vqs_dist.h"

namespace {

constexpr int kBlock = 100000;
constexpr unsigned kSeed = 2026;

// B Gaussian variates of a stream of generator id, after skipping `skip`
// uniforms.
int draw(int id, long long skip, double* r) {
  void* s = nullptr;
  unsigned seed = kSeed;
  int st = __vqsNewStreamEx(&s, id, 1, &seed);
  if (st == 0 && skip > 0) st = __vqsSkipAheadStream(s, skip);
  if (st == 0) st = _vqsdRngGaussian(ZEV_RNG_GAUSSIAN_ICDF, s, kBlock, r, 0.0, 1.0);
  __vqsDeleteStream(&s);
  return st;
}

}  // namespace

int main(int argc, char** argv) {
  MPI_Init(&argc, &argv);
  int rank = 0, size = 1;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank);
  MPI_Comm_size(MPI_COMM_WORLD, &size);

  std::vector<double> block(kBlock), member(kBlock);
  int status = draw(ZEV_BRNG_MT19937, static_cast<long long>(rank) * kBlock, block.data());
  if (status == 0) status = draw(ZEV_BRNG_MT2203 + rank, 0, member.data());

  std::vector<double> blocks, members;
  if (rank == 0) blocks.resize(static_cast<size_t>(size) * kBlock), members.resize(blocks.size());
  MPI_Gather(block.data(), kBlock, MPI_DOUBLE, blocks.data(), kBlock, MPI_DOUBLE, 0, MPI_COMM_WORLD);
  MPI_Gather(member.data(), kBlock, MPI_DOUBLE, members.data(), kBlock, MPI_DOUBLE, 0, MPI_COMM_WORLD);
  MPI_Allreduce(MPI_IN_PLACE, &status, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);

  int fail = status != 0;
  if (rank == 0 && !fail) {
    // One process: the whole MT19937 sequence in one call, and each member.
    std::vector<double> whole(static_cast<size_t>(size) * kBlock), one(kBlock);
    void* s = nullptr;
    unsigned seed = kSeed;
    fail |= __vqsNewStreamEx(&s, ZEV_BRNG_MT19937, 1, &seed) != 0;
    fail |= _vqsdRngGaussian(ZEV_RNG_GAUSSIAN_ICDF, s, size * kBlock, whole.data(), 0.0, 1.0) != 0;
    __vqsDeleteStream(&s);
    long long differ = 0;
    for (size_t i = 0; i < whole.size(); ++i) differ += whole[i] != blocks[i];
    for (int k = 0; k < size; ++k) {
      fail |= draw(ZEV_BRNG_MT2203 + k, 0, one.data()) != 0;
      for (int i = 0; i < kBlock; ++i) differ += one[i] != members[static_cast<size_t>(k) * kBlock + i];
    }
    std::printf("%d ranks: %d variates each from skipped blocks of MT19937 and from MT2203 members; "
                "%lld differ from the one-process sequences\n", size, kBlock, differ);
    fail |= differ != 0;
  }
  MPI_Bcast(&fail, 1, MPI_INT, 0, MPI_COMM_WORLD);
  MPI_Finalize();
  return fail;
}
