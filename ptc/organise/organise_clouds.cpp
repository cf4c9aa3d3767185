// Organising: from the inputs through memory, or through parts in a file, to the tree's writer.
//
// Locks:
//
//   rank  lock          count       guards
//   31    reading_lock  one a call  the inputs, and how much is loaded, while they are read into
//                                   memory; held while they are read

#include "ptc/organise/organise_clouds.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>

#include "ptc/organise/batch_sort.h"
#include "ptc/organise/cloud_inputs.h"
#include "ptc/organise/light_choice.h"
#include "ptc/organise/organise_plan.h"
#include "ptc/organise/organised_file.h"
#include "ptc/organise/page_block.h"
#include "ptc/organise/partition.h"
#include "ptc/organise/repeats.h"
#include "ptc/organise/tree_writer.h"

namespace {

using Then = TreeWriter::Then;

constexpr std::int64_t kMostPoints = INT32_MAX;  // what the fields of a node count

void RefuseTooMany(std::int64_t points, const std::string& name) {
    if (points <= kMostPoints) return;
    const std::int64_t clouds = (points + kMostPoints - 1) / kMostPoints;
    FailToOrganise(PtcFailureCode::kBadArgument, name, "cannot be organised", 0,
                   std::to_string(points) + " points are more than the " +
                       std::to_string(kMostPoints) +
                       " that one octree can count; organise them as " + std::to_string(clouds) +
                       " clouds or more, which can be looked up together");
}

/// One call's work.
class Organiser {
public:
    Organiser(const PtcOrganiseRequest& request, WorkProgress& progress)
        : request_(request),
          leaf_points_(static_cast<std::size_t>(request.leaf_points > 0 ? request.leaf_points
                                                : request.light         ? kLightLeafPoints
                                                                        : kDefaultLeafPoints)),
          progress_(progress),
          inputs_({request.inputs, static_cast<std::size_t>(request.input_count)}),
          record_(inputs_.RecordBytes()),
          light_(ChooseLight(request, inputs_.First().point_variables)),
          plan_({request.memory, request.threads, leaf_points_, request.drop_repeats,
                 light_.has_value()},
                inputs_.First().point_variables.DataFloats()),
          crew_(plan_.threads, progress) {}

    PtcOrganiseSummary Run() {
        const std::int64_t points = inputs_.PointCount();
        RefuseTooMany(points, request_.output);
        CloudVariables node_variables = inputs_.First().point_variables;
        if (light_) light_->AppendTo(&node_variables);
        OrganisedFile file(inputs_.First(), node_variables, request_.output, points);
        TreeWriter tree(file, {leaf_points_, plan_.slice_points}, light_, crew_);
        tree_ = &tree;
        if (points <= static_cast<std::int64_t>(plan_.batch_points)) {
            InMemory(points);
        } else {
            InParts(points);
        }
        tree.Finish();
        progress_.TellEnd();
        return Complete(file, points);
    }

private:
    void InMemory(std::int64_t points) {
        progress_.Expect(2 * points);
        MakeRoom(static_cast<std::size_t>(points));
        const std::size_t piece = std::max<std::size_t>(OrganisePlan::kPieceBytes / record_, 1);
        std::vector<FiniteBox> boxes(crew_.Threads());
        // One thread reads while the others look at what they have read.
        std::mutex reading_lock;  // guards inputs_ and loaded_
        crew_.Run((room_points_ + piece - 1) / piece, [&](std::size_t, std::size_t worker) {
            std::span<std::byte> records;
            {
                const std::lock_guard hold(reading_lock);
                const std::size_t wanted = std::min(room_points_ - loaded_, piece);
                records = {records_.get() + loaded_ * record_, wanted * record_};
                records = records.first(inputs_.Read(records));
                loaded_ += records.size() / record_;
            }
            Survey(records, boxes[worker]);
        });
        for (const FiniteBox& box : boxes) box_.Include(box);
        cube_ = OctreeCube(box_);
        WriteBatch(Then::kEnd);
    }

