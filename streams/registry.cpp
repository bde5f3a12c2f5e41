// The generator registry: the old-form table of 281 rows, the new-form table
// of 512 rows with its member counts, and the functions that turn an id into
// a row.
#include "streams/state_check.h"

// The functions of the generators that live in their own folders.
#define ZEV_VQS_BRNG_DECL(Name)                                                       \
  extern "C" ZEV_API int __vqsBRng##Name##InitStream(             \
      int, void*, int, const unsigned int*);                                           \
  extern "C" ZEV_API int __vqssBRng##Name(void*, int, float*, float, \
                                                                 float);               \
  extern "C" ZEV_API int __vqsdBRng##Name(void*, int, double*,    \
                                                                 double, double);      \
  extern "C" ZEV_API int __vqsiBRng##Name(void*, int, unsigned int*);

ZEV_VQS_BRNG_DECL(Sobol)
ZEV_VQS_BRNG_DECL(Niederr)
ZEV_VQS_BRNG_DECL(MT19937)
ZEV_VQS_BRNG_DECL(MT2203)
ZEV_VQS_BRNG_DECL(SFMT19937)
ZEV_VQS_BRNG_DECL(TRNG)
ZEV_VQS_BRNG_DECL(ARS5)
ZEV_VQS_BRNG_DECL(PHILOX4X32X10)

// A built-in row: its fields by name, then the generator's four functions.
#define ZEV_ROW(Name, ...)                                                             \
  BrngRow {                                                                            \
    __VA_ARGS__, .initFn = __vqsBRng##Name##InitStream, .sGen = __vqssBRng##Name,       \
        .dGen = __vqsdBRng##Name, .iGen = __vqsiBRng##Name                               \
  }

// An abstract stream's row: its words come from the caller, any value, 32 bits.
#define ZEV_ABSTRACT_ROW(state, init, s, d, i)                                          \
  BrngRow {                                                                            \
    .stateBytes = state, .seedWords = 0, .zeroFlag = 1, .wordBytes = 4, .bitCount = 32, \
    .initFn = init, .sGen = s, .dGen = d, .iGen = i                                     \
  }

#define ROW_MCG31M1                                                                     \
  ZEV_ROW(MCG31M1, .stateBytes = 24, .seedWords = 1, .zeroFlag = 0, .wordBytes = 4, \
          .bitCount = 31)
#define ROW_R250                                                                        \
  ZEV_ROW(R250, .stateBytes = 1024, .seedWords = 252, .zeroFlag = 1, .wordBytes = 4, \
          .bitCount = 32)
#define ROW_MRG32K3A                                                                    \
  ZEV_ROW(MRG32K3A, .stateBytes = 40, .seedWords = 6, .zeroFlag = 1, .wordBytes = 4, \
          .bitCount = 32)
#define ROW_MCG59                                                                       \
  ZEV_ROW(MCG59, .stateBytes = 32, .seedWords = 1, .zeroFlag = 0, .wordBytes = 8, \
          .bitCount = 59)
#define ROW_WH                                                                          \
  ZEV_ROW(WH, .stateBytes = 48, .seedWords = 4, .zeroFlag = 1, .wordBytes = 16, \
          .bitCount = 24)
#define ROW_SOBOL                                                                       \
  ZEV_ROW(Sobol, .stateBytes = 11712, .seedWords = 2604, .zeroFlag = 0, .wordBytes = 4, \
          .bitCount = 32)
#define ROW_NIEDERR                                                                     \
  ZEV_ROW(Niederr, .stateBytes = 84288, .seedWords = 10498, .zeroFlag = 0, .wordBytes = 4, \
          .bitCount = 32)

#define ROW_WH4 ROW_WH, ROW_WH, ROW_WH, ROW_WH
#define ROW_WH16 ROW_WH4, ROW_WH4, ROW_WH4, ROW_WH4
#define ROW_WH64 ROW_WH16, ROW_WH16, ROW_WH16, ROW_WH16
#define ROW_WH256 ROW_WH64, ROW_WH64, ROW_WH64, ROW_WH64

