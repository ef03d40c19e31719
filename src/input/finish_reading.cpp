#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "input/problem_reader.h"
#include "report/printer.h"

namespace torve {

namespace {

// Lines that a calling program has no use for.
void tell(const ProblemReader& reader, std::string_view line) {
  if (reader.run.status.cmdcount >= 0) print_to_console(reader.run, line);
}

bool stop_telling(ProblemReader& reader, Code code, int location, std::string_view line) {
  tell(reader, line);
  return stop(reader, code, location);
}

template <class T>
void mend(RunState& run, std::string_view name, T& stored) {
  double value = stored;
  checkoption(run, name, value, true);
  stored = static_cast<T>(value);
}

// Calls store what they are given; code stands on these numbers, so that one without a meaning is
// replaced as in a file.
void mend_choices(RunState& run) {
  constexpr auto choices = std::to_array<std::string_view>(
      {"modeler", "screener", "initializer", "sampler", "ncvf", "npenl", "sismult"});
  for (const std::string_view name : choices) {
    const Storage& storage = find_option(name)->storage;
    if (const auto* whole = std::get_if<int Options::*>(&storage)) {
      mend(run, name, run.options.*(*whole));
    } else {
      mend(run, name, run.options.*std::get<double Options::*>(storage));
    }
  }
}

bool check_required(ProblemReader& reader) {
  const RunState& run = reader.run;
  if (!seen(run, "ninputs")) {
    return stop_telling(reader, Code::required_keyword_missing, 175,
                        "NINPUTS not defined in input file");
  }
  if (!seen(run, "noutputs")) {
    return stop_telling(reader, Code::required_keyword_missing, 176,
                        "NOUTPUTS not defined in input file");
  }
  if (!seen(run, "xmin")) return stop(reader, Code::xmin_missing, 177);
  if (!seen(run, "xmax")) return stop(reader, Code::xmax_missing, 178);
  return true;
}

bool check_data_given(ProblemReader& reader) {
  const RunState& run = reader.run;
  const bool xdata = seen(run, "begin_xdata");
  const bool zdata = seen(run, "begin_zdata");
  const bool any = xdata || zdata || seen(run, "begin_data");
  if (seen(run, "ndata") && run.sizes.ndata > 0 && !any) {
    return stop(reader, Code::data_missing, 179);
  }
  if (xdata && !zdata) return stop(reader, Code::zdata_missing, 444);
  // Files with outputs alone have always been read; a caller who forgot the inputs is told.
  if (zdata && !xdata && run.status.cmdcount < 0) return stop(reader, Code::xdata_missing, 443);
  if (seen(run, "npredata") && !seen(run, "begin_xpredata")) {
    return stop(reader, Code::xpredata_missing, 180);
  }
  return true;
}

void derive_batch_sizes(ProblemReader& reader) {
  RunState& run = reader.run;
  Options& options = run.options;
  if (!seen(run, "minpoints")) options.minpoints = run.sizes.ninputs;
  if (!seen(run, "maxpoints")) options.maxpoints = run.sizes.ninputs + 6;
  if (options.maxpoints >= options.minpoints) return;
  tell(reader, "MAXPOINTS must be at least as large as MINPOINTS. ");
  tell(reader, fmt::format("Setting MAXPOINTS equal to {}", options.minpoints));
  options.maxpoints = options.minpoints;
}

// A run that says nothing anywhere is of no use.
void keep_one_output(ProblemReader& reader) {
  Options& options = reader.run.options;
  if (options.print_to_screen || options.print_to_file || options.trace) return;
  options.print_to_screen = true;
  tell(reader, "print_to_screen, print_to_file and trace are zero.");
  tell(reader, "Setting print_to_screen to one and continuing.");
}

bool check_powers_given(ProblemReader& reader) {
  const RunState& run = reader.run;
  struct PowerRule {
    int count;
    bool given;
    Code code;
    int location;
    std::string_view line;
  };
  const std::array<PowerRule, 4> rules{{
      {run.sizes.mono, seen(run, "monomialpower"), Code::monomialpower_missing, 181,
       "MONO is nonzero but MONOMIALPOWER are missing."},
      {run.sizes.multi2, seen(run, "multi2power"), Code::multi2power_missing, 182,
       "MULTI2 is nonzero but MULTI2POWER are missing."},
      {run.sizes.multi3, seen(run, "multi3power"), Code::multi3power_missing, 183,
       "MULTI3 is nonzero but MULTI3POWER are missing."},
      {run.sizes.ratios, seen(run, "ratiopower"), Code::ratiopower_missing, 184,
       "RATIOS is nonzero but RATIOPOWER are missing."},
  }};
  for (const PowerRule& rule : rules) {
    if (rule.count > 0 && !rule.given) {
      return stop_telling(reader, rule.code, rule.location, rule.line);
    }
  }
  return true;
}

bool check_tests_given(ProblemReader& reader) {
  RunState& run = reader.run;
  const Sizes& sizes = run.sizes;
  const bool testdata = seen(run, "begin_testdata");
  if (sizes.ntestdatasum > 0 && !testdata) return stop(reader, Code::testdata_missing, 185);
  if (sizes.ntestsets > 0 && sizes.ntestsamplesum <= 0 && !testdata) {
    return stop(reader, Code::test_sections_missing, 186);
  }
  if (!seen(run, "ntestsample") && sizes.ntestdatasum > 0 &&
      !run.points.ntestsample.request(run.memory, std::max(sizes.ntestsets, 1))) {
    return stop_without_memory(reader);
  }
  if (seen(run, "crncustom") && !seen(run, "begin_customcon")) {
    return stop(reader, Code::customcon_missing, 187);
  }
  return true;
}

bool derive_initial_points(ProblemReader& reader) {
  RunState& run = reader.run;
  Sizes& sizes = run.sizes;
  const auto sum = [&] { return static_cast<long long>(sizes.ndata) + sizes.nsample; };
  if (!seen(run, "initialpoints")) {
    if (sum() > most_whole) return stop_without_memory(reader);
    sizes.initialpoints = static_cast<int>(sum());
    return true;
  }
  sizes.nsample = std::max(0, sizes.initialpoints - sizes.ndata);
  if (sizes.initialpoints == sum()) return true;
  return stop_telling(reader, Code::initialpoints_inconsistent, 188,
                      "If declared, INITIALPOINTS must be greater than or equal to NDATA-NBANK.");
}

bool check_transforms(ProblemReader& reader) {
  const RunState& run = reader.run;
  if (run.sizes.ntrans > run.sizes.noutputs) return stop(reader, Code::too_many_transforms, 189);
  if (run.sizes.ntrans > 0 && !seen(run, "begin_transforms")) {
    return stop(reader, Code::transforms_missing, 190);
  }
  return true;
}

// The group file needs the scratch folder, whatever the file says of it.
bool check_groups(ProblemReader& reader) {
  RunState& run = reader.run;
  if (run.sizes.ngroups <= 0) return true;
  run.options.usescratch = true;
  if (run.sizes.ngroups <= run.groups.rowsread) return true;
  return stop(reader, Code::groups_missing, 191);
}

}  // namespace

bool finish_reading(ProblemReader& reader) {
  mend_choices(reader.run);
  if (!check_required(reader)) return false;
  if (!check_data_given(reader)) return false;
  derive_batch_sizes(reader);
  keep_one_output(reader);
  if (!check_powers_given(reader)) return false;
  if (!check_tests_given(reader)) return false;
  if (!derive_initial_points(reader)) return false;
  if (!check_transforms(reader)) return false;
  return check_groups(reader);
}

}  // namespace torve