    /// Reads all for the box, distributes them by their codes, and sorts the parts in batches.
    void InParts(std::int64_t points) {
        progress_.Expect(3 * points);
        parts_.emplace(record_, plan_.chunk_points);
        PartChain spooled;
        std::vector<std::byte> piece(parts_->ChunkBytes());
        while (const std::size_t bytes = inputs_.Read(piece)) {
            Survey({piece.data(), bytes}, box_);
            progress_.Tell();
            // What has to be parsed or inflated is so only once.
            if (!inputs_.AreCheapToReread()) parts_->Append(spooled, {piece.data(), bytes});
        }
        cube_ = OctreeCube(box_);
        inputs_.Rewind();
        Partition partition(*parts_, cube_, plan_.levels, progress_);
        const auto next = [&](std::span<std::byte> room) {
            const std::size_t bytes =
                inputs_.AreCheapToReread() ? inputs_.Read(room) : parts_->TakeFirst(spooled, room);
            progress_.Add(static_cast<std::int64_t>(bytes / record_));
            return bytes;
        };
        std::vector<PartBucket> waiting = partition.Distribute(next, 0);
        std::reverse(waiting.begin(), waiting.end());
        while (!waiting.empty()) {
            PartBucket bucket = waiting.back();
            waiting.pop_back();
            if (FitsBatch(bucket)) {
                if (BatchCount() + bucket.points.records > MostInBatch()) LoadAndWrite(Then::kMore);
                batch_.push_back(bucket);
            } else if (!bucket.IsOneCode()) {
                const std::vector<PartBucket> within = partition.Distribute(bucket);
                waiting.insert(waiting.end(), within.rbegin(), within.rend());
            } else if (request_.drop_repeats && bucket.has_repeats) {
                LoadAndWrite(Then::kMore);  // so that its memory is free
                bucket.points = DropRepeats(*parts_, bucket.points, plan_.memory / 2);
                bucket.has_repeats = false;
                waiting.push_back(bucket);
            } else {
                WriteThrough(bucket);
            }
        }
        if (!has_ended_) LoadAndWrite(Then::kEnd);
    }

    /// Adds to the box.
    void Survey(std::span<const std::byte> records, FiniteBox& box) {
        FiniteBox around;  // local: it stays in registers
        for (std::size_t at = 0; at < records.size(); at += record_) {
            float position[3];
            std::memcpy(position, &records[at], sizeof position);
            if (IsFinite(position)) around.Include(position);
        }
        box.Include(around);
        progress_.Add(static_cast<std::int64_t>(records.size() / record_));
    }

    std::int64_t MostInBatch() const { return static_cast<std::int64_t>(plan_.batch_points); }
    bool FitsBatch(const PartBucket& bucket) const {
        return bucket.points.records <= MostInBatch();
    }
    std::int64_t BatchCount() const {
        std::int64_t count = 0;
        for (const PartBucket& bucket : batch_) count += bucket.points.records;
        return count;
    }

    void MakeRoom(std::size_t points) {
        room_points_ = points;
        records_ = PageBlock<std::byte>(points * record_);
        codes_ = PageBlock<CodedIndex>(points);
        scratch_ = PageBlock<CodedIndex>(points);
    }

    /// Loads what waits for the batch behind what is left of the last one, and writes it.
    void LoadAndWrite(Then then) {
        PrepareBatch(0);
        WriteBatch(then);
    }

    /// `extra`: points for which there shall be room, too.
    void PrepareBatch(std::size_t extra) {
        const std::size_t carried = carried_.size() / record_;
        MakeRoom(carried + static_cast<std::size_t>(BatchCount()) + extra + plan_.chunk_points);
        std::copy(carried_.begin(), carried_.end(), records_.get());
        loaded_ = carried;
        for (PartBucket& bucket : batch_) Load(bucket, plan_.batch_points);
        batch_.clear();
    }

    /// Loads chunks of `bucket` until there are at least `points` of it, or all.
    void Load(PartBucket& bucket, std::size_t points) {
        const std::size_t before = loaded_;
        while (loaded_ - before < points) {
            const std::size_t bytes = parts_->TakeFirst(
                bucket.points,
                {records_.get() + loaded_ * record_, (room_points_ - loaded_) * record_});
            if (bytes == 0) break;
            loaded_ += bytes / record_;
        }
    }

    void WriteBatch(Then then) {
        BatchRoom batch{records_.get(), record_, loaded_, codes_.get(), scratch_.get()};
        std::size_t finite = CodeAndSort(batch, cube_, crew_);
        if (request_.drop_repeats) finite = DropRepeats(batch, finite);
        const std::size_t taken = tree_->Write(batch, finite, then);
        has_ended_ = then == Then::kEnd;
        carried_.clear();
        for (std::size_t i = taken; i < finite; ++i) {
            const std::byte* const record = batch.Record(batch.points[i].index);
            carried_.insert(carried_.end(), record, record + record_);
        }
        MakeRoom(0);
        loaded_ = 0;
    }

    /// Points of one code that fill more than a batch: they are in order already.
    void WriteThrough(PartBucket bucket) {
        std::vector<std::byte> piece(parts_->ChunkBytes());
        if (bucket.least == kCodeOfNowhere) {
            LoadAndWrite(Then::kEnd);
            while (const std::size_t bytes = parts_->TakeFirst(bucket.points, piece))
                tree_->WriteNowhere({piece.data(), bytes});
            return;
        }
        PrepareBatch(leaf_points_ + 1);
        Load(bucket, leaf_points_ + 1);
        WriteBatch(Then::kSameCode);
        while (const std::size_t bytes = parts_->TakeFirst(bucket.points, piece))
            tree_->Continue({piece.data(), bytes});
        tree_->EndContinued();
    }

