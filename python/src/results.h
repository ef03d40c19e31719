#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace torve_python {

// Everything of the last run that a model is made of, as plain Python objects; see results.cpp for
// the keys. Numbers are those of the run state, not of its texts.
pybind11::dict results();

// The program's own values of all outputs at points in the user's units, one row a point; `preset`
// for outputs without a model. As at the prediction points of a problem file: radial columns have
// their centres in the data.
pybind11::array_t<double> program_predictions(
    const pybind11::array_t<double, pybind11::array::c_style | pybind11::array::forcecast>& points);

// The rows of the option table, and its other names.
pybind11::list option_rows();
pybind11::dict option_aliases();

}  // namespace torve_python
