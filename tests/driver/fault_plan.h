// Which call of the system, or which allocation, is to fail: the seam of the fault campaign.

#pragma once

enum FaultCall { kNew, kOpen, kWrite, kShortWrite, kInterruptedWrite, kSeek, kClose, kCalls };

inline constexpr const char* kFaultCalls[kCalls] = {
    "new", "open", "write", "short write", "interrupted write", "seek", "close"};

/// The calls of each kind are counted while the plan is armed; number `at` of kind `call` fails.
struct FaultPlan {
    bool is_armed = false;
    FaultCall call = kCalls;
    int at = -1;
    int seen[kCalls] = {};

    bool Fails(FaultCall now) { return is_armed && seen[now]++ == at && call == now; }
};

extern FaultPlan fault_plan;

/// What happens where the driver ends the process; does not return.
extern void (*fault_at_exit)();
