// Coding and sorting the records of a batch on all threads.
//
// Units      sizes in bytes.
// Errors     throws what the crew throws.
// Ownership  borrows everything.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <span>

#include "ptc/organise/point_order.h"
#include "ptc/organise/work_crew.h"

/// Records in memory, and room for the codes of each twice.
struct BatchRoom {
    std::byte* records;
    std::size_t record_bytes;
    std::size_t count;
    CodedIndex* points;
    CodedIndex* scratch;

    const std::byte* Record(std::size_t index) const { return records + index * record_bytes; }
};

/// Fills `batch.points` with the codes in `cube`, sorted; equal codes keep their order. Returns how
/// many are codes of places; the others are behind these.
std::size_t CodeAndSort(const BatchRoom& batch, const OctreeCube& cube, WorkCrew& crew);
