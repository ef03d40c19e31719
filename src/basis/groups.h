#pragma once

#include <span>
#include <vector>

#include "run/trvspace.h"

namespace torve {

// Drops the group data when no group constraint was read; must run before the catalogue is laid
// out.
void drop_unused_groups(RunState& run);

// Translates the group rows into the membership table over the catalogue's columns. A power that no
// family has ends the run with code 110.
bool build_groups(RunState& run);

// Rows of the group section with every row that names a group replaced by the rows of that group,
// one level deep.
std::vector<GroupRow> expand_group_members(std::span<const GroupRow> rows);

// What the group test needs.
struct GroupTables {
  View<const bool> grpbas;  // columns x groups
  View<const bool> grpgrp;  // groups x groups
  std::span<const GroupConstraint> constraints;
};

// Whether the subset breaks a group constraint of output k (from 0). A group is on when it holds a
// chosen column; while any is on, every group that holds a group counts as on too. `on` is scratch,
// one entry a group.
bool breaks_group_rule(const GroupTables& tables, int k, ColumnMask choice, std::span<bool> on);

// The same for the run's tables; false for an output without group constraints.
bool groupviolated(RunState& run, int k, ColumnMask choice);

}  // namespace torve
