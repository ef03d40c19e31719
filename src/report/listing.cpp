#include "report/listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "report/printer.h"
#include "run/option_table.h"
#include "system/files.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr std::size_t title_column = 18;

// --- settings -----------------------------------------------------------------------------------

// A line of the echo: its title, and the option it shows, or how to get a value that is no option.
struct EchoRow {
  std::string_view title;
  std::string_view option;  // blank: the title in lower case
  std::string (*value)(const RunState&) = nullptr;
};

constexpr auto echo_rows = std::to_array<EchoRow>({
    {"NINPUTS", ""},
    {"NOUTPUTS", ""},
    {"NTRANS", ""},
    {"NCVF", ""},
    {"NPENL", ""},
    {"NDATA", ""},
    {"NBANK", ""},
    {"NPREDATA", ""},
    {"NSAMPLE", ""},
    {"NTESTDATA", "", [](const RunState& run) { return free_form(run.sizes.ntestdatasum); }},
    {"NTESTSAMPLE", "", [](const RunState& run) { return free_form(run.sizes.ntestsamplesum); }},
    {"NTESTSETS", ""},
    {"PRFREQ", ""},
    {"INITIALPOINTS", ""},
    {"SAMPLER", ""},
    {"MODELER", ""},
    {"INITIALIZER", ""},
    {"BUILDER", ""},
    {"ENUM1", ""},
    {"ENUMALL", ""},
    {"GREEDYBUILDER", "greedybuild"},
    {"NDGELS", ""},
    {"SISMULT", ""},
    {"MAXSIM", ""},
    {"MINPOINTS", ""},
    {"MAXPOINTS", ""},
    {"OBJFUN", ""},
    {"MATSNOB", ""},
    {"USEGAMS", ""},
    {"GAMS", ""},
    {"GAMSSOLVER", ""},
    {"SNOBFITP", ""},
    {"SNOBFITRESOLUTION", ""},
    {"MAXTIME", ""},
    {"DATALIMITTERMS", ""},
    {"CONVPEN", ""},
    {"MONO", ""},
    {"MULTI2", ""},
    {"MULTI3", ""},
    {"RATIOS", ""},
    {"EXPFCNS", ""},
    {"LINFCNS", ""},
    {"LOGFCNS", ""},
    {"SINFCNS", ""},
    {"COSFCNS", ""},
    {"CONSTANT", ""},
    {"GRBFCNS", ""},
    {"PRBF", "", [](const RunState& run) { return free_form(run.sizes.nprbf); }},
    {"LK", "linkernel"},
    {"NCUSTOMBAS", ""},
    {"OTHERBASIS", ""},
    {"USEGPU", ""},
    {"XSCALING", ""},
    {"SCALEZ", ""},
    {"TOLESTERROR", ""},
    {"TOLSSE", ""},
    {"RBFPARAM", ""},
    {"PRESET", ""},
    {"LINEARERROR", ""},
    {"SOLVEMIP", ""},
    {"DELTATERM", ""},
    {"SHORTCUT", ""},
    {"DIVE", ""},
    {"MIPOPTCA", ""},
    {"MIPOPTCR", ""},
    {"CRTOL", ""},
    {"CRNINITIAL", ""},
    {"CRMAXITER", ""},
    {"CRNVIOL", ""},
    {"CRNTRIALS", ""},
    {"CRNCUSTOM", ""},
    {"NGROUPS", ""},
    {"SIMULATOR", ""},
    {"SIMIN", ""},
    {"SIMOUT", ""},
    {"SNOBFITTEST", "", [](const RunState& run) { return run.options.snobfittest; }},
    {"SNOBFITPATH", ""},
    {"MINQPATH", ""},
    {"SCRATCH", "", [](const RunState& run) { return run.files.scratch; }},
    {"MIRAKEXE", "", [](const RunState& run) { return run.files.mirakpath; }},
});

