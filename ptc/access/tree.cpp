// Nodes through the caches: the root, children by key, the walk.

#include "ptc/tree.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "ptc/access/lookup.h"

/// What the library knows of keys and their users do not.
struct PtcKeyInside {
    static PtcNodeKey Key(std::uint32_t file, std::int64_t reference,
                          const std::int64_t* children) {
        PtcNodeKey key;
        key.file_ = file;
        key.reference_ = reference;
        std::copy_n(children, kNodeChildren, key.children_);
        return key;
    }
    static PtcChildren Children(const PtcNode* records, const PtcNodeKey& parent) {
        PtcChildren children;
        children.records_ = records;
        Moment(children.moment_);
        children.parent_ = parent;
        return children;
    }
    /// Tells this lookup of the thread from its later ones and from those after a shutdown.
    static void Moment(std::uint64_t* moment) {
        const ptc_held::ThisThread now = ptc_held::this_thread;
        const bool is_alive = now.life == life_of_caches.load(std::memory_order_relaxed);
        moment[0] = is_alive ? now.life : 0;
        moment[1] = is_alive ? now.record->index : 0;
        moment[2] = is_alive ? now.record->NodeLookups() : 0;
    }
    static bool IsValid(const PtcChildren& children) {
        std::uint64_t now[3];
        Moment(now);
        return children.records_ && std::equal(now, now + 3, children.moment_);
    }
    static bool IsOf(const PtcNodeKey& key, const PtcManagedFile& file) {
        return key.file_ == file.Identity();
    }
    static const std::int64_t* References(const PtcNodeKey& key) { return key.children_; }
};

const PtcNode* ChildRecords(PtcThreadCache* cache, PtcManagedFile& file, std::int64_t reference,
                            const std::int64_t* children) {
    const PtcNode* const records =
        cache ? cache->GetNodeChildren(file, reference, children) : nullptr;
    if (records) [[likely]]
        return records;
    char what[64] = "the octree's root";
    if (reference != 0)
        (void)std::snprintf(what, sizeof what, "children of the node at %lld",
                            static_cast<long long>(reference));
    const PtcNoBlock no_memory{PtcNoBlock::Reason::kNoMemory};
    SetLookupFailure(file, what, cache ? cache->WhyNoNodes() : no_memory);
    return nullptr;
}

const PtcNode* RootRecord(PtcThreadCache* cache, PtcManagedFile* file) {
    const CloudHeader* const header = file ? file->Header() : nullptr;
    if (!header || !file->IsReading() || header->node_count == 0) {
        SetNoRecord(file, "the octree");
        return nullptr;
    }
    // Kept like the children of a node: the root is the one child of reference 0.
    const std::int64_t root[kNodeChildren] = {header->root_position};
    return ChildRecords(cache, *file, 0, root);
}

bool PtcNodeKey::IsLeaf() const {
    return std::all_of(children_, children_ + kNodeChildren,
                       [](std::int64_t child) { return child == 0; });
}

PtcNodeKey PtcChildren::Key(int octant) const {
    if (!parent_.HasChild(octant) || !PtcKeyInside::IsValid(*this)) return {};
    return PtcKeyInside::Key(parent_.file_, parent_.children_[octant], records_[octant].children);
}

const PtcNode* PtcGetRoot(PtcManagedFile* file, PtcNodeKey* key) {
    const PtcNode* const record = RootRecord(ThisThreadCache(), file);
    if (record && key)
        *key = PtcKeyInside::Key(file->Identity(), file->Header()->root_position, record->children);
    return record;
}

PtcChildren PtcGetChildren(PtcManagedFile* file, const PtcNodeKey& key) {
    if (!file || file->HasOutlivedManager()) {
        SetNoRecord(file, "");
    } else if (!PtcKeyInside::IsOf(key, *file)) {
        SetFailure(PtcFailureCode::kBadArgument, file->Name(),
                   "the node key belongs to another file or to an older content of this one");
    } else if (key.IsLeaf()) {
        SetNoRecord(file, "children of a leaf");
    } else {
        return PtcKeyInside::Children(
            ChildRecords(ThisThreadCache(), *file, key.Reference(), PtcKeyInside::References(key)),
            key);
    }
    return {};
}

// --- the walk ---

