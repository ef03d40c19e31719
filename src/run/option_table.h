#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "run/trvspace.h"

namespace torve {

// What stands behind a keyword, and so how it is read.
enum class Kind {
  whole,        // one whole number
  logical,      // one whole number, 0 or 1
  real,         // one number
  reals,        // a list of as many reals as there are inputs or outputs
  wholes,       // the same of whole numbers
  logicals,     // the same of 0 and 1
  labels,       // the same of names
  powers,       // as many numbers as stand on the line
  text,         // the rest of the line
  token,        // one word
  section,      // lines up to an end keyword
  ignored,      // one number that is read and forgotten
  unreachable,  // no keyword; the row carries limits
};

// Where an option is stored.
using Storage =
    std::variant<std::monostate, int Options::*, bool Options::*, double Options::*,
                 std::string Options::*, int Sizes::*, Array<double> Inputs::*,
                 Array<bool> Inputs::*, std::vector<std::string> Inputs::*,
                 Array<double> Outputs::*, Array<bool> Outputs::*, Array<int> Outputs::*,
                 std::vector<std::string> Outputs::*, Array<int> Points::*,
                 std::vector<double> Basis::*, std::vector<int> Basis::*>;
inline constexpr std::monostate none{};

// The range of a value that a file may give, and what replaces a value outside it.
enum class OnError { constant, present_value, twice_ninputs };
struct Replacement {
  OnError kind = OnError::constant;
  double value = 0.0;
};
struct Limits {
  double lowest = 0.0;
  double highest = 0.0;
  Replacement replacement{};
  bool exist = false;
};
constexpr Replacement on_error(double value) {
  return {OnError::constant, value};
}
inline constexpr Replacement present_value{OnError::present_value, 0.0};
inline constexpr Replacement twice_ninputs{OnError::twice_ninputs, 0.0};
constexpr Limits range(double lowest, double highest, Replacement replacement) {
  return {lowest, highest, replacement, true};
}
inline constexpr Limits no_limits{};
inline constexpr int most_whole = 1000000000;
inline constexpr double most_real = 1e50;

// How often a file may give the option.
enum class Occurs { once, repeat };
inline constexpr Occurs once = Occurs::once;
inline constexpr Occurs repeat = Occurs::repeat;

// What must have been given before, and how its absence ends the run.
struct Needs {
  std::string_view option{};
  Code code = Code::normal;
  int location = 0;
};
constexpr Needs needs_ninputs(Code code, int location) {
  return {"ninputs", code, location};
}
constexpr Needs needs_noutputs(Code code, int location) {
  return {"noutputs", code, location};
}

struct OptionRow {
  std::string_view name;
  Kind kind;
  Storage storage;
  Limits limits{};
  Occurs occurs = once;
  Needs needs{};
};

// Every option and section by its public name. The row number is the option's number in
// RunState::seen. The initial value is the member's own initialiser.
// clang-format off
inline constexpr auto option_table = std::to_array<OptionRow>({
    {"ninputs", Kind::whole, &Sizes::ninputs, range(1, most_whole, on_error(1)), once},
    {"noutputs", Kind::whole, &Sizes::noutputs, range(1, most_whole, on_error(1)), once},
    {"ngroups", Kind::whole, &Sizes::ngroups, range(0, most_whole, on_error(0)), repeat},
    {"ntrans", Kind::whole, &Sizes::ntrans, range(0, most_whole, on_error(0)), once},
    {"ncvf", Kind::whole, &Options::ncvf, range(2, most_whole, on_error(5)), once},
    {"funform", Kind::whole, &Options::funform, range(1, 6, on_error(1)), repeat},
    {"npenl", Kind::whole, &Options::npenl, range(2, most_whole, on_error(100)), once},
    {"seed", Kind::whole, &Options::seed, range(1, most_whole, on_error(19631963)), once},
    {"ndata", Kind::whole, &Sizes::ndata, range(0, most_whole, on_error(0)), once},
    {"nbank", Kind::whole, &Sizes::nbank, no_limits, repeat},
    {"npredata", Kind::whole, &Sizes::npredata, range(0, most_whole, on_error(0)), once},
    {"nsample", Kind::whole, &Sizes::nsample, range(0, most_whole, on_error(0)), repeat},
    {"ntestsets", Kind::whole, &Sizes::ntestsets, no_limits, once},
    {"mono", Kind::whole, &Sizes::mono, range(0, most_whole, on_error(0)), once},
    {"multi2", Kind::whole, &Sizes::multi2, range(0, most_whole, on_error(0)), once},
    {"multi3", Kind::whole, &Sizes::multi3, range(0, most_whole, on_error(0)), once},
    {"ratios", Kind::whole, &Sizes::ratios, range(0, most_whole, on_error(0)), once},
    {"constant", Kind::whole, &Options::constant, range(0, 1, on_error(1)), once},
    {"otherbasis", Kind::whole, &Options::otherbasis, range(0, 1, on_error(0)), once},
    {"prfreq", Kind::whole, &Options::prfreq, range(0, most_whole, on_error(1)), once},
    {"gsimaxi", Kind::whole, &Options::gsimaxi, range(-1, most_real, on_error(10000)), repeat},
    {"initialpoints", Kind::whole, &Sizes::initialpoints, range(1, most_whole, on_error(10)), once},
    {"initializer", Kind::whole, &Options::initializer, range(1, 3, on_error(1)), once},
    {"sampler", Kind::whole, &Options::sampler, range(1, 3, on_error(1)), once},
    {"maxsim", Kind::whole, &Options::maxsim, range(0, most_whole, on_error(10)), once},
    {"ndgels", Kind::whole, &Options::ndgels, range(0, most_whole, on_error(120)), once},
    {"modeler", Kind::whole, &Options::modeler, range(1, 8, on_error(3)), once},
    {"builder", Kind::whole, &Options::builder, range(0, 1, on_error(1)), repeat},
    {"backstepper", Kind::whole, &Options::backstepper, range(0, 1, on_error(0)), repeat},
    {"screener", Kind::whole, &Options::screener, range(-2, 2, on_error(0)), once},
    {"lassometric", Kind::whole, &Options::lassometric, no_limits, once},
    {"minpoints", Kind::whole, &Options::minpoints, range(1, most_whole, on_error(0)), once},
    {"maxpoints", Kind::whole, &Options::maxpoints, range(1, most_whole, on_error(0)), once},
    {"objfun", Kind::whole, &Options::objfun, range(1, 2, on_error(1)), once},
    {"maxiter", Kind::whole, &Options::maxiter, range(-1, most_whole, present_value), once},
    {"enumall", Kind::whole, &Options::enumall, range(-2, most_whole, present_value), repeat},
    {"enum1", Kind::whole, &Options::enum1, range(-2, most_whole, present_value), repeat},
    {"crninitial", Kind::whole, &Options::crninitial, range(0, most_real, on_error(0)), repeat},
    {"crmaxiter", Kind::whole, &Options::crmaxiter, range(0, most_real, on_error(10)), repeat},
    {"crnviol", Kind::whole, &Options::crnviol, range(1, most_real, twice_ninputs), repeat},
    {"crntrials", Kind::whole, &Options::crntrials, range(0, most_real, on_error(100)), repeat},
    {"ncustombas", Kind::whole, &Sizes::ncustombas, no_limits, repeat},
    {"crncustom", Kind::whole, &Sizes::crncustom, no_limits, repeat},
    {"intopt1", Kind::whole, &Options::intopt1, range(-most_real, most_real, on_error(0)), repeat},
    {"intopt2", Kind::whole, &Options::intopt2, range(-most_real, most_real, on_error(0)), repeat},
    {"intopt3", Kind::whole, &Options::intopt3, range(-most_real, most_real, on_error(0)), repeat},
    {"intopt4", Kind::whole, &Options::intopt4, range(-most_real, most_real, on_error(0)), repeat},
    {"intopt5", Kind::whole, &Options::intopt5, range(-most_real, most_real, on_error(0)), repeat},
    {"datalimitterms", Kind::logical, &Options::datalimitterms, range(0, 1, on_error(1)), once},
    {"numlimitbasis", Kind::logical, &Options::numlimitbasis, range(0, 1, on_error(1)), once},
    {"matsnob", Kind::logical, &Options::matsnob, range(0, 1, on_error(0)), once},
    {"usegams", Kind::logical, &Options::usegams, range(0, 1, on_error(0)), once},
    {"usescratch", Kind::logical, &Options::usescratch, range(0, 1, on_error(0)), once},
    {"expfcns", Kind::logical, &Options::expfcns, range(0, 1, on_error(0)), once},
    {"logfcns", Kind::logical, &Options::logfcns, range(0, 1, on_error(0)), once},
    {"linfcns", Kind::logical, &Options::linfcns, range(0, 1, on_error(1)), once},
    {"grbfcns", Kind::logical, &Options::grbfcns, no_limits, once},
    {"linkernel", Kind::logical, &Options::linkernel, no_limits, once},
    {"sinfcns", Kind::logical, &Options::sinfcns, range(0, 1, on_error(0)), once},
    {"cosfcns", Kind::logical, &Options::cosfcns, range(0, 1, on_error(0)), once},
    {"xscaling", Kind::logical, &Options::xscaling, range(0, 1, on_error(1)), once},
    {"scalebases", Kind::logical, &Options::scalebases, no_limits, once},
    {"debug", Kind::logical, &Options::debug, range(0, 1, on_error(0)), once},
    {"firstfeas", Kind::logical, &Options::firstfeas, range(0, 1, on_error(1)), once},
    {"dive", Kind::logical, &Options::dive, range(0, 1, on_error(1)), once},
    {"shortcut", Kind::logical, &Options::shortcut, range(0, 1, on_error(1)), once},
    {"deltaterm", Kind::logical, &Options::deltaterm, range(0, 1, on_error(1)), once},
    {"print_to_file", Kind::logical, &Options::print_to_file, range(0, 1, on_error(1)), once},
    {"removescratch", Kind::logical, &Options::removescratch, range(0, 1, on_error(1)), once},
    {"chkblnk", Kind::logical, &Options::chkblnk, no_limits, repeat},
    {"sselimit", Kind::logical, &Options::sselimit, range(0, 1, on_error(0)), repeat},
    {"relerror", Kind::logical, &Options::relerror, range(0, 1, on_error(1)), once},
    {"print_gams_out", Kind::logical, &Options::print_gams_out, range(0, 1, on_error(1)), once},
    {"print_mirak_out", Kind::logical, &Options::print_mirak_out, range(0, 1, on_error(1)), once},
    {"allowcplex", Kind::logical, &Options::allowcplex, no_limits, once},
    {"print_to_screen", Kind::logical, &Options::print_to_screen, range(0, 1, on_error(1)), once},
    {"printextrap", Kind::logical, &Options::printextrap, no_limits, once},
    {"usegpu", Kind::logical, &Options::usegpu, no_limits, once},
    {"cvxbic", Kind::logical, &Options::cvxbic, range(0, 1, on_error(1)), repeat},
    {"solvemip", Kind::logical, &Options::solvemip, range(0, 1, on_error(1)), repeat},
    {"olrone", Kind::logical, &Options::olrone, range(0, 1, on_error(1)), repeat},
    {"olrgsi", Kind::logical, &Options::olrgsi, range(0, 1, on_error(1)), repeat},
    {"olrdgels", Kind::logical, &Options::olrdgels, range(0, 1, on_error(1)), repeat},
    {"olrclr", Kind::logical, &Options::olrclr, range(0, 1, on_error(1)), repeat},
    {"olrmir", Kind::logical, &Options::olrmir, range(0, 1, on_error(1)), repeat},
    {"olrgms", Kind::logical, &Options::olrgms, range(0, 1, on_error(1)), repeat},
    {"lassogms", Kind::logical, &Options::lassogms, range(0, 1, on_error(1)), repeat},
    {"lassomir", Kind::logical, &Options::lassomir, range(0, 1, on_error(0)), repeat},
    {"mipgms", Kind::logical, &Options::mipgms, range(0, 1, on_error(1)), repeat},
    {"crgms", Kind::logical, &Options::crgms, range(0, 1, on_error(1)), repeat},
    {"crmir", Kind::logical, &Options::crmir, range(0, 1, on_error(0)), repeat},
    {"mipmir", Kind::logical, &Options::mipmir, range(0, 1, on_error(0)), repeat},
    {"lassopath", Kind::logical, &Options::lassopath, no_limits, once},
    {"crcorner", Kind::logical, &Options::crcorner, no_limits, repeat},
    {"trace", Kind::logical, &Options::trace, no_limits, repeat},
    {"crrobust", Kind::logical, &Options::crrobust, no_limits, repeat},
    {"linearerror", Kind::logical, &Options::linearerror, no_limits, repeat},
    {"scalez", Kind::logical, &Options::scalez, no_limits, repeat},
    {"sigma", Kind::real, &Options::sigma, no_limits, repeat},
    {"tolsse", Kind::real, &Options::tolsse, range(0, most_real, on_error(1e-05)), repeat},
    {"gsiabstol", Kind::real, &Options::gsiabstol, range(0, most_real, on_error(1e-05)), repeat},
    {"gsireltol", Kind::real, &Options::gsireltol, range(0, most_real, on_error(1e-05)), repeat},
    {"nulltol", Kind::real, &Options::nulltol, range(0, most_real, on_error(1e-09)), repeat},
    {"snobfitp", Kind::real, &Options::snobfitp, range(0, most_real, on_error(0.5)), once},
    {"preset", Kind::real, &Options::preset, range(-most_real, most_real, on_error(-111111)), once},
    {"maxtime", Kind::real, &Options::maxtime, range(0, most_real, on_error(1000)), once},
    {"tolesterror", Kind::real, &Options::tolesterror, range(0, most_real, on_error(static_cast<double>(0.01F))), once},
    {"crtol", Kind::real, &Options::crtol, range(1e-05, most_real, on_error(0.001)), repeat},
    {"convpen", Kind::real, &Options::convpen, range(0, most_real, on_error(10)), once},
    {"sismult", Kind::real, &Options::sismult, range(0, most_real, on_error(1)), once},
    {"rbfparam", Kind::real, &Options::rbfparam, no_limits, once},
    {"mipoptca", Kind::real, &Options::mipoptca, no_limits, repeat},
    {"mipoptcr", Kind::real, &Options::mipoptcr, no_limits, repeat},
    {"realopt1", Kind::real, &Options::realopt1, range(-most_real, most_real, on_error(0)), repeat},
    {"realopt2", Kind::real, &Options::realopt2, range(-most_real, most_real, on_error(0)), repeat},
    {"realopt3", Kind::real, &Options::realopt3, range(-most_real, most_real, on_error(0)), repeat},
    {"realopt4", Kind::real, &Options::realopt4, range(-most_real, most_real, on_error(0)), repeat},
    {"realopt5", Kind::real, &Options::realopt5, range(-most_real, most_real, on_error(0)), repeat},
    {"snobfitresolution", Kind::real, &Options::snobfitresolution, range(0, most_real, on_error(1e-05)), once},
    {"tolrelmetric", Kind::reals, &Outputs::tolrelmetric, range(0, most_real, on_error(0.0001)), once, needs_noutputs(Code::tolrelmetric_before_noutputs, 111)},
    {"tolmaxerror", Kind::reals, &Outputs::tolmaxerror, range(0, most_real, on_error(0.05)), once, needs_noutputs(Code::tolmaxerror_before_noutputs, 112)},
    {"tolmeanerror", Kind::reals, &Outputs::tolmeanerror, no_limits, once, needs_noutputs(Code::tolmeanerror_before_noutputs, 110)},
    {"tolabsmetric", Kind::reals, &Outputs::tolabsmetric, no_limits, once, needs_noutputs(Code::tolabsmetric_before_noutputs, 113)},
    {"maxterms", Kind::wholes, &Outputs::maxterms, no_limits, once, needs_noutputs(Code::maxterms_before_noutputs, 114)},
    {"ignore", Kind::logicals, &Outputs::ignore, no_limits, once, needs_noutputs(Code::ignore_before_noutputs, 115)},
    {"exclude", Kind::logicals, &Inputs::exclude, no_limits, once, needs_ninputs(Code::exclude_before_ninputs, 116)},
    {"zisint", Kind::logicals, &Outputs::zisint, no_limits, once, needs_noutputs(Code::zisint_before_noutputs, 117)},
    // The order rule of xisint answers with the code of zisint; scripts know it that way.
    {"xisint", Kind::logicals, &Inputs::xisint, no_limits, once, needs_ninputs(Code::zisint_before_noutputs, 118)},
    {"xmin", Kind::reals, &Inputs::xmin, no_limits, once, needs_ninputs(Code::xmin_before_ninputs, 96)},
    {"xmax", Kind::reals, &Inputs::xmax, no_limits, once, needs_ninputs(Code::xmax_before_ninputs, 97)},
    {"xfactors", Kind::reals, &Inputs::xfactors, no_limits, once, needs_ninputs(Code::xfactors_before_ninputs, 99)},
    {"extrapxmin", Kind::reals, &Inputs::extrapxmin, no_limits, once, needs_ninputs(Code::extrapxmin_before_ninputs, 121)},
    {"extrapxmax", Kind::reals, &Inputs::extrapxmax, no_limits, once, needs_ninputs(Code::extrapxmax_before_ninputs, 122)},
    {"zmin", Kind::reals, &Outputs::zmin, no_limits, once, needs_noutputs(Code::zmin_before_noutputs, 119)},
    {"zmax", Kind::reals, &Outputs::zmax, no_limits, once, needs_noutputs(Code::zmax_before_noutputs, 120)},
    {"xlabels", Kind::labels, &Inputs::xlabels, no_limits, once, needs_ninputs(Code::xlabels_before_ninputs, 104)},
    {"zlabels", Kind::labels, &Outputs::zlabels, no_limits, once, needs_noutputs(Code::zlabels_before_noutputs, 109)},
    {"ntestdata", Kind::wholes, &Points::ntestdata, range(0, most_whole, on_error(0)), once},
    {"ntestsample", Kind::wholes, &Points::ntestsample, no_limits, repeat},
    {"monomialpower", Kind::powers, &Basis::monomialpower, no_limits, repeat},
    {"multi2power", Kind::powers, &Basis::multi2power, no_limits, repeat},
    {"multi3power", Kind::powers, &Basis::multi3power, no_limits, repeat},
    {"ratiopower", Kind::powers, &Basis::ratiopower, no_limits, repeat},
    {"prbfpower", Kind::powers, &Basis::prbfpower, no_limits, repeat},
    {"simulator", Kind::text, &Options::simulator, no_limits, once},
    {"simin", Kind::text, &Options::simin, no_limits, once},
    {"simout", Kind::text, &Options::simout, no_limits, once},
    {"snobfitpath", Kind::text, &Options::snobfitpath, no_limits, once},
    {"minqpath", Kind::text, &Options::minqpath, no_limits, once},
    {"tracefname", Kind::text, &Options::tracefname, no_limits, once},
    {"gams", Kind::text, &Options::gams, no_limits, once},
    {"gamssolver", Kind::token, &Options::gamssolver, no_limits, once},
    {"gamsnlpsolver", Kind::token, &Options::gamsnlpsolver, no_limits, once},
    {"conreg", Kind::ignored, none, no_limits, repeat},
    {"begin_data", Kind::section, none, no_limits, once},
    {"begin_xdata", Kind::section, none, no_limits, once},
    {"begin_zdata", Kind::section, none, no_limits, once},
    {"begin_testdata", Kind::section, none, no_limits, once},
    {"begin_xpredata", Kind::section, none, no_limits, repeat},
    {"begin_customcon", Kind::section, none, no_limits, once},
    {"begin_custombas", Kind::section, none, no_limits, once},
    {"begin_transforms", Kind::section, none, no_limits, repeat},
    {"begin_groups", Kind::section, none, no_limits, repeat},
    {"begin_groupcon", Kind::section, none, no_limits, repeat},
    {"begin_comment", Kind::section, none, no_limits, repeat},
    // No keyword bears these names; their limits wait for one.
    {"greedybuild", Kind::unreachable, &Options::greedybuild, range(0, 1, on_error(1)), repeat},
    {"requestpoints", Kind::unreachable, &Sizes::requestpoints, range(0, most_whole, on_error(0)), repeat},
    {"crisoltol", Kind::unreachable, &Options::crisoltol, range(static_cast<double>(1e-6F), most_real, on_error(static_cast<double>(0.1F))), repeat},
    {"crncc", Kind::unreachable, &Options::crncc, range(0, most_real, on_error(0)), repeat},
});
// clang-format on

// Another name of an option. An alias of its own flag may be given again and doesn't count for the
// option's; an alias without the option's limits takes any value.
struct AliasRow {
  std::string_view name;
  std::string_view option;
  bool shares_flag;
  bool shares_limits;
};

inline constexpr auto alias_table = std::to_array<AliasRow>({
    {"nvars", "ninputs", true, true},
    {"ncvl", "ncvf", false, false},
    {"xfactor", "xfactors", true, true},
    {"xlabel", "xlabels", true, true},
    {"zlabel", "zlabels", true, true},
    {"ntestsections", "ntestsets", false, false},
    {"regularizer", "screener", false, false},
    {"gamsmiqcpsolver", "gamssolver", false, false},
    {"keepscratch", "removescratch", true, false},  // its opposite: 1 - value is stored
    {"begin_zmin", "zmin", true, false},            // a section for the same bounds
    {"begin_zmax", "zmax", true, false},
});

// Words that a file may use for others; messages show the other word.
struct RenameRow {
  std::string_view word;
  std::string_view meaning;
};
inline constexpr auto rename_table = std::to_array<RenameRow>({
    {"nvaldata", "ntestdata"},
    {"nvalsample", "ntestsample"},
    {"begin_valdata", "begin_testdata"},
    {"end_valdata", "end_testdata"},
    {"nvalsets", "ntestsets"},
    {"nvalsections", "ntestsections"},
});

// The word that stands for a lower-case word, or the word itself.
constexpr std::string_view meaning_of(std::string_view word) {
  for (const RenameRow& row : rename_table) {
    if (row.word == word) return row.meaning;
  }
  return word;
}

// A keyword as found in the tables.
struct OptionName {
  const OptionRow* row = nullptr;
  std::size_t flag = 0;     // row number
  bool shares_flag = true;  // the duplicate rule applies and the option counts as given
  bool shares_limits = true;
};

constexpr const OptionRow* find_option(std::string_view name) {
  for (const OptionRow& row : option_table) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

// The number of an option, by its name; a name that isn't in the table doesn't compile.
struct OptionFlag {
  consteval OptionFlag(const char* name) : row(0) {
    while (option_table.at(row).name != name) ++row;
  }
  std::size_t row;
};

// The option of a lower-case name or alias; nothing for an unknown name.
std::optional<OptionName> look_up(std::string_view name);

inline bool seen(const RunState& run, OptionFlag flag) {
  return run.seen[flag.row];
}
inline void mark_seen(RunState& run, OptionFlag flag) {
  run.seen.set(flag.row);
}

static_assert(option_table.size() <= most_options);

}  // namespace torve
