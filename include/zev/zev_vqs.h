/* Random streams: the stream object, the generator registry, jumps, chunks,
   the shared read-only table, saving and loading, and the basic generators
   built into the stream layer (MCG31M1, MCG59, R250, WH, MRG32K3A and the
   abstract streams). */
#ifndef ZEV_VQS_H
#define ZEV_VQS_H

#include <stdint.h>
#include "zev_config.h"

ZEV_EXTERN_C_BEGIN

/* ---- Status codes of the stream side ---------------------------------- */
#define ZEV_VQS_OK                        0
#define ZEV_VQS_ERR_BAD_INIT_OP         (-2)    /* init operation not 0..3 */
#define ZEV_VQS_ERR_BAD_ARG             (-3)    /* required pointer or count is zero */
#define ZEV_VQS_ERR_NOMEM               (-4)    /* allocation failed */
#define ZEV_VQS_ERR_NULL                (-5)    /* required pointer is null */
#define ZEV_VQS_ERR_BAD_BRNG            (-1000) /* generator id invalid */
#define ZEV_VQS_ERR_NO_LEAPFROG         (-1002)
#define ZEV_VQS_ERR_NO_SKIPAHEAD        (-1003) /* or the skip leaves the sequence */
#define ZEV_VQS_ERR_NO_SKIPAHEADEX      (-1004)
#define ZEV_VQS_ERR_REG_STATE_BYTES     (-1008)
#define ZEV_VQS_ERR_REG_WORD_BYTES      (-1009)
#define ZEV_VQS_ERR_REG_SEED_WORDS      (-1010)
#define ZEV_VQS_ERR_REG_BIT_COUNT       (-1011)
#define ZEV_VQS_ERR_QRNG_EXHAUSTED      (-1012)
#define ZEV_VQS_ERR_LEAPFROG_NSTREAMS   (-1013)
#define ZEV_VQS_ERR_BIT_WIDTH           (-1014)
#define ZEV_VQS_ERR_FILE_CLOSE          (-1100)
#define ZEV_VQS_ERR_FILE_OPEN           (-1101)
#define ZEV_VQS_ERR_FILE_WRITE          (-1102)
#define ZEV_VQS_ERR_FILE_READ           (-1103) /* or a chunk record of unknown form */
#define ZEV_VQS_ERR_FILE_HEADER         (-1110)
#define ZEV_VQS_ERR_FILE_VERSION        (-1111)
#define ZEV_VQS_ERR_ABSTRACT_BAD_COUNT  (-1120)
#define ZEV_VQS_ERR_ABSTRACT_ZERO_COUNT (-1121)
#define ZEV_VQS_ERR_ABSTRACT_WRONG_TYPE (-1122)
#define ZEV_VQS_ERR_NO_RDRAND           (-1130)
#define ZEV_VQS_ERR_RDRAND_FAILED       (-1131)
#define ZEV_VQS_ERR_NO_AES              (-1140)
#define ZEV_VQS_ERR_MULTINOMIAL_PARAM   (-1150)
#define ZEV_VQS_ERR_MEM_FORMAT          (-1200)
#define ZEV_VQS_ERR_GLOB_KEY_ABSENT     (-3000)
#define ZEV_VQS_ERR_GLOB_TABLE_FULL     (-3001)

/* ---- Generator ids (new form: (row + 1) << 20, plus a member offset) --- */
#define ZEV_BRNG_MCG31M1       0x100000
#define ZEV_BRNG_R250          0x200000
#define ZEV_BRNG_MRG32K3A      0x300000
#define ZEV_BRNG_MCG59         0x400000
#define ZEV_BRNG_WH            0x500000 /* + member 0..272 */
#define ZEV_WH_MEMBERS         273
#define ZEV_BRNG_SOBOL         0x600000
#define ZEV_BRNG_NIEDERR       0x700000
#define ZEV_BRNG_MT19937       0x800000
#define ZEV_BRNG_MT2203        0x900000 /* + member 0..6023 */
#define ZEV_BRNG_IABSTRACT     0xA00000
#define ZEV_BRNG_DABSTRACT     0xB00000
#define ZEV_BRNG_SABSTRACT     0xC00000
#define ZEV_BRNG_SFMT19937     0xD00000
#define ZEV_BRNG_TRNG          0xE00000
#define ZEV_BRNG_ARS5          0xF00000
#define ZEV_BRNG_PHILOX4X32X10 0x1000000

