#include "data/simulator.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "data/scaling.h"
#include "data/simulator_files.h"
#include "data/transforms.h"
#include "report/printer.h"
#include "system/command.h"
#include "system/files.h"
#include "system/text_file.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t longest_command = 2047;

// --- bank ---------------------------------------------------------------------------------------

double squared_distance(const RunState& run, int row, int bank_point) {
  double sum = 0.0;
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    // Rows to be filled are in the user's units, the bank is scaled.
    const double x = run.points.xdata(row, j) / run.inputs.xscale[at(j)];
    const double d = run.points.xbank(bank_point, j) - x;
    sum += d * d;
  }
  return sum;
}

// The unused bank point next to the row, and the first of them when all are beyond measure.
int nearest_unused(const RunState& run, int row) {
  constexpr double close_enough = 1e-6;
  double least = 1e30;
  int nearest = -1;
  for (int b = 0; b < run.sizes.nbank && least > close_enough; ++b) {
    if (run.points.bankused[at(b)]) continue;
    const double distance = squared_distance(run, row, b);
    if (nearest >= 0 && !(distance < least)) continue;
    nearest = b;
    least = std::min(least, distance);
  }
  return nearest;
}

// Puts the bank point that is next to the row in its place. False when the bank is empty.
bool nearestbank(RunState& run, int row) {
  const int b = nearest_unused(run, row);
  if (b < 0) return false;
  Points& points = run.points;
  for (int j = 0; j < run.sizes.ninputs; ++j) points.xdata(row, j) = points.xbank(b, j);
  for (int k = 0; k < run.sizes.noutputs; ++k) points.zdata(row, k) = points.zbank(b, k);
  points.bankused[at(b)] = true;
  --run.sizes.nbankleft;
  return true;
}

// Serves rows from the first on while the bank lasts; the first row that it did not serve.
int serve_from_bank(RunState& run, int first, int last) {
  if (run.sizes.nbankleft <= 0) return first;
  cpu_start(run.timers, run.timers.t_bank);
  int row = first;
  while (row <= last && run.sizes.nbankleft > 0 && nearestbank(run, row)) ++row;
  cpu_stop(run.timers, run.timers.t_bank);
  return row;
}

// --- exchange with the program ------------------------------------------------------------------

std::string full_name(const RunState& run, const std::string& name) {
  return name.starts_with(separator) ? name : run.files.execdir + separator + name;
}

// A name for an exchange file that leads to what this run reads or writes itself.
bool takes_file_of_the_run(const RunState& run, const std::string& name) {
  const Files& files = run.files;
  return is_same_file(name, full_name(run, files.fname)) ||
         (files.listing.is_open() && is_same_file(name, full_name(run, files.outfname))) ||
         (files.tracefile.is_open() && is_same_file(name, full_name(run, run.options.tracefname)));
}

// Files in the scratch folder go with it; others are remembered, so that the run can remove what it
// had a part in.
void note_file(RunState& run, const std::string& name) {
  if (name.starts_with(separator)) run.files.exchangefiles.insert(name);
}

bool write_input(RunState& run, int first, int last) {
  const std::string& name = run.options.simin;
  if (takes_file_of_the_run(run, name)) return fail(run, Code::simulator_input_failed, 216);
  const MatrixView all = run.points.xdata.view(last + 1, run.sizes.ninputs);
  const MatrixView rows{all.data + first, last - first + 1, all.columns, all.stride};
  const std::span<const bool> ignore = run.outputs.ignore.first(at(run.sizes.noutputs));
  TextFile file;
  if (!file.open_replace(name)) return fail(run, Code::simulator_input_failed, 216);
  note_file(run, name);
  file.write(simulator_input(rows, run.status.processid, ignore));
  return file.close() || fail(run, Code::simulator_input_failed, 216);
}

// What an earlier call left must not pass for the answer of this one.
bool remove_old_output(RunState& run) {
  const std::string& name = run.options.simout;
  if (takes_file_of_the_run(run, name)) return fail(run, Code::simulator_output_failed, 217);
  if ((file_exists(name) || is_link(name)) && !remove_file(name)) {
    return fail(run, Code::simulator_output_failed, 217);
  }
  note_file(run, name);
  return true;
}

bool run_program(RunState& run) {
  const std::string line(cut(run.options.simulator, longest_command));
  const CommandResult result = run_command(line, run.options.maxtime - elapsed(run));
  run.timers.t_sim += result.seconds;
  run.timers.t_total += result.seconds;
  switch (result.end) {
    case CommandEnd::exited:
      return result.status == 0 || fail(run, Code::simulator_failed, 211);
    case CommandEnd::timed_out:
    case CommandEnd::interrupted:
      return !end_for_time(run);
    case CommandEnd::not_started:
      break;
  }
  return fail(run, Code::simulator_failed, 211);
}

// --- what came back -----------------------------------------------------------------------------

bool refuse_value(RunState& run, Code code, int location, const std::string& label, int row) {
  trvprint(run, fmt::format("Simulator returned a NaN for variable {} and data point {}", label,
                            row + 1));
  return fail(run, code, location);
}

