// The worker pool: how a target is cut into bands, start-up with refused
// threads, shutdown with work still queued, and equality with one kernel call.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "geometry/lensdistort.h"
#include "workers/interp_workers.h"
#include "workers/interp_workers_internal.h"
#include "workers/processor_quota.h"

namespace {

// Collects the target of each kernel call. Passed to the kernel as its model.
struct Recorder {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<interp_target> bands;
  interp_workers *pool = nullptr;  // when set, the band at origin_y 0 blocks until quit
  int rendezvous = 0;              // every band waits until this many have started
  bool rendezvous_met = true;
};

void DummyTransform(double x, double y, double *out_x, double *out_y, const void *) {
  *out_x = x;
  *out_y = y;
}

int32_t RecordingKernel(const interp_source *source, const interp_target *target,
                        interp_transform_fn transform, const void *model) {
  auto *rec = static_cast<Recorder *>(const_cast<void *>(model));
  while (rec->pool != nullptr && target->origin_y == 0.0) {
    pool_mutex_lock(&rec->pool->lock);
    const bool quit = rec->pool->quit == 1;
    pool_mutex_unlock(&rec->pool->lock);
    if (quit) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(source->origin_x, -3.0);  // the source and the transform pass unchanged
  EXPECT_EQ(transform, &DummyTransform);
  std::unique_lock<std::mutex> hold(rec->mutex);
  rec->bands.push_back(*target);
  rec->changed.notify_all();
  if (rec->rendezvous > 0 && !rec->changed.wait_for(hold, std::chrono::seconds(20), [&] {
        return static_cast<int>(rec->bands.size()) >= rec->rendezvous;
      })) {
    rec->rendezvous_met = false;
  }
  return 0;
}

const interp_method kRecordingMethod = {BILINEAR, RecordingKernel, 2, 1};

struct Blocks {
  std::vector<uint8_t> src_pixels = std::vector<uint8_t>(64);
  std::vector<uint8_t> dst_pixels;
  interp_source source{};
  interp_target target{};

  explicit Blocks(int32_t rows, double origin_y = 2.5) : dst_pixels(37 * std::max(rows, 1)) {
    source = {src_pixels.data(), -3.0, 7.0, 4, 4, 16, 4, 4, 255};
    // Odd stride and a fractional origin, so that any slip shows.
    target = {dst_pixels.data(), 1.25, origin_y, 5, rows, 37, 4, 4, 255};
  }
};

TEST(WorkerPool, CutsTheTargetIntoBandsOfTheChunkHeight) {
  struct Case {
    int32_t rows, chunk;
    std::vector<int32_t> heights;
  };
  const Case cases[] = {{10, 4, {4, 4, 2}}, {10, 64, {10}}, {0, 4, {}}, {-3, 4, {}}};
  interp_workers *pool = interp_workers_init(2, 1);
  ASSERT_NE(pool, nullptr);
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << c.rows << " rows, chunk " << c.chunk);
    Blocks b(c.rows);
    Recorder rec;
    interp_workers_run(pool, c.chunk, &b.source, &b.target, &kRecordingMethod, DummyTransform,
                       &rec);
    std::sort(rec.bands.begin(), rec.bands.end(),
              [](const auto &x, const auto &y) { return x.origin_y < y.origin_y; });
    ASSERT_EQ(rec.bands.size(), c.heights.size());
    int32_t row = 0;
    for (size_t i = 0; i < rec.bands.size(); i++) {
      // Only data, origin_y and height move; the rest of the target stays.
      interp_target want = b.target;
      want.data = b.dst_pixels.data() + 37 * row;
      want.origin_y = 2.5 + row;
      want.height = c.heights[i];
      EXPECT_EQ(0, std::memcmp(&rec.bands[i], &want, sizeof want)) << "band " << i;
      row += c.heights[i];
    }
  }
  pool_mutex_lock(&pool->lock);
  EXPECT_EQ(pool->head, nullptr);  // nothing left queued
  pool_mutex_unlock(&pool->lock);
  interp_workers_destroy(pool);
}