/* Init operations of a generator's initFn. */
#define ZEV_VQS_INIT_NEW       0 /* n seed words (uint32) in params; n <= 0: no seed */
#define ZEV_VQS_INIT_LEAPFROG  1 /* n = nstreams; params points to the int32 index k */
#define ZEV_VQS_INIT_SKIPAHEAD 2 /* n = 2; params points to one uint64 count */
#define ZEV_VQS_INIT_SKIPEX    3 /* n uint64 words of a count, least significant first */

/* ---- Registry row ------------------------------------------------------ */
/* params is typed as 32-bit words; ZEV_VQS_INIT_SKIPAHEAD and ZEV_VQS_INIT_SKIPEX pass 64-bit words
   through it (read them with memcpy). iGen writes n words of wordBytes bytes
   each, so r spans n * wordBytes / 4 32-bit units. */
typedef int (*zev_brng_init_fn)(int op, void* stream, int n, const unsigned int* params);
typedef int (*zev_brng_sgen_fn)(void* stream, int n, float* r, float a, float b);
typedef int (*zev_brng_dgen_fn)(void* stream, int n, double* r, double a, double b);
typedef int (*zev_brng_igen_fn)(void* stream, int n, unsigned int* r);

/* Five 32-bit fields, then four function pointers. On x86-64 the pointers
   are 8-byte aligned: 20 bytes of fields, 4 bytes of padding, 32 bytes of
   pointers, 56 bytes a row. */
typedef struct BrngRow {
  int32_t stateBytes; /* bytes of the whole stream, its 16-byte header included */
  int32_t seedWords;  /* count of state words copied by __vqsCopyStreamState */
  int32_t zeroFlag;   /* 1 when the output can be zero */
  int32_t wordBytes;  /* bytes in one integer output word: 4, 8 or 16 */
  int32_t bitCount;   /* significant bits in one integer output word */
  zev_brng_init_fn initFn;
  zev_brng_sgen_fn sGen;
  zev_brng_dgen_fn dGen;
  zev_brng_igen_fn iGen;
} BrngRow;

#define ZEV_VQS_OLD_ROWS 281
#define ZEV_VQS_NEW_ROWS 512

/* Old-form table (ids below 0x100000) and new-form table. */
ZEV_API extern BrngRow __RegBrngs[ZEV_VQS_OLD_ROWS];
ZEV_API extern BrngRow __RegBrngsNew[ZEV_VQS_NEW_ROWS];

/* ---- Chunks and the shared read-only table ----------------------------- */
typedef struct zev_vqs_chunk {
  int32_t id;
  int32_t size;
  void* data;
  struct zev_vqs_chunk* next;
  uint64_t key[2]; /* zero: a private chunk */
} zev_vqs_chunk;

typedef struct zev_vqs_glob_entry {
  uint64_t key[2];
  int32_t references;
  int32_t size; /* bytes of data; -1 until a chunk tells it */
  void* data;
} zev_vqs_glob_entry;

/* ---- Registry and stream functions ------------------------------------ */
/* A required pointer that is null gives ZEV_VQS_ERR_NULL (-5) before anything
   is allocated: the stream, result, source and destination pointers, a seed
   array for a positive seed count, count words for a positive word count,
   a property row, a chunk's data for a positive size. __vqsDeleteStream
   returns 0 for a null pointer; __vqsGetStreamStateBrng returns -5 for a null
   stream; __vqsSearchChunk returns null. */
