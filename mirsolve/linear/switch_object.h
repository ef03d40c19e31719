// What COIN-OR Cbc branches on: a binary variable together with the bounds that it switches.
//
// Cbc knows no integers here. An object is satisfied when its variable is 0 or 1 and the columns
// keep the bounds of that position, so no tolerance times a large factor lets a column slip by.
// Both branches decide the variable, what follows by the rows of logic, and all bounds of these.
#pragma once

#include <coin/CbcBranchingObject.hpp>
#include <coin/CbcObject.hpp>
#include <vector>

#include "mirsolve/linear/model.h"

namespace mirsolve::linear {

// What all objects of a search share; it outlives them.
struct SwitchBoard {
  const Model* model = nullptr;
  int closed = 0;            // column: see Program
  std::vector<double> size;  // by column: how much a unit of it counts, at most 1 in all rows
};

class SwitchObject : public CbcObject {
 public:
  SwitchObject(CbcModel* model, const SwitchBoard* board, int number);
  CbcObject* clone() const override { return new SwitchObject(*this); }
  double infeasibility(const OsiBranchingInformation* info, int& preferred_way) const override;
  using CbcObject::feasibleRegion;
  void feasibleRegion() override;
  CbcBranchingObject* createCbcBranch(OsiSolverInterface* solver,
                                      const OsiBranchingInformation* info, int way) override;

 private:
  const Switch& own() const;

  const SwitchBoard* board_;
  int number_;  // of the switch
};

}  // namespace mirsolve::linear
