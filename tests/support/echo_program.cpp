// A small program for the tests of the runner. Each argument is "verb" or "verb=value" and is
// carried out at once, so that a test can make it print, write, wait or die as it likes.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Text = const std::string&;

void say(Text value) {
  std::cout << value << std::endl;
}

void complain(Text value) {
  std::cerr << value << std::endl;
}

// "file:text" with '|' for the end of a line; the text is added at the end of the file.
void append(Text value) {
  const std::size_t colon = value.find(':');
  std::ofstream file(value.substr(0, colon), std::ios::app);
  for (const char c : value.substr(colon + 1)) file.put(c == '|' ? '\n' : c);
}

void write(Text value) {
  std::ofstream emptied(value.substr(0, value.find(':')), std::ios::trunc);
  emptied.close();
  append(value);
}

void show_file(Text value) {
  std::cout << std::ifstream(value).rdbuf() << std::flush;
}

void show_input(Text) {
  std::string line;
  say(std::getline(std::cin, line) ? "input" : "no input");
}

void show_folder(Text) {
  char* folder = getcwd(nullptr, 0);
  say(folder != nullptr ? folder : "no folder");
  std::free(folder);
}

void show_environment(Text value) {
  const char* text = std::getenv(value.c_str());
  say(value + (text != nullptr ? std::string("=") + text : " is unset"));
}

void show_user(Text) {
  say("user " + std::to_string(geteuid()));
}

void can_read(Text value) {
  say(value + (access(value.c_str(), R_OK) == 0 ? " can be read" : " cannot be read"));
}

void remove_file(Text value) {
  unlink(value.c_str());
}

void wait_seconds(Text value) {
  std::this_thread::sleep_for(std::chrono::duration<double>(std::stod(value)));
}

// A child that holds the output open and outlives this program.
void leave_child(Text value) {
  if (fork() == 0) {
    wait_seconds(value);
    _exit(0);
  }
}

void print_forever(Text) {
  while (true) std::cout << std::string(65536, '.');
}

void raise_signal(Text value) {
  std::raise(std::stoi(value));
}

void leave(Text value) {
  std::exit(std::stoi(value));
}

void allocate(Text megabytes) {
  try {
    std::vector<char> block(std::stoul(megabytes) << 20U);
    say(block.back() == 0 ? "allocated" : "dirty");
  } catch (const std::bad_alloc&) {
    say("no memory");
  }
}

void fill(Text kilobytes) {
  std::ofstream file("filled");
  file << std::string(std::stoul(kilobytes) << 10U, '.') << std::flush;
  say(file ? "filled" : "file too large");
}

// Arguments for which the variants of libm differ in the last bit.
void show_mathematics(Text) {
  volatile double for_exp = -0x1.20eb402c103fp+4;
  volatile double for_sin = -0x1.8c01259d3b8a2p+3;
  volatile double for_cos = -0x1.684716eb9387ep+3;
  volatile double base = 0x1.2a4f8086e3c64p+9;
  volatile double power = 0x1.1cae99038e996p+1;
  std::cout << std::hexfloat << "exp " << std::exp(for_exp) << "\nsin " << std::sin(for_sin)
            << "\ncos " << std::cos(for_cos) << "\npow " << std::pow(base, power) << std::endl;
}

struct Verb {
  std::string_view name;
  void (*act)(Text value);
};

constexpr std::array verbs = {
    Verb{"say", say},
    Verb{"complain", complain},
    Verb{"append", append},
    Verb{"write", write},
    Verb{"show-file", show_file},
    Verb{"show-input", show_input},
    Verb{"show-folder", show_folder},
    Verb{"show-environment", show_environment},
    Verb{"show-user", show_user},
    Verb{"show-mathematics", show_mathematics},
    Verb{"can-read", can_read},
    Verb{"remove", remove_file},
    Verb{"wait", wait_seconds},
    Verb{"leave-child", leave_child},
    Verb{"print-forever", print_forever},
    Verb{"raise", raise_signal},
    Verb{"leave", leave},
    Verb{"allocate", allocate},
    Verb{"fill", fill},
};

void carry_out(std::string_view argument) {
  const std::string_view name = argument.substr(0, argument.find('='));
  for (const Verb& verb : verbs) {
    if (verb.name != name) continue;
    verb.act(std::string(argument.substr(std::min(name.size() + 1, argument.size()))));
    return;
  }
  say("argument " + std::string(argument));
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 1) say("no arguments");
  for (int i = 1; i < count; ++i) carry_out(arguments[i]);
  return 0;
}
