// Ready threading tables: a serial one and one over a pool of std::thread workers.
#include "zev/zev_threading.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// ---- serial ---------------------------------------------------------------

void serial_for(int64_t count, int, void* context, zev_parallel_for_body body) {
  for (int64_t i = 0; i < count; ++i) body(i, 0, 1, context);
}
void serial_tasks(int64_t count, int, void* context, zev_parallel_task_body body) {
  for (int64_t i = 0; i < count; ++i) body(i, 0, 1, context);
}
void serial_region(int, void* context, zev_parallel_region_body body) {
  body(0, nullptr, 1, context);
}
int serial_max() { return 1; }

const zev_threading kSerial = {serial_for, serial_tasks, serial_region, nullptr, serial_max};

// ---- pool -----------------------------------------------------------------

enum class Kind { kFor, kTasks, kRegion };

struct Job {
  Kind kind = Kind::kFor;
  int64_t count = 0;
  int threads = 1;
  void* context = nullptr;
  zev_parallel_for_body for_body = nullptr;
  zev_parallel_task_body task_body = nullptr;
  zev_parallel_region_body region_body = nullptr;
  std::atomic<int64_t> next{0};
};

thread_local bool t_inside = false;  // true while this thread runs a body

// A test build widens the gap between a worker's wake-up and its work with a
// pause of its own; the library leaves it empty.
#ifndef ZEV_POOL_PAUSE
#define ZEV_POOL_PAUSE() ((void)0)
#endif

class Pool {
 public:
  ~Pool() { stop(); }

  int size() {
    std::lock_guard<std::mutex> g(config_);
    return wanted_size();
  }

  // Resizing waits for a running section to end (turn_), so that run() never
  // sees the worker list change under it.
  int set_size(int n) {
    std::lock_guard<std::mutex> turn(turn_);
    std::lock_guard<std::mutex> g(config_);
    stop();
    requested_ = n;
    return wanted_size();
  }

  void shutdown() {
    std::lock_guard<std::mutex> turn(turn_);
    std::lock_guard<std::mutex> g(config_);
    stop();
  }

  // Runs one job on min(job.threads, pool size) threads, the caller as thread 0.
  void run(Job& job) {
    std::lock_guard<std::mutex> turn(turn_);  // one parallel section at a time
    {
      std::lock_guard<std::mutex> g(config_);
      if (workers_.empty()) start();
    }
    int total = static_cast<int>(workers_.size()) + 1;
    if (job.threads > total) job.threads = total;
    if (job.threads < 1) job.threads = 1;
    if (job.threads == 1) {
      work(job, 0);
      return;
    }
    {
      std::lock_guard<std::mutex> g(m_);
      job_ = &job;
      pending_ = job.threads - 1;
      ++generation_;
    }
    wake_.notify_all();
    work(job, 0);
    std::unique_lock<std::mutex> g(m_);
    done_.wait(g, [&] { return pending_ == 0; });
    job_ = nullptr;
  }

  static void work(Job& job, int thread) {
    bool was_inside = t_inside;
    t_inside = true;
    switch (job.kind) {
      case Kind::kRegion:
        job.region_body(thread, nullptr, job.threads, job.context);
        break;
      case Kind::kFor:
      case Kind::kTasks:
        for (;;) {
          int64_t i = job.next.fetch_add(1, std::memory_order_relaxed);
          if (i >= job.count) break;
          if (job.kind == Kind::kFor)
            job.for_body(i, thread, job.threads, job.context);
          else
            job.task_body(i, thread, job.threads, job.context);
        }
        break;
    }
    t_inside = was_inside;
  }

 private:
  int wanted_size() const {
    int n = requested_;
    if (n < 1) n = static_cast<int>(std::thread::hardware_concurrency());
    return n < 1 ? 1 : n;
  }

