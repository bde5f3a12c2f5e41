// The ready threading tables: every index, task and thread number is run
// exactly once, on as many threads as asked and no more.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <thread>
#include <vector>
#include <mutex>

#include "zev/zev_threading.h"

namespace {

struct Seen {
  std::vector<std::atomic<int>> hits;
  std::atomic<int> bad{0};
  std::mutex m;
  std::set<std::thread::id> ids;
  int threads = 0;
  explicit Seen(size_t n) : hits(n) {}
  void note(int64_t i, int thread, int count) {
    hits[i].fetch_add(1);
    if (thread < 0 || thread >= count || count != threads) bad.fetch_add(1);
    std::lock_guard<std::mutex> g(m);
    ids.insert(std::this_thread::get_id());
  }
};

void for_body(int64_t i, int thread, int count, void* c) { static_cast<Seen*>(c)->note(i, thread, count); }
void region_body(int thread, void* reserved, int count, void* c) {
  if (reserved != nullptr) static_cast<Seen*>(c)->bad.fetch_add(1);
  static_cast<Seen*>(c)->note(thread, thread, count);
}

struct Case {
  const char* name;
  const zev_threading* table;
  int threads;
};

class Tables : public ::testing::TestWithParam<Case> {};

TEST_P(Tables, EveryIndexTaskAndThreadOnce) {
  const Case& c = GetParam();
  const zev_threading* t = c.table;
  if (t == zev_threading_pool()) zev_threading_pool_set_size(c.threads);
  int max = t->max_threads();
  ASSERT_GE(max, 1);
  int used = c.threads < max ? c.threads : max;
  for (int64_t n : {0, 1, 7, 1000}) {
    Seen s(static_cast<size_t>(n));
    s.threads = c.table == zev_threading_serial() ? 1 : c.threads;
    t->parallel_for(n, c.threads, &s, for_body);
    for (int64_t i = 0; i < n; ++i) ASSERT_EQ(s.hits[i].load(), 1) << i;
    if (n > 1) {
      EXPECT_EQ(s.bad.load(), 0);
    }
    EXPECT_LE(static_cast<int>(s.ids.size()), used);

    Seen k(static_cast<size_t>(n));
    k.threads = s.threads;
    t->parallel_tasks(n, c.threads, &k, for_body);
    for (int64_t i = 0; i < n; ++i) ASSERT_EQ(k.hits[i].load(), 1) << i;
  }
  if (c.table != zev_threading_serial()) {
    // A region runs each thread number once, even past the pool's size.
    for (int want : {1, 2, c.threads, max + 2}) {
      Seen r(static_cast<size_t>(want));
      r.threads = want;
      t->parallel_region(want, &r, region_body);
      for (int i = 0; i < want; ++i) ASSERT_EQ(r.hits[i].load(), 1) << want << " " << i;
      EXPECT_EQ(r.bad.load(), 0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, Tables,
                         ::testing::Values(Case{"serial", zev_threading_serial(), 4},
                                           Case{"pool", zev_threading_pool(), 3}),
                         [](const auto& i) { return std::string(i.param.name); });

struct Nested {
  const zev_threading* t;
  std::atomic<int> inner{0};
};

TEST(Pool, NestedSectionRunsOnTheCallingThread) {
  zev_threading_pool_set_size(3);
  Nested n{zev_threading_pool()};
  n.t->parallel_for(
      6, 3, &n, [](int64_t, int, int, void* c) {
        auto* nn = static_cast<Nested*>(c);
        nn->t->parallel_for(
            5, 3, c, [](int64_t, int thread, int count, void* c2) {
              EXPECT_EQ(thread, 0);
              EXPECT_EQ(count, 1);
              static_cast<Nested*>(c2)->inner.fetch_add(1);
            });
      });
  EXPECT_EQ(n.inner.load(), 30);
}

TEST(Pool, ResizeAndShutdownKeepWorking) {
  EXPECT_EQ(zev_threading_pool_set_size(2), 2);
  EXPECT_EQ(zev_threading_pool()->max_threads(), 2);
  Seen s(100);
  s.threads = 2;
  zev_threading_pool()->parallel_for(100, 8, &s, for_body);  // asks more than the pool has
  for (auto& h : s.hits) ASSERT_EQ(h.load(), 1);
  zev_threading_pool_shutdown();
  Seen s2(10);
  s2.threads = 2;
  zev_threading_pool()->parallel_for(10, 2, &s2, for_body);
  for (auto& h : s2.hits) ASSERT_EQ(h.load(), 1);
}

TEST(Pool, CallersOnSeveralThreadsTakeTurns) {
  zev_threading_pool_set_size(3);
  std::atomic<int64_t> total{0};
  auto run = [&] {
    for (int rep = 0; rep < 20; ++rep)
      zev_threading_pool()->parallel_for(
          50, 3, &total,
          [](int64_t i, int, int, void* c) { static_cast<std::atomic<int64_t>*>(c)->fetch_add(i); });
  };
  std::thread a(run), b(run);
  run();
  a.join();
  b.join();
  EXPECT_EQ(total.load(), 3 * 20 * (49 * 50 / 2));
}

}  // namespace

// Many short jobs of varying widths, each on the stack of its own call so that
// the next job tends to land at the address of the last: a worker that joins a
// job it is not counted in runs bodies twice, lets the caller return early or
// drives the pending count below zero (a hang, caught by the watchdog).
struct Stress {
  std::atomic<int> hits[64];
  std::atomic<int> after{0};  // bodies that ran after their call returned
  std::atomic<bool> returned{false};
};

void stress_body(int64_t i, int, int, void* c) {
  auto* s = static_cast<Stress*>(c);
  if (s->returned.load(std::memory_order_acquire)) s->after.fetch_add(1);
  s->hits[i].fetch_add(1, std::memory_order_relaxed);
}

int stress_job(const zev_threading* t, int count, int threads, bool tasks) {
  Stress s;
  for (auto& h : s.hits) h.store(0, std::memory_order_relaxed);
  if (tasks)
    t->parallel_tasks(count, threads, &s, stress_body);
  else
    t->parallel_for(count, threads, &s, stress_body);
  s.returned.store(true, std::memory_order_release);
  int faults = s.after.load();
  for (int i = 0; i < 64; ++i) faults += s.hits[i].load() != (i < count ? 1 : 0);
  return faults;
}

TEST(Pool, ManyJobsOfVaryingWidthsRunEachBodyOnceAndEnd) {
  std::atomic<bool> done{false};
  std::thread watchdog([&] {
    for (int waited = 0; waited < 600 && !done.load(); ++waited)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (!done.load()) {
      std::fprintf(stderr, "pool stress: no progress in 60 s (a lost or extra worker)\n");
      std::_Exit(1);
    }
  });
  int faults = 0;
  for (int size : {8, 5, 3}) {  // more threads than cores: preemption widens every window
    zev_threading_pool_set_size(size);
    for (int rep = 0; rep < 4000; ++rep) {
      const int threads = 2 + (rep * 7 + size) % (size + 1);  // some jobs ask more than the pool has
      const int count = 1 + (rep * 13) % 64;
      faults += stress_job(zev_threading_pool(), count, threads, rep % 3 == 0);
    }
  }
  done.store(true);
  watchdog.join();
  EXPECT_EQ(faults, 0);
}
