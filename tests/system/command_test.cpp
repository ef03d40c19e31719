#include "system/command.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "support/leftovers.h"
#include "system/interrupts.h"

namespace torve {
namespace {

namespace fs = std::filesystem;

using test::has_children;
using test::open_descriptors;

constexpr double long_enough = 30.0;

bool is_alive(long pid) {
  return ::kill(static_cast<pid_t>(pid), 0) == 0;
}

// A file that is gone at the end.
class ScratchFile {
 public:
  ScratchFile() : name_(testing::TempDir() + "command_test_" + std::to_string(::getpid())) {}
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { fs::remove(name_); }
  const std::string& name() const { return name_; }
  std::string text() const {
    std::ifstream file(name_);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string name_;
};

class Commands : public testing::Test {
 protected:
  void SetUp() override { descriptors_ = open_descriptors(); }
  void TearDown() override {
    EXPECT_EQ(open_descriptors(), descriptors_);
    EXPECT_FALSE(has_children());
  }

 private:
  std::size_t descriptors_ = 0;
};

TEST_F(Commands, end_with_their_status) {
  EXPECT_EQ(run_command("true", long_enough).status, 0);
  EXPECT_EQ(run_command("exit 7", long_enough).status, 7);
  EXPECT_EQ(run_command("/no/such/program 2>/dev/null", long_enough).status, 127);
  EXPECT_EQ(run_command("kill -9 $$", long_enough).status, 137);
  EXPECT_EQ(run_command("", long_enough).status, 0);
  EXPECT_EQ(run_command("true", long_enough).end, CommandEnd::exited);
}

TEST_F(Commands, go_through_the_shell) {
  const ScratchFile file;
  run_command("printf '%s' \"a  b\" | tr a c > " + file.name(), long_enough);
  EXPECT_EQ(file.text(), "c  b");
}

TEST_F(Commands, read_an_empty_standard_input) {
  const ScratchFile file;
  const CommandResult result = run_command("cat > " + file.name() + "; echo end", long_enough);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(file.text(), "");
}

TEST_F(Commands, take_time_by_the_clock_on_the_wall) {
  const CommandResult result = run_command("sleep 0.2", long_enough);
  EXPECT_GE(result.seconds, 0.2);
  EXPECT_LT(result.seconds, 10.0);
}

TEST_F(Commands, are_ended_with_all_they_started_when_time_is_over) {
  const ScratchFile file;
  const CommandResult result = run_command("sleep 100 & echo $! > " + file.name() + "; wait", 0.2);
  EXPECT_EQ(result.end, CommandEnd::timed_out);
  EXPECT_LT(result.seconds, 10.0);
  const long grandchild = std::stol(file.text());
  // Its new parent has to collect it first.
  for (int i = 0; i < 100 && is_alive(grandchild); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_FALSE(is_alive(grandchild));
}

TEST_F(Commands, are_ended_for_good_when_they_refuse) {
  const CommandResult result = run_command("trap '' TERM; while :; do sleep 0.05; done", 0.1);
  EXPECT_EQ(result.end, CommandEnd::timed_out);
  EXPECT_EQ(result.status, 137);
}

TEST_F(Commands, are_ended_when_they_are_stopped) {
  const CommandResult result = run_command("kill -STOP $$", 0.1);
  EXPECT_EQ(result.end, CommandEnd::timed_out);
  EXPECT_LT(result.seconds, 10.0);
}

TEST_F(Commands, have_no_time_when_none_is_left) {
  for (const double left : {0.0, -5.0}) {
    const ScratchFile file;
    const CommandResult result = run_command("sleep 100", left);
    EXPECT_EQ(result.end, CommandEnd::timed_out);
    EXPECT_LT(result.seconds, 10.0);
  }
}

TEST_F(Commands, end_with_an_interrupt) {
  watch_interrupts();
  std::thread user([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ::kill(::getpid(), SIGINT);
  });
  const CommandResult result = run_command("sleep 100", long_enough);
  user.join();
  clear_interrupt();
  unwatch_interrupts();
  EXPECT_EQ(result.end, CommandEnd::interrupted);
  EXPECT_LT(result.seconds, 10.0);
}

}  // namespace
}  // namespace torve
