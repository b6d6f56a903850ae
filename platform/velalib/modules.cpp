// The list of loaded modules, and the lock under which it is changed and walked.
#include "modules.h"

#include <pthread.h>

vela_module_root vela_module_tot_root = {0, nullptr, &vela_module_tot_root.first};

// Held again by a thread that loads a module from within a walk, as a visitor of shared types may.
static pthread_mutex_t modules_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

void vela_modules_lock(void) { pthread_mutex_lock(&modules_mutex); }

void vela_modules_unlock(void) { pthread_mutex_unlock(&modules_mutex); }
