#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "input/problem_reader.h"
#include "text/strings.h"

namespace torve {

namespace {

// What the items of a group row count.
enum class Members { inputs, inputs_and_power, points, custom, groups, nothing };

struct MemberRow {
  std::string_view word;
  MemberType type;
  Members members;
  int indices;  // input indices before the power
};
constexpr auto member_types = std::to_array<MemberRow>({
    {"lin", MemberType::lin, Members::inputs, 0},
    {"log", MemberType::log, Members::inputs, 0},
    {"exp", MemberType::exp, Members::inputs, 0},
    {"sin", MemberType::sin, Members::inputs, 0},
    {"cos", MemberType::cos, Members::inputs, 0},
    {"mono", MemberType::mono, Members::inputs_and_power, 1},
    {"multi2", MemberType::multi2, Members::inputs_and_power, 2},
    {"multi3", MemberType::multi3, Members::inputs_and_power, 3},
    {"ratio", MemberType::ratio, Members::inputs_and_power, 2},
    {"grbf", MemberType::grbf, Members::points, 0},
    {"prbf", MemberType::prbf, Members::points, 0},
    {"lk", MemberType::lk, Members::points, 0},
    {"cust", MemberType::cust, Members::custom, 0},
    {"const", MemberType::constant, Members::nothing, 0},
    {"grp", MemberType::grp, Members::groups, 0},
});

struct RuleRow {
  std::string_view word;
  GroupRule rule;
  bool parameter_is_group;
};
constexpr auto group_rules = std::to_array<RuleRow>({
    {"nmt", GroupRule::at_most, false},
    {"atl", GroupRule::at_least, false},
    {"req", GroupRule::requires_group, true},
    {"xcl", GroupRule::excludes_group, true},
});

template <class Rows>
auto find_word(const Rows& rows, const std::string& word) {
  return std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.word == word; });
}

bool refuse_row(ProblemReader& reader, std::string_view what, Code code, int location) {
  return stop(reader, code, location, {fmt::format("{} line {}", what, reader.lines.lineno)});
}

std::optional<int> read_whole(ProblemReader& reader) {
  const std::optional<double> value = reader.lines.number();
  if (!value) {
    stop_on_fault(reader);
    return std::nullopt;
  }
  // A fraction is no index: it becomes one that no list has.
  const double whole = std::trunc(*value);
  return whole == *value ? to_whole(whole) : std::numeric_limits<int>::min();
}

struct MemberRange {
  int count;
  Code code;
};

MemberRange member_range(const RunState& run, Members members) {
  const Sizes& sizes = run.sizes;
  switch (members) {
    case Members::inputs:
    case Members::inputs_and_power:
      return {sizes.ninputs, Code::group_input_index};
    case Members::points:
      return {sizes.ndata, Code::group_point_index};
    case Members::custom:
      return {sizes.ncustombas, Code::group_custom_index};
    case Members::groups:
      return {sizes.ngroups, Code::group_group_index};
    case Members::nothing:
      break;
  }
  return {0, Code::normal};
}

// One index: -1 for all, or from 1 to the count of its kind. The table has no place of its own for
// a bad index; readers of the listing know it by its code.
std::optional<int> read_member(ProblemReader& reader, Members members) {
  const std::optional<int> index = read_whole(reader);
  if (!index) return std::nullopt;
  const MemberRange range = member_range(reader.run, members);
  if (*index == -1 || (*index >= 1 && *index <= range.count)) return index;
  refuse_row(reader, "Unacceptable Member-index in", range.code, 165);
  return std::nullopt;
}

// Indices of a product or ratio, and its power.
bool read_power_member(ProblemReader& reader, GroupRow& row, const MemberRow& type) {
  for (int i = 0; i < type.indices; ++i) {
    const std::optional<int> index = read_member(reader, type.members);
    if (!index) return false;
    row.inputs[static_cast<std::size_t>(i)] = *index;
  }
  row.member = row.inputs[0];
  const std::optional<double> power = reader.lines.number();
  if (!power) return stop_on_fault(reader);
  row.power = *power;
  reader.run.groups.rows.push_back(row);
  return true;
}

// As many member indices as stand on the line, at least one; each becomes a row of its own.
bool read_members(ProblemReader& reader, GroupRow& row, const MemberRow& type) {
  LineReader& lines = reader.lines;
  do {
    const std::optional<int> index = read_member(reader, type.members);
    if (!index) return false;
    row.member = *index;
    reader.run.groups.rows.push_back(row);
  } while (!lines.blank() || lines.continues());
  return true;
}

