// What the routines of SNOBFIT say about arguments that can't be.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../support/rows.h"
#include "adaptive/snobfit/routines.h"
#include "adaptive/snobfit/snobfit.h"
#include "adaptive/snobfit/state.h"

namespace torve {
namespace {

// Right arguments of all routines, for 2 inputs and 3 points.
struct Arguments {
  Arguments() {
    Messages unheard;
    std::vector<int> none;
    EXPECT_TRUE(snobupdt(state, x, f, 3, u, v, none, unheard));
  }

  MATRIX x = {{0.1, 0.2}, {0.5, 0.9}, {0.8, 0.3}};
  MATRIX f = MATRIX(3, 2, 1.0);
  VECTOR u = VECTOR(2, 0.0), v = VECTOR(2, 1.0), dx = VECTOR(2, 0.01), one = VECTOR(1);
  SnobfitState state = new_state(u, v, dx, 1);
  Messages messages;
  Random random = Random(1);
  std::vector<int> list = {1, 2};
  IndexLists lists = {{1}, {0}, {0}};
  std::vector<bool> local;
  Boxes boxes;
  LocalFit fit{VECTOR(2), VECTOR(2, 0.1), 0.0};
  VECTOR y;
  MATRIX request;
  double fy = 0.0;
  bool extended = false;

