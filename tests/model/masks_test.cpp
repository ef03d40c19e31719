#include "model/masks.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace {

// A mask drawn as text, "x" for true.
class Mask {
 public:
  explicit Mask(std::string_view drawing) : size_(drawing.size()) {
    for (std::size_t i = 0; i < size_; ++i) entries_[i] = drawing[i] == 'x';
  }
  operator std::span<const bool>() const { return {entries_.data(), size_}; }

 private:
  std::array<bool, 64> entries_{};
  std::size_t size_;
};

struct MaskCase {
  const char* name;
  const char* drawing;
  std::vector<int> list;
};

class Masks : public testing::TestWithParam<MaskCase> {};

TEST_P(Masks, are_listed) {
  const Mask mask(GetParam().drawing);
  std::array<int, 65> list{};
  const int count = torve::list_true(mask, list.data());
  EXPECT_EQ(std::vector<int>(list.begin(), list.begin() + count), GetParam().list);
}

TEST_P(Masks, have_a_last_entry_below_every_place) {
  const std::string_view drawing = GetParam().drawing;
  const Mask mask(drawing);
  for (std::size_t end = 0; end <= drawing.size(); ++end) {
    const std::size_t found = drawing.substr(0, end).rfind('x');
    EXPECT_EQ(torve::behind_last(mask, end), found == std::string_view::npos ? 0 : found + 1);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Masks,
    testing::Values(MaskCase{"empty", "", {}}, MaskCase{"one", "x", {0}},
                    MaskCase{"short_one", ".x.x", {1, 3}},
                    MaskCase{"none_of_eight", "........", {}},
                    MaskCase{"all_of_eight", "xxxxxxxx", {0, 1, 2, 3, 4, 5, 6, 7}},
                    MaskCase{"ends_of_eights", "x......xx......xx", {0, 7, 8, 15, 16}},
                    MaskCase{"in_the_tail", "............x...x.x", {12, 16, 18}}),
    [](const auto& row) { return std::string(row.param.name); });

struct ButCase {
  const char* name;
  const char* mask;
  const char* without;
  std::size_t behind;
};

class LastBut : public testing::TestWithParam<ButCase> {};

TEST_P(LastBut, is_true_in_one_and_false_in_the_other) {
  EXPECT_EQ(torve::behind_last_but(Mask(GetParam().mask), Mask(GetParam().without)),
            GetParam().behind);
}

INSTANTIATE_TEST_SUITE_P(Rows, LastBut,
                         testing::Values(ButCase{"empty", "", "", 0},
                                         ButCase{"free_end", "xxxxxxxxxx", "xx........", 10},
                                         ButCase{"taken_end", "xxxxxxxxxx", "........xx", 8},
                                         ButCase{"all_taken", "xx.xxxxx.x", "xx.xxxxx.x", 0},
                                         ButCase{"first_free", "xxxxxxxxxx", ".xxxxxxxxx", 1},
                                         ButCase{"gap_in_the_mask", "x.......x.", "........x.", 1}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Flags, are_counted) {
  EXPECT_EQ(torve::count_flags(torve::eight_flags(Mask("xx..x..x"), 0)), 4);
  EXPECT_EQ(torve::count_flags(torve::eight_flags(Mask("xxxxxxxx"), 0)), 8);
  EXPECT_EQ(torve::count_flags(torve::eight_flags(Mask("x........"), 1)), 0);
}

}  // namespace
