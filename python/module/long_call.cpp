// Giving the interpreter's lock up, and polling signals.

#include "python/module/long_call.h"

#include <unistd.h>

#include "python/module/messages.h"

namespace py = pybind11;

LongCall::LongCall(py::handle progress)
    : progress_(progress && !progress.is_none() ? progress : py::handle()) {
    if (progress_) next_ = {};  // told at once that the work begins
    Unlock();
}

LongCall::~LongCall() noexcept(false) {
    Lock();
}

void LongCall::Lock() {
    if (!state_) return;
        // The interpreter would end the thread by unwinding it through whatever is on its stack.
#if PY_VERSION_HEX >= 0x030D0000
    while (Py_IsFinalizing()) ::pause();
#else
    while (_Py_IsFinalizing()) ::pause();
#endif
    PyEval_RestoreThread(state_);
    state_ = nullptr;
}

/// Calls the progress function. False: it has raised an exception, which is pending.
bool LongCall::Tell(double done) {
    if (!progress_) return true;
    const auto answer =
        py::reinterpret_steal<py::object>(PyObject_CallFunction(progress_.ptr(), "d", done));
    return static_cast<bool>(answer);
}

bool LongCall::GoOn(double done) {
    if (is_stopped_) return false;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return true;
    Lock();
    messages::Deliver();
    is_stopped_ = PyErr_Occurred() || PyErr_CheckSignals() != 0 || !Tell(done);
    Unlock();
    next_ = std::chrono::steady_clock::now() + kPause;
    return !is_stopped_;
}

void LongCall::End(bool is_done) {
    Lock();
    messages::Deliver();
    if (PyErr_Occurred() || (is_done && !Tell(1))) throw py::error_already_set();
}