ZEV_API BrngRow* __vqsGetBrngBaseOffset(int id, int* index, int* offset);
ZEV_API int __vqsIsBrngValid(const BrngRow* table, int index, int offset);
ZEV_API int __vqsRegisterBrng(const BrngRow* row);
ZEV_API int __vqsGetBrngProperties(int id, BrngRow* row);
ZEV_API int __vqsGetNumRegBrngs(void);

ZEV_API int __vqsNewStreamEx(void** stream, int id, int n, const unsigned int* params);
ZEV_API int __vqsAllocateStream(void** stream, const BrngRow* table, int id, int index, int offset);
ZEV_API int __vqsCopyStream(void** newstream, const void* src);
ZEV_API int __vqsCopyStreamState(void* dst, const void* src);
ZEV_API int __vqsDeleteStream(void** stream);
ZEV_API int __vqsGetStreamSize(const void* stream);
ZEV_API int __vqsGetStreamStateBrng(const void* stream);

ZEV_API int __vqsLeapfrogStream(void* stream, int k, int nstreams);
ZEV_API int __vqsSkipAheadStream(void* stream, long long nskip);
ZEV_API int __vqsSkipAheadStreamEx(void* stream, int n, const unsigned long long* nskip);

ZEV_API int __vqsAddChunk(void* stream, int id, const uint64_t* key, void* data, int size);
ZEV_API void* __vqsSearchChunk(const void* stream, int id);
ZEV_API int __vqsGetNumChunks(const void* stream);
ZEV_API int __vqsDeleteChunksById(void* stream, int id);
ZEV_API int __vqsDeleteChunks(void* stream);
ZEV_API int __vqsCopyChunks(void* dst, const void* src);
ZEV_API int __vqsFindGlobRODataTableEntry(zev_vqs_glob_entry** entry, const uint64_t* key);
ZEV_API int __vqsCreateGlobRODataTableEntry(zev_vqs_glob_entry** entry, const uint64_t* key, void* data);
ZEV_API int __vqsRegisterGlobRODataReference(zev_vqs_chunk* node, const uint64_t* key);
ZEV_API int __vqsUnregisterGlobRODataReference(const uint64_t* key);
ZEV_API int __vqsGenerateNewGlobalRODataTableEntryId(uint64_t* key, int number);

/* ---- Saving and loading ------------------------------------------------ */
/* name_length >= 0: the name is that many bytes, not NUL-terminated;
   negative: the name is NUL-terminated. A null name, image or stream pointer
   gives -5, except in __vqsSaveStreamM, which tests nothing.
   A loaded state is checked by its generator (positions, counters and
   dimensions within their ranges, chunk tables large enough); a state that
   fails is refused with -1110 from a file or -1200 from memory, and no stream
   is left. */
ZEV_API int __vqsSaveStreamF(const void* stream, const char* name, int name_length);
ZEV_API int __vqsLoadStreamF(void** stream, const char* name, int name_length);
/* memory must hold __vqsGetStreamSize(stream) bytes. */
ZEV_API int __vqsSaveStreamM(const void* stream, char* memory);
ZEV_API int __vqsLoadStreamM(void** stream, const char* memory);

/* ---- Jump-ahead arithmetic -------------------------------------------- */
ZEV_API uint32_t __vqsiPowMod(uint32_t a, uint64_t e, uint32_t m);
ZEV_API uint32_t __vqsiPowMod2P31M1(uint32_t a, uint64_t e);
ZEV_API uint64_t __vqsiPowMod2P59(uint64_t a, uint64_t e);
/* Three-by-three matrices, row-major, entries below m. out may alias a. */
ZEV_API void __vqsiVect3PowMod(const uint32_t a[9], uint64_t e, uint32_t m, uint32_t out[9]);
ZEV_API void __vqsiVect3PowArrayMod(const uint32_t a[9], const uint64_t* e, int ewords,
                                    uint32_t m, uint32_t out[9]);
