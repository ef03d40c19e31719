#include "run_folder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <grp.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "run_masks.h"

namespace torve::test {

namespace {

// Equal last bits on every x86-64 machine: OpenBLAS takes the kernels of its oldest 64-bit
// processor and libm its variants without AVX and FMA. The -AVX matters: a machine with AVX but
// without FMA would otherwise take variants of its own for sin, cos, tan and atan.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> environment_of_all_runs = {{
    {"OPENBLAS_CORETYPE", "Prescott"},
    {"OPENBLAS_NUM_THREADS", "1"},
    {"GLIBC_TUNABLES", "glibc.cpu.hwcaps=-AVX2,-FMA,-FMA4,-AVX_Fast_Unaligned_Load,-AVX"},
    {"PATH", "/usr/bin:/bin"},
}};

// What instrumented builds need from the environment of the tests.
constexpr std::array<const char*, 6> environment_passed_on = {
    "ASAN_OPTIONS", "LSAN_OPTIONS",      "UBSAN_OPTIONS",
    "GCOV_PREFIX",  "GCOV_PREFIX_STRIP", "LD_LIBRARY_PATH"};

#if defined(__SANITIZE_ADDRESS__)
constexpr bool address_space_can_be_limited = false;  // the shadow memory needs terabytes of it
#else
constexpr bool address_space_can_be_limited = true;
#endif

constexpr uid_t nobody = 65534;
constexpr std::size_t most_output = std::size_t{64} << 20U;  // bytes; more is an endless loop

std::runtime_error system_fault(const std::string& what) {
  return std::runtime_error(what + ": " + std::strerror(errno));
}

using Environment = std::map<std::string, std::string>;

Environment environment_of(const RunSetup& setup) {
  Environment environment;
  for (const char* name : environment_passed_on) {
    if (const char* value = std::getenv(name)) environment[name] = value;
  }
  for (const auto& [name, value] : environment_of_all_runs) environment[std::string(name)] = value;
  for (const auto& [name, value] : setup.environment) {
    if (value) {
      environment[name] = *value;
    } else {
      environment.erase(name);
    }
  }
  return environment;
}

// The null-terminated array of pointers that exec wants.
std::vector<char*> pointers_to(Words& words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

// A descriptor that closes itself; none of them passes on to the program.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor(const Descriptor&) = delete;
  int number() const { return number_; }
  bool is_open() const { return number_ >= 0; }
  void close() {
    if (number_ >= 0) ::close(number_);
    number_ = -1;
  }

 private:
  int number_;
};

struct Pipe {
  Descriptor reader, writer;
};

Pipe make_pipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw system_fault("cannot make a pipe");
  Pipe pipe{Descriptor(ends[0]), Descriptor(ends[1])};
  fcntl(pipe.reader.number(), F_SETFL, O_NONBLOCK);
  return pipe;
}

// All that the child needs, made before the fork: after it only system calls are safe.
struct Launch {
  const char* program;
  char* const* arguments;
  char* const* environment;
  const char* folder;
  const RunSetup* setup;
  int input, screen, errors;
};

bool limit(decltype(RLIMIT_AS) resource, rlim_t most) {
  const rlimit both{most, most};
  return setrlimit(resource, &both) == 0;
}

bool become_nobody() {
  return setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0;
}

[[noreturn]] void become_program(const Launch& launch) {
  setpgid(0, 0);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const auto number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXFSZ, SIGCHLD}) {
    std::signal(number, SIG_DFL);
  }
  umask(S_IWGRP | S_IWOTH);
  bool ready = dup2(launch.input, 0) == 0 && dup2(launch.screen, 1) == 1 &&
               dup2(launch.errors, 2) == 2 && chdir(launch.folder) == 0 && limit(RLIMIT_CORE, 0);
  // Opened now: the build may lie where nobody may not go.
  const int program = open(launch.program, O_RDONLY | O_CLOEXEC);
  if (launch.setup->as_nobody && geteuid() == 0) ready = ready && become_nobody();
  if (launch.setup->file_bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    ready = ready && limit(RLIMIT_FSIZE, *launch.setup->file_bytes);
  }
  if (launch.setup->memory_bytes) ready = ready && limit(RLIMIT_AS, *launch.setup->memory_bytes);
  if (ready && program >= 0) fexecve(program, launch.arguments, launch.environment);
  dprintf(2, "cannot start %s: %s\n", launch.program, std::strerror(errno));
  _exit(127);
}

