#include "run_setup.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "run_masks.h"

namespace torve::test {

namespace {

constexpr std::array<std::pair<std::string_view, int>, 10> signal_names = {{
    {"SIGINT", SIGINT},
    {"SIGTERM", SIGTERM},
    {"SIGHUP", SIGHUP},
    {"SIGQUIT", SIGQUIT},
    {"SIGKILL", SIGKILL},
    {"SIGABRT", SIGABRT},
    {"SIGSEGV", SIGSEGV},
    {"SIGFPE", SIGFPE},
    {"SIGPIPE", SIGPIPE},
    {"SIGXFSZ", SIGXFSZ},
}};

// The path of a name of setup.txt, which may not lead out of the folder of the run.
fs::path inside(const fs::path& folder, const std::string& name) {
  const fs::path path(name);
  if (path.is_absolute() || std::ranges::find(path, fs::path("..")) != path.end()) {
    throw std::runtime_error("\"" + name + "\" is not inside the folder of the run");
  }
  return folder / path;
}

template <typename Number>
Number number_in(const std::string& word, int base = 10) {
  Number value{};
  const char* const end = word.data() + word.size();
  std::from_chars_result result{};
  if constexpr (std::is_floating_point_v<Number>) {
    result = std::from_chars(word.data(), end, value);
  } else {
    result = std::from_chars(word.data(), end, value, base);
  }
  if (word.empty() || result.ec != std::errc() || result.ptr != end || word[0] == '-') {
    throw std::runtime_error("\"" + word + "\" is not a number that fits here");
  }
  return value;
}

int signal_named(const std::string& name) {
  for (const auto& [known, number] : signal_names) {
    if (known == name) return number;
  }
  throw std::runtime_error("no signal \"" + name + "\"");
}

void make_folder(const fs::path& folder, const Words& words) {
  fs::create_directories(inside(folder, words[0]));
}

void make_symlink(const fs::path& folder, const Words& words) {
  fs::create_symlink(words[0], inside(folder, words[1]));
}

void change_mode(const fs::path& folder, const Words& words) {
  fs::permissions(inside(folder, words[1]), fs::perms(number_in<unsigned>(words[0], 8)));
}

void copy_file_or_folder(const fs::path& folder, const Words& words) {
  fs::copy(inside(folder, words[0]), inside(folder, words[1]),
           fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

void give_crlf(const fs::path& folder, const Words& words) {
  const fs::path file = inside(folder, words[0]);
  write_file(file, replace_all(read_file(file), "\n", "\r\n"));
}

void append_bytes(const fs::path& folder, const Words& words) {
  const fs::path file = inside(folder, words[0]);
  std::string bytes = read_file(file);
  for (std::size_t i = 1; i < words.size(); ++i) {
    bytes += static_cast<char>(number_in<unsigned char>(words[i], 16));
  }
  write_file(file, bytes);
}

void touch(const fs::path& folder, const Words& words) {
  const fs::path file = inside(folder, words[0]);
  if (!fs::exists(file)) write_file(file, "");
}

void note_environment(RunSetup& setup, const Words& words) {
  const std::size_t equals = words[0].find('=');
  if (equals == std::string::npos) {
    setup.environment[words[0]] = std::nullopt;
  } else {
    setup.environment[words[0].substr(0, equals)] = words[0].substr(equals + 1);
  }
}

constexpr std::size_t any_number = 1000;

// The verbs of setup.txt. A verb either works on files or makes a note for the run.
struct Verb {
  std::string_view name;
  std::size_t fewest, most;  // words after the verb
  void (*act)(const fs::path& folder, const Words& words);
  void (*note)(RunSetup& setup, const Words& words);
};

constexpr std::array verbs = {
    Verb{"mkdir", 1, 1, make_folder, nullptr},
    Verb{"symlink", 2, 2, make_symlink, nullptr},
    Verb{"chmod", 2, 2, change_mode, nullptr},
    Verb{"copy", 2, 2, copy_file_or_folder, nullptr},
    Verb{"crlf", 1, 1, give_crlf, nullptr},
    Verb{"append-bytes", 2, any_number, append_bytes, nullptr},
    Verb{"touch", 1, 1, touch, nullptr},
    Verb{"env", 1, 1, nullptr, note_environment},
    Verb{"cwd", 1, 1, nullptr, [](RunSetup& s, const Words& w) { s.working_folder = w[0]; }},
    Verb{"limit-memory", 1, 1, nullptr,
         [](RunSetup& s, const Words& w) { s.memory_bytes = number_in<rlim_t>(w[0]) << 20U; }},
    Verb{"limit-file", 1, 1, nullptr,
         [](RunSetup& s, const Words& w) { s.file_bytes = number_in<rlim_t>(w[0]) << 10U; }},
    Verb{"signal", 2, 2, nullptr,
         [](RunSetup& s, const Words& w) {
           s.signals.push_back({number_in<double>(w[0]), signal_named(w[1])});
         }},
    Verb{"as-nobody", 0, 0, nullptr, [](RunSetup& s, const Words&) { s.as_nobody = true; }},
    Verb{"runs", 1, 1, nullptr, [](RunSetup& s, const Words& w) { s.runs = number_in<int>(w[0]); }},
    Verb{"timeout", 1, 1, nullptr,
         [](RunSetup& s, const Words& w) { s.timeout_seconds = number_in<double>(w[0]); }},
    Verb{"expect-signal", 1, 1, nullptr,
         [](RunSetup& s, const Words& w) { s.ending_signal = signal_named(w[0]); }},
    // A word of what an outside program or the shell says there.
    Verb{"expect-error", 1, 1, nullptr, [](RunSetup& s, const Words& w) { s.errors = w[0]; }},
    Verb{"expect-absent", 1, 1, nullptr,
         [](RunSetup& s, const Words& w) { s.absent.push_back(w[0]); }},
    Verb{"expect-present", 1, 1, nullptr,
         [](RunSetup& s, const Words& w) { s.present.push_back(w[0]); }},
    Verb{"expect-same", 1, 1, nullptr, [](RunSetup& s, const Words& w) { s.same.push_back(w[0]); }},
};

static_assert(std::ranges::all_of(verbs,
                                  [](const Verb& verb) {
                                    return (verb.act == nullptr) != (verb.note == nullptr);
                                  }),
              "a verb has one handler");

// Words are separated by blanks; one with blanks in it stands in double quotes.
Words words_of(std::string_view line) {
  std::istringstream stream{std::string(line)};
  Words words;
  std::string word;
  while (stream >> std::quoted(word)) words.push_back(word);
  return words;
}

void understand(RunSetup& setup, Words words) {
  const auto verb = std::ranges::find(verbs, std::string_view(words[0]), &Verb::name);
  if (verb == verbs.end()) throw std::runtime_error("no verb \"" + words[0] + "\"");
  words.erase(words.begin());
  if (words.size() < verb->fewest || words.size() > verb->most) {
    throw std::runtime_error(fmt::format("\"{}\" with {} words", verb->name, words.size()));
  }
  if (verb->act != nullptr) {
    setup.steps.push_back({verb->act, std::move(words)});
  } else {
    verb->note(setup, words);
  }
}

}  // namespace

RunSetup parse_setup(std::string_view text) {
  RunSetup setup;
  int number = 0;
  for (const std::string_view line : lines_of(text)) {
    ++number;
    Words words = words_of(line);
    if (words.empty() || words[0].starts_with('#')) continue;
    try {
      understand(setup, std::move(words));
    } catch (const std::runtime_error& fault) {
      throw std::runtime_error(fmt::format("setup.txt, line {}: {}", number, fault.what()));
    }
  }
  return setup;
}

void set_up_files(const RunSetup& setup, const fs::path& folder) {
  for (const FileStep& step : setup.steps) step.act(folder, step.words);
}

std::string name_of_signal(int number) {
  for (const auto& [name, known] : signal_names) {
    if (known == number) return std::string(name);
  }
  return fmt::format("signal {}", number);
}

std::string read_file(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

void write_file(const fs::path& file, std::string_view text) {
  std::ofstream stream(file, std::ios::binary);
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!stream.flush()) throw std::runtime_error("cannot write " + file.string());
}

}  // namespace torve::test
