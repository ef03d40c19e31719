#include "basis/catalogue.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "report/printer.h"
#include "text/number_edits.h"

namespace torve {

namespace {

constexpr double power_tolerance = 1e-10;
constexpr double most_whole_columns = 2147483647.0;

// Zeros or ones of the monomial list, and where the user finds what they stand for.
struct DiscardedPower {
  double value;
  std::string_view digit;
  std::string_view option;
};

void discard_power(RunState& run, const DiscardedPower& row, bool option_on) {
  std::vector<double>& powers = run.basis.monomialpower;
  if (std::erase(powers, row.value) == 0) return;
  trvprint(run, "Warning: powers of " + std::string(row.digit) +
                    " will be discarded from the set of basis functions.");
  if (!option_on) {
    trvprint(run, "Hint: use option " + std::string(row.option) + " instead of powers of " +
                      std::string(row.digit) + ".");
  }
}

void clean_list(RunState& run, std::vector<double>& powers, int& count, std::string_view warning) {
  for (const double dropped : drop_duplicate_powers(powers)) {
    trvprint(run,
             "Warning: eliminating duplicate " + std::string(warning) + " " + free_form(dropped));
  }
  count = static_cast<int>(powers.size());
}

}  // namespace

std::vector<double> drop_duplicate_powers(std::vector<double>& powers) {
  std::stable_sort(powers.begin(), powers.end());
  std::vector<double> dropped;
  std::size_t i = 1;
  while (i < powers.size()) {
    if (powers[i - 1] + power_tolerance < powers[i]) {
      ++i;
      continue;
    }
    dropped.push_back(powers[i]);
    powers.erase(powers.begin() + static_cast<std::ptrdiff_t>(i));
  }
  return dropped;
}

void clean_power_lists(RunState& run) {
  discard_power(run, {0.0, "0", "CONSTANT"}, run.options.constant != 0);
  discard_power(run, {1.0, "1", "LINFCNS"}, run.options.linfcns);
  Basis& basis = run.basis;
  clean_list(run, basis.monomialpower, run.sizes.mono, "monomial power");
  clean_list(run, basis.multi2power, run.sizes.multi2, "multi2power");
  clean_list(run, basis.multi3power, run.sizes.multi3, "multi3power");
  clean_list(run, basis.ratiopower, run.sizes.ratios, "ratio power");
}

// --- layout -------------------------------------------------------------------------------------

namespace {

// Columns of each family, as reals: a count can exceed every whole number.
std::array<double, families> family_sizes(const RunState& run) {
  const Sizes& sizes = run.sizes;
  const Options& options = run.options;
  const double n = sizes.ninputs;
  const double centres = sizes.ndata;
  return {options.linfcns ? n : 0.0,
          options.logfcns ? n : 0.0,
          options.expfcns ? n : 0.0,
          options.sinfcns ? n : 0.0,
          options.cosfcns ? n : 0.0,
          sizes.mono * n,
          sizes.multi2 * n * (n - 1) / 2,
          sizes.multi3 * n * (n - 1) * (n - 2) / 6,
          sizes.ratios * n * (n - 1),
          options.grbfcns ? centres : 0.0,
          sizes.nprbf * centres,
          options.linkernel ? centres : 0.0,
          static_cast<double>(run.basis.custombas.size()),
          options.constant != 0 ? 1.0 : 0.0};
}

void add_inputs(std::vector<Column>& columns, Family family, int n, double power) {
  for (int j = 0; j < n; ++j) columns.push_back({family, {j, 0, 0}, power, 0, 0, 0});
}

void add_centres(std::vector<Column>& columns, Family family, int count) {
  for (int c = 0; c < count; ++c) columns.push_back({family, {}, 1.0, 0, c, 0});
}

void add_products(RunState& run, int n) {
  Basis& basis = run.basis;
  std::vector<Column>& columns = basis.columns;
  for (const double p : basis.monomialpower) add_inputs(columns, Family::monomial, n, p);
  for (const double p : basis.multi2power) {
    for (int j = 0; j < n; ++j) {
      for (int k = j + 1; k < n; ++k) columns.push_back({Family::pair, {j, k, 0}, p, 0, 0, 0});
    }
  }
  for (const double p : basis.multi3power) {
    for (int j = 0; j < n; ++j) {
      for (int k = j + 1; k < n; ++k) {
        for (int l = k + 1; l < n; ++l) {
          columns.push_back({Family::triple, {j, k, l}, p, 0, 0, 0});
        }
      }
    }
  }
  for (const double p : basis.ratiopower) {
    for (int j = 0; j < n; ++j) {
      for (int k = 0; k < n; ++k) {
        if (k != j) columns.push_back({Family::ratio, {j, k, 0}, p, 0, 0, 0});
      }
    }
  }
}

void add_radial(RunState& run) {
  std::vector<Column>& columns = run.basis.columns;
  const int centres = run.sizes.ndata;
  if (run.options.grbfcns) add_centres(columns, Family::gaussian, centres);
  for (std::size_t q = 0; q < run.basis.prbfpower.size(); ++q) {
    for (int c = 0; c < centres; ++c) {
      columns.push_back(
          {Family::power_radial, {}, 1.0, run.basis.prbfpower[q], c, static_cast<int>(q)});
    }
  }
  if (run.options.linkernel) add_centres(columns, Family::kernel, centres);
}

bool request_column_arrays(RunState& run, int nbas) {
  Basis& basis = run.basis;
  MemoryAccount& memory = run.memory;
  // Text members exist once for every column; an empty text costs its record alone.
  for (auto* texts : {&basis.basislabel, &basis.basispower, &basis.basismodel, &basis.basiscaret}) {
    if (!request_texts(memory, *texts, nbas)) return false;
  }
  return basis.basisactive.request(memory, nbas) && basis.xijrow.request(memory, nbas) &&
         basis.rowfailed.request(memory, nbas) &&
         basis.logusable.request(memory, run.sizes.ninputs) &&
         basis.rowinputs.request(memory, run.sizes.ninputs + run.sizes.noutputs);
}

// What a column takes in all: its record, four texts, its entries in the selections, and its values
// at the points.
double bytes_of_column(const RunState& run) {
  constexpr double texts = 4.0 * (sizeof(std::string) + 24.0);
  constexpr double selections = 80.0;
  const double values = 8.0 * (static_cast<double>(run.sizes.ndata) + run.sizes.nbank);
  return sizeof(Column) + texts + selections + values;
}

}  // namespace

bool lay_out_columns(RunState& run) {
  const std::array<double, families> counts = family_sizes(run);
  double total = 0.0;
  for (std::size_t f = 0; f < families; ++f) {
    if (total <= most_whole_columns) run.basis.basisstart[f] = static_cast<int>(total);
    total += counts[f];
  }
  if (total > most_whole_columns) return fail(run, Code::out_of_memory, 257);
  const int nbas = static_cast<int>(total);
  run.basis.basisstart[families] = nbas;
  run.sizes.nbas = nbas;
  run.sizes.nbasm1 = nbas < 2 ? 1 : nbas - 1;
  if (!run.memory.has_room(nbas, bytes_of_column(run)) || !request_column_arrays(run, nbas)) {
    return fail(run, Code::out_of_memory, 258);
  }

  const int n = run.sizes.ninputs;
  const Options& options = run.options;
  std::vector<Column>& columns = run.basis.columns;
  columns.clear();
  columns.reserve(at(nbas));
  if (options.linfcns) add_inputs(columns, Family::linear, n, 1.0);
  if (options.logfcns) add_inputs(columns, Family::logarithm, n, 1.0);
  if (options.expfcns) add_inputs(columns, Family::exponential, n, 1.0);
  if (options.sinfcns) add_inputs(columns, Family::sine, n, 1.0);
  if (options.cosfcns) add_inputs(columns, Family::cosine, n, 1.0);
  add_products(run, n);
  add_radial(run);
  add_centres(columns, Family::custom, static_cast<int>(run.basis.custombas.size()));
  if (options.constant != 0) columns.push_back({Family::constant, {}, 1.0, 0, 0, 0});
  return true;
}

// --- columns that go ----------------------------------------------------------------------------

void eliminatebasis(RunState& run, int column) {
  bool& active = run.basis.basisactive[at(column)];
  if (!active) return;
  active = false;
  --run.sizes.nbasmax;
  trvprint(run, "Warning: eliminating basis " + run.basis.basislabel[at(column)]);
}

namespace {

// The inputs' bounds after scaling.
struct Box {
  std::span<const double> lower;
  std::span<const double> upper;

