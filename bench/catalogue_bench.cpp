// Rows of the catalogue evaluated per second, for catalogues of different families.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>

#include "basis/catalogue.h"
#include "support/sample_problem.h"

namespace {

struct Catalogue {
  const char* name;
  const char* keywords;  // of the problem file
};

constexpr Catalogue elementary{"elementary", "expfcns 1\nlogfcns 1\nsinfcns 1\ncosfcns 1\n"};
constexpr Catalogue powers{"powers",
                           "mono 4\nmulti2 3\nmulti3 2\nratios 2\n"
                           "monomialpower -1 0.5 2 3\nmulti2power 0.5 1 2\n"
                           "multi3power 0.5 1\nratiopower 1 2\n"};
constexpr Catalogue radial{"radial", "grbfcns 1\nlinkernel 1\n"};
constexpr Catalogue formulas{"formulas",
                             "ncustombas 4\nbegin_custombas\n"
                             "a*b/(c+d)\nexp(-a/b)*log(c)\nsqrt(a^2+b^2+c^2)\n"
                             "a^0.5*b^1.5/(1+d)^2\nend_custombas\n"};

constexpr int points = 50;

void catalogue_row(benchmark::State& state, const Catalogue& catalogue) {
  torve::RunState run;
  torve::test::fill_catalogue(run, points, catalogue.keywords);
  const torve::CatalogueRules rules = torve::catalogue_rules(run);
  const torve::MatrixView data = run.points.xdata.view(points, run.sizes.ninputs);
  int point = 0;
  for ([[maybe_unused]] auto _ : state) {
    torve::evaluate_row(rules, data, point, run.basis.xijrow.data(), 1, run.basis.rowfailed.all(),
                        run.basis.rowinputs.all());
    benchmark::ClobberMemory();
    point = (point + 1) % points;
  }
  state.counters["columns"] = run.sizes.nbas;
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(catalogue_row, elementary, elementary);
BENCHMARK_CAPTURE(catalogue_row, powers, powers);
BENCHMARK_CAPTURE(catalogue_row, radial, radial);
BENCHMARK_CAPTURE(catalogue_row, formulas, formulas);

}  // namespace
