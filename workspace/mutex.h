#pragma once
// A plain lock with lock and unlock, for the objects of the message thread that a second thread
// may touch (the configuration, the generator client, the preset manager's model).

#include <mutex>

namespace torvo {

class Mutex {
public:
    void lock() { m.lock(); }
    void unlock() { m.unlock(); }

private:
    std::mutex m;
};

/// Holds a Mutex for one scope.
class MutexLock {
public:
    explicit MutexLock(Mutex& mutex) : held(mutex) { held.lock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() { held.unlock(); }

private:
    Mutex& held;
};

} // namespace torvo