// Takes what can be read now; closes at the end of the stream.
void drain(Descriptor& from, std::string& text) {
  std::array<char, 65536> buffer{};
  while (from.is_open() && text.size() <= most_output) {
    const ssize_t got = read(from.number(), buffer.data(), buffer.size());
    if (got > 0) {
      text.append(buffer.data(), static_cast<std::size_t>(got));
    } else if (got == 0) {
      from.close();
    } else if (errno != EINTR) {
      return;
    }
  }
}

// Reads the streams until the program has ended, sends the signals that are due, and kills what
// takes too long or prints too much. A program started by this one may outlive it and hold the
// streams open: it is waited for briefly, then the whole process group is killed.
Ending attend(pid_t process, Descriptor& screen, Descriptor& errors, const RunSetup& setup) {
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  constexpr int pause_milliseconds = 5;
  constexpr double patience_with_children = 2;
  const auto start = Clock::now();
  std::vector<TimedSignal> signals = setup.signals;
  std::ranges::sort(signals, {}, &TimedSignal::seconds);
  auto next_signal = signals.begin();

  Ending ending;
  double seconds_at_end = -1;
  while (true) {
    drain(screen, ending.screen);
    drain(errors, ending.errors);
    const double seconds = Seconds(Clock::now() - start).count();
    const bool running = seconds_at_end < 0;
    if (running && waitpid(process, &ending.wait_status, WNOHANG) == process) {
      seconds_at_end = seconds;
      continue;
    }
    if (running) {
      for (; next_signal != signals.end() && next_signal->seconds <= seconds; ++next_signal) {
        kill(process, next_signal->number);
      }
      if (seconds > setup.timeout_seconds) ending.too_long = true;
      if (ending.screen.size() + ending.errors.size() > most_output) ending.too_much = true;
      if (ending.too_long || ending.too_much) kill(-process, SIGKILL);
    } else if (!(screen.is_open() || errors.is_open()) ||
               seconds - seconds_at_end > patience_with_children) {
      break;
    }
    std::array<pollfd, 2> streams = {{{screen.number(), POLLIN, 0}, {errors.number(), POLLIN, 0}}};
    poll(streams.data(), streams.size(), pause_milliseconds);
  }
  kill(-process, SIGKILL);
  return ending;
}

}  // namespace

Ending run_program(const fs::path& program, const Words& arguments, const fs::path& folder,
                   const RunSetup& setup) {
  Words argument_texts = arguments;
  argument_texts.insert(argument_texts.begin(), program.string());
  Words environment_texts;
  for (const auto& [name, value] : environment_of(setup)) {
    environment_texts.push_back(fmt::format("{}={}", name, value));
  }
  const std::vector<char*> argument_pointers = pointers_to(argument_texts);
  const std::vector<char*> environment_pointers = pointers_to(environment_texts);
  const fs::path start_folder = folder / setup.working_folder;

  const Descriptor input(open("/dev/null", O_RDONLY | O_CLOEXEC));
  Pipe screen = make_pipe();
  Pipe errors = make_pipe();
  const Launch launch{program.c_str(),
                      argument_pointers.data(),
                      environment_pointers.data(),
                      start_folder.c_str(),
                      &setup,
                      input.number(),
                      screen.writer.number(),
                      errors.writer.number()};
  const pid_t process = fork();
  if (process < 0) throw system_fault("cannot fork");
  if (process == 0) become_program(launch);
  setpgid(process, process);
  screen.writer.close();
  errors.writer.close();
  return attend(process, screen.reader, errors.reader, setup);
}

// ---- A case ------------------------------------------------------------------------------------

TemporaryFolder::TemporaryFolder() {
  std::string name = (fs::canonical(fs::temp_directory_path()) / "torve-run-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw system_fault("cannot make " + name);
  path_ = name;
}

namespace {

// Gives back the permissions without which the contents of a folder can't be removed.
void open_folders(const fs::path& folder) {
  std::error_code ignored;
  fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (fs::is_directory(entry.symlink_status(ignored))) open_folders(entry.path());
  }
}

}  // namespace

