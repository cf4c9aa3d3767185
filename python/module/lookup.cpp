// Lookups of many places: the clouds, the answers' arrays, and the threads that fill them.

#include "ptc/lookup.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "python/module/families.h"
#include "python/module/pieces.h"
#include "python/module/values.h"

namespace py = pybind11;

namespace {

/// Files that are open for lookups, for the caller alone.
class Clouds {
public:
    explicit Clouds(const std::vector<std::string>& names) {
        for (const std::string& name : names) Open(name);
    }
    ~Clouds() {
        for (PtcManagedFile* const file : files_) PtcRelease(file);
    }
    Clouds(const Clouds&) = delete;
    Clouds& operator=(const Clouds&) = delete;

    const std::vector<PtcManagedFile*>& Files() const { return files_; }

    /// Those of each file, as ListOf().
    py::list Variables() const {
        py::list list;
        for (const PtcManagedFile* const file : files_) {
            PtcVariables variables;
            RaiseUnless(PtcGetVariables(file, &variables, nullptr));
            list.append(ListOf(variables));
        }
        return list;
    }

private:
    void Open(const std::string& name) {
        Failure why;
        files_.reserve(files_.size() + 1);
        LongCall call;
        PtcManagedFile* const file = PtcOpenAlone(name.c_str());
        if (!file) why = LastFailure();
        if (file) files_.push_back(file);
        call.End(true);
        if (!file) Raise(why);
    }

    std::vector<PtcManagedFile*> files_;
};

/// What is asked for beside counts, distances and indexes.
struct Wants {
    bool positions, normals, radii, data;
};

template <class T>
py::array_t<T> Room(std::int64_t places, std::int64_t most, std::int64_t floats) {
    return py::array_t<T>(std::vector<py::ssize_t>{places, most, floats});
}

/// Marks the answers that `found` leaves, from answer `first` on.
template <class T>
void Mark(T* array, std::int64_t first, std::int64_t end, std::int64_t size, T value) {
    if (array) std::fill(array + first * size, array + end * size, value);
}

class Lookup {
public:
    Lookup(std::shared_ptr<Clouds> clouds, const std::vector<std::string>& variables)
        : clouds_(std::move(clouds)), lookup_(Make(*clouds_, variables)) {}

    std::vector<int> Sizes() const {
        std::vector<int> sizes(static_cast<std::size_t>(lookup_.VariableCount()));
        for (int i = 0; int& size : sizes) size = lookup_.VariableSize(i++);
        return sizes;
    }

    py::dict Nearest(const Floats& points, const py::object& normals, const PtcNearest& wanted,
                     const Wants& wants, int threads, const py::object& progress) const {
        const PtcPlaces places = PlacesOf(points, normals);
        if (wanted.most < 1 || wanted.most > 65536) throw py::value_error("count is not sound");
        const std::int64_t most = wanted.most;
        py::dict answer;
        PtcNearestArrays arrays;
        py::array_t<std::int32_t> found(places.count);
        const auto add = [&]<class T>(const char* name, std::int64_t floats, T** data) {
            py::array_t<T> array = Room<T>(places.count, most, floats);
            *data = array.mutable_data();
            answer[name] = array;
        };
        answer["found"] = found;
        add("files", 1, &arrays.files);
        add("indexes", 1, &arrays.indexes);
        add("distances", 1, &arrays.squared_distances);
        if (wants.positions) add("positions", 3, &arrays.positions);
        if (wants.normals) add("normals", 3, &arrays.normals);
        if (wants.radii) add("radii", 1, &arrays.radii);
        const std::int64_t floats = lookup_.FloatsPerPoint();
        if (wants.data && floats > 0) add("data", floats, &arrays.data);
        std::int32_t* const counts = found.mutable_data();
        Look(places.count, threads, progress, [&](std::int64_t first, std::int64_t count) {
            if (!lookup_.NearestOfMany(Part(places, first, count), wanted,
                                       From(arrays, first * most), counts + first))
                return false;
            for (std::int64_t i = first; i < first + count; ++i)
                Complete(arrays, i * most, i * most + counts[i], (i + 1) * most);
            return true;
        });
        return answer;
    }

