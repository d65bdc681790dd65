/* Worker pool: a FIFO of bands of target rows, taken by a fixed set of threads.
 *
 * Lock order is pool, then latch: run_async enters each job's latch while it
 * holds the pool lock; workers leave the latch only after dropping the pool
 * lock, so no thread ever holds two locks taken the other way round. */
#include <stddef.h>
#include <stdlib.h>

#include "workers/interp_workers.h"
#include "workers/interp_workers_internal.h"

/* Takes the job at the head of the queue, or null; the pool lock is held. */
static interp_job *take_job(interp_workers *pool) {
  interp_job *job = pool->head;
  if (job != NULL) {
    pool->head = job->next;
    if (pool->head == NULL) {
      pool->tail = NULL;
    }
  }
  return job;
}

static void run_job(interp_job *job) {
  job->method->kernel(&job->source, &job->target, job->arg1, job->arg2);
  busy_counter_leave(job->counter);
  free(job);
}

static void *worker_loop(void *arg) {
  interp_workers *pool = (interp_workers *)arg;
  for (;;) {
    pool_mutex_lock(&pool->lock);
    /* The queue is looked at before quit, so a shutdown still drains it. */
    interp_job *job = take_job(pool);
    if (job != NULL) {
      pool_mutex_unlock(&pool->lock);
      run_job(job);
      continue;
    }
    if (pool->quit == 1) {
      pool_mutex_unlock(&pool->lock);
      return NULL;
    }
    pool_cond_wait(&pool->wake, &pool->lock);
    pool_mutex_unlock(&pool->lock);
  }
}

static int create_posix_thread(pthread_t *thread, void *(*start)(void *), void *arg,
                               void *context) {
  (void)context;
  return pthread_create(thread, NULL, start, arg);
}

interp_workers *interp_workers_init_with(int32_t n, int32_t min, interp_thread_create_fn create,
                                         void *context) {
  interp_workers *pool = (interp_workers *)calloc(1, sizeof(*pool));
  pool->threads = (pthread_t *)calloc(n > 0 ? (size_t)n : 1, sizeof(pthread_t));
  pool_mutex_init(&pool->lock);
  pool_cond_init(&pool->wake);
  pool->head = NULL;
  pool->tail = NULL;
  pool->quit = 0;

  int32_t started = 0;
  while (started < n) {
    /* The first refusal ends the loop; the threads already running stay. */
    if (create(&pool->threads[started], worker_loop, pool, context) != 0) {
      break;
    }
    started += 1;
  }
  pool->thread_count = started;

  if (min > pool->thread_count) {
    interp_workers_destroy(pool);
    return NULL;
  }
  return pool;
}

interp_workers *interp_workers_init(int32_t n, int32_t min) {
  return interp_workers_init_with(n, min, create_posix_thread, NULL);
}

int32_t interp_workers_run_async(interp_workers *pool, int32_t chunk, const interp_source *source,
                                 const interp_target *target, const interp_method *method,
                                 interp_transform_fn arg1, const void *arg2,
                                 busy_counter *counter) {
  /* One critical section for the whole batch: no worker starts on a band
   * before every band of the call is queued. */
  pool_mutex_lock(&pool->lock);
  for (int32_t start = 0; start < target->height; start += chunk) {
    interp_job *job = (interp_job *)malloc(sizeof(*job));
    job->source = *source;
    job->target = *target;
    job->target.data = target->data + (ptrdiff_t)start * target->row_stride;
    int32_t left = target->height - start;
    job->target.height = chunk < left ? chunk : left;
    job->target.origin_y = target->origin_y + start;
    job->method = method;
    job->arg1 = arg1;
    job->arg2 = arg2;
    job->counter = counter;
    job->next = NULL;
    busy_counter_enter(counter);
    if (pool->tail != NULL) {
      pool->tail->next = job;
      pool->tail = job;
    } else {
      /* Only an empty queue can have sleepers waiting for work. */
      pool->head = job;
      pool->tail = job;
      pool_cond_broadcast(&pool->wake);
    }
  }
  pool_mutex_unlock(&pool->lock);
  return 0;
}

int32_t interp_workers_run(interp_workers *pool, int32_t chunk, const interp_source *source,
                           const interp_target *target, const interp_method *method,
                           interp_transform_fn arg1, const void *arg2) {
  busy_counter counter;
  busy_counter_init(&counter);
  interp_workers_run_async(pool, chunk, source, target, method, arg1, arg2, &counter);
  /* The caller takes bands too while the workers wake: where waking a thread
   * is slow (under Wine, a quarter of a millisecond) the run starts at once. */
  for (;;) {
    pool_mutex_lock(&pool->lock);
    interp_job *job = take_job(pool);
    pool_mutex_unlock(&pool->lock);
    if (job == NULL) break;
    run_job(job);
  }
  busy_counter_wait(&counter);
  busy_counter_release(&counter);
  busy_counter_destroy(&counter);
  return 0;
}

void interp_workers_destroy(interp_workers *pool) {
  pool_mutex_lock(&pool->lock);
  pool->quit = 1;
  pool_cond_broadcast(&pool->wake);
  pool_mutex_unlock(&pool->lock);
  for (int32_t i = 0; i < pool->thread_count; i++) {
    pthread_join(pool->threads[i], NULL);
  }
  pool_mutex_destroy(&pool->lock);
  pool_cond_destroy(&pool->wake);
  free(pool->threads);
  free(pool);
}