  double bound(int j, int side) const { return side == 0 ? lower[at(j)] : upper[at(j)]; }
};

bool product_is_unsafe(const Box& box, const Column& column, int inputs) {
  for (int corner = 0; corner < (1 << inputs); ++corner) {
    double product = 1.0;
    for (int i = 0; i < inputs; ++i) {
      product *= box.bound(column.inputs[at(i)], (corner >> i) & 1);
    }
    if (powunsafe(product, column.power, basislimit)) return true;
  }
  return false;
}

bool contains_zero(const RunState& run, int j) {
  return run.inputs.xmin[at(j)] <= 0.0 && run.inputs.xmax[at(j)] >= 0.0;
}

bool ratio_is_unsafe(const RunState& run, const Box& box, const Column& column) {
  const int numerator = column.inputs[0];
  const int denominator = column.inputs[1];
  if (box.lower[at(denominator)] == 0.0 || box.upper[at(denominator)] == 0.0) return true;
  if (contains_zero(run, numerator) && contains_zero(run, denominator)) return true;
  for (const int a : {0, 1}) {
    for (const int b : {0, 1}) {
      const double quotient = box.bound(numerator, a) / box.bound(denominator, b);
      if (powunsafe(quotient, column.power, basislimit)) return true;
    }
  }
  return false;
}

bool is_unsafe_in_box(const RunState& run, const Box& box, const Column& column) {
  switch (column.family) {
    case Family::exponential: {
      const double upper = box.upper[at(column.inputs[0])];
      return std::isnan(upper) || upper > std::log(basislimit);
    }
    case Family::monomial:
      return product_is_unsafe(box, column, 1);
    case Family::pair:
      return product_is_unsafe(box, column, 2);
    case Family::triple:
      return product_is_unsafe(box, column, 3);
    case Family::ratio:
      return ratio_is_unsafe(run, box, column);
    default:
      return false;
  }
}

}  // namespace

void screen_by_bounds(RunState& run) {
  if (!run.options.numlimitbasis) return;
  const Box box{run.inputs.xminscaled.all(), run.inputs.xmaxscaled.all()};
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (run.basis.basisactive[at(j)] && is_unsafe_in_box(run, box, run.basis.columns[at(j)])) {
      eliminatebasis(run, j);
    }
  }
}

