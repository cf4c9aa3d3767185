// Render: rows of pixels on threads, samples of a pixel, groups of hits.

#include "tools/render/render.h"

#include <atomic>
#include <mutex>
#include <vector>

#include "tools/common/parallel.h"
#include "tools/scene/random.h"

namespace render {

namespace {

/// Hits whose normals differ more than this have no smooth light in common.
constexpr float kLeastDot = 0.9f;
/// Nor have those that are farther apart than so many pixels are wide there.
constexpr float kMostPixels = 4;

/// Hits of one pixel that share their smooth light.
struct Group {
    float reach;  ///< from the first hit to the others
    std::vector<const Hit*> hits;

    bool TakesIn(const Hit& hit) const {
        const Hit& first = *hits.front();
        return hit.surface == first.surface &&
               Dot(hit.place.normal, first.place.normal) >= kLeastDot &&
               Length(hit.place.position - first.place.position) <= reach;
    }

    const Hit& Middle() const {
        Vec3f mean;
        for (const Hit* const hit : hits)
            mean = mean + hit->place.position * (1 / static_cast<float>(hits.size()));
        const Hit* nearest = hits.front();
        for (const Hit* const hit : hits)
            if (Length(hit->place.position - mean) < Length(nearest->place.position - mean))
                nearest = hit;
        return *nearest;
    }
};

/// What one thread needs for a row, made once.
class RowRender {
public:
    RowRender(const View& view, int samples) : view_(view), samples_(samples) {}

    LinearRgb PixelAt(int x, int y) {
        Trace(x, y);
        Vec3f sum;
        groups_.clear();
        for (const Hit& hit : hits_) {
            sum = sum + view_.lighting.Sharp(hit);
            Gather(hit);
        }
        for (const Group& group : groups_)
            sum =
                sum + view_.lighting.Smooth(group.Middle()) * static_cast<float>(group.hits.size());
        const Vec3f mean = sum * (1 / static_cast<float>(samples_));
        return {mean.x, mean.y, mean.z};
    }

private:
    void Trace(int x, int y) {
        const auto pixel =
            static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(view_.camera.Width()) +
            static_cast<std::uint64_t>(x);
        hits_.clear();
        for (std::uint32_t k = 0; k < static_cast<std::uint32_t>(samples_); ++k) {
            // The same in all pixels, so that a straight edge looks the same all along it.
            const scene::Point2 inside = scene::EvenPoint(0, k);
            const Vec3f direction = view_.camera.DirectionThrough(static_cast<float>(x) + inside.u,
                                                                  static_cast<float>(y) + inside.v);
            const auto hit = view_.tracer.Nearest(scene::Camera::Eye(), direction);
            if (hit) hits_.push_back({hit->surface->At(hit->place), hit->surface, pixel << 16 | k});
        }
    }

    void Gather(const Hit& hit) {
        for (Group& group : groups_)
            if (group.TakesIn(hit)) return group.hits.push_back(&hit);
        const float distance = Length(hit.place.position - scene::Camera::Eye());
        groups_.push_back({kMostPixels * distance * view_.camera.PixelAngle(), {&hit}});
    }

    const View& view_;
    const int samples_;
    std::vector<Hit> hits_;
    std::vector<Group> groups_;
};

}  // namespace

LinearPicture Render(const View& view, int samples, int threads, Progress* progress) {
    LinearPicture picture(view.camera.Width(), view.camera.Height());
    std::atomic<std::uint64_t> done{0};
    std::mutex progress_lock;  // guards *progress
    ParallelFor(static_cast<std::size_t>(picture.Height()), threads, [&](std::size_t row) {
        const int y = static_cast<int>(row);
        RowRender render(view, samples);
        for (int x = 0; x < picture.Width(); ++x) picture.At(x, y) = render.PixelAt(x, y);
        const std::uint64_t rows = ++done;
        // Who comes while another thread draws need not wait: the next row shows more.
        const std::unique_lock hold(progress_lock, std::try_to_lock);
        if (hold) progress->Show(rows);
    });
    return picture;
}

}  // namespace render
