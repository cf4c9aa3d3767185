// Faults of an octree's references, in words.

#include "tools/ptc/inspect/node_faults.h"

void NodeFaults::Hear(const NodeFinding& found) {
    switch (found.fault) {
        case NodeFault::kOutside:
            faults_.Add(found.place, "reference to {}, outside the nodes' bytes {} to {}",
                        found.offset, begin_, end_);
            break;
        case NodeFault::kNotBefore:
            faults_.Add(found.place, "reference to {}, not before the node that refers to it",
                        found.offset);
            break;
        case NodeFault::kTwice:
            faults_.Add(found.place, "reference to {}, where another reference leads already",
                        found.offset);
            break;
        case NodeFault::kTooDeep:
            faults_.Add(found.place, "reference to {}, more than {} levels below the root",
                        found.offset, int{NodeWalk::kMaxDepth});
            break;
        case NodeFault::kUnreadable:
            faults_.Add(found.place, "node at {}: it is cut off, or no node", found.offset);
            break;
        case NodeFault::kApart:
            faults_.Add(found.place, "node at {}: child {} does not follow the child before it",
                        found.parent, found.child);
            break;
    }
}
