// BoundedChild: runs untrusted work in a process of its own, with bounded memory.
//
// Units      bytes of address space.
// Errors     the constructor throws Failure when the process cannot be made or bounded; Wait()
//            answers how the work ended.
// Ownership  owns the process and the pipe; the process, and what it has started, ends with this
//            object at the latest. What leaves its group is not ours any more.
// Threads    made while the program has one thread only; one caller at a time.
//
// The child is a copy of the program at that moment. A crash or exhausted memory in the child does
// not affect the program, and the child's output does not reach the terminal.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

namespace scene {

class BoundedChild {
public:
    /// Starts `work`, which may use `memory` more than the program uses then. From() reads what it
    /// writes to `to`. It must not throw.
    BoundedChild(std::uint64_t memory, const std::function<void(std::FILE* to)>& work);
    ~BoundedChild();
    BoundedChild(const BoundedChild&) = delete;
    BoundedChild& operator=(const BoundedChild&) = delete;

    /// Null after Wait().
    std::FILE* From() const { return from_.get(); }

    /// Closes the pipe and waits for the end; a child that does not end by itself within seconds is
    /// killed. Answers what failed, in words; empty if nothing did.
    std::string Wait();

    /// Lets the work use more memory. Caller: is the work itself.
    static void AllowMore(std::uint64_t memory);

private:
    struct Close {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };

    pid_t process_ = -1;  ///< -1: Wait() has returned
    std::unique_ptr<std::FILE, Close> from_;
};

}  // namespace scene
