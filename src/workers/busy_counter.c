/* Counting latch. The count never goes below zero, and the wait hands its lock
 * back to the caller so that whatever it reads next is still guarded. */
#include "workers/busy_counter.h"

void busy_counter_init(busy_counter *c) {
  pool_mutex_init(&c->lock);
  pool_cond_init(&c->zero);
  c->count = 0;
}

void busy_counter_enter(busy_counter *c) {
  pool_mutex_lock(&c->lock);
  c->count += 1;
  pool_mutex_unlock(&c->lock);
}

void busy_counter_leave(busy_counter *c) {
  pool_mutex_lock(&c->lock);
  /* A stray leave must not wrap the count round to four billion. */
  if (c->count != 0) {
    c->count -= 1;
    if (c->count == 0) {
      pool_cond_broadcast(&c->zero);
    }
  }
  pool_mutex_unlock(&c->lock);
}

void busy_counter_wait(busy_counter *c) {
  pool_mutex_lock(&c->lock);
  while (c->count != 0) {
    pool_cond_wait(&c->zero, &c->lock);
  }
  /* Returns locked on every path; busy_counter_release lets go. */
}

void busy_counter_release(busy_counter *c) {
  pool_mutex_unlock(&c->lock);
}

void busy_counter_destroy(busy_counter *c) {
  pool_mutex_destroy(&c->lock);
  pool_cond_destroy(&c->zero);
}