TEST(WorkerPool, DestroyRunsEveryJobStillQueuedAndTheLatchCountsThem) {
  interp_workers *pool = interp_workers_init(1, 1);
  ASSERT_NE(pool, nullptr);
  Blocks b(12, 0.0);
  Recorder rec;
  rec.pool = pool;
  busy_counter counter;
  busy_counter_init(&counter);
  // Six bands; the first blocks the one thread until quit is set, so the other
  // five are still queued when the pool is told to stop.
  interp_workers_run_async(pool, 2, &b.source, &b.target, &kRecordingMethod, DummyTransform, &rec,
                           &counter);
  pool_mutex_lock(&counter.lock);
  EXPECT_EQ(counter.count, 6u);
  pool_mutex_unlock(&counter.lock);
  interp_workers_destroy(pool);
  ASSERT_EQ(rec.bands.size(), 6u);  // before waiting, which would hang on a lost band
  // One thread takes them in the order they were queued.
  for (size_t i = 0; i < 6; i++) EXPECT_EQ(rec.bands[i].origin_y, 2.0 * i);
  busy_counter_wait(&counter);
  EXPECT_EQ(counter.count, 0u);
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
  if (++quota->asked > quota->granted) return EAGAIN;
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

// A pool run over bands must give the very bytes of one kernel call on the
// whole block, with the real kernels and the real lens model.
TEST(WorkerPoolWithRealKernels, BandsGiveTheSameBytesAsOneCall) {
  constexpr int32_t kWidth = 640, kHeight = 480, kChannels = 3;
  lensdistort_model model{0.05, -0.03, -0.21, 0.04, 0.0, 1.1, kWidth, kHeight, 0};
  struct Case {
    uint32_t method, sample_size;
    int32_t max_value;
  };
  const Case cases[] = {{BICUBIC, 1, 255}, {LANCZOS4, 2, 32768}, {BILINEAR, 4, 255}};
  interp_workers *pool = interp_workers_init(4, 2);
  ASSERT_NE(pool, nullptr) << "this machine would not start two threads";
  for (const Case &c : cases) {
    SCOPED_TRACE(c.method);
    const interp_method *method = interp_get_method(c.method, c.sample_size);
    ASSERT_NE(method, nullptr);
    const int32_t pixel = kChannels * static_cast<int32_t>(c.sample_size);
    // A busy picture (xorshift), 16-bit samples kept within 0..32768 so that
    // clamping is not all we see.
    std::vector<uint8_t> src(static_cast<size_t>(kWidth) * kHeight * pixel);
    uint32_t state = 2463534242u;
    for (size_t i = 0; i < src.size(); i++) {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      src[i] = static_cast<uint8_t>(state >> (c.sample_size == 2 && i % 2 == 1 ? 25 : 24));
    }
    const interp_source source{src.data(),     0.0,   0.0,       kWidth,     kHeight,
                               kWidth * pixel, pixel, kChannels, c.max_value};
    std::vector<uint8_t> whole(src.size(), 0xAB), banded(src.size());
    interp_target target{whole.data(),   0.0,   0.0,       kWidth,     kHeight,
                         kWidth * pixel, pixel, kChannels, c.max_value};
    ASSERT_EQ(method->kernel(&source, &target, lensdistort_transform_point, &model), 0);
    target.data = banded.data();
    // The run's band height for two threads, and an odd one.
    for (int32_t chunk : {kHeight / (32 * 2), 7}) {
      std::fill(banded.begin(), banded.end(), 0xCD);
      interp_workers_run(pool, chunk, &source, &target, method, lensdistort_transform_point,
                         &model);
      EXPECT_TRUE(whole == banded) << "chunk " << chunk;
    }
  }
  interp_workers_destroy(pool);
}

// The processors this process may run on: its affinity set, as the kernel
// reports it to sched_getaffinity, unless a control group's quota is tighter.
int32_t affinityProcessors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 0;
  return CPU_COUNT(&set);
}

TEST(Processors, CountIsTheAffinitySetOrTheQuota) {
  const int32_t affinity = affinityProcessors();
  if (affinity == 0) GTEST_SKIP() << "the affinity set cannot be read";
  const int32_t quota = processor_quota_of_process();
  EXPECT_EQ(GetNumProcessors(), quota > 0 && quota < affinity ? quota : affinity);
}

// A process narrowed to one processor (as by taskset, or a scheduler's
// cpuset) counts one, whatever the machine has; the count is taken afresh.
TEST(Processors, ANarrowedProcessCountsOnlyItsOwn) {
  if (affinityProcessors() < 2) GTEST_SKIP() << "needs a process allowed two processors";
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu() >= 0 ? sched_getcpu() : 0, &one);
    int32_t count = -1;
    if (sched_setaffinity(0, sizeof one, &one) == 0) count = GetNumProcessors();
    (void)!write(fds[1], &count, sizeof count);
    _exit(0);
  }
  close(fds[1]);
  int32_t count = -2;
  EXPECT_EQ(read(fds[0], &count, sizeof count), static_cast<ssize_t>(sizeof count));
  close(fds[0]);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(count, 1);
}

// Quotas as the control-group files write them: quota over period, rounded
// up (1.5 processors' worth of time keeps two threads busy), and no limit.
TEST(Processors, ControlGroupQuotasBecomeProcessorCounts) {
  EXPECT_EQ(processor_quota_from_cpu_max("max 100000\n"), 0);
  EXPECT_EQ(processor_quota_from_cpu_max("100000 100000\n"), 1);
  EXPECT_EQ(processor_quota_from_cpu_max("150000 100000\n"), 2);
  EXPECT_EQ(processor_quota_from_cpu_max("50000 100000"), 1);
  EXPECT_EQ(processor_quota_from_cpu_max("400000 100000"), 4);
  EXPECT_EQ(processor_quota_from_cpu_max(""), 0);
  EXPECT_EQ(processor_quota_from_cpu_max("garbage"), 0);
  EXPECT_EQ(processor_quota_from_cpu_max("12x 100000"), 0);
  EXPECT_EQ(processor_quota_from_cpu_max("100000 0"), 0);
  EXPECT_EQ(processor_quota_from_cfs("-1\n", "100000\n"), 0);
  EXPECT_EQ(processor_quota_from_cfs("250000\n", "100000\n"), 3);
  EXPECT_EQ(processor_quota_from_cfs("100000", "100000"), 1);
  EXPECT_EQ(processor_quota_from_cfs("abc", "100000"), 0);
  EXPECT_EQ(processor_quota_from_cfs(nullptr, "100000"), 0);
}

}  // namespace
