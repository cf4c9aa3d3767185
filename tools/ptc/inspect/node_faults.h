// Faults of an octree's references, in words.

#pragma once

#include "ptc/cloud/node_walk.h"
#include "tools/ptc/fault_list.h"

/// Adds what a walk finds to a list of faults.
class NodeFaults final : public NodeListener {
public:
    /// `begin` and `end`: of the nodes' bytes.
    NodeFaults(std::int64_t begin, std::int64_t end, FaultList& faults)
        : begin_(begin), end_(end), faults_(faults) {}

    void Hear(const NodeFinding& found) override;

private:
    const std::int64_t begin_;
    const std::int64_t end_;
    FaultList& faults_;
};
