// The block logic of the counter-based generators (ARS5, PHILOX4X32X10): a
// 128-bit counter, word 0 least significant, each value of which gives one
// block of four words; the block being given out is kept in the stream with
// the count of its words still to go, and those go out in order 0, 1, 2, 3
// (the next word is block[4 - left]).
//
// A generator supplies a Cipher with
//   void one(const uint32_t ctr[4], uint32_t out[4])    the block of ctr
//   void many(uint32_t ctr[4], int nblocks, uint32_t* out)
//        the blocks of ctr, ctr + 1, ... straight to out, ctr moved past them
// and the state fields ctr[4], left and block[4].
#pragma once

#include <cstdint>

#include "streams/stream.h"
#include "zev/zev_vqs.h"

namespace zev::gen::counter {

// ctr += (by_hi:by_lo), modulo 2^128.
inline void add(uint32_t ctr[4], uint64_t by_lo, uint64_t by_hi = 0) {
  const uint64_t lo = uint64_t(ctr[0]) | uint64_t(ctr[1]) << 32;
  uint64_t hi = uint64_t(ctr[2]) | uint64_t(ctr[3]) << 32;
  const uint64_t nlo = lo + by_lo;
  hi += by_hi + (nlo < lo ? 1 : 0);
  ctr[0] = uint32_t(nlo);
  ctr[1] = uint32_t(nlo >> 32);
  ctr[2] = uint32_t(hi);
  ctr[3] = uint32_t(hi >> 32);
}

// Makes the block of the current counter the one being given out, with all
// four words to go, and moves the counter on.
template <class Cipher, class State>
inline void next_block(const Cipher& c, State* s) {
  c.one(s->ctr, s->block);
  add(s->ctr, 1);
  s->left = 4;
}

// n words: what is left of the current block, whole blocks straight to out,
// then a new current block for the rest.
template <class Cipher, class State>
inline void words(const Cipher& c, State* s, int n, uint32_t* out) {
  while (n > 0 && s->left > 0) {
    *out++ = s->block[4 - s->left];
    --s->left;
    --n;
  }
  if (n >= 4) {
    c.many(s->ctr, n / 4, out);
    out += n & ~3;
    n &= 3;
  }
  if (n > 0) {
    next_block(c, s);
    while (n > 0) {
      *out++ = s->block[4 - s->left];
      --s->left;
      --n;
    }
  }
}

// Skips the 192-bit count (top:hi:lo) of words: those left in the block
// first, then whole blocks by counter arithmetic (counts past 2^130 words wrap
// with the counter), then the block of the landing counter is made at once.
template <class Cipher, class State>
inline int skip(const Cipher& c, State* s, uint64_t lo, uint64_t hi, uint64_t top) {
  if (hi == 0 && top == 0 && lo < uint64_t(s->left)) {
    s->left -= int32_t(lo);
    return 0;
  }
  const uint64_t nlo = lo - uint64_t(s->left);
  const uint64_t borrow = nlo > lo ? 1 : 0;
  const uint64_t nhi = hi - borrow;
  const uint64_t ntop = top - ((borrow && hi == 0) ? 1 : 0);
  const uint64_t rem = nlo & 3;
  add(s->ctr, (nlo >> 2) | (nhi << 62), (nhi >> 2) | (ntop << 62));
  if (rem == 0) {
    s->left = 0;
    return 0;
  }
  next_block(c, s);
  s->left = 4 - int32_t(rem);
  return 0;
}

// The skip operations of InitStream: ZEV_VQS_INIT_SKIPAHEAD takes one 64-bit
// count, ZEV_VQS_INIT_SKIPEX up to three 64-bit words of one, least
// significant first (words past the third are not read).
template <class Cipher, class State>
inline int skip_op(const Cipher& c, State* s, int op, int n, const unsigned int* params) {
  if (op == ZEV_VQS_INIT_SKIPAHEAD) return skip(c, s, zev::vqs::param_u64(params), 0, 0);
  uint64_t w[3] = {};
  for (int i = 0; i < n && i < 3; ++i) w[i] = zev::vqs::param_u64(params, i);
  return skip(c, s, w[0], w[1], w[2]);
}

}  // namespace zev::gen::counter