  bool update() { return snobupdt(state, x, f, 3, u, v, list, messages); }
  bool split(const Box& box) { return snobsplit(x, f, box, u, v, boxes, messages); }
  bool local_fit(int j) { return snoblocf(j, x, f, list, dx, fit, messages); }
  bool propose(int j) { return snobpoint(j, x, f, fit, u, v, dx, random, y, fy, messages); }
  bool quadratic_fit(int j, int nneigh) {
    return snobqfit(j, x, f, nneigh, fit.d, u, v, v, y, fy, messages);
  }
};

struct MessageRow {
  const char* name;
  bool (*call)(Arguments& a);
  const char* message;
};

class RoutineMessages : public testing::TestWithParam<MessageRow> {};

TEST_P(RoutineMessages, name_what_is_wrong) {
  Arguments arguments;
  EXPECT_FALSE(GetParam().call(arguments));
  EXPECT_TRUE(arguments.messages.failed);
  ASSERT_EQ(arguments.messages.lines.size(), 1u);
  EXPECT_EQ(arguments.messages.lines[0], GetParam().message);
}

using A = Arguments;

INSTANTIATE_TEST_SUITE_P(
    Updates, RoutineMessages,
    testing::Values(MessageRow{"nx",
                               [](A& a) {
                                 return snobupdt(a.state, a.x, a.f, 2, a.u, a.v, a.list,
                                                 a.messages);
                               },
                               "snobupdt: size(f, 1) /= nx: suspicious use of nx!"},
                    MessageRow{"same_point_twice",
                               [](A& a) {
                                 a.state.x.set_row(1, a.x.row(0));
                                 return a.update();
                               },
                               "snobupdt: algorithm error: l > 1!"},
                    MessageRow{"dx",
                               [](A& a) {
                                 a.state.dx = a.one;
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of dx vector!"},
                    MessageRow{"u1",
                               [](A& a) {
                                 a.u = a.one;
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of u1 vector!"},
                    MessageRow{"v1",
                               [](A& a) {
                                 a.v = a.one;
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of v1 vector!"},
                    MessageRow{"u",
                               [](A& a) {
                                 a.state.u = a.one;
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of u vector!"},
                    MessageRow{"v",
                               [](A& a) {
                                 a.state.v = a.one;
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of v vector!"},
                    MessageRow{"x",
                               [](A& a) {
                                 a.x = MATRIX(3, 3);
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of x matrix!"},
                    MessageRow{"f",
                               [](A& a) {
                                 a.f = MATRIX(3, 3);
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of f matrix!"},
                    MessageRow{"xl",
                               [](A& a) {
                                 a.state.xl = MATRIX();
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of xl matrix!"},
                    MessageRow{"xu",
                               [](A& a) {
                                 a.state.xu = MATRIX();
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of xu matrix!"},
                    MessageRow{"nsplit",
                               [](A& a) {
                                 a.state.nsplit = MATRIX();
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of nsplit matrix!"},
                    MessageRow{"np",
                               [](A& a) {
                                 a.state.np = {};
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of np vector!"},
                    MessageRow{"t",
                               [](A& a) {
                                 a.state.t = {};
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of t vector!"},
                    MessageRow{"small",
                               [](A& a) {
                                 a.state.small = {};
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of small vector!"},
                    MessageRow{"near",
                               [](A& a) {
                                 a.state.near = {{1}};
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of near vector!"},
                    MessageRow{"d",
                               [](A& a) {
                                 a.state.d = MATRIX(1, 2);
                                 return a.update();
                               },
                               "snobupdt: wrong dimension of d matrix!"}),
    test::RowName());

INSTANTIATE_TEST_SUITE_P(
    Others, RoutineMessages,
    testing::Values(
        MessageRow{"split_box",
                   [](A& a) {
                     return a.split({a.one, a.v, a.u});
                   },
                   "snobsplit: wrong dimension of xl vector!"},
        MessageRow{"newb_u1",
                   [](A& a) { return snobnewb(a.state, a.x, a.one, a.v, a.extended, a.messages); },
                   "snobnewb: wrong dimension of u1 vector!"},
        MessageRow{"nn_dx",
                   [](A& a) { return snobnn(a.u, a.x, 0, 2, a.one, a.v, a.list, a.messages); },
                   "snobnn: wrong dimension of dx vector!"},
        MessageRow{"nan_f",
                   [](A& a) {
                     a.f = MATRIX(3, 1);
                     return snobnan({}, {}, a.f, a.list, a.messages);
                   },
                   "snobnan: wrong dimension of f matrix!"},
        MessageRow{"lp_near", [](A& a) { return snoblp(a.f, {}, a.local, a.messages); },
                   "snoblp: wrong dimension of near vector!"},
        MessageRow{"locf_few", [](A& a) { return a.local_fit(0); },
                   "snoblocf: algorithm error: K <= n!"},
        MessageRow{"locf_j", [](A& a) { return a.local_fit(3); },
                   "snoblocf: j is outside the first dimension of x & f!"},
        MessageRow{"locf_f",
                   [](A& a) {
                     a.f = MATRIX(2, 2);
                     return a.local_fit(0);
                   },
                   "snoblocf: wrong dimension of f matrix!"},
        MessageRow{"point_j", [](A& a) { return a.propose(-1); },
                   "snobpoint: j is outside the first dimension of x & f!"},
        MessageRow{"point_g",
                   [](A& a) {
                     a.fit.g = a.one;
                     return a.propose(0);
                   },
                   "snobpoint: wrong dimension of g vector!"},
        MessageRow{"qfit_nneigh", [](A& a) { return a.quadratic_fit(0, 1); },
                   "snobqfit: nneigh is less than the problem dimension!"},
        MessageRow{"qfit_j", [](A& a) { return a.quadratic_fit(3, 2); },
                   "snobqfit: j is outside the first dimension of x & f!"},
        MessageRow{"qfit_d",
                   [](A& a) {
                     a.fit.d = a.one;
                     return a.quadratic_fit(0, 2);
                   },
                   "snobqfit: wrong dimension of d vector!"},
        MessageRow{
            "snob5_dx",
            [](A& a) { return snob5(a.x, a.u, a.v, a.one, 1, a.random, a.request, a.messages); },
            "snob5: wrong dimension of dx vector!"}),
    test::RowName());

TEST(RoutineMessages, of_softmerit_name_what_is_wrong) {
  const VECTOR one(1, 1.0);
  const VECTOR two(2, 1.0);
  Messages messages;
  EXPECT_EQ(softmerit(1.0, one, one, two, 0.0, 1.0, one, messages), no_value);
  EXPECT_EQ(softmerit(1.0, one, one, one, 0.0, 1.0, two, messages), no_value);
  EXPECT_EQ(softmerit(1.0, two, one, one, 0.0, 1.0, one, messages), no_value);
  EXPECT_EQ(messages.lines,
            (std::vector<std::string>{"softmerit: dimensions of F1 & F2 do not match!",
                                      "softmerit: wrong dimension of sigma array!",
                                      "softmerit: wrong dimension of F vector!"}));
}

// A state whose boxes don't fill the explored box.
TEST(RoutineMessages, of_snobupdt_warn_of_a_point_in_no_box) {
  Arguments a;
  for (int j = 0; j < 3; ++j) {
    a.state.xl.set_row(j, a.x.row(j));
    a.state.xu.set_row(j, a.x.row(j));
  }
  EXPECT_TRUE(snobupdt(a.state, {{0.3, 0.3}}, {{1.0, 1.0}}, 1, a.u, a.v, a.list, a.messages));
  EXPECT_EQ(a.messages.lines, std::vector<std::string>{"snobupdt: warning: cnt == 0!"});
  double area = 0.0;
  for (int j = 0; j < 4; ++j) {
    area += (a.state.xu(j, 0) - a.state.xl(j, 0)) * (a.state.xu(j, 1) - a.state.xl(j, 1));
  }
  EXPECT_NEAR(area, 1.0, 1e-14);
}

}  // namespace
}  // namespace torve
