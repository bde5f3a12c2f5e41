// The pool's own source, built with a random pause of up to 200 us where a
// woken worker has left the lock and not yet started its work: the window in
// which a worker must already know whether it is counted in the job.
#include <chrono>
#include <random>
#include <thread>

namespace {
void pool_pause() {
  thread_local std::minstd_rand rng(std::hash<std::thread::id>{}(std::this_thread::get_id()));
  std::this_thread::sleep_for(std::chrono::microseconds(rng() % 200));
}
}  // namespace

#define ZEV_POOL_PAUSE() pool_pause()
#include "threading/threading.cpp"
