// The state file. Layout, in the byte order and the number formats of the machine:
//
//   header    magic word, version, inputs n, points N, 1 with local models (0: none), points where
//             the function isn't defined, state of the random numbers: 7 words of 8 bytes
//   arrays    in the order of visit_arrays; integers as words of 8 bytes, reals as doubles
//   checksum  of all before it, 8 bytes
//
// The header gives the length of the whole file, which is tested before anything is allocated.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "adaptive/linalg/linalg.h"
#include "adaptive/snobfit/state.h"

namespace torve {
namespace {

using Word = std::int64_t;
static_assert(sizeof(Word) == 8 && sizeof(double) == 8);

constexpr Word magic = 0x314f4e5356525454;
constexpr Word version = 1;
constexpr Word most_inputs = 1'000'000;
constexpr Word most_points = 100'000'000;
constexpr const char* cannot_open_for_reading = "load_data: error: failed to open file!";
constexpr const char* cannot_write = "save_data: error: failed to open file!";
constexpr const char* damaged = "load_data: error: file is damaged!";

struct Header {
  Word magic_word = magic;
  Word version_number = version;
  Word n = 0;
  Word points = 0;
  Word models = 0;
  Word undefined = 0;
  Word random = 0;
};
static_assert(sizeof(Header) == 7 * sizeof(Word));

// Calls visit(array, elements) for each array, elements of 8 bytes.
template <class State, class Visit>
void visit_arrays(State& state, Visit visit) {
  for (auto* a : {&state.x, &state.f, &state.xl, &state.xu, &state.nsplit}) visit(*a);
  for (auto* a : {&state.d, &state.g, &state.y}) visit(*a);
  for (auto* a : {&state.t, &state.sigma, &state.fy}) visit(*a);
  for (auto* a : {&state.u, &state.v, &state.u_request, &state.v_request, &state.dx}) visit(*a);
  for (auto* a : {&state.np, &state.fnan, &state.small}) visit(*a);
  for (auto& list : state.near) visit(list);
}

// FNV-1a.
std::uint64_t checksum(const std::vector<char>& bytes, std::size_t length) {
  std::uint64_t sum = 14695981039346656037u;
  for (std::size_t k = 0; k < length; ++k) {
    sum = (sum ^ static_cast<unsigned char>(bytes[k])) * 1099511628211u;
  }
  return sum;
}

// ---- bytes --------------------------------------------------------------------------------------

class Writer {
 public:
  void number(Word value) { raw(&value, sizeof value); }
  void operator()(const MATRIX& a) { raw(a.data(), at(a.rows()) * at(a.columns()) * 8); }
  void operator()(const VECTOR& a) { raw(a.data(), at(a.size()) * 8); }
  void operator()(const std::vector<int>& list) {
    for (const int value : list) number(value);
  }
  void raw(const void* from, std::size_t length) {
    if (length == 0) return;
    const char* first = static_cast<const char*>(from);
    bytes.insert(bytes.end(), first, first + length);
  }

  std::vector<char> bytes;
};

// Fills arrays that have their sizes already. The caller has tested that the bytes are enough.
class Reader {
 public:
  Reader(const std::vector<char>& bytes, std::size_t place) : bytes_(bytes), place_(place) {}

  void operator()(MATRIX& a) { raw(a.data(), at(a.rows()) * at(a.columns()) * 8); }
  void operator()(VECTOR& a) { raw(a.data(), at(a.size()) * 8); }
  void operator()(std::vector<int>& list) {
    for (int& value : list) {
      Word word = 0;
      raw(&word, sizeof word);
      in_range_ = in_range_ && std::in_range<int>(word);
      value = static_cast<int>(word);
    }
  }
  bool in_range() const { return in_range_; }

 private:
  void raw(void* to, std::size_t length) {
    if (length > 0) std::memcpy(to, bytes_.data() + place_, length);
    place_ += length;
  }

