// The worker pool: how a target is cut into bands, start-up with refused
// threads, shutdown with work still queued, and equality with a single thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "workers/interp_workers.h"
#include "workers/interp_workers_internal.h"

namespace {

struct Band {
  interp_source source;
  interp_target target;
  interp_transform_fn transform;
  const void *model;
};

// Collects what each kernel call saw. Passed to the kernel as its model.
struct Recorder {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Band> bands;
  // Optional behaviours for the blocking tests.
  interp_workers *pool = nullptr;  // block the band at origin_y 0 until quit
  int rendezvous = 0;              // every band waits until this many have started
  int arrived = 0;
  bool rendezvous_met = true;
};

int32_t RecordingKernel(const interp_source *source, const interp_target *target,
                        interp_transform_fn transform, const void *model) {
  auto *rec = static_cast<Recorder *>(const_cast<void *>(model));
  if (rec->pool != nullptr && target->origin_y == 0.0) {
    for (;;) {
      pthread_mutex_lock(&rec->pool->lock);
      int32_t quit = rec->pool->quit;
      pthread_mutex_unlock(&rec->pool->lock);
      if (quit == 1) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  std::unique_lock<std::mutex> hold(rec->mutex);
  rec->bands.push_back({*source, *target, transform, model});
  if (rec->rendezvous > 0) {
    rec->arrived += 1;
    rec->changed.notify_all();
    if (!rec->changed.wait_for(hold, std::chrono::seconds(20),
                               [&] { return rec->arrived >= rec->rendezvous; })) {
      rec->rendezvous_met = false;
    }
  }
  return 0;
}

void DummyTransform(double x, double y, double *out_x, double *out_y, const void *) {
  *out_x = x;
  *out_y = y;
}

const interp_method kRecordingMethod = {BILINEAR, RecordingKernel, 2, 1};

struct Blocks {
  std::vector<uint8_t> src_pixels = std::vector<uint8_t>(64);
  std::vector<uint8_t> dst_pixels;
  interp_source source{};
  interp_target target{};

  explicit Blocks(int32_t rows) : dst_pixels(37 * std::max(rows, 1)) {
    source = {src_pixels.data(), -3.0, 7.0, 4, 4, 16, 4, 4, 255};
    // Odd stride and fractional origins, so that any slip shows.
    target = {dst_pixels.data(), 1.25, 2.5, 5, rows, 37, 4, 4, 255};
  }
};

std::vector<Band> SortedByOrigin(std::vector<Band> bands) {
  std::sort(bands.begin(), bands.end(),
            [](const Band &a, const Band &b) { return a.target.origin_y < b.target.origin_y; });
  return bands;
}

TEST(WorkerPool, TenRowsInChunksOfFourMakeBandsOfFourFourTwo) {
  interp_workers *pool = interp_workers_init(2, 1);
  ASSERT_NE(pool, nullptr);
  Blocks b(10);
  const interp_source source_before = b.source;
  const interp_target target_before = b.target;
  Recorder rec;
  interp_workers_run(pool, 4, &b.source, &b.target, &kRecordingMethod, DummyTransform, &rec);
  interp_workers_destroy(pool);

  EXPECT_EQ(0, std::memcmp(&source_before, &b.source, sizeof b.source));
  EXPECT_EQ(0, std::memcmp(&target_before, &b.target, sizeof b.target));

  std::vector<Band> bands = SortedByOrigin(rec.bands);
  ASSERT_EQ(bands.size(), 3u);
  const int32_t rows[] = {4, 4, 2};
  const int32_t first_row[] = {0, 4, 8};
  for (size_t i = 0; i < 3; i++) {
    SCOPED_TRACE(i);
    const interp_target &t = bands[i].target;
    EXPECT_EQ(t.data, b.dst_pixels.data() + 37 * first_row[i]);
    EXPECT_EQ(t.height, rows[i]);
    EXPECT_EQ(t.origin_y, 2.5 + first_row[i]);
    // Everything else of the target and all of the source pass unchanged.
    EXPECT_EQ(t.origin_x, 1.25);
    EXPECT_EQ(t.width, 5);
    EXPECT_EQ(t.row_stride, 37);
    EXPECT_EQ(t.pixel_stride, 4);
    EXPECT_EQ(t.channels, 4);
    EXPECT_EQ(t.max_value, 255);
    EXPECT_EQ(0, std::memcmp(&bands[i].source, &source_before, sizeof source_before));
    EXPECT_EQ(bands[i].transform, &DummyTransform);
    EXPECT_EQ(bands[i].model, &rec);
  }
}

TEST(WorkerPool, ChunkLargerThanTheRowsGivesOneWholeBand) {
  interp_workers *pool = interp_workers_init(2, 2);
  ASSERT_NE(pool, nullptr);
  Blocks b(10);
  Recorder rec;
  interp_workers_run(pool, 64, &b.source, &b.target, &kRecordingMethod, DummyTransform, &rec);
  interp_workers_destroy(pool);
  ASSERT_EQ(rec.bands.size(), 1u);
  EXPECT_EQ(rec.bands[0].target.height, 10);
  EXPECT_EQ(rec.bands[0].target.data, b.dst_pixels.data());
  EXPECT_EQ(rec.bands[0].target.origin_y, 2.5);
}

TEST(WorkerPool, NoRowsQueueNothingAndRunReturns) {
  interp_workers *pool = interp_workers_init(2, 2);
  ASSERT_NE(pool, nullptr);
  for (int32_t rows : {0, -3}) {
    Blocks b(rows);
    Recorder rec;
    interp_workers_run(pool, 4, &b.source, &b.target, &kRecordingMethod, DummyTransform, &rec);
    EXPECT_TRUE(rec.bands.empty()) << rows;
  }
  pthread_mutex_lock(&pool->lock);
  EXPECT_EQ(pool->head, nullptr);
  EXPECT_EQ(pool->tail, nullptr);
  pthread_mutex_unlock(&pool->lock);
  interp_workers_destroy(pool);
}

TEST(WorkerPool, RunAsyncEntersTheCallersLatchOncePerBand) {
  interp_workers *pool = interp_workers_init(1, 1);
  ASSERT_NE(pool, nullptr);
  Blocks b(10);
  b.target.origin_y = 0.0;
  Recorder rec;
  rec.pool = pool;  // the first band holds the only thread until shutdown
  busy_counter counter;
  busy_counter_init(&counter);
  interp_workers_run_async(pool, 3, &b.source, &b.target, &kRecordingMethod, DummyTransform, &rec,
                           &counter);
  pthread_mutex_lock(&counter.lock);
  EXPECT_EQ(counter.count, 4u);
  pthread_mutex_unlock(&counter.lock);
  interp_workers_destroy(pool);
  ASSERT_EQ(rec.bands.size(), 4u);  // before waiting, which would hang on a lost band
  busy_counter_wait(&counter);
  EXPECT_EQ(counter.count, 0u);
  busy_counter_release(&counter);
  busy_counter_destroy(&counter);
}

TEST(WorkerPool, DestroyRunsEveryJobStillQueued) {
  interp_workers *pool = interp_workers_init(1, 1);
  ASSERT_NE(pool, nullptr);
  Blocks b(12);
  b.target.origin_y = 0.0;
  Recorder rec;
  rec.pool = pool;
  busy_counter counter;
  busy_counter_init(&counter);
  // Six bands; the first blocks the one thread until quit is set, so the other
  // five are still queued when the pool is told to stop.
  interp_workers_run_async(pool, 2, &b.source, &b.target, &kRecordingMethod, DummyTransform, &rec,
                           &counter);
  interp_workers_destroy(pool);
  ASSERT_EQ(rec.bands.size(), 6u);
  // One thread takes them in the order they were queued.
  for (size_t i = 0; i < 6; i++) EXPECT_EQ(rec.bands[i].target.origin_y, 2.0 * i);
  busy_counter_wait(&counter);
  busy_counter_release(&counter);
  busy_counter_destroy(&counter);
}

// Imitates a system that grants a fixed number of threads.
struct ThreadQuota {
  int granted;
  int asked = 0;
};

int QuotaCreate(pthread_t *thread, void *(*start)(void *), void *arg, void *context) {
  auto *quota = static_cast<ThreadQuota *>(context);
  quota->asked += 1;
  if (quota->asked > quota->granted) return EAGAIN;
  return pthread_create(thread, nullptr, start, arg);
}

TEST(WorkerPoolStart, ThirdThreadRefusedKeepsAWorkingPoolOfTwo) {
  ThreadQuota quota{2};
  interp_workers *pool = interp_workers_init_with(4, 2, QuotaCreate, &quota);
  ASSERT_NE(pool, nullptr);
  EXPECT_EQ(pool->thread_count, 2);
  EXPECT_EQ(quota.asked, 3);  // no more attempts after the first refusal

  // Both threads take work: two bands that each wait for the other to start.
  Blocks b(2);
  Recorder rec;
  rec.rendezvous = 2;
  interp_workers_run(pool, 1, &b.source, &b.target, &kRecordingMethod, DummyTransform, &rec);
  EXPECT_TRUE(rec.rendezvous_met);
  EXPECT_EQ(rec.bands.size(), 2u);
  interp_workers_destroy(pool);
}

TEST(WorkerPoolStart, FewerThreadsThanTheMinimumGiveNoPool) {
  ThreadQuota all{100};
  EXPECT_EQ(interp_workers_init_with(4, 5, QuotaCreate, &all), nullptr);
  EXPECT_EQ(all.asked, 4);

  ThreadQuota one{1};
  EXPECT_EQ(interp_workers_init_with(4, 2, QuotaCreate, &one), nullptr);

  EXPECT_EQ(interp_workers_init(1, 2), nullptr);
}

TEST(Processors, CountMatchesTheStandardLibrary) {
  unsigned expected = std::thread::hardware_concurrency();
  if (expected == 0) GTEST_SKIP() << "the standard library cannot tell either";
  EXPECT_EQ(GetNumProcessors(), static_cast<int32_t>(expected));
}

}  // namespace