ZEV_API void __vqsiVect3PowArrayMod_M1(const uint32_t a[9], const uint64_t* e, int ewords,
                                       uint32_t out[9]);
ZEV_API void __vqsiVect3PowArrayMod_M2(const uint32_t a[9], const uint64_t* e, int ewords,
                                       uint32_t out[9]);

/* ---- Generators of the stream layer ----------------------------------- */
#define ZEV_VQS_DECLARE_BRNG(Name)                                                   \
  ZEV_API int __vqsBRng##Name##InitStream(int op, void* stream, int n,               \
                                          const unsigned int* params);               \
  ZEV_API int __vqssBRng##Name(void* stream, int n, float* r, float a, float b);     \
  ZEV_API int __vqsdBRng##Name(void* stream, int n, double* r, double a, double b);  \
  ZEV_API int __vqsiBRng##Name(void* stream, int n, unsigned int* r);

ZEV_VQS_DECLARE_BRNG(MCG31M1)
ZEV_VQS_DECLARE_BRNG(MCG59)
ZEV_VQS_DECLARE_BRNG(R250)
ZEV_VQS_DECLARE_BRNG(WH)
ZEV_VQS_DECLARE_BRNG(MRG32K3A)

/* Abstract streams: numbers come from the caller's buffer, refilled by the
   callback. The callback gets (stream, buffer size, buffer, requested count,
   unused count, index) and returns how many new numbers it wrote. */
typedef int (*zev_vqs_iabstract_cb)(void* stream, unsigned int* n, unsigned int* buf,
                                    unsigned int* nreq, unsigned int* nunused, unsigned int* idx);
typedef int (*zev_vqs_dabstract_cb)(void* stream, unsigned int* n, double* buf,
                                    unsigned int* nreq, unsigned int* nunused, unsigned int* idx);
typedef int (*zev_vqs_sabstract_cb)(void* stream, unsigned int* n, float* buf,
                                    unsigned int* nreq, unsigned int* nunused, unsigned int* idx);

ZEV_API int __vqsiNewAbstractStream(void** stream, int n, unsigned int* buf,
                                    zev_vqs_iabstract_cb cb);
ZEV_API int __vqsdNewAbstractStream(void** stream, int n, double* buf, double a, double b,
                                    zev_vqs_dabstract_cb cb);
ZEV_API int __vqssNewAbstractStream(void** stream, int n, float* buf, float a, float b,
                                    zev_vqs_sabstract_cb cb);
ZEV_API int __vqsBRngiAbstractInitStream(int op, void* stream, int n, const unsigned int* params);
ZEV_API int __vqsBRngdAbstractInitStream(int op, void* stream, int n, const unsigned int* params);
ZEV_API int __vqsBRngsAbstractInitStream(int op, void* stream, int n, const unsigned int* params);
ZEV_API int __vqsiBRngiAbstract(void* stream, int n, unsigned int* r);
ZEV_API int __vqsdBRngdAbstract(void* stream, int n, double* r, double a, double b);
ZEV_API int __vqssBRngsAbstract(void* stream, int n, float* r, float a, float b);
/* The generate slots an abstract stream does not fill: all return -1122. */
ZEV_API int __vqsdBRngiAbstract(void* stream, int n, double* r, double a, double b);
ZEV_API int __vqsdBRngsAbstract(void* stream, int n, double* r, double a, double b);
ZEV_API int __vqsiBRngdAbstract(void* stream, int n, unsigned int* r);
ZEV_API int __vqsiBRngsAbstract(void* stream, int n, unsigned int* r);
ZEV_API int __vqssBRngdAbstract(void* stream, int n, float* r, float a, float b);
ZEV_API int __vqssBRngiAbstract(void* stream, int n, float* r, float a, float b);

ZEV_EXTERN_C_END

#if defined(__has_include)
#if __has_include("zev_vqs_generators.h")
#include "zev_vqs_generators.h"
#endif
#endif

#endif
