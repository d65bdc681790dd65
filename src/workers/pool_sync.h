/* The lock and condition variable the worker pool and its latch sleep on.
 *
 * On Windows these are the system's slim reader/writer lock and condition
 * variable rather than winpthreads': winpthreads builds its mutex and
 * condition variable on events and semaphores, kernel objects whose every
 * wait and signal Wine serves through its server process (a round trip paid
 * several times per tile), while Wine serves the slim lock and condition
 * variable within the process. Elsewhere they are pthreads', unchanged. */
#ifndef ORTAVEL_WORKERS_POOL_SYNC_H
#define ORTAVEL_WORKERS_POOL_SYNC_H

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <pthread.h>
#endif

#include "ortavel_export.h"

ORTAVEL_BEGIN_C

#ifdef _WIN32

typedef SRWLOCK pool_mutex;
typedef CONDITION_VARIABLE pool_cond;

static inline void pool_mutex_destroy(pool_mutex *m) {
  (void)m;
}
static inline void pool_mutex_lock(pool_mutex *m) {
  AcquireSRWLockExclusive(m);
}
static inline void pool_mutex_unlock(pool_mutex *m) {
  ReleaseSRWLockExclusive(m);
}
/* Nonzero when the lock was free and is now held. */
static inline int pool_mutex_trylock(pool_mutex *m) {
  return TryAcquireSRWLockExclusive(m) != 0;
}
static inline void pool_cond_destroy(pool_cond *c) {
  (void)c;
}
static inline void pool_cond_wait(pool_cond *c, pool_mutex *m) {
  SleepConditionVariableSRW(c, m, INFINITE, 0);
}
static inline void pool_cond_broadcast(pool_cond *c) {
  WakeAllConditionVariable(c);
}

#else

typedef pthread_mutex_t pool_mutex;
typedef pthread_cond_t pool_cond;

static inline void pool_mutex_destroy(pool_mutex *m) {
  pthread_mutex_destroy(m);
}
static inline void pool_mutex_lock(pool_mutex *m) {
  pthread_mutex_lock(m);
}
static inline void pool_mutex_unlock(pool_mutex *m) {
  pthread_mutex_unlock(m);
}
/* Nonzero when the lock was free and is now held. */
static inline int pool_mutex_trylock(pool_mutex *m) {
  return pthread_mutex_trylock(m) == 0;
}
static inline void pool_cond_destroy(pool_cond *c) {
  pthread_cond_destroy(c);
}
static inline void pool_cond_wait(pool_cond *c, pool_mutex *m) {
  pthread_cond_wait(c, m);
}
static inline void pool_cond_broadcast(pool_cond *c) {
  pthread_cond_broadcast(c);
}

#endif

/* Out of line: only the waits and signals are hot. */
ORTAVEL_API void pool_mutex_init(pool_mutex *m);
ORTAVEL_API void pool_cond_init(pool_cond *c);

ORTAVEL_END_C

#endif
