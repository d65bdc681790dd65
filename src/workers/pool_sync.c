/* Setting up the pool's lock and condition variable (see pool_sync.h). */
#include "workers/pool_sync.h"

#include <stddef.h>

#ifdef _WIN32

void pool_mutex_init(pool_mutex *m) {
  InitializeSRWLock(m);
}
void pool_cond_init(pool_cond *c) {
  InitializeConditionVariable(c);
}

#else

void pool_mutex_init(pool_mutex *m) {
  pthread_mutex_init(m, NULL);
}
void pool_cond_init(pool_cond *c) {
  pthread_cond_init(c, NULL);
}

#endif
