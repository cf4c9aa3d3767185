// Reading: a file's header, its records, the mapping of them, and the decoding of normals.

#include "ptc/reader.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "python/module/failure.h"
#include "python/module/families.h"
#include "python/module/long_call.h"
#include "python/module/values.h"

namespace py = pybind11;

namespace {

constexpr std::int64_t kNormalsAtOnce = std::int64_t{1} << 16;

Floats ArrayOf(std::span<const float> values) {
    return Floats(static_cast<py::ssize_t>(values.size()), values.data());
}

/// The records of a plain binary file in memory, for as long as an array looks at them.
class Mapping {
public:
    Mapping(PtcReader&& reader, const void* records, std::int64_t bytes)
        : reader_(std::move(reader)), records_(records), bytes_(bytes) {}

    py::buffer_info Buffer() const {
        // The buffer is read-only: numpy never writes through the pointer.
        return {const_cast<void*>(records_), 1, "B", 1, {bytes_}, {py::ssize_t{1}}, true};
    }

private:
    const PtcReader reader_;
    const void* const records_;
    const std::int64_t bytes_;
};

/// One file. Its members may be called from several Python threads.
class Reader {
public:
    explicit Reader(const std::string& name) : reader_(Open(name)) {
        PtcVariables points;
        PtcVariables nodes;
        RaiseUnless(reader_.GetHeader(&header_) && reader_.GetVariables(&points, &nodes));
        variables_ = ListOf(points);
        node_variables_ = ListOf(nodes);
    }

    py::dict Header() const {
        py::dict header;
        header["points"] = header_.points;
        header["nodes"] = header_.nodes;
        header["box"] = ArrayOf(header_.box);
        header["largest_radius"] = header_.largest_radius;
        header["world_to_eye"] = ArrayOf(header_.world_to_eye);
        header["world_to_ndc"] = ArrayOf(header_.world_to_ndc);
        header["format"] = py::make_tuple(header_.format[0], header_.format[1], header_.format[2]);
        header["variables"] = variables_;
        header["node_variables"] = node_variables_;
        header["form"] = static_cast<int>(reader_.Form());
        header["record_bytes"] = reader_.RecordBytes();
        return header;
    }

    /// The mapping, which takes the file over; null, and nothing changed: the file has to be read.
    std::unique_ptr<Mapping> Map() {
        const void* const records = reader_.Map();
        if (!records) return nullptr;
        reader_.CloseFile();
        const std::int64_t bytes = header_.points * reader_.RecordBytes();
        return std::make_unique<Mapping>(std::move(reader_), records, bytes);
    }

    /// Fills `records` with those from point `first` on.
    void ReadRecords(std::int64_t first, const py::buffer& records) {
        const py::buffer_info room = records.request(true);
        const std::int64_t record = std::max<std::int64_t>(reader_.RecordBytes(), 1);
        const bool is_dense = PyBuffer_IsContiguous(room.view(), 'C') != 0;
        if (!is_dense) throw py::value_error("the room for records has gaps");
        const std::int64_t count = room.size * room.itemsize / record;
        bool is_done = false;
        Failure why;
        LongCall call;
        {
            const std::lock_guard hold(lock_);
            is_done = reader_.Seek(first) && reader_.ReadRecords(count, room.ptr) == count;
            if (!is_done) why = LastFailure();
        }
        call.End(is_done);
        if (!is_done) Raise(why);
    }

private:
    static PtcReader Open(const std::string& name) {
        LongCall call;
        PtcReader reader(name.c_str());
        Failure why;
        if (!reader) why = LastFailure();
        call.End(true);
        if (!reader) Raise(why);
        return reader;
    }

    std::mutex lock_;  // guards reader_ while it reads
    PtcReader reader_;
    PtcHeader header_{};
    py::list variables_;
    py::list node_variables_;
};

/// Decodes codes, an array of (n, 2) that may have gaps, into the rows of `normals`.
void DecodeNormals(const py::array& codes, Floats normals) {
    const py::ssize_t count = codes.ndim() == 2 ? codes.shape(0) : -1;
    if (count == 0) return;
    if (count < 0 || codes.shape(1) != 2 || codes.itemsize() != 2 || codes.strides(1) != 2 ||
        normals.size() != 3 * count || !normals.writeable())
        throw py::value_error("codes are (n, 2) of 16 bits, and normals (n, 3)");
    const auto* const from = static_cast<const std::byte*>(codes.data());
    const py::ssize_t stride = codes.strides(0);
    float* const to = normals.mutable_data();
    bool is_done = true;
    Failure why;
    LongCall call;
    for (std::int64_t at = 0; is_done && at < count && call.GoOn(0); at += kNormalsAtOnce) {
        const std::int64_t wanted = std::min(kNormalsAtOnce, count - at);
        is_done = PtcDecodeNormals(from + at * stride, stride, wanted, to + 3 * at);
        if (!is_done) why = LastFailure();
    }
    call.End(is_done);
    if (!is_done) Raise(why);
}

}  // namespace

void BindCloud(py::module_& module) {
    py::class_<Mapping>(module, "Mapping", py::module_local(), py::buffer_protocol())
        .def_buffer([](const Mapping& mapping) { return mapping.Buffer(); });
    py::class_<Reader>(module, "Reader", py::module_local())
        .def(py::init<std::string>())
        .def("header", &Reader::Header)
        .def("map", &Reader::Map)
        .def("read_records", &Reader::ReadRecords);
    module.def("decode_normals", &DecodeNormals, py::arg("codes"), py::arg("normals").noconvert());
    module.def("floats_of_type",
               [](const std::string& type) { return PtcFloatsOfType(type.c_str()); });
}
