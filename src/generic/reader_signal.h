// Waiting for a channel reader.
#ifndef TROX_GENERIC_READER_SIGNAL_H
#define TROX_GENERIC_READER_SIGNAL_H

#include "generic/mutex_holder.h"

#include <pthread.h>

namespace trox_detail
{

/// Waits for the reader's one signal: all records are decoded.
inline void wait_for_reader(pthread_mutex_t& mutex, pthread_cond_t& cond, int& flag)
{
    const mutex_holder lock(mutex);
    while (flag == 0) {
        ::pthread_cond_wait(&cond, &mutex);
    }
    flag = 0;
}

} // namespace trox_detail

#endif
