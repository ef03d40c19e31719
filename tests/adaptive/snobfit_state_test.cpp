// The state file of SNOBFIT: what is saved comes back bit for bit, and a file that isn't a state is
// refused, whatever it holds.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "../support/rows.h"
#include "adaptive/snobfit/state.h"
#include "snobfit_support.h"

namespace torve::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* damaged = "load_data: error: file is damaged!";
constexpr const char* not_opened = "load_data: error: failed to open file!";
constexpr const char* not_saved = "save_data: error: failed to open file!";

// A state of 12 points of 2 inputs with models, one of them without a value.
SnobfitState small_state(Problem& problem) {
  const MATRIX x = random_points(12, 2, 8);
  MATRIX f(12, 2, 0.01);
  for (int j = 0; j < 12; ++j) f(j, 0) = x(j, 0) - x(j, 1) * x(j, 1);
  f(4, 0) = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(problem.ask(x, f)) << problem.text();
  return problem.load();
}

struct SmallProblem : Problem {
  SmallProblem() : Problem(2, 0.0, 1.0, 1e-3, 4), state(small_state(*this)) {}
  SnobfitState state;
};

// The lines of load_data; empty when it takes the file.
std::vector<std::string> lines_of_load(const std::string& file, int n = 2) {
  SnobfitState state;
  Messages messages;
  const bool good = load_data(file, n, state, messages);
  EXPECT_EQ(good, !messages.failed);
  EXPECT_EQ(state.points() > 0, good) << "nothing is loaded from a bad file";
  return messages.lines;
}

TEST(StateFile, comes_back_bit_for_bit) {
  SmallProblem problem;
  const std::string again = problem.folder.file("again");
  Messages messages;
  ASSERT_TRUE(save_data(again, problem.state, messages));
  EXPECT_EQ(bytes_of(again), bytes_of(problem.file));
  EXPECT_FALSE(fs::exists(again + ".new"));
  const SnobfitState& state = problem.state;
  EXPECT_EQ(state.points(), 12);
  EXPECT_EQ(state.fnan, (std::vector<int>{4}));
  EXPECT_TRUE(state.has_models());
}

TEST(StateFile, of_no_points_comes_back) {
  const Folder folder;
  const std::string file = folder.file("state");
  Messages messages;
  ASSERT_TRUE(save_data(file, new_state({0.0}, {1.0}, {0.1}, 5), messages));
  SnobfitState state;
  ASSERT_TRUE(load_data(file, 1, state, messages));
  EXPECT_EQ(state.points(), 0);
  EXPECT_EQ(state.random, 5u);
}

TEST(StateFile, cut_at_any_length_is_refused) {
  SmallProblem problem;
  const std::string bytes = bytes_of(problem.file);
  const std::string longer = problem.folder.file("longer");
  write_bytes_of(longer, bytes + '\0');
  EXPECT_EQ(lines_of_load(longer), std::vector<std::string>{damaged});
  for (std::size_t length = bytes.size(); length-- > 0;) {
    fs::resize_file(problem.file, length);
    ASSERT_EQ(lines_of_load(problem.file), std::vector<std::string>{damaged}) << length;
  }
}

TEST(StateFile, with_any_byte_changed_is_refused) {
  SmallProblem problem;
  const std::string bytes = bytes_of(problem.file);
  std::fstream stream(problem.file, std::ios::binary | std::ios::in | std::ios::out);
  const auto put = [&](std::size_t place, int byte) {
    stream.seekp(static_cast<std::streamoff>(place));
    stream.put(static_cast<char>(byte));
    stream.flush();
  };
  constexpr std::array masks = {0x01, 0x80, 0xff};
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    put(place, bytes[place] ^ masks[place % masks.size()]);
    ASSERT_EQ(lines_of_load(problem.file).size(), 1u) << place;
    put(place, bytes[place]);
  }
  EXPECT_EQ(bytes_of(problem.file), bytes);
}

