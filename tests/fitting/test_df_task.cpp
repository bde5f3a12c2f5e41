// Tasks: creation, editors and queries, with every status they return.
#include <functional>

#include "df_util.h"

using fittest::Task;

namespace {

const double kX[5] = {0, 1, 2, 3, 4};
double kY[10] = {0, 1, 4, 9, 16, 1, 2, 3, 4, 5};

TEST(DfTask, CreationStatuses) {
  struct Case {
    int64_t nx;
    const double* x;
    int64_t xhint, ny;
    const double* y;
    int64_t yhint;
    int status;
  } cases[] = {
      {1, kX, 0, 1, kY, 0, ZEV_DF_ERROR_BAD_NX},
      {5, nullptr, 0, 1, kY, 0, ZEV_DF_ERROR_NULL_X},
      {5, kX, 3, 1, kY, 0, ZEV_DF_ERROR_BAD_X_HINT},
      {5, kX, 8, 1, kY, 0, ZEV_DF_ERROR_BAD_X_HINT},
      {5, kX, 0, 0, kY, 0, ZEV_DF_ERROR_BAD_NY},
      {5, kX, 0, 2, nullptr, 0, ZEV_DF_ERROR_NULL_Y},
      {5, kX, 0, 1, kY, 0x40, ZEV_DF_ERROR_BAD_Y_HINT},
      {5, kX, 0, 0, nullptr, 0, 0},  // functions may come later
      {5, kX, 1, 2, kY, 0x10, 0},
      {5, kX, 2, 2, kY, 0x20, 0},
      {2, kX, 4, 2, kY, 0x80, 0},
  };
  for (const Case& c : cases) {
    Task t;
    EXPECT_EQ(zev_df_kernel_dNewTask1D(&t.t, c.nx, c.x, c.xhint, c.ny, c.y, c.yhint, 0), c.status)
        << c.nx << " " << c.xhint << " " << c.ny << " " << c.yhint;
    EXPECT_EQ(t.t != nullptr, c.status == 0);
    Task s;
    const float xf[5] = {0, 1, 2, 3, 4}, yf[10] = {};
    EXPECT_EQ(zev_df_kernel_sNewTask1D(&s.t, c.nx, c.x ? xf : nullptr, c.xhint, c.ny,
                                       c.y ? yf : nullptr, c.yhint, 0),
              c.status);
  }
}

TEST(DfTask, ValueEditsKeepTheOldValueOnRejection) {
  struct Case {
    int64_t id, value;
    int status;
  } cases[] = {
      {14, 1, ZEV_DF_ERROR_BAD_NX},          {14, 3, 0},
      {15, 3, ZEV_DF_ERROR_BAD_X_HINT},      {15, 2, 0},
      {16, 0, ZEV_DF_ERROR_BAD_NY},          {16, 2, 0},
      {17, 0x40, ZEV_DF_ERROR_BAD_Y_HINT},   {17, 0x20, 0},
      {18, -1, ZEV_DF_ERROR_BAD_SPLINE_ORDER}, {18, 7, 0},
      {19, 6, ZEV_DF_ERROR_BAD_SPLINE_TYPE}, {19, 9, 0},
      {20, 3, ZEV_DF_ERROR_BAD_IC_TYPE},     {20, 9, 0},
      {21, -1, ZEV_DF_ERROR_BAD_BC_TYPE},    {21, 12345, 0},
      {22, 0x40, ZEV_DF_ERROR_BAD_SCOEFF_HINT}, {22, 0x80, 0},
      {23, 2, ZEV_DF_ERROR_BAD_EXTRA_FLAG},  {23, 1, 0},
      {13, 0, ZEV_DF_ERROR_BAD_PARAMETER},   {24, 0, ZEV_DF_ERROR_BAD_PARAMETER},
      {0x10000000E, 3, ZEV_DF_ERROR_BAD_PARAMETER},
  };
  for (int wide : {0, 1}) {
    Task t;
    ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 1, kY, 0, wide), 0);
    for (const Case& c : cases) {
      int64_t before = -7;
      bool known = c.id >= 14 && c.id <= 23;
      int64_t q64 = 0;
      int32_t q32 = 0;
      auto query = [&]() -> int64_t {
        if (wide) {
          EXPECT_EQ(zev_df_kernel_iQueryVal(t, c.id, &q64), 0);
          return q64;
        }
        q64 = 0x5555555555555555;  // a 32-bit answer must leave the upper half alone
        EXPECT_EQ(zev_df_kernel_iQueryVal(t, c.id, &q64), 0);
        memcpy(&q32, &q64, 4);
        EXPECT_EQ(static_cast<uint64_t>(q64) >> 32, 0x55555555u);
        return q32;
      };
      if (known) before = query();
      EXPECT_EQ(zev_df_kernel_iEditVal(t, c.id, c.value), c.status) << c.id << " " << c.value;
      if (known) EXPECT_EQ(query(), c.status == 0 ? c.value : before) << c.id;
      else EXPECT_EQ(zev_df_kernel_iQueryVal(t, c.id, &q64), ZEV_DF_ERROR_BAD_PARAMETER);
    }
  }
}

