// The records that readers of point cloud files get: one point, one octree node.
//
// Units      positions, normals, boxes and radii in world space; indexes count points from 0;
//            references are offsets in bytes from the file's start.
// Ownership  the records and the floats behind `data` belong to whoever hands a record out. The
//            library's records lie in blocks that threads share, so callers never write to them.

#pragma once

#include <cstdint>

struct PtcPoint {
    float position[3];
    float normal[3];  ///< of length 1, or zero for a point without one
    float radius;
    const float* data;  ///< the point's data floats in the order of the variables; null: none
};
static_assert(sizeof(PtcPoint) == 40);

/// The caller's arrays for a run of points; null for what is not wanted.
struct PtcPointArrays {
    float* positions = nullptr;  ///< 3 floats a point
    float* normals = nullptr;    ///< 3 floats a point
    float* radii = nullptr;      ///< 1 float a point
    float* data = nullptr;       ///< PtcHeader::floats_per_point floats a point
};

constexpr int kNodeChildren = 8;

/// The record of an absent child is all zero, except its data pointer: the floats there are zero.
struct PtcNode {
    std::int32_t first_point;  ///< of a run of points that follow each other in the file
    std::int32_t point_count;
    float box[6];                          ///< minimum x y z, maximum x y z
    const float* data;                     ///< the node's data floats, if the file has any
    std::int64_t children[kNodeChildren];  ///< references of its own children; 0: no child

    bool IsLeaf() const {
        for (const std::int64_t child : children)
            if (child != 0) return false;
        return true;
    }
};
static_assert(sizeof(PtcNode) == 104);
