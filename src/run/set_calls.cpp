#include "run/set_calls.h"

#include <array>
#include <cmath>
#include <new>

#include "input/option_storage.h"
#include "input/problem_reader.h"
#include "report/printer.h"
#include "run/call_names.h"
#include "system/machine.h"
#include "text/strings.h"

namespace torve {

CallName call_name(RunState& run, std::string_view name, int location) {
  if (run.status.runstarted) return {refuse(run, Code::not_initialised, location), ""};
  // Counts are refused before they swallow the machine, as in a run.
  if (run.memory.machine_bytes == 0) run.memory.machine_bytes = physical_memory();
  const std::string_view used = cut(name, longest_call_text);
  if (used.empty()) return {refuse(run, Code::empty_option_name, 387), ""};
  return {0, std::string(meaning_of(fold_lower(used)))};
}

std::optional<OptionName> call_option(std::string_view name) {
  std::optional<OptionName> option = look_up(name);
  if (option && option->row->kind == Kind::unreachable) return std::nullopt;
  return option;
}

void mark_given(RunState& run, const OptionName& option) {
  if (option.shares_flag) run.seen.set(option.flag);
}

// --- whole numbers ------------------------------------------------------------------------------

namespace {

constexpr int integer_after_run = 472;
constexpr int real_after_run = 473;
constexpr int text_after_run = 474;

// Numbers of the main routine and of nobody else.
struct ArgumentRow {
  std::string_view name;
  int Status::*member;
};
constexpr auto arguments = std::to_array<ArgumentRow>({
    {"cmdcount", &Status::cmdcount},
    {"cmdlength", &Status::cmdlength},
});

// Numbers that stand for files. Files are opened by name, so that these are kept and no more.
constexpr auto unit_names = std::to_array<std::string_view>(
    {"iu_trc", "iu_m", "iu_in", "iu_out", "iu_grps", "iu_gms", "iu_mir", "iu_res", "iu_sin",
     "iu_sout", "iu_emsin", "iu_emsout"});
static_assert(unit_names.size() == std::tuple_size_v<decltype(Files::units)>);

bool store_outside_the_table(RunState& run, std::string_view name, int value) {
  for (const ArgumentRow& row : arguments) {
    if (row.name != name) continue;
    run.status.*(row.member) = value;
    return true;
  }
  for (std::size_t i = 0; i < unit_names.size(); ++i) {
    if (unit_names[i] != name) continue;
    run.files.units[i] = value;
    return true;
  }
  if (name != "groups" && name != "groupcon") return false;
  print_to_console(run, "groupcon API is ... tbd ...");
  return true;
}

// Sizes are set once: arrays stand on them. A count may change until its points are there.
bool is_fixed(const RunState& run, const OptionName& option) {
  constexpr auto sizes = std::to_array<std::string_view>(
      {"ninputs", "noutputs", "ngroups", "ntrans", "ncustombas", "crncustom"});
  struct Count {
    std::string_view name;
    OptionFlag points;
  };
  static constexpr auto counts = std::to_array<Count>({
      {"ndata", "begin_data"},
      {"ndata", "begin_xdata"},
      {"ndata", "begin_zdata"},
      {"npredata", "begin_xpredata"},
      {"ntestsets", "begin_testdata"},
      {"ntestdata", "begin_testdata"},
      {"ntestsets", "ntestdata"},
      {"ntestsets", "ntestsample"},
  });
  for (const std::string_view name : sizes) {
    if (name == option.row->name) return run.seen[option.flag];
  }
  for (const Count& count : counts) {
    if (count.name == option.row->name && seen(run, count.points)) return true;
  }
  return false;
}

// One number for a list: for all outputs, also for those that aren't there yet, or for the only
// test set.
bool takes_one_number(const OptionRow& row) {
  return row.name == "maxterms" || row.name == "ntestdata" || row.name == "ntestsample";
}

int set_list_by_one(RunState& run, const OptionName& option, int value) {
  const OptionRow& row = *option.row;
  if (row.name != "maxterms") {
    const std::array<int, 1> values{value};
    return trvsetintvector(run, row.name, values);
  }
  run.outputs.maxtermsall = value;
  if (seen(run, "noutputs")) run.outputs.maxterms.fill(value);
  mark_given(run, option);
  return 0;
}

int store_or_restore(RunState& run, const OptionName& option, double value) {
  const Sizes before = run.sizes;
  if (const Refusal refusal = store_scalar(run, *option.row, value)) {
    run.sizes = before;
    return refuse(run, refusal.code, refusal.call_location);
  }
  mark_given(run, option);
  return 0;
}

// Sizes that no array can have. Fewer points than none are no points, in the file as well.
bool is_beyond_memory(const OptionRow& row, double value) {
  if (!std::holds_alternative<int Sizes::*>(row.storage)) return false;
  const bool may_be_negative = row.name == "ndata" || row.name == "nbank";
  return value > most_whole || (value < 0.0 && !may_be_negative);
}

int set_number(RunState& run, std::string_view name, const OptionName& option, double value) {
  if (is_fixed(run, option)) return refuse(run, Code::keyword_twice, 388);
  if (is_beyond_memory(*option.row, value)) return refuse(run, Code::out_of_memory, 442);
  if (const Refusal refusal = check_scalar(run, *option.row)) {
    return refuse(run, refusal.code, refusal.call_location);
  }
  return store_or_restore(run, option, name == "keepscratch" ? 1.0 - value : value);
}

}  // namespace

int trvsetint(RunState& run, std::string_view name, int value) {
  const CallName call = call_name(run, name, integer_after_run);
  if (call.result != 0) return call.result;
  if (store_outside_the_table(run, call.name, value)) return 0;
  const std::optional<OptionName> option = call_option(call.name);
  if (!option) return refuse(run, Code::unknown_option_name, 395);
  switch (option->row->kind) {
    case Kind::whole:
    case Kind::logical:
      return set_number(run, call.name, *option, value);
    case Kind::ignored:
      return 0;
    case Kind::wholes:
      if (takes_one_number(*option->row)) return set_list_by_one(run, *option, value);
      break;
    case Kind::real:
    case Kind::reals:
    case Kind::logicals:
    case Kind::labels:
    case Kind::powers:
    case Kind::text:
    case Kind::token:
    case Kind::section:
    case Kind::unreachable:
      break;
  }
  return refuse(run, Code::unknown_option_name, 395);
}

// --- real numbers -------------------------------------------------------------------------------

namespace {

// The option of the real set's name. One name differs from the file's, and one whole number can be
// set as a real, too.
std::optional<OptionName> real_option(std::string_view name) {
  if (name == "convepen") return look_up("convpen");
  if (name == "convpen") return std::nullopt;
  const std::optional<OptionName> option = call_option(name);
  if (!option) return std::nullopt;
  return option->row->kind == Kind::real || name == "gsimaxi" ? option : std::nullopt;
}

}  // namespace

int trvsetreal(RunState& run, std::string_view name, double value) {
  const CallName call = call_name(run, name, real_after_run);
  if (call.result != 0) return call.result;
  const std::optional<OptionName> option = real_option(call.name);
  if (!option) return refuse(run, Code::unknown_option_name, 396);
  if (!std::isfinite(value)) return refuse(run, Code::bad_value, 193);
  return store_or_restore(run, *option, value);
}

// --- texts --------------------------------------------------------------------------------------

int trvsetstring(RunState& run, std::string_view name, std::string_view value) {
  const CallName call = call_name(run, name, text_after_run);
  if (call.result != 0) return call.result;
  if (value.empty() || value.size() > longest_call_text) {
    return refuse(run, Code::option_length, 482);
  }
  if (call.name == "fname") {
    run.files.fname = trim_right(value);
    return 0;
  }
  if (call.name == "scratchin") {
    run.files.scratchin = trim_right(value);
    return 0;
  }
  const std::optional<OptionName> option = call_option(call.name);
  const bool is_text =
      option && (option->row->kind == Kind::text || option->row->kind == Kind::token);
  if (!is_text) return refuse(run, Code::unknown_option_name, 397);
  store_text(run, *option->row, value);
  mark_given(run, *option);
  return 0;
}

}  // namespace torve
