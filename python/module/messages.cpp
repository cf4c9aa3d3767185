// The queue of messages.

#include "python/module/messages.h"

#include <pybind11/pybind11.h>

#include <exception>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ptc/runtime.h"

namespace py = pybind11;

namespace {

constexpr std::size_t kMost = 1000;  // what is behind them is only counted

struct Message {
    int severity;
    std::string text;
};

struct Queue {
    std::mutex lock;  // guards all below; nothing else is locked or called while it is held
    std::vector<Message> waiting;
    long dropped = 0;
};

/// Made when the module is loaded, and never deleted: threads of the library may report while the
/// process ends.
Queue* queue_of_process = nullptr;

Queue& TheQueue() {
    return *queue_of_process;
}

int Enqueue(int, int severity, const char* text) {
    Queue& queue = TheQueue();
    const std::lock_guard hold(queue.lock);
    try {
        if (queue.waiting.size() < kMost)
            queue.waiting.push_back({severity, text});
        else
            ++queue.dropped;
    } catch (const std::bad_alloc&) {
        ++queue.dropped;
    }
    return 0;
}

}  // namespace

void messages::Install() {
    BeginQueue();
    PtcSetMessageHandler(Enqueue);
}

/// A thread that the child does not have may hold the older one's lock for ever.
void messages::BeginQueue() {
    queue_of_process = new Queue;
}

void messages::Uninstall() {
    PtcSetMessageHandler(nullptr);
}

void messages::Deliver() {
    std::vector<Message> taken;
    long dropped = 0;
    {
        Queue& queue = TheQueue();
        const std::lock_guard hold(queue.lock);
        taken.swap(queue.waiting);
        dropped = std::exchange(queue.dropped, 0);
    }
    if (taken.empty() && dropped == 0) return;
    py::object interrupt;
    {
        const py::error_scope pending;
        try {
            py::list list;
            for (const Message& message : taken)
                list.append(py::make_tuple(message.severity, py::bytes(message.text)));
            py::module_::import("ptc._log").attr("deliver")(list, dropped);
        } catch (py::error_already_set& error) {
            if (error.matches(PyExc_Exception))
                error.discard_as_unraisable("ptc: a message");
            else
                interrupt = error.value();
        } catch (const std::exception&) {
            // Memory ran out: the messages are lost.
        }
    }
    if (interrupt && !PyErr_Occurred())
        PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(interrupt.ptr())), interrupt.ptr());
}