TEST(StateFile, of_absurd_size_is_refused) {
  SmallProblem problem;
  const std::string bytes = bytes_of(problem.file);
  const std::string file = problem.folder.file("absurd");
  // Words 2 and 3 are the numbers of inputs and points, 5 that of points without value.
  for (const std::size_t word : {2u, 3u, 5u}) {
    for (const std::int64_t value :
         {std::int64_t{-1}, std::int64_t{1} << 31, std::int64_t{1} << 62,
          std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
      std::string changed = bytes;
      std::memcpy(changed.data() + 8 * word, &value, sizeof value);
      write_bytes_of(file, changed);
      EXPECT_EQ(lines_of_load(file).size(), 1u) << word << " " << value;
    }
  }
}

TEST(StateFile, of_another_number_of_inputs_is_refused) {
  SmallProblem problem;
  for (const int n : {1, 3}) {
    EXPECT_EQ(lines_of_load(problem.file, n),
              std::vector<std::string>{"load_data: error: file has another number of inputs!"});
  }
}

// Files with a right checksum that no program should have written.
struct NonsenseRow {
  const char* name;
  void (*spoil)(SnobfitState& state);
};

class Nonsense : public testing::TestWithParam<NonsenseRow> {};

TEST_P(Nonsense, is_refused) {
  SmallProblem problem;
  GetParam().spoil(problem.state);
  Messages messages;
  ASSERT_TRUE(save_data(problem.file, problem.state, messages));
  EXPECT_EQ(lines_of_load(problem.file), std::vector<std::string>{damaged});
}

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Rows, Nonsense,
    testing::Values(
        NonsenseRow{"x_nan", [](SnobfitState& s) { s.x(3, 1) = nan; }},
        NonsenseRow{"value_infinite", [](SnobfitState& s) { s.f(3, 0) = infinity; }},
        NonsenseRow{"uncertainty_0", [](SnobfitState& s) { s.f(3, 1) = 0.0; }},
        NonsenseRow{"gradient_nan", [](SnobfitState& s) { s.g(0, 0) = nan; }},
        NonsenseRow{"proposed_point_nan", [](SnobfitState& s) { s.y(0, 0) = nan; }},
        NonsenseRow{"estimate_nan", [](SnobfitState& s) { s.fy(0) = nan; }},
        NonsenseRow{"model_error_nan", [](SnobfitState& s) { s.sigma(0) = nan; }},
        NonsenseRow{"trust_box_0", [](SnobfitState& s) { s.d(0, 0) = 0.0; }},
        NonsenseRow{"resolution_0", [](SnobfitState& s) { s.dx(1) = 0.0; }},
        NonsenseRow{"bounds_equal", [](SnobfitState& s) { s.v(0) = s.u(0); }},
        NonsenseRow{"request_box_outside", [](SnobfitState& s) { s.v_request(0) = 7.0; }},
        NonsenseRow{"request_box_crossed",
                    [](SnobfitState& s) { s.u_request(0) = s.v_request(0); }},
        NonsenseRow{"point_outside_its_box", [](SnobfitState& s) { s.x(2, 0) = s.xl(2, 0) - 0.1; }},
        NonsenseRow{"box_outside", [](SnobfitState& s) { s.xu(2, 0) = 9.0; }},
        NonsenseRow{"negative_count", [](SnobfitState& s) { s.np[1] = -1; }},
        NonsenseRow{"count_0_with_value", [](SnobfitState& s) { s.np[1] = 0; }},
        NonsenseRow{"count_1_without_value", [](SnobfitState& s) { s.np[4] = 1; }},
        NonsenseRow{"no_such_undefined", [](SnobfitState& s) { s.fnan[0] = 12; }},
        NonsenseRow{"no_such_neighbour", [](SnobfitState& s) { s.near[3][2] = 12; }},
        NonsenseRow{"negative_neighbour", [](SnobfitState& s) { s.near[3][2] = -1; }},
        NonsenseRow{"neighbour_of_itself", [](SnobfitState& s) { s.near[3][2] = 3; }},
        NonsenseRow{"random_state_0", [](SnobfitState& s) { s.random = 0; }}),
    RowName());

