// Small conversions that several families share.

#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ptc/header.h"
#include "ptc/writer.h"

/// Floats one behind the other. The package converts; here an array of another kind is refused.
using Floats = pybind11::array_t<float, pybind11::array::c_style>;

/// Refuses, as a fault of the package, what would be read beyond its end.
inline const float* DataOf(const Floats& array, std::int64_t size) {
    if (array.size() != size) throw pybind11::value_error("an array has another size");
    return array.data();
}

/// The same for an array that may be missing.
inline const float* DataOf(const pybind11::object& array, std::int64_t size) {
    return array.is_none() ? nullptr : DataOf(array.cast<Floats>(), size);
}

inline std::vector<const char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<const char*> pointers;
    pointers.reserve(texts.size());
    for (const std::string& text : texts) pointers.push_back(text.c_str());
    return pointers;
}

/// (type, name, floats) of each, in the order of the file; the texts as bytes.
inline pybind11::list ListOf(const PtcVariables& variables) {
    pybind11::list list;
    for (std::size_t i = 0; i < variables.names.size(); ++i)
        list.append(pybind11::make_tuple(pybind11::bytes(variables.types[i]),
                                         pybind11::bytes(variables.names[i]), variables.sizes[i]));
    return list;
}