// --- evaluation ---------------------------------------------------------------------------------

CatalogueRules catalogue_rules(RunState& run) {
  Basis& basis = run.basis;
  CatalogueRules rules;
  rules.columns = basis.columns;
  rules.basisactive = basis.basisactive.first(at(run.sizes.nbas));
  rules.logusable = basis.logusable.first(at(run.sizes.ninputs));
  rules.excluded = run.inputs.exclude.first(at(run.sizes.ninputs));
  rules.xscale = run.inputs.xscale.first(at(run.sizes.ninputs));
  rules.rbfparam = run.options.rbfparam;
  rules.preset = run.options.preset;
  rules.custom = basis.custombas.empty() ? nullptr : &basis.customformulas;
  return rules;
}

void evaluate_point(RunState& run, MatrixView points, int point, Table<double>& target, int row,
                    bool warn) {
  const CatalogueRules rules = catalogue_rules(run);
  if (rules.columns.empty()) return;
  Basis& basis = run.basis;
  const std::span<bool> row_failed = basis.rowfailed.first(at(run.sizes.nbas));
  std::fill(row_failed.begin(), row_failed.end(), false);
  const bool any = evaluate_row(rules, points, point, &target(row, 0), target.rows(), row_failed,
                                basis.rowinputs.all());
  if (!any || !warn || !run.options.numlimitbasis) return;
  for (int j = 0; j < run.sizes.nbas; ++j) {
    if (row_failed[at(j)]) eliminatebasis(run, j);
  }
}

std::span<const double> evaluate_loose_point(RunState& run, MatrixView points, int point) {
  Basis& basis = run.basis;
  const std::span<double> row = basis.xijrow.first(at(run.sizes.nbas));
  std::fill(row.begin(), row.end(), run.options.preset);
  evaluate_row(catalogue_rules(run), points, point, row.data(), 1, basis.rowfailed.all(),
               basis.rowinputs.all());
  return row;
}

void fill_regression_matrix(RunState& run) {
  const Sizes& sizes = run.sizes;
  Points& points = run.points;
  run.basis.xij.fill(run.options.preset);
  const MatrixView data = points.xdata.view(sizes.ndata, sizes.ninputs);
  for (int i = 0; i < sizes.ndata; ++i) evaluate_point(run, data, i, run.basis.xij, i, true);
  if (sizes.nbank <= 0) return;
  run.basis.xijbank.fill(run.options.preset);
  const MatrixView bank = points.xbank.view(sizes.nbank, sizes.ninputs);
  for (int i = 0; i < sizes.nbank; ++i) evaluate_point(run, bank, i, run.basis.xijbank, i, true);
}

}  // namespace torve
