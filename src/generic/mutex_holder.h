// Scoped locking of a POSIX mutex.
#ifndef TROX_GENERIC_MUTEX_HOLDER_H
#define TROX_GENERIC_MUTEX_HOLDER_H

#include <pthread.h>

namespace trox_detail
{

/// Holds a mutex as long as it lives.
class mutex_holder
{
public:
    explicit mutex_holder(pthread_mutex_t& mutex) : mutex_(&mutex)
    {
        ::pthread_mutex_lock(mutex_);
    }
    ~mutex_holder()
    {
        ::pthread_mutex_unlock(mutex_);
    }
    mutex_holder(const mutex_holder&) = delete;
    mutex_holder& operator=(const mutex_holder&) = delete;

private:
    pthread_mutex_t* mutex_;
};

} // namespace trox_detail

#endif