TEST(DfTask, NullTaskAndNullResult) {
  const double* p = nullptr;
  int64_t v = 0;
  std::vector<std::function<int(zev_df_task)>> calls = {
      [&](zev_df_task t) { return zev_df_kernel_iEditVal(t, 14, 3); },
      [&](zev_df_task t) { return zev_df_kernel_iQueryVal(t, 14, &v); },
      [&](zev_df_task t) { return zev_df_kernel_dEditPtr(t, 1, kX); },
      [&](zev_df_task t) { return zev_df_kernel_dQueryPtr(t, 1, &p); },
      [&](zev_df_task t) { return zev_df_kernel_dEditIdxPtr(t, 2, 0, kY); },
      [&](zev_df_task t) { return zev_df_kernel_dQueryIdxPtr(t, 2, 0, &p); },
      [&](zev_df_task t) {
        return zev_df_kernel_dEditPPSpline1D(t, 4, 2, 2, nullptr, 0, nullptr, nullptr, 0);
      },
      [&](zev_df_task t) { return zev_df_kernel_dDFLinearSpline1D(t, 0); },
      [&](zev_df_task t) { return zev_df_kernel_dDFAkimaCubicSpline1D(t, 0); },
      [&](zev_df_task t) {
        int32_t c;
        return zev_df_kernel_dDFSearch1D(t, 0, 1, kX, 0, nullptr, &c, nullptr, nullptr, nullptr);
      },
      [&](zev_df_task t) {
        double r;
        return zev_df_kernel_dDFInterpolate1D(t, 1, 0, 1, kX, 0, 0, nullptr, nullptr, &r, 0,
                                              nullptr, nullptr, nullptr, nullptr, nullptr,
                                              nullptr, nullptr, nullptr, nullptr, nullptr);
      },
  };
  for (auto& call : calls) EXPECT_EQ(call(nullptr), ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR);
  EXPECT_EQ(zev_df_kernel_DeleteTask(nullptr), ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR);
  zev_df_task none = nullptr;
  EXPECT_EQ(zev_df_kernel_DeleteTask(&none), ZEV_DF_ERROR_NULL_TASK_DESCRIPTOR);

  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 1, kY, 0, 0), 0);
  EXPECT_EQ(zev_df_kernel_iQueryVal(t, 14, nullptr), ZEV_DF_ERROR_NULL_RESULT);
  EXPECT_EQ(zev_df_kernel_dQueryPtr(t, 1, nullptr), ZEV_DF_ERROR_NULL_RESULT);
  EXPECT_EQ(zev_df_kernel_dQueryIdxPtr(t, 2, 0, nullptr), ZEV_DF_ERROR_NULL_RESULT);
  zev_df_task owned = t.t;
  t.t = nullptr;
  EXPECT_EQ(zev_df_kernel_DeleteTask(&owned), 0);
  EXPECT_EQ(owned, nullptr);
}

