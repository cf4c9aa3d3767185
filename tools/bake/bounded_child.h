// BoundedChild: work done in a process of its own, with bounded memory, for what is not trusted.
//
// Units      bytes of address space.
// Errors     the constructor throws Failure when the process cannot be made or bounded; how the
//            work ended is for Wait() to say.
// Ownership  owns the process and the pipe; the process ends with this object.
// Threads    made while the program has one thread only; one caller at a time.
//
// The child is a copy of the program at that moment. Nothing that happens in it, be it a crash or
// exhausted memory, reaches the program itself, and nothing that it prints the terminal.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

namespace bake {

class BoundedChild {
public:
    /// Starts `work`, which may take `memory` more than the program has by then. What it writes to
    /// `to` comes out of From(). It must not throw.
    BoundedChild(std::uint64_t memory, const std::function<void(std::FILE* to)>& work);
    ~BoundedChild();
    BoundedChild(const BoundedChild&) = delete;
    BoundedChild& operator=(const BoundedChild&) = delete;

    std::FILE* From() const { return from_.get(); }

    /// Waits for the end. The answer: what went wrong, in words; empty: nothing.
    std::string Wait();

    /// Lets the work take more memory. Caller: is the work.
    static void AllowMore(std::uint64_t memory);

private:
    struct Close {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };

    pid_t process_ = -1;  ///< -1: waited for
    std::unique_ptr<std::FILE, Close> from_;
};

}  // namespace bake
