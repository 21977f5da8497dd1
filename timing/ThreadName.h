// Names the calling thread for debuggers and profilers.
#pragma once

#include <pthread.h>

namespace qorn::timing {

// At most 15 characters.
inline void set_thread_name(const char* name) {
    pthread_setname_np(pthread_self(), name);
}

} // namespace qorn::timing