// An input is sent with 12 digits. One that comes back beyond a bound by no more than that is on
// the bound.
double onto_bound(double value, double lowest, double highest) {
  constexpr double sent_precision = 1e-11;
  const double slack = sent_precision * std::max(std::abs(lowest), std::abs(highest));
  if (value < lowest && value >= lowest - slack) return lowest;
  if (value > highest && value <= highest + slack) return highest;
  return value;
}

bool take_inputs(RunState& run, int row, std::span<const double> values) {
  const Inputs& inputs = run.inputs;
  for (std::size_t j = 0; j < values.size(); ++j) {
    const double lowest = inputs.xmin[j];
    const double highest = inputs.xmax[j];
    const double value = onto_bound(values[j], lowest, highest);
    if (value < lowest || value > highest) {
      trvprint(run,
               fmt::format("XDATA outside [XMIN, XMAX] range for variable {} and data point {}",
                           inputs.xlabels[j], row + 1));
      return fail(run, Code::data_out_of_range, 212);
    }
    if (std::isnan(value)) {
      return refuse_value(run, Code::simulator_input_nan, 213, inputs.xlabels[j], row);
    }
    run.points.xdata(row, static_cast<int>(j)) = value;
  }
  return true;
}

bool take_outputs(RunState& run, int row, std::span<const double> values) {
  for (std::size_t k = 0; k < values.size(); ++k) {
    if (std::isnan(values[k])) {
      return refuse_value(run, Code::simulator_output_nan, 214, run.outputs.zlabels[k], row);
    }
    run.points.zdata(row, static_cast<int>(k)) = values[k];
  }
  if (run.sizes.ntrans <= 0) return true;
  if (transform_rows(run, run.points.xdata, run.points.zdata, row, row + 1) < 0) return true;
  trvprint(run, fmt::format("Simulation point and data point {} cannot be evaluated.", row + 1));
  return fail(run, Code::transform_evaluation, 215);
}

bool read_output(RunState& run, int first, int last, int& lastobtained) {
  const std::optional<std::string> text = read_file(run.options.simout);
  if (!text) return fail(run, Code::simulator_output_failed, 217);
  RecordReader reader(*text);
  const std::size_t inputs = at(run.sizes.ninputs);
  std::vector<double> record(inputs + at(run.sizes.noutputs0));
  for (int row = first; row <= last; ++row) {
    std::ranges::fill(record, run.options.preset);
    for (std::size_t j = 0; j < inputs; ++j) {
      record[j] = run.points.xdata(row, static_cast<int>(j));
    }
    const RecordReader::Outcome outcome = reader.next(record);
    if (outcome == RecordReader::Outcome::end_of_file) return true;
    if (outcome == RecordReader::Outcome::no_number) {
      return fail(run, Code::simulator_output_failed, 217);
    }
    const std::span<const double> values(record);
    if (!take_inputs(run, row, values.first(inputs))) return false;
    if (!take_outputs(run, row, values.subspan(inputs))) return false;
    lastobtained = row;
    ++run.counters.n_sim;
  }
  return true;
}

bool exchange(RunState& run, int first, int last, int& lastobtained) {
  return write_input(run, first, last) && remove_old_output(run) && run_program(run) &&
         read_output(run, first, last, lastobtained);
}

void scale_rows(RunState& run, int first, int last) {
  if (!run.options.xscaling) return;
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    for (int i = first; i <= last; ++i) run.points.xdata(i, j) /= run.inputs.xscale[at(j)];
  }
}

// The program runs in the scratch folder where there is one; the run is back in its own folder
// whatever happened.
void simulate(RunState& run, int first, int last, int& lastobtained) {
  const bool scratch = run.options.usescratch;
  if (scratch && !enter_folder(run.files.scratch)) {
    fail(run, Code::cannot_enter_scratch, 210);
    return;
  }
  exchange(run, first, last, lastobtained);
  scale_rows(run, first, lastobtained);
  if (scratch && !enter_folder(run.files.execdir) && !failed(run)) {
    fail(run, Code::cannot_enter_execution_folder, 218);
  }
}

// Which outputs of the rows hold a value that a fit may see.
void mark_rows(RunState& run, int first, int last, int lastobtained) {
  for (int k = 0; k < run.sizes.noutputs; ++k) {
    for (int i = first; i <= last; ++i) {
      const bool bad = is_bad_value(run.points.zdata(i, k), run.options.preset);
      run.points.simulated(i, k) = i <= lastobtained && !bad;
    }
  }
}

}  // namespace

void runsimulator(RunState& run, int first, int last, int& lastobtained, bool isfresh) {
  const int row = serve_from_bank(run, first, last);
  lastobtained = row - 1;
  if (row <= last && !run.options.simulator.empty()) simulate(run, row, last, lastobtained);
  if (isfresh) mark_rows(run, first, last, lastobtained);
}

}  // namespace torve
