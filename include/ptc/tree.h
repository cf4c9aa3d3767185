// The octree of a point cloud file: its root, the children of a node, a walk over all nodes.
//
// Units      those of ptc/records.h.
// Errors     null, empty or false; PtcLastFailure() (ptc/failure.h) says why.
// Ownership  records belong to the library; keys are values; a walk owns copies of what it shows.
// Threads    as ptc/access.h. A walk belongs to one thread.

#pragma once

#include <cstdint>
#include <memory>

#include "ptc/api.h"
#include "ptc/failure.h"
#include "ptc/records.h"

class PtcManagedFile;

/// A node of one file: where it is, and where its children are. Only the library makes keys that
/// name a node, from what it has read, so a key never pairs a node with another node's children.
class PtcNodeKey {
public:
    PtcNodeKey() = default;  ///< names no node

    PTC_API bool IsLeaf() const;
    bool HasChild(int octant) const {
        return octant >= 0 && octant < kNodeChildren && children_[octant] != 0;
    }
    /// The node's offset in its file.
    std::int64_t Reference() const { return reference_; }

private:
    friend class PtcChildren;
    friend struct PtcKeyInside;

    std::uint32_t file_ = 0xFFFFFFFF;
    std::int64_t reference_ = 0;
    std::int64_t children_[kNodeChildren] = {};
};

/// The eight children of one node. Valid until this thread's next lookup of nodes.
class PtcChildren {
public:
    PtcChildren() = default;

    /// False: they could not be read, or there are none.
    explicit operator bool() const { return records_ != nullptr; }

    /// 0 <= `octant` < kNodeChildren. An absent child is all zero.
    const PtcNode& operator[](int octant) const { return records_[octant]; }

    /// The key of one child. It names no node where the child is absent, and once this object is no
    /// longer valid: the records may be those of another node by then.
    PTC_API PtcNodeKey Key(int octant) const;

private:
    friend struct PtcKeyInside;

    const PtcNode* records_ = nullptr;
    std::uint64_t moment_[3] = {};  ///< of the lookup: shutdowns, its thread, the thread's lookups
    PtcNodeKey parent_;
};

/// The record of the octree's root, valid until this thread's next lookup of nodes, and its key at
/// `*key`, unless null. Null: the file has no octree, or the root cannot be read.
PTC_API const PtcNode* PtcGetRoot(PtcManagedFile* file, PtcNodeKey* key);

/// The children of the node that `key` names. Empty: it has none, or they cannot be read, or the
/// key belongs to another file or to an older content of this one.
///
/// References in a file are checked: children precede their parents, so no path is endless. Two
/// nodes of a damaged file may still share children: whoever walks a tree without PtcTreeWalk
/// counts the nodes and stops at as many as the header has.
PTC_API PtcChildren PtcGetChildren(PtcManagedFile* file, const PtcNodeKey& key);

/// A walk over all nodes: each node before its children, siblings one after another.
///
///   PtcTreeWalk walk(file);
///   while (walk.Next()) Use(walk.Node(), walk.Depth());
///   if (walk.HasFailed()) std::fputs(PtcLastFailure().text, stderr);
///
/// One lookup for the children of each node. `file` must stay open; other lookups may come between.
class PtcTreeWalk {
public:
    PTC_API explicit PtcTreeWalk(PtcManagedFile* file) noexcept;
    PTC_API ~PtcTreeWalk();
    PtcTreeWalk(const PtcTreeWalk&) = delete;
    PtcTreeWalk& operator=(const PtcTreeWalk&) = delete;

    /// Moves to the next node. False: there is none, or the walk has failed. A walk fails when
    /// nodes cannot be read, when memory runs out, and when it meets more nodes than the header
    /// counts. A file without an octree has no nodes, which is no failure.
    PTC_API bool Next();
    PTC_API bool HasFailed() const;

    // Of the current node. Caller: the last Next() was true.
    PTC_API const PtcNode& Node() const;  ///< valid, its data included, until the next Next()
    PTC_API const PtcNodeKey& Key() const;
    PTC_API int Depth() const;  ///< 0 for the root

    /// The walk passes over the current node's descendants.
    PTC_API void SkipChildren() noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;  ///< null: memory ran out
};