// The value of a scalar or text option, as a problem file would give it.
std::string option_value(const RunState& run, const OptionRow& row) {
  if (const auto* whole = std::get_if<int Options::*>(&row.storage)) {
    return free_form(run.options.*(*whole));
  }
  if (const auto* size = std::get_if<int Sizes::*>(&row.storage)) {
    return free_form(run.sizes.*(*size));
  }
  if (const auto* logical = std::get_if<bool Options::*>(&row.storage)) {
    return run.options.*(*logical) ? "1" : "0";
  }
  if (const auto* real = std::get_if<double Options::*>(&row.storage)) {
    return free_form(run.options.*(*real));
  }
  return run.options.*std::get<std::string Options::*>(row.storage);
}

std::string echo_value(const RunState& run, const EchoRow& row) {
  if (row.value != nullptr) return row.value(run);
  const std::string name = row.option.empty() ? fold_lower(row.title) : std::string(row.option);
  return option_value(run, *find_option(name));
}

void list_settings(RunState& run) {
  for (const EchoRow& row : echo_rows) {
    print_to_listing(run, pad_right(row.title, title_column) + "= " + echo_value(run, row));
  }
}

// --- vectors and tables -------------------------------------------------------------------------

std::string joined(std::span<const double> values) {
  std::string text;
  for (const double value : values) text += " " + free_form(value);
  return text;
}

template <class T>
std::string joined_wholes(std::span<const T> values) {
  std::string text;
  for (const T value : values) text += " " + free_form(static_cast<int>(value));
  return text;
}

bool any(std::span<const bool> flags) {
  return std::find(flags.begin(), flags.end(), true) != flags.end();
}

void list_flags(RunState& run, std::string_view title, const Array<bool>& flags, int n) {
  if (!flags.exists() || !any(flags.first(at(n)))) return;
  print_to_listing(run, title);
  print_to_listing(run, joined_wholes<bool>(flags.first(at(n))));
}

void list_reals(RunState& run, std::string_view title, std::span<const double> values) {
  if (values.empty()) return;
  print_to_listing(run, title);
  print_to_listing(run, joined(values));
}

void list_inputs(RunState& run) {
  const Inputs& inputs = run.inputs;
  const int n = run.sizes.ninputs;
  print_to_listing(run, "XLABELS, XMIN, XMAX");
  for (std::size_t j = 0; j < at(n); ++j) {
    print_to_listing(run, fmt::format(" {} {} {}", inputs.xlabels[j], free_form(inputs.xmin[j]),
                                      free_form(inputs.xmax[j])));
  }
  list_flags(run, "XISINT", inputs.xisint, n);
  if (run.options.xscaling) list_reals(run, "XFACTORS", inputs.xscale.first(at(n)));
}

void list_outputs(RunState& run) {
  const Outputs& outputs = run.outputs;
  const int n = run.sizes.noutputs;
  print_to_listing(run, "ZLABELS, TOLMEANERROR, TOLRELMETRIC, TOLABSMETRIC, TOLMAXERROR, MAXTERMS");
  for (std::size_t k = 0; k < at(n); ++k) {
    print_to_listing(
        run,
        fmt::format(" {} {} {} {} {} {}", outputs.zlabels[k], free_form(outputs.tolmeanerror[k]),
                    free_form(outputs.tolrelmetric[k]), free_form(outputs.tolabsmetric[k]),
                    free_form(outputs.tolmaxerror[k]), outputs.maxterms[k]));
  }
  list_flags(run, "ZISINT", outputs.zisint, n);
  list_flags(run, "EXCLUDE", run.inputs.exclude, run.sizes.ninputs);
}

// Rows of a table of inputs, in the user's units, and of outputs if there are any.
void list_points(RunState& run, const Table<double>& x, const Table<double>* z, int first,
                 int last) {
  for (int i = first; i < last; ++i) {
    std::string row;
    for (int j = 0; j < run.sizes.ninputs; ++j) {
      row += " " + free_form(x(i, j) * run.inputs.xscale[at(j)]);
    }
    for (int k = 0; z != nullptr && k < run.sizes.noutputs; ++k) {
      row += " " + free_form((*z)(i, k));
    }
    print_to_listing(run, row);
  }
}

