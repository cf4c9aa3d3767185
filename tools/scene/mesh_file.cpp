// Mesh files: imports them in a child process, and receives the mesh from it.
//
// A memory limit applies to a whole process, and importers for some forty formats have faults other
// than memory; a child process confines both.

#include "tools/scene/mesh_file.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <new>
#include <type_traits>

#include "tools/common/failure.h"
#include "tools/scene/bounded_child.h"
#include "tools/scene/mesh_import.h"

namespace scene {

namespace {

/// The child's first byte: the kind of data that follows.
constexpr char kMeshFollows = 'm';
constexpr char kReasonFollows = 'r';

/// Sends the parts of a mesh through a pipe. The receiver notices a failure, because data are
/// missing.
class Sender {
public:
    explicit Sender(std::FILE* to) : to_(to) {}

    template <class Value>
    bool Pass(const Value& value) const {
        static_assert(std::is_trivially_copyable_v<Value>);
        return std::fwrite(&value, sizeof value, 1, to_) == 1;
    }
    template <class List>
    bool PassList(const List& list) const {
        return Pass(list.size()) &&
               std::fwrite(list.data(), sizeof list[0], list.size(), to_) == list.size();
    }

private:
    std::FILE* const to_;
};

class Receiver {
public:
    explicit Receiver(std::FILE* from) : from_(from) {}

    template <class Value>
    bool Pass(Value& value) const {
        static_assert(std::is_trivially_copyable_v<Value>);
        return std::fread(&value, sizeof value, 1, from_) == 1;
    }
    template <class List>
    bool PassList(List& list) const {
        std::size_t size = 0;
        if (!Pass(size)) return false;
        list.resize(size);
        return std::fread(list.data(), sizeof list[0], size, from_) == size;
    }

private:
    std::FILE* const from_;
};

/// Both ends pass the same parts in the same order.
template <class End, class Mesh>
bool PassMesh(const End& end, Mesh& mesh) {
    return end.PassList(mesh.vertices) && end.PassList(mesh.normals) &&
           end.PassList(mesh.triangles) && end.Pass(mesh.broken_faces) &&
           end.Pass(mesh.flat_faces) && end.Pass(mesh.complaints) &&
           end.PassList(mesh.first_complaint);
}

void SendReason(const Sender& sender, const std::string& reason) {
    (void)(sender.Pass(kReasonFollows) && sender.PassList(reason));
}

/// The child's work.
void Send(const std::string& file, std::FILE* to) {
    const Sender sender(to);
    try {
        const MeshFile mesh = ImportMesh(file);
        (void)(sender.Pass(kMeshFollows) && PassMesh(sender, mesh));
    } catch (const std::bad_alloc&) {
        SendReason(sender, "takes more memory than the file accounts for");
    } catch (const std::exception& failure) {
        SendReason(sender, failure.what());
    }
}

}  // namespace

MeshFile ReadMeshFile(const std::string& file) {
    BoundedChild child(kImportBase, [&](std::FILE* to) { Send(file, to); });
    const Receiver receiver(child.From());
    MeshFile mesh;
    std::string reason;
    char follows = 0;
    if (receiver.Pass(follows) && follows == kMeshFollows && PassMesh(receiver, mesh)) return mesh;
    if (follows != kReasonFollows || !receiver.PassList(reason))
        reason = "the importer broke down: " + child.Wait();
    throw Failure(fmt::format("cannot read mesh {}: {}", file, reason));
}

}  // namespace scene
