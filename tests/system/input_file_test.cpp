#include "system/input_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <thread>

#include "support/in_process.h"

namespace torve {
namespace {

std::optional<std::string> all_of(const std::string& name, std::size_t piece) {
  std::optional<InputFile> file = InputFile::open(name);
  if (!file) return std::nullopt;
  std::string text;
  std::string buffer(piece, ' ');
  while (true) {
    const std::optional<std::size_t> got = file->read(buffer.data(), piece);
    if (!got) return std::nullopt;
    if (*got == 0) return text;
    EXPECT_LE(*got, piece);
    text += buffer.substr(0, *got);
  }
}

TEST(InputFile, is_read_in_pieces) {
  const test::WorkingFolder folder;
  const std::string text("one\ntwo\r\nthree\0four\xFF", 20);
  std::ofstream("file", std::ios::binary) << text;
  for (std::size_t piece = 1; piece <= text.size() + 1; ++piece)
    EXPECT_EQ(all_of("file", piece), text);
}

TEST(InputFile, may_be_empty) {
  const test::WorkingFolder folder;
  const std::ofstream made("file");
  EXPECT_EQ(all_of("file", 10), "");
}

TEST(InputFile, knows_its_size) {
  const test::WorkingFolder folder;
  std::ofstream("file") << "12345";
  std::optional<InputFile> file = InputFile::open("file");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->size(), 5);
}

TEST(InputFile, is_no_folder) {
  const test::WorkingFolder folder;
  EXPECT_FALSE(InputFile::open("none"));
  EXPECT_FALSE(InputFile::open("."));
}

TEST(InputFile, waits_for_the_writer_of_a_pipe) {
  const test::WorkingFolder folder;
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  // Open for both, so that neither end waits for the other to be opened.
  std::fstream both("pipe");
  std::optional<InputFile> file = InputFile::open("pipe");
  ASSERT_TRUE(file);
  std::thread writer([&] { both << "12345" << std::flush; });
  char text[10];
  EXPECT_EQ(file->read(text, sizeof text), 5U);
  writer.join();
  both.close();
  EXPECT_EQ(file->read(text, sizeof text), 0U);
}

TEST(InputFile, closes_once) {
  const test::WorkingFolder folder;
  std::ofstream("file") << "12345";
  std::optional<InputFile> first = InputFile::open("file");
  ASSERT_TRUE(first);
  InputFile second = std::move(*first);
  first.reset();
  char text[10];
  EXPECT_EQ(second.read(text, sizeof text), 5U);
}

}  // namespace
}  // namespace torve