/// The siblings that are being visited, copied: other lookups of the thread may reuse their block.
struct PtcTreeWalk::State {
    struct Waiting {
        PtcNodeKey parent;  ///< whose children are still to come
        int depth;          ///< of the children
    };

    PtcManagedFile* file = nullptr;
    std::vector<Waiting> waiting;
    PtcNode nodes[kNodeChildren];
    PtcNodeKey keys[kNodeChildren];  ///< of octants without a node: they name none
    std::vector<float> data;         ///< of all eight
    std::int64_t nodes_left = 0;     ///< as the header counts them
    int octant = kNodeChildren;      ///< of the current node
    int depth = 0;
    bool has_begun = false;
    bool has_failed = false;
    bool is_pushed = false;  ///< the current node waits for its children to be visited

    // These throw std::bad_alloc.
    bool Advance();
    bool Begin();
    bool LoadChildren();
    bool Arrive();
    void Keep(int place, const PtcNode& node, const PtcNodeKey& key);
};

bool PtcTreeWalk::State::Advance() {
    if (!has_begun) return Begin();
    for (;;) {
        while (++octant < kNodeChildren)
            if (keys[octant].Reference() != 0) return Arrive();
        if (waiting.empty() || !LoadChildren()) return false;
    }
}

bool PtcTreeWalk::State::Begin() {
    has_begun = true;
    if (nodes_left == 0) return false;
    PtcNodeKey key;
    const PtcNode* const root = PtcGetRoot(file, &key);
    has_failed = !root;
    if (!root) return false;
    Keep(0, *root, key);
    octant = 0;
    return Arrive();
}

bool PtcTreeWalk::State::LoadChildren() {
    const Waiting next = waiting.back();
    waiting.pop_back();
    const PtcChildren children = PtcGetChildren(file, next.parent);
    has_failed = !children;
    if (!children) return false;
    for (int i = 0; i < kNodeChildren; ++i) Keep(i, children[i], children.Key(i));
    depth = next.depth;
    octant = -1;
    return true;
}

void PtcTreeWalk::State::Keep(int place, const PtcNode& node, const PtcNodeKey& key) {
    const auto floats = static_cast<std::size_t>(std::max(file->FloatsPerNode(), 0));
    data.resize(floats * kNodeChildren);
    nodes[place] = node;
    keys[place] = key;
    if (floats == 0) return;
    float* const own = &data[floats * static_cast<std::size_t>(place)];
    std::copy_n(node.data, floats, own);
    nodes[place].data = own;
}

bool PtcTreeWalk::State::Arrive() {
    if (nodes_left-- == 0) {
        has_failed = true;
        SetFailure(PtcFailureCode::kUnreadable, file->Name(), "the octree", 0,
                   "it has more nodes than the header counts");
        return false;
    }
    is_pushed = !keys[octant].IsLeaf();
    if (is_pushed) waiting.push_back({keys[octant], depth + 1});
    return true;
}

PtcTreeWalk::PtcTreeWalk(PtcManagedFile* file) noexcept : state_(new (std::nothrow) State) {
    const CloudHeader* const header = file ? file->Header() : nullptr;
    if (!state_) {
        SetFailure(PtcFailureCode::kNoMemory, nullptr, "memory ran out");
    } else if (!header) {
        state_->has_failed = true;
        SetNoRecord(file, "the octree");
    } else {
        state_->file = file;
        state_->nodes_left = header->node_count;
    }
}

PtcTreeWalk::~PtcTreeWalk() = default;

bool PtcTreeWalk::Next() {
    if (HasFailed()) return false;
    try {
        return state_->Advance();
    } catch (const std::bad_alloc&) {
        state_->has_failed = true;
        SetFailure(PtcFailureCode::kNoMemory, state_->file->Name(), "memory ran out");
        return false;
    }
}

bool PtcTreeWalk::HasFailed() const {
    return !state_ || state_->has_failed;
}

const PtcNode& PtcTreeWalk::Node() const {
    return state_->nodes[state_->octant];
}

const PtcNodeKey& PtcTreeWalk::Key() const {
    return state_->keys[state_->octant];
}

int PtcTreeWalk::Depth() const {
    return state_->depth;
}

void PtcTreeWalk::SkipChildren() noexcept {
    if (HasFailed() || !state_->is_pushed) return;
    state_->waiting.pop_back();
    state_->is_pushed = false;
}