TemporaryFolder::~TemporaryFolder() {
  if (std::getenv("TORVE_KEEP") != nullptr) {
    std::cout << "The folder of the run is " << path_.string() << '\n';
    return;
  }
  open_folders(path_);
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

namespace {

bool belongs_to_runner(const std::string& name) {
  return name == "setup.txt" || name == "arguments" || name.starts_with("expected.");
}

void copy_case(const fs::path& case_folder, const fs::path& folder) {
  for (const auto& entry : fs::directory_iterator(case_folder)) {
    const fs::path name = entry.path().filename();
    if (belongs_to_runner(name.string())) continue;
    fs::copy(entry.path(), folder / name,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  }
}

// A file of the runner with the folder of the run put in for its mark.
std::string runner_file(const fs::path& file, const fs::path& folder) {
  return replace_all(read_file(file), folder_mark, folder.string());
}

Words arguments_of(const fs::path& case_folder, const fs::path& folder) {
  const fs::path file = case_folder / "arguments";
  if (!fs::exists(file)) return {"problem.trv"};
  Words arguments;
  const std::string text = runner_file(file, folder);
  for (std::string_view line : lines_of(text)) {
    if (line.ends_with('\n')) line.remove_suffix(1);
    arguments.emplace_back(line);
  }
  return arguments;
}

RunSetup setup_of(const fs::path& case_folder, const fs::path& folder) {
  const fs::path file = case_folder / "setup.txt";
  return parse_setup(fs::exists(file) ? runner_file(file, folder) : "");
}

void hand_over_to_nobody(const fs::path& folder) {
  const auto hand_over = [](const fs::path& path) {
    if (lchown(path.c_str(), nobody, nobody) != 0) {
      throw system_fault("cannot hand over " + path.string());
    }
  };
  hand_over(folder);
  for (const auto& entry : fs::recursive_directory_iterator(folder)) hand_over(entry.path());
}

// What a name stood for at some moment; an absent file has type not_found.
struct FileState {
  fs::file_type type = fs::file_type::not_found;
  fs::path target;      // of a symbolic link
  std::string content;  // of a regular file, also of one that a link leads to
  fs::file_time_type written;
  bool same_content(const FileState& other) const {
    return type == other.type && target == other.target && content == other.content;
  }
};

bool is_file(const fs::path& path) {
  std::error_code no_file;  // such as a symbolic link that leads to itself
  return fs::is_regular_file(path, no_file);
}

FileState state_of(const fs::path& file) {
  FileState state;
  state.type = fs::symlink_status(file).type();
  if (state.type == fs::file_type::symlink) state.target = fs::read_symlink(file);
  if (is_file(file)) {
    if (access(file.c_str(), R_OK) == 0) state.content = read_file(file);
    state.written = fs::last_write_time(file);
  }
  return state;
}

using FileStates = std::map<fs::path, FileState>;

// The regular files of a folder, its subfolders not among them.
FileStates files_in(const fs::path& folder) {
  FileStates states;
  std::error_code closed;
  for (const auto& entry : fs::directory_iterator(folder, closed)) {
    if (is_file(entry.path())) states[entry.path()] = state_of(entry.path());
  }
  return states;
}

// The files that a run made or wrote again.
FileStates written_since(const FileStates& before, const fs::path& folder) {
  FileStates written = files_in(folder);
  std::erase_if(written, [&before](const auto& now) {
    const auto old = before.find(now.first);
    return old != before.end() && old->second.same_content(now.second) &&
           old->second.written == now.second.written;
  });
  return written;
}

// The masked outputs of a run by the ending of their expected file; without text: not written.
using Outputs = std::map<std::string, std::optional<std::string>>;

void gather_listing(const FileStates& written, Outputs& outputs, Words& faults) {
  outputs["lst"] = std::nullopt;
  for (const auto& [path, state] : written) {
    if (path.extension() != ".lst") continue;
    if (outputs["lst"]) faults.push_back("a second listing: " + path.filename().string());
    outputs["lst"] = state.content;
  }
}

// The screen, the listing, the trace, and every other file that the case expects.
Outputs gather_outputs(const fs::path& case_folder, const fs::path& start_folder,
                       const FileStates& before, std::string screen, Words& faults) {
  const FileStates written = written_since(before, start_folder);
  Outputs outputs;
  outputs["screen"] = std::move(screen);
  gather_listing(written, outputs, faults);
  const auto trace = written.find(start_folder / "trace.trc");
  outputs["trc"] = std::nullopt;
  if (trace != written.end()) outputs["trc"] = trace->second.content;
  for (const auto& entry : fs::directory_iterator(case_folder)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with("expected.")) continue;
    const std::string ending = name.substr(std::strlen("expected."));
    if (outputs.contains(ending)) continue;
    const fs::path file = start_folder / ending;
    outputs[ending] = std::nullopt;
    if (is_file(file)) outputs[ending] = read_file(file);
  }
  return outputs;
}

fs::path expected_file(const fs::path& case_folder, const std::string& ending) {
  return case_folder / ("expected." + ending);
}

void compare(const fs::path& case_folder, const Outputs& outputs, Words& faults) {
  for (const auto& [ending, text] : outputs) {
    const fs::path file = expected_file(case_folder, ending);
    const std::string name = file.filename().string();
    if (!fs::exists(file)) {
      if (text) faults.push_back(fmt::format("no {}, but the run wrote\n{}", name, *text));
      continue;
    }
    if (!text) {
      faults.push_back(fmt::format("{}: the run wrote no such file", name));
      continue;
    }
    const std::string difference = first_difference(read_file(file), *text);
    if (!difference.empty()) {
      faults.push_back(fmt::format("{} (-) differs from the run (+)\n{}", name, difference));
    }
  }
}

void update(const fs::path& case_folder, const Outputs& outputs) {
  for (const auto& [ending, text] : outputs) {
    const fs::path file = expected_file(case_folder, ending);
    if (text) {
      write_file(file, *text);
    } else {
      fs::remove(file);
    }
  }
}

void check_ending(const Ending& ending, const RunSetup& setup, Words& faults) {
  const int status = ending.wait_status;
  if (ending.too_long) {
    faults.push_back(fmt::format("killed after {} s", setup.timeout_seconds));
  } else if (ending.too_much) {
    faults.push_back(fmt::format("killed after {} bytes of output", most_output));
  } else if (WIFSIGNALED(status) && WTERMSIG(status) != setup.ending_signal) {
    faults.push_back("ended by " + name_of_signal(WTERMSIG(status)));
  } else if (WIFEXITED(status) && setup.ending_signal != 0) {
    faults.push_back(fmt::format("ended with status {}, not by {}", WEXITSTATUS(status),
                                 name_of_signal(setup.ending_signal)));
  } else if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
    faults.push_back(fmt::format("ended with status {}", WEXITSTATUS(status)));
  }
  const bool expected = setup.errors.empty()
                            ? ending.errors.empty()
                            : ending.errors.find(setup.errors) != std::string::npos;
  if (!expected) faults.push_back("on standard error:\n" + ending.errors);
}

void check_files(const RunSetup& setup, const FileStates& user_files, const fs::path& folder,
                 Words& faults) {
  for (const std::string& name : setup.absent) {
    if (fs::exists(fs::symlink_status(folder / name))) faults.push_back(name + " is still there");
  }
  for (const std::string& name : setup.present) {
    if (!fs::exists(fs::symlink_status(folder / name))) faults.push_back(name + " is not there");
  }
  for (const auto& [name, state] : user_files) {
    if (!state.same_content(state_of(folder / name))) {
      faults.push_back(name.string() + " is not what it was before the run");
    }
  }
}

FileStates user_files(const RunSetup& setup, const fs::path& folder) {
  FileStates states;
  for (const std::string& name : setup.same) {
    states[name] = state_of(folder / name);
    if (states[name].type == fs::file_type::not_found) {
      throw std::runtime_error("expect-same " + name + ": there is no such file before the run");
    }
  }
  return states;
}

}  // namespace

