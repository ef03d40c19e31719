#include "basis/groups.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "report/printer.h"

namespace torve {

namespace {

constexpr double power_tolerance = 1e-5;
constexpr int all = -1;

// The products and ratios a group can name by indices and a power.
struct PowerFamily {
  MemberType type;
  Family family;
  std::vector<double> Basis::*powers;
  std::size_t indices;
  std::string_view word;
};
constexpr std::array<PowerFamily, 4> power_families{{
    {MemberType::mono, Family::monomial, &Basis::monomialpower, 1, "MONO"},
    {MemberType::multi2, Family::pair, &Basis::multi2power, 2, "MULTI2"},
    {MemberType::multi3, Family::triple, &Basis::multi3power, 3, "MULTI3"},
    {MemberType::ratio, Family::ratio, &Basis::ratiopower, 2, "RATIO"},
}};

const PowerFamily* find_power_family(MemberType type) {
  for (const PowerFamily& row : power_families) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

// Inputs of a product match in any order, those of a ratio by place; -1 stands for any input.
bool inputs_match(const GroupRow& row, const Column& column, const PowerFamily& family) {
  std::array<int, 3> wanted = row.inputs;
  if (family.family == Family::ratio) {
    return (wanted[0] == all || wanted[0] - 1 == column.inputs[0]) &&
           (wanted[1] == all || wanted[1] - 1 == column.inputs[1]);
  }
  std::size_t found = 0;
  std::array<bool, 3> used{};
  for (std::size_t i = 0; i < family.indices; ++i) {
    if (wanted[i] == all) {
      ++found;
      continue;
    }
    for (std::size_t c = 0; c < family.indices; ++c) {
      if (used[c] || wanted[i] - 1 != column.inputs[c]) continue;
      used[c] = true;
      ++found;
      break;
    }
  }
  return found == family.indices;
}

void set_column(RunState& run, int g, int j) {
  run.groups.grpbas(j, g) = true;
}

// Powers that the catalogue dropped are only told; any other unlisted power ends the run.
bool refuse_power(RunState& run, const GroupRow& row, const PowerFamily& family) {
  if (row.type == MemberType::mono && std::abs(row.power) <= power_tolerance) {
    trvprint(run, "Warning: powers of 0 will be discarded from the set of basis functions.");
    return true;
  }
  if (row.type == MemberType::mono && std::abs(row.power - 1.0) <= power_tolerance) {
    trvprint(run, "Warning: powers of 1 are ignored in group composition");
    return true;
  }
  trvprint(run, fmt::format("{} power not found in line {}", family.word, row.lineno));
  return fail(run, Code::group_power, 259);
}

bool map_powers(RunState& run, const GroupRow& row, const PowerFamily& family) {
  const std::size_t f = static_cast<std::size_t>(family.family);
  const auto columns_begin = run.basis.basisstart[f];
  const auto columns_end = run.basis.basisstart[f + 1];
  const bool whole_family = std::all_of(
      row.inputs.begin(), row.inputs.begin() + static_cast<std::ptrdiff_t>(family.indices),
      [](int index) { return index == all; });
  if (!whole_family) {
    const std::vector<double>& powers = run.basis.*(family.powers);
    const bool listed = std::any_of(powers.begin(), powers.end(), [&](double power) {
      return std::abs(power - row.power) <= power_tolerance;
    });
    if (!listed) return refuse_power(run, row, family);
  }
  for (int j = columns_begin; j < columns_end; ++j) {
    const Column& column = run.basis.columns[at(j)];
    const bool power = std::abs(column.power - row.power) <= power_tolerance;
    if (whole_family || (power && inputs_match(row, column, family))) {
      set_column(run, row.group, j);
    }
  }
  return true;
}

void map_members(RunState& run, const GroupRow& row) {
  const auto f = at(static_cast<int>(row.type) - 1);
  const int begin = run.basis.basisstart[f];
  const int end = run.basis.basisstart[f + 1];
  for (int j = begin; j < end; ++j) {
    const bool constant = row.type == MemberType::constant;
    if (constant || row.member == all || j == begin + row.member - 1) {
      set_column(run, row.group, j);
    }
  }
}

void note_group_members(RunState& run) {
  for (const GroupRow& row : run.groups.rows) {
    if (row.type != MemberType::grp) continue;
    for (int h = 0; h < run.sizes.ngroups; ++h) {
      const bool named = row.member == all ? h != row.group : h == row.member - 1;
      if (named) run.groups.grpgrp(row.group, h) = true;
    }
  }
}

bool allocate(RunState& run) {
  Groups& groups = run.groups;
  MemoryAccount& memory = run.memory;
  const int n = run.sizes.ngroups;
  return groups.grpbas.request(memory, run.sizes.nbas, n) && groups.grpgrp.request(memory, n, n) &&
         groups.on.request(memory, n);
}

}  // namespace

void drop_unused_groups(RunState& run) {
  if (run.sizes.ngroups > 0 && !run.groups.constraints.empty()) return;
  run.sizes.ngroups = 0;
  run.groups.rows.clear();
  run.groups.constraints.clear();
}

std::vector<GroupRow> expand_group_members(std::span<const GroupRow> rows) {
  std::vector<GroupRow> expanded;
  for (const GroupRow& row : rows) {
    if (row.type != MemberType::grp) {
      expanded.push_back(row);
      continue;
    }
    for (const GroupRow& member : rows) {
      const bool named = row.member == all || member.group == row.member - 1;
      if (!named || member.type == MemberType::grp) continue;
      expanded.push_back(member);
      expanded.back().group = row.group;
    }
  }
  return expanded;
}

bool build_groups(RunState& run) {
  if (!run.groups.groupcon.request(run.memory, run.sizes.noutputs)) {
    return fail(run, Code::out_of_memory, 260);
  }
  if (run.sizes.ngroups <= 0) return true;
  if (!allocate(run)) return fail(run, Code::out_of_memory, 260);
  note_group_members(run);
  for (const GroupRow& row : expand_group_members(run.groups.rows)) {
    const PowerFamily* family = find_power_family(row.type);
    if (family == nullptr) {
      map_members(run, row);
    } else if (!map_powers(run, row, *family)) {
      return false;
    }
  }
  for (const GroupConstraint& constraint : run.groups.constraints) {
    for (int k = 0; k < run.sizes.noutputs; ++k) {
      if (constraint.output == all || constraint.output == k) run.groups.groupcon[at(k)] = true;
    }
  }
  return true;
}

bool breaks_group_rule(const GroupTables& tables, int k, ColumnMask choice, std::span<bool> on) {
  const int groups = tables.grpbas.columns;
  const auto chosen_in = [&](int g) {
    const bool* member = tables.grpbas.column_data(g);
    int count = 0;
    for (std::size_t j = 0; j < choice.size(); ++j) count += choice[j] && member[j] ? 1 : 0;
    return count;
  };
  bool any = false;
  for (int g = 0; g < groups; ++g) {
    on[at(g)] = chosen_in(g) > 0;
    any = any || on[at(g)];
  }
  // One pass settles it: what a group holds isn't asked to be on itself.
  for (int g = 0; any && g < groups; ++g) {
    for (int h = 0; h < groups && !on[at(g)]; ++h) on[at(g)] = tables.grpgrp(g, h);
  }
  for (const GroupConstraint& rule : tables.constraints) {
    if (rule.output != all && rule.output != k) continue;
    const int g = rule.group;
    const auto count = [&] {
      int members = chosen_in(g);
      for (int h = 0; h < groups; ++h) members += on[at(h)] && tables.grpgrp(g, h) ? 1 : 0;
      return members;
    };
    bool broken = false;
    switch (rule.rule) {
      case GroupRule::at_most:
        broken = count() > rule.parameter;
        break;
      case GroupRule::at_least:
        broken = count() < rule.parameter;
        break;
      case GroupRule::requires_group:
        broken = on[at(g)] && !on[at(rule.parameter - 1)];
        break;
      case GroupRule::excludes_group:
        broken = on[at(g)] && on[at(rule.parameter - 1)];
        break;
    }
    if (broken) return true;
  }
  return false;
}

bool groupviolated(RunState& run, int k, ColumnMask choice) {
  Groups& groups = run.groups;
  if (!groups.groupcon[at(k)]) return false;
  const int n = run.sizes.ngroups;
  const GroupTables tables{groups.grpbas.view(run.sizes.nbas, n), groups.grpgrp.view(n, n),
                           groups.constraints};
  return breaks_group_rule(tables, k, choice, groups.on.first(at(n)));
}

}  // namespace torve
