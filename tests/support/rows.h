// Names for the rows of a TEST_P. A row is a record with a member `name`.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace torve::test {

struct RowName {
  template <class Row>
  std::string operator()(const testing::TestParamInfo<Row>& row) const {
    return std::string(row.param.name);
  }
};

}  // namespace torve::test