std::optional<int> read_group_id(ProblemReader& reader, int location) {
  const std::optional<int> id = read_whole(reader);
  if (!id) return std::nullopt;
  if (*id >= 1 && *id <= reader.run.sizes.ngroups) return id;
  refuse_row(reader, "Unacceptable Group-id found in", Code::group_id, location);
  return std::nullopt;
}

bool read_group_row(ProblemReader& reader) {
  const std::optional<int> id = read_group_id(reader, 164);
  if (!id) return false;
  const std::optional<std::string> word = reader.lines.word();
  if (!word) return stop_on_fault(reader);
  const auto* type = find_word(member_types, fold_lower(*word));
  if (type == member_types.end()) {
    return refuse_row(reader, "Unrecognized Member-type found in", Code::group_member_type, 165);
  }
  GroupRow row;
  row.group = *id - 1;
  row.type = type->type;
  row.lineno = reader.lines.lineno;
  ++reader.run.groups.rowsread;
  bool whole = true;
  if (type->members == Members::nothing) {
    reader.run.groups.rows.push_back(row);
  } else if (type->members == Members::inputs_and_power) {
    whole = read_power_member(reader, row, *type);
  } else {
    whole = read_members(reader, row, *type);
  }
  if (!whole) return false;
  return reader.lines.checkeol() || stop_on_fault(reader);
}

bool read_constraint_row(ProblemReader& reader) {
  RunState& run = reader.run;
  const std::optional<int> id = read_group_id(reader, 168);
  if (!id) return false;
  const std::optional<int> output = read_whole(reader);
  if (!output) return false;
  if (*output != -1 && (*output < 1 || *output > run.sizes.noutputs)) {
    return refuse_row(reader, "Unacceptable output variable found in", Code::group_output, 169);
  }
  const std::optional<std::string> word = reader.lines.word();
  if (!word) return stop_on_fault(reader);
  const auto* rule = find_word(group_rules, fold_lower(*word));
  if (rule == group_rules.end()) {
    return refuse_row(reader, "Unrecognized Constraint-type found in", Code::group_constraint_type,
                      170);
  }
  const std::optional<int> parameter = read_whole(reader);
  if (!parameter) return false;
  if (rule->parameter_is_group && (*parameter < 1 || *parameter > run.sizes.ngroups)) {
    return refuse_row(reader, "Unrecognized Integer-parameter found in", Code::group_parameter,
                      171);
  }
  const int k = *output == -1 ? -1 : *output - 1;
  run.groups.constraints.push_back({*id - 1, k, rule->rule, *parameter});
  ++run.sizes.ngroupcons;
  return reader.lines.checkeol() || stop_on_fault(reader);
}

// Rows up to the end keyword. The lines are kept for the group file, which can be made only when
// the scratch folder stands.
bool read_rows(ProblemReader& reader, std::string_view end, bool (*read_one)(ProblemReader&)) {
  while (true) {
    if (!next_section_line(reader)) return false;
    reader.run.groups.echo.emplace_back(reader.lines.line());
    if (reader.lines.first_word_folded() == end) return true;
    if (!read_one(reader)) return false;
    reader.lines.forget_continuation();
  }
}

// Both sections word their preconditions alike.
bool check_group_preconditions(ProblemReader& reader,
                               std::initializer_list<Precondition> preconditions) {
  for (const Precondition& row : preconditions) {
    if (row.met) continue;
    return stop(reader, row.code, row.location,
                {fmt::format("{} found in line {}", reader.typed, reader.lines.lineno)});
  }
  return true;
}

}  // namespace

bool read_groups(ProblemReader& reader) {
  const RunState& run = reader.run;
  if (!check_group_preconditions(reader,
                                 {{run.sizes.ngroups > 0, Code::groups_without_ngroups, 160},
                                  {seen(run, "ninputs"), Code::groups_before_ninputs, 161},
                                  {seen(run, "noutputs"), Code::groups_before_noutputs, 162},
                                  {seen(run, "ndata"), Code::groups_before_ndata, 163}})) {
    return false;
  }
  return read_rows(reader, "end_groups", read_group_row);
}

bool read_groupcon(ProblemReader& reader) {
  RunState& run = reader.run;
  if (!check_group_preconditions(reader,
                                 {{run.sizes.ngroups > 0, Code::groupcon_without_ngroups, 166},
                                  {seen(run, "noutputs"), Code::groupcon_before_noutputs, 167}})) {
    return false;
  }
  run.groups.echo.emplace_back("BEGIN_GROUPCON");
  return read_rows(reader, "end_groupcon", read_constraint_row);
}

}  // namespace torve
