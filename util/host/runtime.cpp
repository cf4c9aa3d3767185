// The thread count, and the runtime's start and shutdown.
//
// Locks:
//
//   rank  lock        count  guards
//   70    users_lock  1      how many have started; held during the whole start and shutdown

#include "util/host/runtime.h"

#include <algorithm>
#include <thread>

#include "util/base/process_wide.h"
#include "util/base/tg_lock.h"
#include "util/host/message_tables.h"

namespace runtime {
namespace {

struct Users {
    TgMutex users_lock;
    int count UTIL_GUARDED_BY(users_lock) = 0;
};

}  // namespace

int ThreadCount() {
    const int set = internal::thread_count.load(std::memory_order_relaxed);
    if (set > 0) return set;
    constexpr unsigned kMost = 1u << 20;  // fits an int whatever the system says
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, kMost));
}

void SetThreadCount(int count) {
    internal::thread_count.store(std::max(count, 1), std::memory_order_relaxed);
}

bool Start() {
    Users& users = process_wide::The<Users>();
    TgMutexGuard hold(users.users_lock);
    ++users.count;
    return message_tables::BringUp();
}

void Shutdown() {
    Users& users = process_wide::The<Users>();
    TgMutexGuard hold(users.users_lock);
    if (users.count == 0 || --users.count > 0) return;
    message_tables::DropEveryThreadTable();
}

}  // namespace runtime