TEST(DfTask, PointerEdits) {
  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 0, nullptr, 0, 0), 0);
  // Function count zero: rows cannot be laid out.
  double c[40];
  EXPECT_EQ(zev_df_kernel_dEditPtr(t, 5, c), ZEV_DF_ERROR_BAD_NY);
  EXPECT_EQ(zev_df_kernel_dEditPtr(t, 2, kY), ZEV_DF_ERROR_BAD_NY);
  struct Case {
    int64_t id;
    int null_status;
  } cases[] = {{1, ZEV_DF_ERROR_NULL_X}, {2, ZEV_DF_ERROR_NULL_Y}, {3, ZEV_DF_ERROR_NULL_IC},
               {4, ZEV_DF_ERROR_NULL_BC}, {5, ZEV_DF_ERROR_NULL_SCOEFF}};
  ASSERT_EQ(zev_df_kernel_iEditVal(t, 16, 2), 0);
  ASSERT_EQ(zev_df_kernel_iEditVal(t, 18, 4), 0);
  for (const Case& k : cases) {
    const double* before = nullptr;
    ASSERT_EQ(zev_df_kernel_dQueryPtr(t, k.id, &before), 0);
    EXPECT_EQ(zev_df_kernel_dEditPtr(t, k.id, nullptr), k.null_status);
    const double* after = reinterpret_cast<const double*>(1);
    ASSERT_EQ(zev_df_kernel_dQueryPtr(t, k.id, &after), 0);
    EXPECT_EQ(after, before) << k.id;
    const double* p = k.id == 5 ? c : kY;
    EXPECT_EQ(zev_df_kernel_dEditPtr(t, k.id, p), 0);
    ASSERT_EQ(zev_df_kernel_dQueryPtr(t, k.id, &after), 0);
    EXPECT_EQ(after, p);
  }
  const double* q;
  for (int64_t id : {0, 6, -1}) {
    EXPECT_EQ(zev_df_kernel_dEditPtr(t, id, kY), ZEV_DF_ERROR_BAD_PARAMETER);
    EXPECT_EQ(zev_df_kernel_dQueryPtr(t, id, &q), ZEV_DF_ERROR_BAD_PARAMETER);
  }
  // Rows by layout: functions at stride nx, coefficients at order*(nx-1).
  ASSERT_EQ(zev_df_kernel_dQueryIdxPtr(t, 2, 1, &q), 0);
  EXPECT_EQ(q, kY + 5);
  ASSERT_EQ(zev_df_kernel_dQueryIdxPtr(t, 5, 1, &q), 0);
  EXPECT_EQ(q, c + 16);
}

TEST(DfTask, IndexEditsAndLayouts) {
  struct Case {
    int64_t yhint, id, idx;
    bool null_ptr;
    int status;
  } cases[] = {
      {0x20, 2, 0, false, ZEV_DF_ERROR_BAD_Y_HINT},
      {0x10, 2, -1, false, ZEV_DF_ERROR_BAD_INDEX},
      {0x10, 2, 2, false, ZEV_DF_ERROR_BAD_INDEX},
      {0x10, 2, 1, true, ZEV_DF_ERROR_NULL_Y},
      {0x80, 2, 1, false, 0},
      {0x10, 5, 2, false, ZEV_DF_ERROR_BAD_INDEX},
      {0x10, 5, 1, true, ZEV_DF_ERROR_NULL_SCOEFF},
      {0x10, 5, 1, false, 0},
      {0x10, 3, 0, false, ZEV_DF_ERROR_BAD_PARAMETER},
  };
  double other[5];
  for (const Case& c : cases) {
    Task t;
    ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 2, kY, c.yhint, 0), 0);
    const double* before = nullptr;
    int64_t qid = c.id == 3 ? 2 : c.id;
    int64_t qidx = c.idx >= 0 && c.idx < 2 ? c.idx : 0;
    zev_df_kernel_dQueryIdxPtr(t, qid, qidx, &before);
    EXPECT_EQ(zev_df_kernel_dEditIdxPtr(t, c.id, c.idx, c.null_ptr ? nullptr : other), c.status)
        << c.yhint << " " << c.id << " " << c.idx;
    const double* after = nullptr;
    zev_df_kernel_dQueryIdxPtr(t, qid, qidx, &after);
    EXPECT_EQ(after, c.status == 0 ? other : before);
  }
  // The interleaved layout has one row, which every index answers.
  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 2, kY, 0x20, 0), 0);
  const double* q = nullptr;
  ASSERT_EQ(zev_df_kernel_dQueryIdxPtr(t, 2, 1, &q), 0);
  EXPECT_EQ(q, kY);
  EXPECT_EQ(zev_df_kernel_dQueryIdxPtr(t, 2, 2, &q), ZEV_DF_ERROR_BAD_INDEX);
}