TEST(StateFile, that_is_none_is_refused) {
  const Folder folder;
  EXPECT_EQ(lines_of_load(folder.file("missing")), std::vector<std::string>{not_opened});
  EXPECT_EQ(lines_of_load(folder.path.string()), std::vector<std::string>{not_opened});
  EXPECT_EQ(lines_of_load("/dev/zero"), std::vector<std::string>{not_opened});
  EXPECT_EQ(lines_of_load(""), std::vector<std::string>{not_opened});
  write_bytes_of(folder.file("text"), std::string(500, 'a'));
  EXPECT_EQ(lines_of_load(folder.file("text")), std::vector<std::string>{damaged});
}

TEST(StateFile, that_is_damaged_makes_the_request_fail) {
  SmallProblem problem;
  std::string bytes = bytes_of(problem.file);
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  write_bytes_of(problem.file, bytes);
  EXPECT_FALSE(problem.ask(MATRIX(), MATRIX()));
  EXPECT_EQ(problem.text(), std::string(damaged) + "\n");
  EXPECT_EQ(bytes_of(problem.file), bytes);
}

TEST(StateFile, takes_the_place_of_a_state_alone) {
  const SmallProblem problem;
  const Folder folder;
  for (const std::string& text : {std::string("of the user"), std::string(500, 'a')}) {
    write_bytes_of(folder.file("data"), text);
    Messages messages;
    EXPECT_FALSE(save_data(folder.file("data"), problem.state, messages));
    EXPECT_EQ(messages.lines, std::vector<std::string>{not_saved});
    EXPECT_EQ(bytes_of(folder.file("data")), text);
    EXPECT_FALSE(fs::exists(folder.file("data.new")));
  }
  write_bytes_of(folder.file("data"), "");
  Messages messages;
  EXPECT_TRUE(save_data(folder.file("data"), problem.state, messages));
}

TEST(StateFile, that_cannot_be_saved_leaves_nothing_behind) {
  const SmallProblem problem;
  const Folder folder;
  const std::string missing_folder = folder.file("missing") + "/state";
  for (const std::string& file : {missing_folder, std::string(), folder.path.string() + "/"}) {
    Messages messages;
    EXPECT_FALSE(save_data(file, problem.state, messages));
    EXPECT_EQ(messages.lines, std::vector<std::string>{not_saved});
  }
  // The file is a folder that holds something.
  fs::create_directories(folder.path / "state" / "inside");
  Messages messages;
  EXPECT_FALSE(save_data(folder.file("state"), problem.state, messages));
  EXPECT_EQ(messages.lines, std::vector<std::string>{not_saved});
  EXPECT_FALSE(fs::exists(folder.file("state.new")));
}

// A limit on the size of files stands for a full disk.
TEST(StateFile, that_finds_the_disk_full_leaves_the_old_one) {
  SmallProblem problem;
  const std::string before = bytes_of(problem.file);
  rlimit old_limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit = {100, old_limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const bool good = problem.ask({{0.123, 0.321}}, {{1.0, 0.1}});
  setrlimit(RLIMIT_FSIZE, &old_limit);
  std::signal(SIGXFSZ, old_handler);
  EXPECT_FALSE(good);
  EXPECT_EQ(problem.text(), std::string(not_saved) + "\n");
  EXPECT_EQ(bytes_of(problem.file), before);
  EXPECT_FALSE(fs::exists(problem.file + ".new"));
}

TEST(StateFile, is_not_written_through_a_link) {
  SmallProblem problem;
  const std::string precious = problem.folder.file("precious");
  write_bytes_of(precious, "as it was");
  fs::create_symlink(precious, problem.file + ".new");
  ASSERT_TRUE(problem.ask({{0.123, 0.321}}, {{1.0, 0.1}})) << problem.text();
  EXPECT_EQ(bytes_of(precious), "as it was");
  EXPECT_EQ(problem.load().points(), 13);
}

}  // namespace
}  // namespace torve::test
