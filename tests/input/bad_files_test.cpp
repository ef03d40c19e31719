// Files that no user would write: found by fuzzing, and good ones cut short or with a byte changed.
// Each is read to an end, with a code and a place where it can't be accepted.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "../support/in_process.h"
#include "input/problem_reader.h"

namespace torve::test {
namespace {

void expect_an_end(const std::string& text) {
  const auto start = std::chrono::steady_clock::now();
  RunState run;
  run.status.cmdcount = 1;
  run.memory.machine_bytes = std::int64_t{256} << 20U;
  read_problem_text(run, text);
  const int code = static_cast<int>(run.status.trvstatus);
  EXPECT_TRUE(code >= 0 && code <= last_code) << code;
  EXPECT_EQ(code == 0, run.status.trvlocation == 0) << code;
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  EXPECT_LT(taken.count(), 10.0);
}

// ---- Kept files --------------------------------------------------------------------------------

std::vector<std::string> bad_files() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(fs::path(TORVE_TEST_DATA) / "bad")) {
    names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
  return names;
}

class BadFile : public testing::TestWithParam<std::string> {};

TEST_P(BadFile, is_read_to_an_end) {
  const WorkingFolder folder;
  const std::string text = read_file(fs::path(TORVE_TEST_DATA) / "bad" / GetParam());
  screen_of([&] { expect_an_end(text); });
}

INSTANTIATE_TEST_SUITE_P(Files, BadFile, testing::ValuesIn(bad_files()), [](const auto& row) {
  std::string name = row.param;
  std::ranges::replace_if(
      name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
});

// ---- Good files, spoilt ------------------------------------------------------------------------

class SpoiltFile : public testing::TestWithParam<std::string> {
 protected:
  std::string text() const {
    return read_file(fs::path(TORVE_TEST_DATA) / "robust" / (GetParam() + ".trv"));
  }

 private:
  WorkingFolder folder_;
};

TEST_P(SpoiltFile, cut_after_any_byte) {
  const std::string whole = text();
  screen_of([&] {
    for (std::size_t length = 0; length < whole.size(); ++length) {
      SCOPED_TRACE(length);
      expect_an_end(whole.substr(0, length));
    }
  });
}

TEST_P(SpoiltFile, with_any_byte_changed) {
  const std::string whole = text();
  screen_of([&] {
    for (const char byte : {'\0', '\n', '\r', ' ', '&', '!', '-', '9', '\xff'}) {
      for (std::size_t at = 0; at < whole.size(); ++at) {
        SCOPED_TRACE(at);
        std::string changed = whole;
        changed[at] = byte;
        expect_an_end(changed);
      }
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Problems, SpoiltFile,
                         testing::Values("plain", "groups", "lasso", "radial", "debug"),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace torve::test
