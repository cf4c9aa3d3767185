// ClientPort: the thread, and its end.

#include "util/io/client_port.h"

#include <pthread.h>
#include <signal.h>

#include <exception>
#include <thread>
#include <utility>

#include "util/io/line_queue.h"
#include "util/io/line_sender.h"

namespace {

/// Blocks all signals in this thread for one scope; a thread that is made within inherits that.
class SignalsBlocked : public TgUncopyable {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

std::shared_ptr<LineQueue> MakeQueue(const ClientPortLimits& limits) noexcept {
    try {
        return std::make_shared<LineQueue>(limits);
    } catch (const std::exception&) {
        return nullptr;
    }
}

void Work(LineQueue& queue, const HostPort& where, const ClientPortLimits& limits) noexcept {
    try {
        LineSender(queue, where, limits).Run();
    } catch (const std::exception&) {
        // Out of memory: what is left counts as not delivered.
    }
    queue.End();
}

}  // namespace

ClientPort::ClientPort(HostPort where, const ClientPortLimits& limits) noexcept
    : where_(std::move(where)), limits_(limits), queue_(MakeQueue(limits)) {}

ClientPort::~ClientPort() {
    Finish();
}

void ClientPort::Start() noexcept {
    if (is_started_ || !queue_) return;
    is_started_ = true;
    try {
        const SignalsBlocked blocked;
        std::thread([queue = queue_, where = where_, limits = limits_] {
            Work(*queue, where, limits);
        }).detach();
    } catch (const std::exception&) {
        queue_->End();  // there is nobody to wait for
    }
}

void ClientPort::Send(std::string_view line) noexcept {
    if (queue_)
        queue_->Add(line);
    else
        unkept_ += 1;
}

ClientPortCounts ClientPort::Counts() const noexcept {
    return queue_ ? queue_->Counts() : ClientPortCounts{.sent = unkept_, .dropped = unkept_};
}

void ClientPort::Finish() noexcept {
    if (is_finished_ || !queue_) return;
    is_finished_ = true;
    // Of a run that ends early, too, somebody shall hear.
    if (queue_->Counts().sent > 0) Start();
    if (is_started_) queue_->Finish();
}