extern "C" {

// Old form: rows 4 to 276 are the 273 WH members, one row each; 279 and 280
// are empty.
ZEV_API BrngRow __RegBrngs[ZEV_VQS_OLD_ROWS] = {
    ROW_MCG31M1, ROW_R250, ROW_MRG32K3A, ROW_MCG59,
    ROW_WH256, ROW_WH16, ROW_WH,  // 273 WH rows
    ROW_SOBOL, ROW_NIEDERR,
    BrngRow{}, BrngRow{}};

ZEV_API BrngRow __RegBrngsNew[ZEV_VQS_NEW_ROWS] = {
    ROW_MCG31M1,
    ROW_R250,
    ROW_MRG32K3A,
    ROW_MCG59,
    ROW_WH,
    ROW_SOBOL,
    ROW_NIEDERR,
    ZEV_ROW(MT19937, .stateBytes = 2520, .seedWords = 625, .zeroFlag = 1, .wordBytes = 4,
            .bitCount = 32),
    ZEV_ROW(MT2203, .stateBytes = 312, .seedWords = 70, .zeroFlag = 1, .wordBytes = 4,
            .bitCount = 32),
    ZEV_ABSTRACT_ROW(48, __vqsBRngiAbstractInitStream, __vqssBRngiAbstract, __vqsdBRngiAbstract,
                     __vqsiBRngiAbstract),
    ZEV_ABSTRACT_ROW(64, __vqsBRngdAbstractInitStream, __vqssBRngdAbstract, __vqsdBRngdAbstract,
                     __vqsiBRngdAbstract),
    ZEV_ABSTRACT_ROW(56, __vqsBRngsAbstractInitStream, __vqssBRngsAbstract, __vqsdBRngsAbstract,
                     __vqsiBRngsAbstract),
    ZEV_ROW(SFMT19937, .stateBytes = 2536, .seedWords = 625, .zeroFlag = 1, .wordBytes = 4,
            .bitCount = 32),
    ZEV_ROW(TRNG, .stateBytes = 24, .seedWords = 1, .zeroFlag = 0, .wordBytes = 4,
            .bitCount = 32),
    ZEV_ROW(ARS5, .stateBytes = 72, .seedWords = 8, .zeroFlag = 1, .wordBytes = 4,
            .bitCount = 32),
    ZEV_ROW(PHILOX4X32X10, .stateBytes = 64, .seedWords = 8, .zeroFlag = 1, .wordBytes = 4,
            .bitCount = 32),
};

}  // extern "C"

static_assert(sizeof(__RegBrngs) / sizeof(BrngRow) == ZEV_VQS_OLD_ROWS);

namespace zev::vqs {

// A new-form id is (row + 1) * kIdStep plus the member offset: ZEV_BRNG_MCG31M1
// is row 0, ZEV_BRNG_R250 row 1, and so on.
constexpr int kIdStep = ZEV_BRNG_R250 - ZEV_BRNG_MCG31M1;
constexpr int new_row(int id) { return id / kIdStep - 1; }
constexpr int kBuiltinRows = new_row(ZEV_BRNG_PHILOX4X32X10) + 1;
static_assert(ZEV_BRNG_MCG31M1 == kIdStep && kBuiltinRows == 16);
// Old form: rows 0 to 3 as in the new form, then one row per WH member, then
// Sobol and Niederr.
constexpr int kOldWhRow = 4, kOldSobolRow = kOldWhRow + ZEV_WH_MEMBERS,
              kOldNiederrRow = kOldSobolRow + 1;

// How many member offsets each row of the new-form table accepts.
int memberCounts[ZEV_VQS_NEW_ROWS] = {1, 1, 1, 1, ZEV_WH_MEMBERS, 1, 1, 1, ZEV_MT2203_MEMBERS,
                                       1, 1, 1, 1, 1, 1, 1};

// Rows of the new-form table in use; registration appends.
int registeredRows = kBuiltinRows;

}  // namespace zev::vqs

using namespace zev::vqs;