  const std::vector<char>& bytes_;
  std::size_t place_;
  bool in_range_ = true;
};

// ---- sizes --------------------------------------------------------------------------------------

bool good_header(const Header& header, Word n) {
  return header.magic_word == magic && header.version_number == version && header.n == n &&
         n <= most_inputs && header.points >= 0 && header.points <= most_points &&
         (header.models == 0 || header.models == 1) && header.undefined >= 0 &&
         header.undefined <= header.points && header.random > 0 &&
         std::in_range<std::uint32_t>(header.random) &&
         (header.models == 0 || header.points > n + dn);
}

// Bytes of a file with this header. The limits of good_header keep it far from overflow.
Word length_of(const Header& header) {
  const Word n = header.n;
  const Word basic = header.points * (4 * n + 2 + 3) + 5 * n + header.undefined;
  const Word models = header.models * header.points * (3 * n + 2 + n + dn);
  return static_cast<Word>(sizeof(Header)) + 8 * (basic + models) + 8;
}

SnobfitState sized_state(const Header& header) {
  const int n = static_cast<int>(header.n);
  const int points = static_cast<int>(header.points);
  const int models = header.models == 1 ? points : 0;
  SnobfitState state;
  for (MATRIX* a : {&state.x, &state.xl, &state.xu, &state.nsplit}) *a = MATRIX(points, n);
  state.f = MATRIX(points, 2);
  for (MATRIX* a : {&state.d, &state.g, &state.y}) *a = MATRIX(models, n);
  state.t = VECTOR(points);
  state.sigma = state.fy = VECTOR(models);
  for (VECTOR* a : {&state.u, &state.v, &state.u_request, &state.v_request, &state.dx}) {
    *a = VECTOR(n);
  }
  state.np.resize(at(points));
  state.small.resize(at(points));
  state.fnan.resize(static_cast<std::size_t>(header.undefined));
  state.near.assign(at(models), std::vector<int>(at(n + dn)));
  state.random = static_cast<std::uint32_t>(header.random);
  return state;
}

// ---- contents -----------------------------------------------------------------------------------

bool all_finite_in(const SnobfitState& state) {
  bool finite = true;
  for (const MATRIX* a :
       {&state.x, &state.f, &state.xl, &state.xu, &state.nsplit, &state.d, &state.g, &state.y}) {
    finite = finite && all_finite(*a);
  }
  for (const VECTOR* a : {&state.t, &state.sigma, &state.fy, &state.u, &state.v, &state.u_request,
                          &state.v_request, &state.dx}) {
    finite = finite && all_finite(*a);
  }
  return finite;
}

bool boxes_make_sense(const SnobfitState& state) {
  for (int i = 0; i < state.inputs(); ++i) {
    const bool good = state.dx(i) > 0.0 && state.u(i) < state.v(i) &&
                      std::isnormal(state.v(i) - state.u(i)) && state.u(i) <= state.u_request(i) &&
                      state.u_request(i) < state.v_request(i) && state.v_request(i) <= state.v(i);
    if (!good) return false;
    for (int j = 0; j < state.points(); ++j) {
      const double x = state.x(j, i);
      if (!(state.u(i) <= state.xl(j, i) && state.xl(j, i) <= x && x <= state.xu(j, i) &&
            state.xu(j, i) <= state.v(i))) {
        return false;
      }
    }
  }
  return true;
}

bool indices_make_sense(const SnobfitState& state) {
  const int points = state.points();
  for (int j = 0; j < points; ++j) {
    if (state.np[at(j)] < 0 || !(state.f(j, 1) > 0.0)) return false;
  }
  for (std::size_t k = 0; k < state.fnan.size(); ++k) {
    const int j = state.fnan[k];
    if (j < 0 || j >= points || state.np[at(j)] != 0) return false;
    if (k > 0 && j <= state.fnan[k - 1]) return false;
  }
  if (std::ranges::count(state.np, 0) != static_cast<std::ptrdiff_t>(state.fnan.size())) {
    return false;
  }
  for (int j = 0; j < static_cast<int>(state.near.size()); ++j) {
    for (const int k : state.near[at(j)]) {
      if (k < 0 || k >= points || k == j) return false;
    }
    for (int i = 0; i < state.inputs(); ++i) {
      if (!(state.d(j, i) > 0.0)) return false;
    }
  }
  return true;
}

// ---- files --------------------------------------------------------------------------------------

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

// The bytes of a regular file; false when it can't be opened or read.
bool read_bytes(const std::string& name, std::vector<char>& bytes) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(name, error)) return false;
  const std::uintmax_t length = std::filesystem::file_size(name, error);
  if (error) return false;
  const File file(std::fopen(name.c_str(), "rb"));
  if (file == nullptr) return false;
  bytes.resize(length);
  return std::fread(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
}

// A link that stands in the way is removed; what it leads to stays.
bool write_bytes(const std::string& name, const std::vector<char>& bytes) {
  std::error_code error;
  if (!std::filesystem::is_directory(std::filesystem::symlink_status(name, error))) {
    std::filesystem::remove(name, error);
  }
  File file(std::fopen(name.c_str(), "wbx"));
  if (file == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  const bool closed = std::fclose(file.release()) == 0;
  if (!written || !closed) std::filesystem::remove(name, error);
  return written && closed;
}

// A file that holds something else than a state is somebody's, and stays.
bool belongs_to_somebody(const std::string& name) {
  std::error_code error;
  if (!std::filesystem::exists(name, error)) return false;
  std::vector<char> bytes;
  if (!read_bytes(name, bytes)) return true;
  decltype(Header::magic_word) word{};
  if (bytes.size() < sizeof word) return !bytes.empty();
  std::memcpy(&word, bytes.data(), sizeof word);
  return word != magic;
}

}  // namespace

bool load_data(const std::string& file, int n, SnobfitState& state, Messages& messages) {
  std::vector<char> bytes;
  if (!read_bytes(file, bytes)) return messages.fail(cannot_open_for_reading);
  Header header;
  if (bytes.size() < sizeof header) return messages.fail(damaged);
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.magic_word == magic && header.version_number == version && header.n != n) {
    return messages.fail("load_data: error: file has another number of inputs!");
  }
  if (!good_header(header, n) || !std::cmp_equal(bytes.size(), length_of(header))) {
    return messages.fail(damaged);
  }
  const std::size_t length = bytes.size() - 8;
  std::uint64_t sum = 0;
  std::memcpy(&sum, bytes.data() + length, sizeof sum);
  if (sum != checksum(bytes, length)) return messages.fail(damaged);