CaseReport run_case(const fs::path& case_folder, const fs::path& program, Mode mode) {
  CaseReport report;
  const TemporaryFolder temporary;
  const fs::path& folder = temporary.path();

  copy_case(case_folder, folder);
  const RunSetup setup = setup_of(case_folder, folder);
  if (setup.memory_bytes && !address_space_can_be_limited) {
    report.skipped = "this build cannot run in a limited address space";
    return report;
  }
  set_up_files(setup, folder);
  if (setup.as_nobody && geteuid() == 0) hand_over_to_nobody(folder);
  const fs::path start_folder = (folder / setup.working_folder).lexically_normal();
  const FileStates before = files_in(start_folder);
  const FileStates kept = user_files(setup, folder);

  std::string screen;
  for (int run = 0; run < setup.runs; ++run) {
    const Ending ending = run_program(program, arguments_of(case_folder, folder), folder, setup);
    check_ending(ending, setup, report.faults);
    screen += ending.screen;
  }
  check_files(setup, kept, folder, report.faults);

  Outputs outputs =
      gather_outputs(case_folder, start_folder, before, std::move(screen), report.faults);
  for (auto& [ending, text] : outputs) {
    if (text) text = mask_output(std::move(*text), folder);
  }
  if (mode == Mode::compare) {
    compare(case_folder, outputs, report.faults);
  } else if (report.faults.empty()) {
    update(case_folder, outputs);
    report.skipped = "the expected files were written";
  }
  return report;
}

}  // namespace torve::test
