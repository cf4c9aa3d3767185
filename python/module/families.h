// What the module consists of: each function adds one family of names, all from a file of its name.

#pragma once

#include <pybind11/pybind11.h>

void BindCloud(pybind11::module_& module);
void BindLookup(pybind11::module_& module);
void BindOrganise(pybind11::module_& module);
void BindWriter(pybind11::module_& module);
void BindRuntime(pybind11::module_& module);
