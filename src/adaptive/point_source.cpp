#include "adaptive/point_source.h"

#include <algorithm>

#include "adaptive/snobfit/snobfit.h"
#include "data/sampling.h"
#include "report/printer.h"
#include "system/files.h"

namespace torve {

namespace {

// Inputs whose bounds leave room; the others aren't searched.
std::vector<int> free_inputs(const RunState& run) {
  std::vector<int> inputs;
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    if (run.inputs.xmin[at(j)] < run.inputs.xmax[at(j)]) inputs.push_back(j);
  }
  return inputs;
}

VECTOR entries(const Array<double>& values, const std::vector<int>& inputs) {
  VECTOR result;
  for (const int j : inputs) result.push_back(values[at(j)]);
  return result;
}

// The rows in use in the user's units.
MATRIX point_matrix(const RunState& run, int rows, const std::vector<int>& inputs) {
  MATRIX x(rows, static_cast<int>(inputs.size()));
  for (int c = 0; c < x.columns(); ++c) {
    const int j = inputs[at(c)];
    for (int i = 0; i < rows; ++i) x(i, c) = run.points.xdata(i, j) * run.inputs.xscale[at(j)];
  }
  return x;
}

// SNOBFIT looks for a minimum, the run for large errors.
MATRIX value_matrix(const RunState& run, int rows) {
  MATRIX f(rows, 2);
  for (int i = 0; i < rows; ++i) {
    f(i, 0) = -summed_error(run, i);
    f(i, 1) = run.options.snobfitresolution;
  }
  return f;
}

// Requests of one run differ in their random numbers, without a draw from the run's own stream.
int request_seed(RunState& run, int last) {
  const auto calls = static_cast<std::uint32_t>(++run.counters.snobfitcalls);
  const std::uint32_t mixed = static_cast<std::uint32_t>(run.options.seed) + 7919U * calls +
                              104729U * static_cast<std::uint32_t>(last);
  return static_cast<int>(mixed & 0x7fffffffU);
}

void print_messages(const RunState& run, const Messages& messages) {
  if (!run.options.print_to_screen) return;
  for (const std::string& line : messages.lines) print_on_screen(line);
}

// Points of the built-in method for the free inputs, a row each; none when it fails.
MATRIX request_points(RunState& run, const Request& request, int nreq, bool firstcall) {
  const std::vector<int> inputs = free_inputs(run);
  const VECTOR u = entries(run.inputs.xmin, inputs);
  const VECTOR v = entries(run.inputs.xmax, inputs);
  VECTOR dx(u.size());
  for (int j = 0; j < dx.size(); ++j) dx(j) = (v(j) - u(j)) * run.options.snobfitresolution;
  Messages messages;
  PARAMETERS parameters;
  SnobfitResult result;
  const bool found =
      create_parameters(parameters, u, v, nreq, run.options.snobfitp,
                        request_seed(run, request.last), messages) &&
      snobfit(run.options.snobfittest, point_matrix(run, request.last, inputs),
              value_matrix(run, request.last), parameters, dx, firstcall, result, messages);
  print_messages(run, messages);
  return found ? std::move(result.request) : MATRIX();
}

// Spreads a point over all inputs; those without room stand at their bound.
void place_request(RunState& run, int row, const MATRIX& points, int i,
                   const std::vector<int>& inputs) {
  std::vector<double> point(run.inputs.xmin.data(), run.inputs.xmin.data() + run.sizes.ninputs);
  for (int c = 0; c < static_cast<int>(inputs.size()); ++c) point[at(inputs[at(c)])] = points(i, c);
  place_point(run, row, point);
}

void fill_request(RunState& run, Request& request, bool firstcall) {
  const int nreq = points_to_request(run, request);
  request.nreqlast = request.last;
  if (nreq <= 0) return;
  const MATRIX points = request_points(run, request, nreq, firstcall);
  const int count = std::min(points.rows(), nreq);
  if (count == 0) {
    tell_snobfit_failure(run);
    place_random_points(run, request.last, nreq);
    request.nreqlast = request.last + nreq;
    return;
  }
  const std::vector<int> inputs = free_inputs(run);
  for (int i = 0; i < count; ++i) place_request(run, request.last + i, points, i, inputs);
  request.nreqlast = request.last + count;
}

}  // namespace

int points_to_request(const RunState& run, const Request& request) {
  return std::min(run.sizes.requestpoints, request.maxrow - request.last);
}

double summed_error(const RunState& run, int row) {
  double sum = 0.0;
  for (int k = 0; k < run.sizes.noutputs; ++k) sum += run.points.zerror(row, k);
  return sum;
}

void place_point(RunState& run, int row, std::span<const double> point) {
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    // Raised first and lowered second; what is no number ends at a bound as well.
    double x = point[at(j)];
    if (!(x >= run.inputs.xmin[at(j)])) x = run.inputs.xmin[at(j)];
    run.points.xdata(row, j) = std::min(x, run.inputs.xmax[at(j)]);
  }
}

void place_random_points(RunState& run, int last, int count) {
  std::vector<double> point(at(run.sizes.ninputs));
  for (int row = last; row < last + count; ++row) {
    for (std::size_t j = 0; j < point.size(); ++j) {
      const double u = randomnumber(run.randstate, run.options.seed);
      point[j] = run.inputs.xmin[j] + u * (run.inputs.xmax[j] - run.inputs.xmin[j]);
    }
    place_point(run, row, point);
  }
}

void tell_snobfit_failure(RunState& run) {
  if (!run.options.debug) return;
  trvprint(run, "Failure in SNOBFIT; temporarily switched to random sampler");
}

void snobfitstep(RunState& run, Request& request, bool firstcall) {
  const bool scratch = run.options.usescratch;
  if (scratch && !enter_folder(run.files.scratch)) {
    fail(run, Code::cannot_enter_scratch, 54);
    return;
  }
  fill_request(run, request, firstcall);
  if (scratch && !enter_folder(run.files.execdir) && !failed(run)) {
    fail(run, Code::cannot_enter_execution_folder, 56);
  }
}

}  // namespace torve