  void start() {
    int n = wanted_size();
    uint64_t gen;
    {
      std::lock_guard<std::mutex> g(m_);
      quit_ = false;
      gen = generation_;  // a worker must see every job posted after this point
    }
    for (int w = 1; w < n; ++w) workers_.emplace_back([this, w, gen] { loop(w, gen); });
  }

  void stop() {
    {
      std::lock_guard<std::mutex> g(m_);
      quit_ = true;
    }
    wake_.notify_all();
    for (std::thread& t : workers_) t.join();
    workers_.clear();
  }

  void loop(int w, uint64_t seen) {
    for (;;) {
      Job* job;
      {
        std::unique_lock<std::mutex> g(m_);
        wake_.wait(g, [&] { return quit_ || generation_ != seen; });
        if (quit_) return;
        seen = generation_;
        // Whether this worker takes part is decided here, under the lock: only
        // workers 1 .. threads-1 are counted in pending_, and the caller keeps
        // the job alive only until those have finished. A worker that is not
        // counted must not look at the job once the lock is released.
        job = job_ != nullptr && w < job_->threads ? job_ : nullptr;
      }
      ZEV_POOL_PAUSE();
      if (job == nullptr) continue;
      work(*job, w);
      {
        std::lock_guard<std::mutex> g(m_);
        --pending_;
      }
      done_.notify_one();
    }
  }

  std::mutex config_, turn_, m_;
  std::condition_variable wake_, done_;
  std::vector<std::thread> workers_;
  Job* job_ = nullptr;
  uint64_t generation_ = 0;
  int pending_ = 0;
  int requested_ = 0;
  bool quit_ = false;
};

Pool& pool() {
  static Pool p;
  return p;
}

void pool_for(int64_t count, int threads, void* context, zev_parallel_for_body body) {
  if (count <= 0) return;
  if (t_inside || threads <= 1 || count == 1) return serial_for(count, 1, context, body);
  Job job;
  job.kind = Kind::kFor;
  job.count = count;
  job.threads = threads;
  job.context = context;
  job.for_body = body;
  pool().run(job);
}

void pool_tasks(int64_t count, int threads, void* context, zev_parallel_task_body body) {
  if (count <= 0) return;
  if (t_inside || threads <= 1 || count == 1) return serial_tasks(count, 1, context, body);
  Job job;
  job.kind = Kind::kTasks;
  job.count = count;
  job.threads = threads;
  job.context = context;
  job.task_body = body;
  pool().run(job);
}

void pool_region(int threads, void* context, zev_parallel_region_body body) {
  if (threads < 1) threads = 1;
  if (t_inside) {
    // A nested region still gives each of its threads numbers its body expects.
    for (int t = 0; t < threads; ++t) body(t, nullptr, threads, context);
    return;
  }
  Job job;
  job.kind = Kind::kRegion;
  job.threads = threads;
  job.context = context;
  job.region_body = body;
  // A region asks for exactly `threads` bodies; if the pool is smaller, the
  // missing ones run afterwards on the caller, in order.
  int available = pool().size();
  if (threads <= available) {
    pool().run(job);
    return;
  }
  job.threads = available;
  struct Wide {
    zev_parallel_region_body body;
    void* context;
    int threads;
  } wide = {body, context, threads};
  job.context = &wide;
  job.region_body = [](int t, void*, int, void* c) {
    Wide* w = static_cast<Wide*>(c);
    w->body(t, nullptr, w->threads, w->context);
  };
  pool().run(job);
  for (int t = available; t < threads; ++t) body(t, nullptr, threads, context);
}

int pool_max() { return pool().size(); }

const zev_threading kPool = {pool_for, pool_tasks, pool_region, nullptr, pool_max};

}  // namespace

extern "C" {

ZEV_API const zev_threading* zev_threading_serial(void) { return &kSerial; }
ZEV_API const zev_threading* zev_threading_pool(void) { return &kPool; }
ZEV_API int zev_threading_pool_set_size(int threads) { return pool().set_size(threads); }
ZEV_API void zev_threading_pool_shutdown(void) { pool().shutdown(); }

}  // extern "C"
