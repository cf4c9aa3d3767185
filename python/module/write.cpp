// Writing: one file, as arrays of points or as records.

#include "ptc/writer.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "python/module/failure.h"
#include "python/module/families.h"
#include "python/module/long_call.h"
#include "python/module/values.h"

namespace py = pybind11;

namespace {

class Writer {
public:
    Writer(const std::string& name, const std::vector<std::string>& types,
           const std::vector<std::string>& names, const py::object& world_to_eye,
           const py::object& world_to_ndc, const std::array<float, 3>& format) {
        const std::vector<const char*> type_texts = Pointers(types);
        const std::vector<const char*> name_texts = Pointers(names);
        if (types.size() != names.size()) throw py::value_error("a variable has no type");
        for (const char* const type : type_texts) floats_ += PtcFloatsOfType(type);
        PtcCloudDescription description;
        description.name = name.c_str();
        description.point_variables = {static_cast<int>(names.size()), type_texts.data(),
                                       name_texts.data()};
        description.world_to_eye = DataOf(world_to_eye, 16);
        description.world_to_ndc = DataOf(world_to_ndc, 16);
        std::copy(format.begin(), format.end(), description.format);
        Do([&] {
            cloud_ = PtcCreateCloud(description);
            return cloud_ != nullptr;
        });
    }
    ~Writer() {
        if (owner_ == ::getpid()) PtcAbandonCloud(cloud_);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void WritePoints(std::int64_t count, const Floats& positions, const Floats& normals,
                     const Floats& radii, const Floats& data) {
        PtcPointsToWrite points;
        points.count = count;
        points.positions = DataOf(positions, 3 * count);
        points.normals = DataOf(normals, 3 * count);
        points.radii = DataOf(radii, count);
        points.data = DataOf(data, floats_ * count);
        Do([&] { return PtcWritePoints(cloud_, points); });
    }

    void WriteRecords(std::int64_t count, const py::buffer& records) {
        const py::buffer_info room = records.request();
        if (PyBuffer_IsContiguous(room.view(), 'C') == 0 ||
            room.size * room.itemsize != count * (20 + 4 * floats_))
            throw py::value_error("the records have another size");
        Do([&] { return PtcWriteRecords(cloud_, count, room.ptr); });
    }

    /// Completes the file, whose writer ends in any case.
    void Finish() {
        Do([&] { return PtcFinishCloud(std::exchange(cloud_, nullptr)); });
    }
    void Abandon() {
        if (owner_ != ::getpid()) return;
        Do([&] {
            PtcAbandonCloud(std::exchange(cloud_, nullptr));
            return true;
        });
    }

private:
    /// Does `work` alone and without the interpreter's lock; raises its failure.
    template <class Work>
    void Do(Work work) {
        // A process that was forked shares the unfinished file, and would give it its name.
        if (owner_ != ::getpid()) throw py::value_error("the writer is another process's");
        bool is_done = false;
        Failure why;
        LongCall call;
        {
            const std::lock_guard hold(lock_);
            is_done = work();
            if (!is_done) why = LastFailure();
        }
        call.End(is_done);
        if (!is_done) Raise(why);
    }

    const pid_t owner_ = ::getpid();
    std::mutex lock_;  // guards cloud_ and what the library knows of it
    PtcCloudWriter* cloud_ = nullptr;
    std::int64_t floats_ = 0;
};

}  // namespace

void BindWriter(py::module_& module) {
    py::class_<Writer>(module, "Writer", py::module_local())
        .def(py::init<const std::string&, const std::vector<std::string>&,
                      const std::vector<std::string>&, const py::object&, const py::object&,
                      const std::array<float, 3>&>())
        .def("write_points", &Writer::WritePoints)
        .def("write_records", &Writer::WriteRecords)
        .def("finish", &Writer::Finish)
        .def("abandon", &Writer::Abandon);
}