  SnobfitState loaded = sized_state(header);
  Reader reader(bytes, sizeof header);
  visit_arrays(loaded, [&](auto& array) { reader(array); });
  const bool good = reader.in_range() && all_finite_in(loaded) && boxes_make_sense(loaded) &&
                    indices_make_sense(loaded);
  if (!good) return messages.fail(damaged);
  state = std::move(loaded);
  return true;
}

bool save_data(const std::string& file, const SnobfitState& state, Messages& messages) {
  Header header;
  header.n = state.inputs();
  header.points = state.points();
  header.models = state.has_models() ? 1 : 0;
  header.undefined = static_cast<Word>(state.fnan.size());
  header.random = state.random;
  Writer writer;
  writer.bytes.reserve(static_cast<std::size_t>(length_of(header)));
  writer.raw(&header, sizeof header);
  visit_arrays(state, [&](const auto& array) { writer(array); });
  const std::uint64_t sum = checksum(writer.bytes, writer.bytes.size());
  writer.raw(&sum, sizeof sum);

  const std::string new_file = file + ".new";
  if (belongs_to_somebody(file) || !write_bytes(new_file, writer.bytes))
    return messages.fail(cannot_write);
  std::error_code error;
  std::filesystem::rename(new_file, file, error);
  if (!error) return true;
  std::filesystem::remove(new_file, error);
  return messages.fail(cannot_write);
}

}  // namespace torve