TEST(DfTask, SplineSetup) {
  double bc[2] = {0, 0}, ic[4] = {}, c[64];
  struct Case {
    int64_t order, type, bc_type;
    const double* bc;
    int64_t ic_type;
    const double* ic;
    int status;
    int64_t stored_order, stored_type;
  } cases[] = {
      {-1, 2, 2, nullptr, 0, nullptr, ZEV_DF_ERROR_BAD_SPLINE_ORDER, 0, 0},
      {4, -1, 2, nullptr, 0, nullptr, ZEV_DF_ERROR_BAD_SPLINE_TYPE, 0, 0},
      {4, 2, 12, nullptr, 0, nullptr, ZEV_DF_ERROR_NULL_BC, 4, 2},
      {4, 2, 2, nullptr, 0, ic, ZEV_DF_ERROR_BAD_IC_TYPE, 4, 2},
      {4, 2, 2, nullptr, 1, nullptr, ZEV_DF_ERROR_NULL_IC, 4, 2},
      {4, 2, 0x40, nullptr, 0, nullptr, 0, 4, 2},
      {4, 3, 12, bc, 1, ic, 0, 4, 3},
  };
  for (const Case& k : cases) {
    Task t;
    ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 2, kY, 0, 1), 0);
    EXPECT_EQ(zev_df_kernel_dEditPPSpline1D(t, k.order, k.type, k.bc_type, k.bc, k.ic_type, k.ic,
                                            c, 0),
              k.status);
    int64_t order = -9, type = -9;
    zev_df_kernel_iQueryVal(t, 18, &order);
    zev_df_kernel_iQueryVal(t, 19, &type);
    EXPECT_EQ(order, k.stored_order);
    EXPECT_EQ(type, k.stored_type);
    const double* rows = nullptr;
    zev_df_kernel_dQueryPtr(t, 5, &rows);
    EXPECT_EQ(rows, k.status == 0 ? c : nullptr);
  }
  // Coefficient stride: order*(nx-1), or order*nx for the type with one more piece.
  for (int64_t type : {0, 1}) {
    Task t;
    ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 2, kY, 0, 0), 0);
    ASSERT_EQ(zev_df_kernel_dEditPPSpline1D(t, 3, type, 0, nullptr, 0, nullptr, c, 0), 0);
    const double* q;
    ASSERT_EQ(zev_df_kernel_dQueryIdxPtr(t, 5, 1, &q), 0);
    EXPECT_EQ(q, c + (type ? 15 : 12));
  }
  Task t;
  ASSERT_EQ(zev_df_kernel_dNewTask1D(&t.t, 5, kX, 0, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(zev_df_kernel_dEditPPSpline1D(t, 4, 2, 0, nullptr, 0, nullptr, c, 0),
            ZEV_DF_ERROR_BAD_NY);
}

}  // namespace