    PtcOrganiseSummary Complete(OrganisedFile& file, std::int64_t points) const {
        const NodeWriter& nodes = tree_->Nodes();
        OrganisedTotals totals;
        totals.points = tree_->Points();
        totals.nodes = nodes.Nodes();
        totals.node_bytes = nodes.Bytes();
        totals.root = nodes.RootOffset();
        totals.box = nodes.Box();
        totals.largest_radius = tree_->LargestRadius();
        file.Finish(totals);

        PtcOrganiseSummary summary{};
        summary.points = totals.points;
        summary.not_finite = tree_->NotFinite();
        summary.repeats = points - totals.points;
        summary.nodes = totals.nodes;
        summary.leaves = nodes.Leaves();
        summary.depth = nodes.Depth();
        if (parts_) summary.bytes_in_parts = parts_->BytesWritten();
        return summary;
    }

    const PtcOrganiseRequest& request_;
    const std::size_t leaf_points_;
    WorkProgress& progress_;
    CloudInputs inputs_;
    const std::size_t record_;
    const std::optional<LightChoice> light_;
    const OrganisePlan plan_;
    WorkCrew crew_;

    FiniteBox box_;
    OctreeCube cube_;
    std::optional<PartFile> parts_;
    TreeWriter* tree_ = nullptr;

    std::vector<PartBucket> batch_;   ///< to be loaded together
    std::vector<std::byte> carried_;  ///< points of the last batch whose leaf was not known
    PageBlock<std::byte> records_;
    PageBlock<CodedIndex> codes_;
    PageBlock<CodedIndex> scratch_;
    std::size_t room_points_ = 0;
    std::size_t loaded_ = 0;
    bool has_ended_ = false;
};

/// What both requests need.
void CheckRequest(const char* const* inputs, int count, const char* output) {
    const auto refuse = [](const char* reason) {
        FailToOrganise(PtcFailureCode::kBadArgument, {}, "the request is refused", 0, reason);
    };
    if (!inputs || count < 1) refuse("it has no input");
    for (int i = 0; i < count; ++i)
        if (!inputs[i] || !*inputs[i]) refuse("an input has no name");
    if (!output || !*output) refuse("the output has no name");
}

template <class Call>
bool CatchFailure(OrganiseFailure* failure, Call call) {
    try {
        call();
        return true;
    } catch (OrganiseError& error) {
        *failure = std::move(error.failure);
        return false;
    }
}

}  // namespace

bool OrganiseClouds(const PtcOrganiseRequest& request, PtcOrganiseSummary* summary,
                    OrganiseFailure* failure) {
    return CatchFailure(failure, [&] {
        CheckRequest(request.inputs, request.input_count, request.output);
        if (request.leaf_points < 0 || request.memory < 0)
            FailToOrganise(PtcFailureCode::kBadArgument, {}, "the request is refused", 0,
                           "a number in it is negative");
        WorkProgress progress(request.progress, request.context);
        const PtcOrganiseSummary done = Organiser(request, progress).Run();
        if (summary) *summary = done;
    });
}

bool MergeClouds(const PtcMergeRequest& request, std::int64_t* points, OrganiseFailure* failure) {
    return CatchFailure(failure, [&] {
        CheckRequest(request.inputs, request.input_count, request.output);
        WorkProgress progress(request.progress, request.context);
        CloudInputs inputs({request.inputs, static_cast<std::size_t>(request.input_count)});
        progress.Expect(inputs.PointCount());
        WholeFile whole;
        const auto cloud = CreateLike(inputs.First(), {}, request.output, whole);
        const auto fail = [&](int error) {
            FailToOrganise(PtcFailureCode::kCannotWrite, request.output, "cannot be written",
                           error);
        };
        const std::size_t record = inputs.RecordBytes();
        std::vector<std::byte> piece(std::max<std::size_t>(OrganisePlan::kPieceBytes / record, 1) *
                                     record);
        while (const std::size_t bytes = inputs.Read(piece)) {
            if (Failed(WritePointRecords(*cloud, {piece.data(), bytes}))) fail(cloud->file.Error());
            progress.Add(static_cast<std::int64_t>(bytes / record));
            progress.Tell();
        }
        progress.TellEnd();
        const std::int64_t written = cloud->point_count;
        if (Failed(FinishCloud(*cloud))) fail(cloud->file.Error());
        if (!whole.Commit()) fail(errno);
        if (points) *points = written;
    });
}