    /// The values, and the weights.
    py::tuple Sample(const Floats& points, const py::object& normals, const PtcFilter& filter,
                     int threads, const py::object& progress) const {
        const PtcPlaces places = PlacesOf(points, normals);
        const std::int64_t floats = lookup_.FloatsPerPoint();
        const std::int64_t variables = lookup_.VariableCount();
        py::array_t<float> values({places.count, floats});
        py::array_t<float> weights({places.count, variables});
        float* const to = values.mutable_data();
        float* const sums = weights.mutable_data();
        Look(places.count, threads, progress, [&](std::int64_t first, std::int64_t count) {
            return lookup_.SampleMany(Part(places, first, count), filter, to + first * floats,
                                      sums + first * variables);
        });
        return py::make_tuple(values, weights);
    }

private:
    static PtcLookup Make(const Clouds& clouds, const std::vector<std::string>& variables) {
        const std::vector<const char*> names = Pointers(variables);
        LongCall call;
        PtcLookup lookup({clouds.Files().data(), static_cast<int>(clouds.Files().size()),
                          names.data(), static_cast<int>(names.size())});
        Failure why;
        if (!lookup) why = LastFailure();
        call.End(true);
        if (!lookup) Raise(why);
        return lookup;
    }

    static PtcPlaces PlacesOf(const Floats& points, const py::object& normals) {
        const std::int64_t count = points.size() / 3;
        return {count, DataOf(points, 3 * count), DataOf(normals, 3 * count)};
    }
    static PtcPlaces Part(const PtcPlaces& places, std::int64_t first, std::int64_t count) {
        return {count, places.positions + 3 * first,
                places.normals ? places.normals + 3 * first : nullptr};
    }

    PtcNearestArrays From(const PtcNearestArrays& all, std::int64_t first) const {
        const auto at = [first](auto* array, std::int64_t size) {
            return array ? array + first * size : nullptr;
        };
        return {at(all.files, 1),
                at(all.indexes, 1),
                at(all.squared_distances, 1),
                at(all.positions, 3),
                at(all.normals, 3),
                at(all.radii, 1),
                at(all.data, lookup_.FloatsPerPoint())};
    }

    /// Makes the distances of one place's answers, and marks those from `found` to `end` as none.
    void Complete(const PtcNearestArrays& all, std::int64_t first, std::int64_t found,
                  std::int64_t end) const {
        float* const distances = all.squared_distances;
        for (std::int64_t i = first; i < found; ++i) distances[i] = std::sqrt(distances[i]);
        if (found == end) return;
        constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
        Mark(all.files, found, end, 1, std::int32_t{-1});
        Mark(all.indexes, found, end, 1, std::int64_t{-1});
        Mark(distances, found, end, 1, std::numeric_limits<float>::infinity());
        Mark(all.positions, found, end, 3, kNone);
        Mark(all.normals, found, end, 3, kNone);
        Mark(all.radii, found, end, 1, kNone);
        Mark(all.data, found, end, lookup_.FloatsPerPoint(), kNone);
    }

    static void Look(std::int64_t places, int threads, const py::object& progress,
                     const Piece& work) {
        Failure why;
        LongCall call(progress);
        const bool is_done = DoInPieces(call, places, threads, work, &why);
        call.End(is_done);
        if (!is_done) Raise(why);
    }

    const std::shared_ptr<Clouds> clouds_;
    const PtcLookup lookup_;
};

}  // namespace

void BindLookup(py::module_& module) {
    module.attr("most_files") = kPtcMostLookupFiles;
    py::class_<Clouds, std::shared_ptr<Clouds>>(module, "Clouds", py::module_local())
        .def(py::init<const std::vector<std::string>&>())
        .def("variables", &Clouds::Variables);
    py::class_<PtcNearest>(module, "Wanted", py::module_local())
        .def(py::init([](int most, float within, float least_dot) {
            return PtcNearest{most, within, least_dot};
        }));
    py::class_<Wants>(module, "Wants", py::module_local())
        .def(py::init([](bool positions, bool normals, bool radii, bool data) {
            return Wants{positions, normals, radii, data};
        }));
    py::class_<PtcFilter>(module, "Filter", py::module_local())
        .def(py::init([](float radius, float least_dot) {
            return PtcFilter{radius, least_dot};
        }));
    py::class_<Lookup>(module, "Lookup", py::module_local())
        .def(py::init<std::shared_ptr<Clouds>, const std::vector<std::string>&>())
        .def("sizes", &Lookup::Sizes)
        .def("nearest", &Lookup::Nearest)
        .def("sample", &Lookup::Sample);
}
