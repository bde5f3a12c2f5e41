// Sobol and Niederr: first points against the published tables and against
// an independent implementation of the same constructions (GSL's Sobol of
// Algorithm 659 up to 40 dimensions, its base-2 Niederreiter of Bratley, Fox
// and Niederreiter up to 12), leapfrog and skip against plain drawing, block
// splits, the end of the sequence, and the user tables in chunks.
#include <gsl/gsl_qrng.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "gen_support.h"
#include "zev/zev_vqs.h"

using gentest::Stream;
using gentest::words;

namespace {

TEST(Sobol, FirstPointsOfThePublishedSequence) {
  // the first seven points of dimensions 1 to 3 of Algorithm 659 (Bratley and
  // Fox, 1988): polynomials 1, x + 1, x^2 + x + 1 with m = (1), (1), (1, 1)
  const double expect[7][3] = {{0.5, 0.5, 0.5},         {0.75, 0.25, 0.75},
                               {0.25, 0.75, 0.25},      {0.375, 0.375, 0.625},
                               {0.875, 0.875, 0.125},   {0.625, 0.125, 0.375},
                               {0.125, 0.625, 0.875}};
  Stream s(ZEV_BRNG_SOBOL, {3});
  std::vector<double> d(21);
  ASSERT_EQ(__vqsdBRngSobol(s, 21, d.data(), 0.0, 1.0), 0);
  for (int p = 0; p < 7; ++p)
    for (int k = 0; k < 3; ++k) EXPECT_EQ(d[size_t(3 * p + k)], expect[p][k]) << p << " " << k;
}

struct PeerCase {
  const char* name;
  int id;
  const gsl_qrng_type* (*type)();
  unsigned dim;
  int shift;  // our words have 32 bits; the peer keeps 2^-shift as its unit
  int skip_first;  // the peer gives the zero point first
};
const gsl_qrng_type* sobol_type() { return gsl_qrng_sobol; }
const gsl_qrng_type* nied_type() { return gsl_qrng_niederreiter_2; }

class AgainstPeer : public ::testing::TestWithParam<PeerCase> {};

TEST_P(AgainstPeer, SameSequence) {
  const PeerCase& c = GetParam();
  gsl_qrng* q = gsl_qrng_alloc(c.type(), c.dim);
  ASSERT_NE(q, nullptr);
  std::vector<double> pt(c.dim);
  for (int i = 0; i < c.skip_first; ++i) gsl_qrng_get(q, pt.data());
  Stream s(c.id, {c.dim});
  const int points = 3000;
  const auto w = words(s, points * int(c.dim));
  for (int p = 0; p < points; ++p) {
    gsl_qrng_get(q, pt.data());
    for (unsigned k = 0; k < c.dim; ++k) {
      const double ours = double(w[size_t(p) * c.dim + k] >> (32 - c.shift)) * std::ldexp(1.0, -c.shift);
      ASSERT_EQ(ours, pt[k]) << "point " << p + 1 << " component " << k;
    }
  }
  gsl_qrng_free(q);
}

INSTANTIATE_TEST_SUITE_P(
    Gens, AgainstPeer,
    ::testing::Values(PeerCase{"Sobol40", ZEV_BRNG_SOBOL, sobol_type, 40, 30, 0},
                      PeerCase{"Sobol7", ZEV_BRNG_SOBOL, sobol_type, 7, 30, 0},
                      PeerCase{"Niederr12", ZEV_BRNG_NIEDERR, nied_type, 12, 31, 1},
                      PeerCase{"Niederr1", ZEV_BRNG_NIEDERR, nied_type, 1, 31, 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Niederr, PolynomialsInIncreasingOrderReachDimension318) {
  // dimension 1 uses x: the van der Corput sequence 1/2, 1/4, 3/4, 1/8, ...
  Stream one(ZEV_BRNG_NIEDERR, {1});
  const std::vector<uint32_t> vdc = {0x80000000u, 0xC0000000u, 0x40000000u, 0x60000000u,
                                     0xE0000000u, 0xA0000000u, 0x20000000u};
  EXPECT_EQ(words(one, 7), vdc);
  // all 318 dimensions: the first point has every component non-zero
  Stream all(ZEV_BRNG_NIEDERR, {318});
  for (uint32_t x : words(all, 318)) ASSERT_NE(x, 0u);
}

struct DimCase {
  int id;
  std::vector<unsigned> seed;
  uint32_t dim;
};

TEST(QuasiRandom, DimensionRules) {
  const DimCase cases[] = {
      {ZEV_BRNG_SOBOL, {}, 1},       {ZEV_BRNG_SOBOL, {40}, 40},     {ZEV_BRNG_SOBOL, {41}, 1},
      {ZEV_BRNG_SOBOL, {0}, 1},      {ZEV_BRNG_SOBOL, {7, 0}, 7},    {ZEV_BRNG_SOBOL, {50, 0}, 1},
      {ZEV_BRNG_NIEDERR, {}, 1},     {ZEV_BRNG_NIEDERR, {318}, 318}, {ZEV_BRNG_NIEDERR, {319}, 1},
      {ZEV_BRNG_NIEDERR, {0}, 1}};
  for (const auto& c : cases) {
    Stream s(c.id, c.seed);
    ASSERT_EQ(s.status, 0);
    const uint32_t dim = zevtest::state_field<uint32_t>(s.s, 4);  // after the position
    EXPECT_EQ(dim, c.dim) << c.id << " " << (c.seed.empty() ? 0 : c.seed[0]);
  }
}

class QrngProps : public ::testing::TestWithParam<int> {};

TEST_P(QrngProps, SplitsLeapfrogAndSkip) {
  const int id = GetParam();
  const unsigned dim = 5;
  Stream ref(id, {dim});
  const auto seq = words(ref, 5 * 300);
  // every split of one call
  for (int n1 = 0; n1 <= 23; ++n1) {
    Stream s(id, {dim});
    auto a = words(s, n1), b = words(s, 60 - n1);
    a.insert(a.end(), b.begin(), b.end());
    ASSERT_EQ(a, std::vector<uint32_t>(seq.begin(), seq.begin() + 60)) << n1;
  }
  // leapfrog (k, 0x7FFFFFFF): component k of successive points, from a point boundary
  for (int k = 0; k < int(dim); ++k) {
    Stream s(id, {dim});
    ASSERT_EQ(__vqsLeapfrogStream(s, k, 0x7FFFFFFF), 0);
    const auto w = words(s, 100);
    for (int p = 0; p < 100; ++p) ASSERT_EQ(w[size_t(p)], seq[size_t(p) * dim + size_t(k)]) << k << " " << p;
  }
  // and from inside a point: that point counts as used
  {
    Stream s(id, {dim});
    words(s, 7);
    ASSERT_EQ(__vqsLeapfrogStream(s, 2, 0x7FFFFFFF), 0);
    EXPECT_EQ(words(s, 3), (std::vector<uint32_t>{seq[2 * 5 + 2], seq[3 * 5 + 2], seq[4 * 5 + 2]}));
  }
  // skip by k equals k values, from every position inside a point
  for (int start = 0; start < 7; ++start)
    for (uint64_t k : {0ull, 1ull, 4ull, 5ull, 6ull, 13ull, 500ull}) {
      Stream s(id, {dim});
      words(s, start);
      ASSERT_EQ(gentest::skip(s, k), 0);
      ASSERT_EQ(words(s, 6), std::vector<uint32_t>(seq.begin() + start + long(k), seq.begin() + start + long(k) + 6));
    }
  // refusals
  Stream s(id, {dim});
  EXPECT_EQ(__vqsLeapfrogStream(s, 0, 5), ZEV_VQS_ERR_NO_LEAPFROG);
  EXPECT_EQ(__vqsLeapfrogStream(s, int(dim), 0x7FFFFFFF), ZEV_VQS_ERR_NO_LEAPFROG);
  const unsigned long long ks[1] = {1};
  EXPECT_EQ(__vqsSkipAheadStreamEx(s, 1, ks), ZEV_VQS_ERR_NO_SKIPAHEADEX);
}

TEST_P(QrngProps, SequenceEndsAtPosition0xFFFFFFFF) {
  const int id = GetParam();
  Stream s(id, {1});
  ASSERT_EQ(gentest::skip(s, 0xFFFFFFFFull - 10), 0);
  EXPECT_EQ(gentest::skip(s, 11), ZEV_VQS_ERR_NO_SKIPAHEAD);
  std::vector<uint32_t> w(11, 0x5A5A5A5Au);
  std::vector<double> d(11, -1.0);
  EXPECT_EQ(gentest::row_of(s).iGen(s, 11, w.data()), ZEV_VQS_ERR_QRNG_EXHAUSTED);
  EXPECT_EQ(gentest::row_of(s).dGen(s, 11, d.data(), 0.0, 1.0), ZEV_VQS_ERR_QRNG_EXHAUSTED);
  EXPECT_EQ(w[0], 0x5A5A5A5Au);  // nothing written
  EXPECT_EQ(d[0], -1.0);
  EXPECT_EQ(gentest::row_of(s).iGen(s, 10, w.data()), 0);  // ends exactly at 0xFFFFFFFF
  EXPECT_EQ(gentest::row_of(s).iGen(s, 1, w.data()), ZEV_VQS_ERR_QRNG_EXHAUSTED);
  // the last values are those of the Gray code walk
  EXPECT_EQ(w[9], 1u);  // point 2^32 - 1: its Gray code is 2^31, direction word 31
}

TEST_P(QrngProps, FloatForms) {
  const int id = GetParam();
  Stream si(id, {3}), sd(id, {3}), ss(id, {3});
  const auto w = words(si, 90);
  std::vector<double> d(90);
  std::vector<float> f(90);
  ASSERT_EQ(gentest::row_of(sd).dGen(sd, 90, d.data(), -1.0, 1.0), 0);
  ASSERT_EQ(gentest::row_of(ss).sGen(ss, 90, f.data(), -1.0f, 1.0f), 0);
  for (size_t k = 0; k < w.size(); ++k) {
    ASSERT_EQ(d[k], double(w[k]) * (2.0 * 0x1p-32) - 1.0);
    ASSERT_NEAR(f[k], d[k], 1e-6);
  }
}

INSTANTIATE_TEST_SUITE_P(Gens, QrngProps, ::testing::Values(ZEV_BRNG_SOBOL, ZEV_BRNG_NIEDERR),
                         [](const auto& info) { return std::string(info.param == ZEV_BRNG_SOBOL ? "Sobol" : "Niederr"); });

TEST(Sobol, UserFormsMatchTheDefaultsTheyRestate) {
  // form 1: the default polynomials given by the caller
  std::vector<unsigned> f1 = {4, 1, 1, 3, 7, 11};
  // form 2: the default initial numbers m_1..m_3 given by the caller
  std::vector<unsigned> f2 = {4, 1, 2, 3, 1, 0, 0, 1, 1, 0, 1, 3, 7};
  // form 4: a full table of direction words, taken from a default stream's
  // behaviour: direction word j of component k is point 2^j XOR point 2^j - 1
  // forms 3 and 0xB: both, with the table in chunks (0xB describes dimension 1 too)
  std::vector<unsigned> f3 = {4, 1, 3, 3, 7, 11, 3, 1, 0, 0, 1, 1, 0, 1, 3, 7};
  std::vector<unsigned> fb = {4, 1, 0xB, 1, 3, 7, 11, 3, 1, 0, 0, 1, 0, 0, 1, 1, 0, 1, 3, 7};
  Stream ref(ZEV_BRNG_SOBOL, {4});
  const auto seq = words(ref, 4 * 64);
  for (const auto& seed : {f1, f2, f3, fb}) {
    Stream s(ZEV_BRNG_SOBOL, seed);
    ASSERT_EQ(s.status, 0);
    EXPECT_EQ(words(s, 4 * 64), seq);
  }
  std::vector<unsigned> f4 = {4, 1, 4};
  // direction word j of component k is point 2^j XOR point 2^j - 1 (their Gray
  // codes differ in bit j only), read through leapfrog and skip
  auto coordinate = [](int k, uint64_t point) -> uint32_t {
    if (point == 0) return 0;
    Stream c(ZEV_BRNG_SOBOL, {4});
    EXPECT_EQ(__vqsLeapfrogStream(c, k, 0x7FFFFFFF), 0);
    EXPECT_EQ(gentest::skip(c, point - 1), 0);
    return words(c, 1)[0];
  };
  std::vector<uint32_t> dirs;
  for (int k = 0; k < 4; ++k)
    for (int j = 0; j < 32; ++j) dirs.push_back(coordinate(k, 1ull << j) ^ coordinate(k, (1ull << j) - 1));
  f4.insert(f4.end(), dirs.begin(), dirs.end());
  Stream s4(ZEV_BRNG_SOBOL, f4);
  ASSERT_EQ(s4.status, 0);
  EXPECT_EQ(words(s4, 4 * 64), seq);
  // the table is in chunk 9, shared by a copy; the point is in chunk 13, private
  void* copy = nullptr;
  ASSERT_EQ(__vqsCopyStream(&copy, s4), 0);
  EXPECT_EQ(__vqsSearchChunk(copy, 9), __vqsSearchChunk(s4, 9));
  EXPECT_NE(__vqsSearchChunk(copy, 13), __vqsSearchChunk(s4, 13));
  EXPECT_EQ(words(copy, 8), words(s4, 8));
  __vqsDeleteStream(&copy);
}

TEST(Niederr, UserPolynomialsGoToChunk10) {
  // the default polynomials of dimensions 1..3 given by the caller
  std::vector<unsigned> f1 = {3, 1, 1, 2, 3, 7};
  Stream ref(ZEV_BRNG_NIEDERR, {3}), s(ZEV_BRNG_NIEDERR, f1);
  ASSERT_EQ(s.status, 0);
  EXPECT_NE(__vqsSearchChunk(s, 10), nullptr);
  EXPECT_EQ(words(s, 300), words(ref, 300));
}

}  // namespace