void list_data(RunState& run) {
  const Sizes& sizes = run.sizes;
  const Points& points = run.points;
  if (sizes.ndata + sizes.nbank > 0) {
    print_to_listing(run, "XDATA and ZDATA");
    list_points(run, points.xdata, &points.zdata, 0, sizes.ndata);
    list_points(run, points.xbank, &points.zbank, 0, sizes.nbank);
  }
  if (sizes.npredata > 0 && points.xpredata.exists()) {
    print_to_listing(run, "XPREDATA");
    list_points(run, points.xpredata, nullptr, 0, sizes.npredata);
  }
  const std::size_t sections = at(std::max(sizes.ntestsets, 1));
  if (sizes.ntestdatasum > 0 && points.ntestdata.size() >= sections) {
    print_to_listing(run, "NTESTDATA");
    print_to_listing(run, joined_wholes<int>(points.ntestdata.first(sections)));
  }
  if (sizes.ntestsamplesum > 0 && points.ntestsample.size() >= sections) {
    print_to_listing(run, "NTESTSAMPLE");
    print_to_listing(run, joined_wholes<int>(points.ntestsample.first(sections)));
  }
  if (sizes.ntestdatasum > 0) {
    print_to_listing(run, "XTESTDATA and ZTESTDATA");
    list_points(run, points.xtestdata, &points.ztestdata, 0, sizes.ntestdatasum);
  }
}

void list_texts(RunState& run, std::string_view title, const std::vector<std::string>& texts) {
  if (texts.empty()) return;
  print_to_listing(run, title);
  for (const std::string& text : texts) print_to_listing(run, " " + text);
}

void list_basis(RunState& run) {
  const Basis& basis = run.basis;
  list_texts(run, "TRANSFORMS", run.outputs.transforms);
  list_reals(run, "MONOPOWERS", basis.monomialpower);
  list_reals(run, "MULTI2POWERS", basis.multi2power);
  list_reals(run, "MULTI3POWERS", basis.multi3power);
  list_reals(run, "RATIOPOWERS", basis.ratiopower);
  if (!basis.prbfpower.empty()) {
    print_to_listing(run, "PRBFPOWER");
    print_to_listing(run, joined_wholes<int>(basis.prbfpower));
  }
  print_to_listing(run, fmt::format("Total number of {} BASES considered", run.sizes.nbasmax));
  for (std::size_t j = 0; j < at(run.sizes.nbas); ++j) {
    if (basis.basisactive[j]) print_to_listing(run, " " + basis.basislabel[j]);
  }
  list_texts(run, "CUSTOM BASES considered", basis.custombas);
}

void list_bounds(RunState& run, std::string_view title, const Array<double>& bounds,
                 const Array<bool>& in_force) {
  if (!any(in_force.first(at(run.sizes.noutputs)))) return;
  list_reals(run, title, bounds.first(at(run.sizes.noutputs)));
}

void list_constraints(RunState& run) {
  const Inputs& inputs = run.inputs;
  const std::size_t n = at(run.sizes.ninputs);
  list_bounds(run, "ZMIN", run.outputs.zmin, run.outputs.haszmin);
  list_bounds(run, "ZMAX", run.outputs.zmax, run.outputs.haszmax);
  if (inputs.extrapxmin.exists()) list_reals(run, "EXTRAPXMIN", inputs.extrapxmin.first(n));
  if (inputs.extrapxmax.exists()) list_reals(run, "EXTRAPXMAX", inputs.extrapxmax.first(n));
  if (run.options.printextrap) {
    print_to_listing(run, pad_right("PRINTEXTRAP", title_column) + "= 1");
  }
  list_texts(run, "CUSTOM CONSTRAINTS", run.outputs.customcon);
}

// The copy of the group sections that was made with the scratch folder.
bool list_groups(RunState& run) {
  if (run.sizes.ngroups <= 0) return true;
  const std::optional<std::string> groups = read_file(run.files.grpsfile);
  if (!groups) return fail(run, Code::file_write_failed, 90);
  run.files.listing.write(*groups);
  return true;
}

}  // namespace

bool list_options(RunState& run) {
  print_to_listing(run, "The options and data used in solving this problem are as follows");
  list_settings(run);
  list_inputs(run);
  list_outputs(run);
  list_data(run);
  list_basis(run);
  list_constraints(run);
  return list_groups(run);
}

}  // namespace torve