extern "C" {

ZEV_API BrngRow* __vqsGetBrngBaseOffset(int id, int* index, int* offset) {
  if (id >= kIdStep) {
    *index = id / kIdStep - 1;
    *offset = id % kIdStep;
    return __RegBrngsNew;
  }
  if (uint32_t(id) - uint32_t(kOldWhRow) < uint32_t(ZEV_WH_MEMBERS)) {  // one WH row
    *index = kOldWhRow;
    *offset = id - kOldWhRow;
  } else {
    *index = id;
    *offset = 0;
  }
  return __RegBrngs;
}

// Negative indexes (from negative ids) are refused as well: they would name
// memory before the table.
ZEV_API int __vqsIsBrngValid(const BrngRow* table, int index, int offset) {
  if (index < 0 || offset < 0) return ZEV_VQS_ERR_BAD_BRNG;
  if (table == __RegBrngs) return index < ZEV_VQS_OLD_ROWS ? ZEV_VQS_OK : ZEV_VQS_ERR_BAD_BRNG;
  if (table != __RegBrngsNew) return ZEV_VQS_ERR_BAD_BRNG;
  if (index < registeredRows && offset < memberCounts[index]) return ZEV_VQS_OK;
  return ZEV_VQS_ERR_BAD_BRNG;
}

ZEV_API int __vqsRegisterBrng(const BrngRow* row) {
  if (row == nullptr) return ZEV_VQS_ERR_NULL;
  if (row->stateBytes < 0) return ZEV_VQS_ERR_REG_STATE_BYTES;
  if (row->wordBytes != 4 && row->wordBytes != 8 && row->wordBytes != 16)
    return ZEV_VQS_ERR_REG_WORD_BYTES;
  if (row->seedWords <= 0) return ZEV_VQS_ERR_REG_SEED_WORDS;
  if (row->bitCount <= 0) return ZEV_VQS_ERR_REG_BIT_COUNT;
  if (!row->dGen || !row->sGen || !row->iGen || !row->initFn) return ZEV_VQS_ERR_NULL;
  int c = registeredRows;
  // The table has room for 512 rows; a full table refuses as if out of memory
  // rather than writing past its end.
  if (c >= ZEV_VQS_NEW_ROWS) return ZEV_VQS_ERR_NOMEM;
  __RegBrngsNew[c] = *row;
  memberCounts[c] = 1;
  registeredRows = c + 1;
  return (c + 1) * kIdStep;
}

ZEV_API int __vqsGetBrngProperties(int id, BrngRow* row) {
  if (!row) return ZEV_VQS_ERR_NULL;
  int index, offset;
  BrngRow* table = __vqsGetBrngBaseOffset(id, &index, &offset);
  int st = __vqsIsBrngValid(table, index, offset);
  if (st != ZEV_VQS_OK) return st;
  *row = table[index];
  return ZEV_VQS_OK;
}

ZEV_API int __vqsGetNumRegBrngs(void) { return registeredRows; }

}  // extern "C"

namespace zev::vqs {

// The checks of the built-in rows of the new-form table, by row index. The
// abstract rows have none: their state is the caller's addresses, and such a
// stream is never loaded.
namespace {
constexpr StateCheck kChecks[kBuiltinRows] = {
    gen::check_mcg31m1_state, gen::check_r250_state,     gen::check_mrg32k3a_state,
    gen::check_mcg59_state,   gen::check_wh_state,       gen::check_sobol_state,
    gen::check_niederr_state, gen::check_mt19937_state,  gen::check_mt2203_state,
    nullptr,                  nullptr,                   nullptr,
    gen::check_sfmt19937_state, gen::check_trng_state,   gen::check_ars5_state,
    gen::check_philox4x32x10_state};
}  // namespace

StateCheck state_check(int id) {
  int index = 0, offset = 0;
  const BrngRow* table = __vqsGetBrngBaseOffset(id, &index, &offset);
  if (__vqsIsBrngValid(table, index, offset) != ZEV_VQS_OK) return nullptr;
  if (table == __RegBrngs) {
    // Old-form rows 0 to 3 are new-form rows 0 to 3, row 4 holds every WH
    // member, 277 and 278 are Sobol and Niederr; 279 and 280 are empty.
    if (index <= kOldWhRow) return kChecks[index];
    if (index == kOldSobolRow) return kChecks[new_row(ZEV_BRNG_SOBOL)];
    if (index == kOldNiederrRow) return kChecks[new_row(ZEV_BRNG_NIEDERR)];
    return nullptr;
  }
  // Rows from 16 on were registered by a caller.
  return index < kBuiltinRows ? kChecks[index] : nullptr;
}

const zev_vqs_chunk* first_chunk(const void* stream, int id) {
  for (const zev_vqs_chunk* c = chunk_head(stream); c; c = c->next)
    if (c->id == id) return c;
  return nullptr;
}

}  // namespace zev::vqs
